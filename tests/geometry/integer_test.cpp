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

// The compound assignments return a const reference.
static_assert(std::is_same_v<decltype(std::declval<IVector<2>&>() += IVector<2>()), const IVector<2>&>);
static_assert(std::is_same_v<decltype(std::declval<IVector<3>&>() -= IVector<3>()), const IVector<3>&>);
static_assert(std::is_same_v<decltype(std::declval<IVector<2>&>() *= 2), const IVector<2>&>);

TEST(IVectorIndex, OutOfRangeIndexGivesTheLastComponentAndPointersReadInOrder) {
  for (int i : {2, -1, INT_MAX, INT_MIN}) {
    SCOPED_TRACE(i);
    EXPECT_EQ(IVector<2>(5, 7)[i], 7);
    EXPECT_EQ(IPoint<2>(5, 7)[i], 7);
    EXPECT_EQ(IVector<3>(1, 2, 3)[i], 3);
    EXPECT_EQ(IPoint<3>(1, 2, 3)[i], 3);
  }
  const int c[3] = {-4, 9, 11};
  EXPECT_EQ(IVector<3>(c), IVector<3>(-4, 9, 11));
  EXPECT_EQ(IPoint<2>(c), IPoint<2>(-4, 9));
  EXPECT_EQ(IPoint<3>::origin(), IPoint<3>(0, 0, 0));
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

TEST(IVectorText, UsesStreamIntFormattingWithoutSpaces) {
  EXPECT_EQ(text(IVector<2>(1, -2)), L"(1,-2)");
  EXPECT_EQ(text(IPoint<3>(INT_MIN, 0, INT_MAX)), L"(-2147483648,0,2147483647)");
  std::wostringstream os;
  os << std::hex << IPoint<2>(255, 16);
  EXPECT_EQ(os.str(), L"(ff,10)");
}

TEST(IExtentSentinels, HaveExactIntLimitsAndGrowToThePoint) {
  EXPECT_EQ(IExtent<2>::nothing(), box(INT_MAX, INT_MAX, INT_MIN, INT_MIN));
  EXPECT_EQ(IExtent<2>::everything(), box(INT_MIN, INT_MIN, INT_MAX, INT_MAX));
  EXPECT_EQ(IExtent<3>(), IExtent<3>::nothing());
  EXPECT_FALSE(IExtent<2>::nothing().contains(IPoint<2>(0, 0)));
  EXPECT_EQ(text(IExtent<2>() + IPoint<2>(3, 4)), L"(3,4):(3,4)");
  IExtent<2> e;
  e += IPoint<2>(INT_MAX, INT_MIN);
  e += IPoint<2>(INT_MIN, INT_MAX);
  EXPECT_EQ(e, IExtent<2>::everything());
  EXPECT_TRUE(e.contains(IPoint<2>(INT_MIN, INT_MAX)));
  EXPECT_EQ(IPoint<2>(INT_MIN, 0) - IPoint<2>(1, 0), IVector<2>(INT_MAX, 0));
}

TEST(IExtentConstruction, CornersAreOrderedPerAxisButRowsAreTakenAsGiven) {
  const IExtent<3> e(IPoint<3>(5, 1, -2), IPoint<3>(2, 7, -9));
  EXPECT_EQ(text(e), L"(2,1,-9):(5,7,-2)");
  const IExtent<2> raw = box(5, 1, 2, 7);
  EXPECT_EQ(raw.lo(), IPoint<2>(5, 1));
  EXPECT_EQ(text(raw), L"degenerate");
}

TEST(IExtentIntersection, FirstEmptyAxisGivesCanonicalEmptyAndTouchingGivesFlat) {
  // y overlaps fully; only x is empty, yet y must come back as a sentinel too.
  EXPECT_EQ(box(0, 0, 1, 10) & box(5, 0, 6, 10), IExtent<2>::nothing());
  IExtent<3> e(IPoint<3>(0, 0, 0), IPoint<3>(4, 4, 4));
  e &= IExtent<3>(IPoint<3>(1, 5, 1), IPoint<3>(3, 9, 3));
  EXPECT_EQ(e, IExtent<3>::nothing());
  const IExtent<2> flat = box(0, 0, 1, 1) & box(1, 0, 2, 1);
  EXPECT_EQ(flat, box(1, 0, 1, 1));
  EXPECT_FALSE(flat.degenerate());
}

TEST(IExtentUnion, NothingIsIdentityAndResultIsNotNormalised) {
  const IExtent<2> a = box(-3, 2, 8, 5);
  EXPECT_EQ(a | IExtent<2>::nothing(), a);
  EXPECT_EQ(IExtent<2>::nothing() | a, a);
  // Both operands are empty (x, then y); their union is an ordinary box.
  const IExtent<2> emptyX = box(0, 0, -1, 10), emptyY = box(-10, 20, 10, 10);
  ASSERT_TRUE(emptyX.degenerate());
  ASSERT_TRUE(emptyY.degenerate());
  EXPECT_EQ(emptyX | emptyY, box(-10, 0, 10, 10));
  const IExtent<2> wider = box(-3, 2, 9, 5);
  EXPECT_TRUE(a <= a && !(a < a) && a < wider && wider >= a && !(wider <= a));
}

}  // namespace
