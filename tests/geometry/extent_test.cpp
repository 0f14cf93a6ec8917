#include <qorcor14/geometry/extent.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <random>
#include <sstream>
#include <string>
#include <type_traits>
#include <vector>

namespace {

constexpr double kMax = 1.7976931348623157e308;
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
static_assert(kMax == std::numeric_limits<double>::max());

template <typename T>
std::wstring text(const T& value) {
  std::wostringstream os;
  os << value;
  return os.str();
}

// The first N of three coordinates, so one table serves every dimension.
template <int N>
Point<N> pt(double x, double y = 0, double z = 0) {
  const double c[3] = {x, y, z};
  return Point<N>(c);
}

template <int N>
Extent<N> rows(const double (&lo)[3], const double (&hi)[3]) {
  double r[2][N];
  std::copy_n(lo, N, r[0]);
  std::copy_n(hi, N, r[1]);
  return Extent<N>(r);
}

Extent<2> box(double x0, double y0, double x1, double y1) {
  const double r[2][2] = {{x0, y0}, {x1, y1}};
  return Extent<2>(r);
}

using Dims = testing::Types<std::integral_constant<int, 1>, std::integral_constant<int, 2>,
                            std::integral_constant<int, 3>>;

#define EXTENT_TYPED_SUITE(name)                        \
  template <typename D>                                 \
  class name : public testing::Test {};                 \
  TYPED_TEST_SUITE(name, Dims)

// ---------------------------------------------------------------- every dimension

EXTENT_TYPED_SUITE(ExtentSentinels);

TYPED_TEST(ExtentSentinels, HoldTheLargestFiniteDoubleOnEveryAxis) {
  constexpr int N = TypeParam::value;
  const Extent<N>& none = Extent<N>::nothing();
  const Extent<N>& all = Extent<N>::everything();
  for (int k = 0; k < N; ++k) {
    SCOPED_TRACE(k);
    EXPECT_EQ(none.lo(k), kMax);
    EXPECT_EQ(none.hi(k), -kMax);
    EXPECT_EQ(all.lo(k), -kMax);
    EXPECT_EQ(all.hi(k), kMax);
  }
  EXPECT_EQ(Extent<N>(), none);
  EXPECT_TRUE(none.degenerate());
  EXPECT_FALSE(all.degenerate());
  EXPECT_TRUE(all.contains(pt<N>(1e300, -1e300, kMax)));
  EXPECT_FALSE(none.contains(Point<N>::origin()));
  EXPECT_TRUE(none < all);
  EXPECT_EQ(text(none), L"degenerate");
}

TYPED_TEST(ExtentSentinels, NothingIsInsideEveryBoxAndTheIdentityOfUnion) {
  constexpr int N = TypeParam::value;
  const Extent<N> a(pt<N>(-3, 2, 7), pt<N>(8, 5, 9));
  EXPECT_TRUE(Extent<N>::nothing() <= a);
  EXPECT_EQ(a | Extent<N>::nothing(), a);
  EXPECT_EQ(Extent<N>::nothing() | a, a);
  EXPECT_EQ(a & Extent<N>::everything(), a);
}

TYPED_TEST(ExtentSentinels, DilatingNothingByAnyModerateAmountGivesNothing) {
  constexpr int N = TypeParam::value;
  for (double d : {0.0, 1.0, -1.0, 1e300, -1e300, 1e308, -kMax}) {
    SCOPED_TRACE(d);
    EXPECT_EQ(Extent<N>::nothing().dilate(d), Extent<N>::nothing());
  }
}

EXTENT_TYPED_SUITE(ExtentGrowth);

TYPED_TEST(ExtentGrowth, FirstPointGivesExactlyThatPoint) {
  constexpr int N = TypeParam::value;
  const Point<N> p = pt<N>(3, 4, -5);
  const Extent<N> e = Extent<N>() + p;
  EXPECT_EQ(e.lo(), p);
  EXPECT_EQ(e.hi(), p);
  EXPECT_FALSE(e.degenerate());
  EXPECT_TRUE(e.contains(p));
}

TYPED_TEST(ExtentGrowth, NaNCoordinateLeavesItsAxisUnchanged) {
  constexpr int N = TypeParam::value;
  Extent<N> e;
  e += pt<N>(kNaN, kNaN, kNaN);
  EXPECT_EQ(e, Extent<N>::nothing());
  e += pt<N>(1, 1, 1);
  e += pt<N>(kNaN, 5, -5);
  EXPECT_EQ(e.lo(0), 1);
  EXPECT_EQ(e.hi(0), 1);
  const Extent<N> expected = rows<N>({1, 1, -5}, {1, 5, 1});
  EXPECT_EQ(e, expected);
}

TYPED_TEST(ExtentGrowth, RandomPointsGiveMinimumAndMaximumPerAxis) {
  constexpr int N = TypeParam::value;
  std::mt19937_64 rng(1234 + N);
  std::normal_distribution<double> g(0, 1e3);
  Extent<N> e;
  double lo[N], hi[N];
  std::fill_n(lo, N, std::numeric_limits<double>::infinity());
  std::fill_n(hi, N, -std::numeric_limits<double>::infinity());
  for (int i = 0; i < 2000; ++i) {
    double c[N];
    for (int k = 0; k < N; ++k) {
      c[k] = g(rng);
      lo[k] = std::min(lo[k], c[k]);
      hi[k] = std::max(hi[k], c[k]);
    }
    e += Point<N>(c);
  }
  EXPECT_EQ(e.lo(), Point<N>(lo));
  EXPECT_EQ(e.hi(), Point<N>(hi));
}

EXTENT_TYPED_SUITE(ExtentUpdate);

// Maintains the union of a few random parts through update() and checks it
// against a recomputation: true must leave exactly the union, false at least
// a superset of it. Small integer coordinates make ties (the >= cases) common.
TYPED_TEST(ExtentUpdate, TrueLeavesExactlyTheRecomputedUnion) {
  constexpr int N = TypeParam::value;
  std::mt19937 rng(99 + N);
  std::uniform_int_distribution<int> u(0, 12);
  const auto randomPart = [&] {
    double a[N], b[N];
    for (int k = 0; k < N; ++k) a[k] = u(rng), b[k] = u(rng);
    return Extent<N>(Point<N>(a), Point<N>(b));
  };
  std::vector<Extent<N>> parts;
  for (int i = 0; i < 4; ++i) parts.push_back(randomPart());
  const auto recompute = [&] {
    Extent<N> all;
    for (const Extent<N>& p : parts) all |= p;
    return all;
  };
  Extent<N> all = recompute();
  int exact = 0, inexact = 0;
  for (int step = 0; step < 3000; ++step) {
    const std::size_t j = static_cast<std::size_t>(u(rng)) % parts.size();
    const Extent<N> old = parts[j];
    parts[j] = randomPart();
    const bool ok = all.update(old, parts[j]);
    const Extent<N> truth = recompute();
    if (ok) {
      ++exact;
      ASSERT_EQ(all, truth) << "step " << step;
    } else {
      ++inexact;
      ASSERT_TRUE(truth <= all) << "step " << step;
      all = truth;
    }
  }
  EXPECT_GT(exact, 100);
  EXPECT_GT(inexact, 100);
}

EXTENT_TYPED_SUITE(ExtentCorners);

TYPED_TEST(ExtentCorners, BitKSelectsHiOnAxisK) {
  constexpr int N = TypeParam::value;
  const Extent<N> e(pt<N>(10, 2, 30), pt<N>(1, 20, 3));  // corners in any order
  for (unsigned i = 0; i < (1u << N); ++i) {
    SCOPED_TRACE(i);
    const Point<N> c = e.corner(i);
    for (int k = 0; k < N; ++k) EXPECT_EQ(c[k], (i >> k) & 1u ? e.hi(k) : e.lo(k));
    EXPECT_TRUE(e.contains(c));
  }
  EXPECT_EQ(e.corner(0), e.lo());
  EXPECT_EQ(e.corner((1u << N) - 1), e.hi());
  EXPECT_EQ(e.centre(), pt<N>(5.5, 11, 16.5));
}

TYPED_TEST(ExtentCorners, PodRowsRoundTripUnordered) {
  constexpr int N = TypeParam::value;
  const Extent<N> e = rows<N>({4, 5, 6}, {1, 2, 3});  // degenerate, kept as given
  double r[2][N];
  e.packToPod(r);
  for (int k = 0; k < N; ++k) {
    EXPECT_EQ(r[0][k], 4 + k);
    EXPECT_EQ(r[1][k], 1 + k);
  }
  EXPECT_EQ(Extent<N>(r), e);
  EXPECT_TRUE(e.degenerate());
}

// ---------------------------------------------------------------- intersection

TEST(ExtentIntersection, DisjointBoxesGiveCanonicalEmpty) {
  EXPECT_EQ(box(0, 0, 1, 1) & box(2, 2, 3, 3), Extent<2>::nothing());
}

TEST(ExtentIntersection, StopsAtFirstEmptyAxis) {
  // Only x is empty; y and z overlap, yet every bound comes back a sentinel.
  Extent<3> e(Point<3>(0, 0, 0), Point<3>(4, 4, 4));
  e &= Extent<3>(Point<3>(5, 1, 1), Point<3>(6, 3, 3));
  EXPECT_EQ(e, Extent<3>::nothing());
  EXPECT_EQ(e.lo(2), kMax);
  EXPECT_EQ(box(0, 0, 1, 10) & box(0, 11, 1, 12), Extent<2>::nothing());
}

TEST(ExtentIntersection, TouchingBoxesGiveFlatExtent) {
  const Extent<2> e = box(0, 0, 1, 1) & box(1, 0, 2, 1);
  EXPECT_EQ(e, box(1, 0, 1, 1));
  EXPECT_FALSE(e.degenerate());
  EXPECT_EQ(text(e), L"(1,0):(1,1)");
}

// ---------------------------------------------------------------- union

TEST(ExtentUnion, IsNotNormalised) {
  const Extent<2> emptyX = box(0, 0, -1, 10), emptyY = box(-10, 20, 10, 10);
  ASSERT_TRUE(emptyX.degenerate());
  ASSERT_TRUE(emptyY.degenerate());
  EXPECT_EQ(emptyX | emptyY, box(-10, 0, 10, 10));
}

TEST(ExtentUnion, NaNBoundIsNeverTaken) {
  const Extent<2> a = box(0, 0, 1, 1);
  EXPECT_EQ(a | box(kNaN, -1, kNaN, 2), box(0, -1, 1, 2));
}

// ---------------------------------------------------------------- dilation

TEST(ExtentDilate, WidensOrShrinksEverySide) {
  const Extent<2> unit = box(0, 0, 1, 1);
  EXPECT_EQ(unit.dilate(0.5), box(-0.5, -0.5, 1.5, 1.5));
  EXPECT_EQ(unit.dilate(-0.5), box(0.5, 0.5, 0.5, 0.5));
  EXPECT_EQ(unit.dilate(-0.6), Extent<2>::nothing());
  EXPECT_EQ(box(0, 0, 10, 1).dilate(-0.6), Extent<2>::nothing());  // y alone empties
  EXPECT_EQ(unit, box(0, 0, 1, 1));
}

// ---------------------------------------------------------------- containment

TEST(ExtentContainment, EqualBoundsAreInsideButNotStrictlyInside) {
  const Extent<2> a = box(0, 0, 1, 1);
  EXPECT_TRUE(a <= a);
  EXPECT_TRUE(a >= a);
  EXPECT_FALSE(a < a);
  EXPECT_FALSE(a > a);
  EXPECT_TRUE(a < box(0, 0, 2, 1));
  EXPECT_TRUE(box(0, 0, 2, 1) > a);
  EXPECT_FALSE(box(0, 0, 2, 1) <= a);
  EXPECT_FALSE(box(0, 0, 2, 2) <= box(1, 1, 3, 3));
  EXPECT_FALSE(box(0, 0, 2, 2) >= box(1, 1, 3, 3));
}

TEST(ExtentContainment, PointBordersAreInclusiveAndNaNPasses) {
  const Extent<2> a = box(0, 0, 1, 10);
  EXPECT_TRUE(a.contains(Point<2>(0, 10)));
  EXPECT_FALSE(a.contains(Point<2>(-1e-300, 5)));
  EXPECT_TRUE(a.contains(Point<2>(kNaN, 5)));
  EXPECT_FALSE(a.contains(Point<2>(kNaN, 11)));
  // The test is per axis, so even the empty extent lets an all-NaN point pass.
  EXPECT_TRUE(Extent<2>::nothing().contains(Point<2>(kNaN, kNaN)));
}

TEST(ExtentEquality, IsExactAndNaNBoundIsUnequal) {
  EXPECT_NE(box(0, 0, 1, 1), box(0, 0, 1, 1.0000000001));
  const Extent<2> n = box(0, 0, kNaN, 1);
  EXPECT_NE(n, n);
  // The NaN bound passes the containment test but differs from itself.
  EXPECT_TRUE(n < n);
}

// ---------------------------------------------------------------- incremental union

TEST(ExtentUpdate, FalseWhenDefiningPartMovesInward) {
  Extent<2> all = box(0, 0, 10, 10);
  EXPECT_FALSE(all.update(box(0, 0, 10, 5), box(1, 0, 9, 5)));
  EXPECT_EQ(all, box(0, 0, 10, 10));
}

TEST(ExtentUpdate, TrueAndWidenedWhenPartGrowsOutward) {
  Extent<2> all = box(0, 0, 10, 10);
  EXPECT_TRUE(all.update(box(2, 2, 4, 10), box(2, 2, 12, 10)));
  EXPECT_EQ(all, box(0, 0, 12, 10));
}

TEST(ExtentUpdate, VisitsEveryBoundAfterTheAnswerBecomesFalse) {
  // lo.x turns the answer false first; hi.x, lo.y, hi.y must still widen.
  Extent<2> all = box(0, 0, 10, 10);
  EXPECT_FALSE(all.update(box(0, 0, 1, 1), box(3, -2, 11, 12)));
  EXPECT_EQ(all, box(0, -2, 11, 12));
  Extent<3> all3(Point<3>(0, 0, 0), Point<3>(5, 5, 5));
  EXPECT_FALSE(all3.update(Extent<3>(Point<3>(0, 0, 0), Point<3>(5, 5, 5)),
                           Extent<3>(Point<3>(1, 1, 1), Point<3>(4, 4, 9))));
  EXPECT_EQ(all3.hi(2), 9);
}

// ---------------------------------------------------------------- text

TEST(ExtentText, CornersInPointFormWithStreamFormatting) {
  EXPECT_EQ(text(box(0, 0, 1, 1)), L"(0,0):(1,1)");
  EXPECT_EQ(text(box(0, 2, 1, 1)), L"degenerate");
  EXPECT_EQ(text(Extent<1>(Point<1>(), Point<1>()) + pt<1>(-2.5)), L"(-2.5):(0)");
  EXPECT_EQ(text(Extent<3>(Point<3>(0, 1, 2), Point<3>(3, 4, 5.5))), L"(0,1,2):(3,4,5.5)");
  std::wostringstream os;
  os.precision(3);
  os << box(0, 0, 1.0 / 3, 2);
  EXPECT_EQ(os.str(), L"(0,0):(0.333,2)");
}

}  // namespace
