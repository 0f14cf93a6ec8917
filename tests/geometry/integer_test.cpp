#include <qorcor14/geometry/integer.h>

#include <gtest/gtest.h>

#include <climits>
#include <sstream>
#include <string>
#include <type_traits>

namespace {

template <typename T>
std::wstring text(const T& value) {
  std::wostringstream os;
  os << value;
  return os.str();
}

IExtent<2> box(int x0, int y0, int x1, int y1) {
  const int rows[2][2] = {{x0, y0}, {x1, y1}};
  return IExtent<2>(rows);
}

// ---------------------------------------------------------------- IVector, IPoint

TEST(IVectorIndex, TwoDGivesYForEveryIndexButZero) {
  const IVector<2> v(5, 7);
  const IPoint<2> p(5, 7);
  EXPECT_EQ(v[0], 5);
  EXPECT_EQ(p[0], 5);
  for (int i : {1, 4, -1, INT_MAX, INT_MIN}) {
    SCOPED_TRACE(i);
    EXPECT_EQ(v[i], 7);
    EXPECT_EQ(p[i], 7);
  }
}

TEST(IVectorIndex, ThreeDGivesZForEveryIndexButZeroAndOne) {
  const IVector<3> v(1, 2, 3);
  const IPoint<3> p(1, 2, 3);
  EXPECT_EQ(v[0], 1);
  EXPECT_EQ(v[1], 2);
  EXPECT_EQ(p[1], 2);
  for (int i : {2, 3, -1, INT_MIN}) {
    SCOPED_TRACE(i);
    EXPECT_EQ(v[i], 3);
    EXPECT_EQ(p[i], 3);
  }
}

TEST(IVectorConstruction, DefaultIsZeroAndPointerReadsInOrder) {
  const int c[3] = {-4, 9, 11};
  EXPECT_EQ(IVector<3>(c), IVector<3>(-4, 9, 11));
  EXPECT_EQ(IPoint<2>(c), IPoint<2>(-4, 9));
  EXPECT_EQ(IPoint<3>::origin(), IPoint<3>(0, 0, 0));
}

TEST(IVectorArithmetic, ComponentwiseResults) {
  EXPECT_EQ(IVector<2>(2, -3) * 4, IVector<2>(8, -12));
  EXPECT_EQ(IVector<3>(1, 2, 3) + IVector<3>(10, 20, 30), IVector<3>(11, 22, 33));
  EXPECT_EQ(IVector<3>(1, 2, 3) - IVector<3>(10, 20, 30), IVector<3>(-9, -18, -27));
  EXPECT_EQ(-IVector<2>(4, -5), IVector<2>(-4, 5));
  EXPECT_EQ(+IVector<2>(4, -5), IVector<2>(4, -5));
}

TEST(IVectorArithmetic, WrapsAtIntLimits) {
  struct Case {
    const char* what;
    IVector<2> got, want;
  };
  const Case cases[] = {
      {"max + 1", IVector<2>(INT_MAX, 0) + IVector<2>(1, 0), IVector<2>(INT_MIN, 0)},
      {"min - 1", IVector<2>(0, INT_MIN) - IVector<2>(0, 1), IVector<2>(0, INT_MAX)},
      {"-min", -IVector<2>(INT_MIN, INT_MAX), IVector<2>(INT_MIN, -INT_MAX)},
      {"min * -1", IVector<2>(INT_MIN, 1) * -1, IVector<2>(INT_MIN, -1)},
      {"2^16 * 2^16", IVector<2>(65536, 65537) * 65536, IVector<2>(0, 65536)},
      {"max * 2", IVector<2>(INT_MAX, INT_MIN) * 2, IVector<2>(-2, 0)},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    EXPECT_EQ(c.got, c.want);
  }
  IVector<3> v(INT_MAX, INT_MIN, 7);
  v += IVector<3>(1, 0, 0);
  v -= IVector<3>(0, 1, 0);
  v *= 3;
  EXPECT_EQ(v, IVector<3>(INT_MIN, INT_MAX - 2, 21));
}

TEST(IVectorArithmetic, CompoundAssignmentReturnsConstReferenceToItself) {
  IVector<2> v(1, 1);
  static_assert(std::is_same_v<decltype(v += v), const IVector<2>&>);
  static_assert(std::is_same_v<decltype(v -= v), const IVector<2>&>);
  static_assert(std::is_same_v<decltype(v *= 2), const IVector<2>&>);
  EXPECT_EQ(&(v *= 2), &v);
}

TEST(IPointArithmetic, MovesByVectorsAndWraps) {
  IPoint<2> p(INT_MAX, 5);
  p += IVector<2>(1, -6);
  EXPECT_EQ(p, IPoint<2>(INT_MIN, -1));
  p -= IVector<2>(1, 0);
  EXPECT_EQ(p, IPoint<2>(INT_MAX, -1));
  EXPECT_EQ(IPoint<3>(1, 2, 3) + IVector<3>(1, 1, 1), IPoint<3>(2, 3, 4));
  EXPECT_EQ(IPoint<3>(1, 2, 3) - IPoint<3>(4, 4, 4), IVector<3>(-3, -2, -1));
  EXPECT_EQ(IPoint<2>(INT_MIN, 0) - IPoint<2>(1, 0), IVector<2>(INT_MAX, 0));
}

TEST(IVectorText, UsesStreamIntFormattingWithoutSpaces) {
  EXPECT_EQ(text(IVector<2>(1, -2)), L"(1,-2)");
  EXPECT_EQ(text(IPoint<3>(INT_MIN, 0, INT_MAX)), L"(-2147483648,0,2147483647)");
  std::wostringstream os;
  os << std::hex << IPoint<2>(255, 16);
  EXPECT_EQ(os.str(), L"(ff,10)");
}

// ---------------------------------------------------------------- IExtent

TEST(IExtentSentinels, HaveExactIntLimits) {
  const IExtent<3>& none = IExtent<3>::nothing();
  const IExtent<3>& all = IExtent<3>::everything();
  for (int k = 0; k < 3; ++k) {
    SCOPED_TRACE(k);
    EXPECT_EQ(none.lo(k), 2147483647);
    EXPECT_EQ(none.hi(k), -2147483647 - 1);
    EXPECT_EQ(all.lo(k), -2147483647 - 1);
    EXPECT_EQ(all.hi(k), 2147483647);
  }
  EXPECT_EQ(IExtent<3>(), none);
  EXPECT_TRUE(none.degenerate());
  EXPECT_FALSE(all.degenerate());
  EXPECT_TRUE(IExtent<2>::everything().contains(IPoint<2>(INT_MIN, INT_MAX)));
  EXPECT_FALSE(IExtent<2>::nothing().contains(IPoint<2>(0, 0)));
}

TEST(IExtentGrowth, FirstPointGivesExactlyThatPoint) {
  const IExtent<2> e = IExtent<2>() + IPoint<2>(3, 4);
  EXPECT_EQ(e.lo(), IPoint<2>(3, 4));
  EXPECT_EQ(e.hi(), IPoint<2>(3, 4));
  EXPECT_FALSE(e.degenerate());
  EXPECT_TRUE(e.contains(IPoint<2>(3, 4)));
  EXPECT_EQ(text(e), L"(3,4):(3,4)");
}

TEST(IExtentGrowth, ReachesTheIntLimitsFromNothing) {
  IExtent<2> e;
  e += IPoint<2>(INT_MAX, INT_MIN);
  e += IPoint<2>(INT_MIN, INT_MAX);
  EXPECT_EQ(e, IExtent<2>::everything());
}

TEST(IExtentConstruction, CornersAreOrderedPerAxisButRowsAreTakenAsGiven) {
  const IExtent<3> e(IPoint<3>(5, 1, -2), IPoint<3>(2, 7, -9));
  EXPECT_EQ(e.lo(), IPoint<3>(2, 1, -9));
  EXPECT_EQ(e.hi(), IPoint<3>(5, 7, -2));
  const IExtent<2> raw = box(5, 1, 2, 7);
  EXPECT_EQ(raw.lo(), IPoint<2>(5, 1));
  EXPECT_TRUE(raw.degenerate());
  EXPECT_EQ(text(raw), L"degenerate");
  EXPECT_EQ(text(e), L"(2,1,-9):(5,7,-2)");
}

TEST(IExtentIntersection, DisjointGivesCanonicalEmpty) {
  const IExtent<2> e = box(0, 0, 1, 1) & box(2, 2, 3, 3);
  EXPECT_EQ(e, IExtent<2>::nothing());
  EXPECT_EQ(e.lo(0), INT_MAX);
  EXPECT_EQ(e.hi(1), INT_MIN);
  EXPECT_EQ(text(e), L"degenerate");
}

TEST(IExtentIntersection, EmptyXAxisEmptiesEveryAxis) {
  // y overlaps fully; only x is empty, yet y must come back as a sentinel too.
  EXPECT_EQ(box(0, 0, 1, 10) & box(5, 0, 6, 10), IExtent<2>::nothing());
  IExtent<3> e(IPoint<3>(0, 0, 0), IPoint<3>(4, 4, 4));
  e &= IExtent<3>(IPoint<3>(1, 5, 1), IPoint<3>(3, 9, 3));
  EXPECT_EQ(e, IExtent<3>::nothing());
}

TEST(IExtentIntersection, TouchingBoxesGiveFlatExtent) {
  const IExtent<2> e = box(0, 0, 1, 1) & box(1, 0, 2, 1);
  EXPECT_EQ(e, box(1, 0, 1, 1));
  EXPECT_FALSE(e.degenerate());
}

TEST(IExtentUnion, NothingIsIdentityAndResultIsNotNormalised) {
  const IExtent<2> a = box(-3, 2, 8, 5);
  EXPECT_EQ(a | IExtent<2>::nothing(), a);
  EXPECT_EQ(IExtent<2>::nothing() | a, a);
  // Both operands are empty (x, then y); their union is an ordinary box.
  const IExtent<2> emptyX = box(0, 0, -1, 10), emptyY = box(-10, 20, 10, 10);
  ASSERT_TRUE(emptyX.degenerate());
  ASSERT_TRUE(emptyY.degenerate());
  IExtent<2> u = emptyX;
  u |= emptyY;
  EXPECT_EQ(u, box(-10, 0, 10, 10));
  EXPECT_FALSE(u.degenerate());
}

TEST(IExtentContainment, EqualBoundsAreInsideButNotStrictlyInside) {
  const IExtent<2> a = box(0, 0, 1, 1);
  EXPECT_TRUE(a <= a);
  EXPECT_TRUE(a >= a);
  EXPECT_FALSE(a < a);
  EXPECT_FALSE(a > a);
  const IExtent<2> wider = box(0, 0, 2, 1);
  EXPECT_TRUE(a < wider);
  EXPECT_TRUE(wider > a);
  EXPECT_FALSE(wider <= a);
  EXPECT_TRUE(IExtent<2>::nothing() <= a);
  EXPECT_TRUE(a < IExtent<2>::everything());
  // Overlapping but neither inside the other.
  EXPECT_FALSE(box(0, 0, 2, 2) <= box(1, 1, 3, 3));
  EXPECT_FALSE(box(0, 0, 2, 2) >= box(1, 1, 3, 3));
}

}  // namespace
