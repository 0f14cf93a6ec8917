#include <qorcor14/geometry/extent.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <iomanip>
#include <limits>
#include <random>
#include <sstream>
#include <type_traits>
#include <vector>

namespace {

constexpr double kMax = 1.7976931348623157e308;
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
static_assert(kMax == std::numeric_limits<double>::max());

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

template <typename D>
class ExtentEveryDimension : public testing::Test {};
using Dims =
    testing::Types<std::integral_constant<int, 1>, std::integral_constant<int, 2>, std::integral_constant<int, 3>>;
TYPED_TEST_SUITE(ExtentEveryDimension, Dims);

TYPED_TEST(ExtentEveryDimension, SentinelsHoldTheLargestFiniteDoubleAndAreIdentities) {
  constexpr int N = TypeParam::value;
  const Extent<N>& none = Extent<N>::nothing();
  const Extent<N>& all = Extent<N>::everything();
  EXPECT_EQ(none, rows<N>({kMax, kMax, kMax}, {-kMax, -kMax, -kMax}));
  EXPECT_EQ(all, rows<N>({-kMax, -kMax, -kMax}, {kMax, kMax, kMax}));
  EXPECT_EQ(Extent<N>(), none);
  EXPECT_FALSE(none.contains(Point<N>::origin()));
  const Extent<N> a(pt<N>(-3, 2, 7), pt<N>(8, 5, 9));
  EXPECT_TRUE(none <= a);
  EXPECT_EQ(a | none, a);
  EXPECT_EQ(none | a, a);
  EXPECT_EQ(a & all, a);
  EXPECT_EQ(none.dilate(1e308), none);
}

TYPED_TEST(ExtentEveryDimension, GrowthFromNothingGivesThePointAndNaNLeavesItsAxis) {
  constexpr int N = TypeParam::value;
  Extent<N> e;
  e += pt<N>(kNaN, kNaN, kNaN);
  EXPECT_EQ(e, Extent<N>::nothing());
  e += pt<N>(1, 1, 1);
  EXPECT_EQ(e, rows<N>({1, 1, 1}, {1, 1, 1}));
  e += pt<N>(kNaN, 5, -5);
  EXPECT_EQ(e, rows<N>({1, 1, -5}, {1, 5, 1}));
}

// update() true must leave exactly the recomputed union, false a superset;
// small integers make ties common.
TYPED_TEST(ExtentEveryDimension, UpdateTrueLeavesExactlyTheRecomputedUnion) {
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

TEST(ExtentUpdate, VisitsEveryBoundAfterTheAnswerBecomesFalse) {
  // lo.x turns the answer false first; hi.x, lo.y, hi.y must still widen.
  Extent<2> all = box(0, 0, 10, 10);
  EXPECT_FALSE(all.update(box(0, 0, 1, 1), box(3, -2, 11, 12)));
  EXPECT_EQ(all, box(0, -2, 11, 12));
}

TEST(ExtentCorners, BitKSelectsHiOnAxisKAndPodRowsAreLoThenHi) {
  const Extent<3> e(Point<3>(10, 2, 30), Point<3>(1, 20, 3));  // corners in any order
  EXPECT_EQ(e.corner(0), Point<3>(1, 2, 3));
  EXPECT_EQ(e.corner(1), Point<3>(10, 2, 3));
  EXPECT_EQ(e.corner(6), Point<3>(1, 20, 30));
  EXPECT_EQ(e.corner(7), Point<3>(10, 20, 30));
  EXPECT_EQ(e.centre(), Point<3>(5.5, 11, 16.5));
  double r[2][2];
  box(4, 5, 1, 2).packToPod(r);  // degenerate, kept as given
  EXPECT_EQ(r[0][1], 5);
  EXPECT_EQ(r[1][0], 1);
}

TEST(ExtentIntersection, FirstEmptyAxisGivesCanonicalEmptyAndTouchingGivesFlat) {
  // Only x is empty; y and z overlap, yet every bound comes back a sentinel.
  Extent<3> e(Point<3>(0, 0, 0), Point<3>(4, 4, 4));
  e &= Extent<3>(Point<3>(5, 1, 1), Point<3>(6, 3, 3));
  EXPECT_EQ(e, Extent<3>::nothing());
  EXPECT_EQ(box(0, 0, 1, 10) & box(0, 11, 1, 12), Extent<2>::nothing());
  const Extent<2> flat = box(0, 0, 1, 1) & box(1, 0, 2, 1);
  EXPECT_EQ(flat, box(1, 0, 1, 1));
  EXPECT_FALSE(flat.degenerate());
}

TEST(ExtentUnion, IsNotNormalisedAndNeverTakesANaNBound) {
  const Extent<2> emptyX = box(0, 0, -1, 10), emptyY = box(-10, 20, 10, 10);
  ASSERT_TRUE(emptyX.degenerate());
  ASSERT_TRUE(emptyY.degenerate());
  EXPECT_EQ(emptyX | emptyY, box(-10, 0, 10, 10));
  EXPECT_EQ(box(0, 0, 1, 1) | box(kNaN, -1, kNaN, 2), box(0, -1, 1, 2));
}

TEST(ExtentDilate, WidensOrShrinksEverySide) {
  const Extent<2> unit = box(0, 0, 1, 1);
  EXPECT_EQ(unit.dilate(0.5), box(-0.5, -0.5, 1.5, 1.5));
  EXPECT_EQ(unit.dilate(-0.5), box(0.5, 0.5, 0.5, 0.5));
  EXPECT_EQ(box(0, 0, 10, 1).dilate(-0.6), Extent<2>::nothing());  // y alone empties
}

TEST(ExtentContainment, EqualBoundsAreInsideButNotStrictlyInside) {
  const Extent<2> a = box(0, 0, 1, 1), wider = box(0, 0, 2, 1);
  EXPECT_TRUE(a <= a && !(a < a) && a < wider && wider > a && wider >= a);
  EXPECT_FALSE(wider <= a);
  EXPECT_FALSE(box(0, 0, 2, 2) <= box(1, 1, 3, 3));
  // Point borders are inclusive and a NaN coordinate passes its axis.
  const Extent<2> b = box(0, 0, 1, 10);
  EXPECT_TRUE(b.contains(Point<2>(0, 10)));
  EXPECT_FALSE(b.contains(Point<2>(-1e-300, 5)));
  EXPECT_TRUE(b.contains(Point<2>(kNaN, 5)));
  EXPECT_FALSE(b.contains(Point<2>(kNaN, 11)));
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

TEST(ExtentText, CornersInPointFormWithStreamFormatting) {
  std::wostringstream os;
  os << box(0, 2, 1, 1) << L' ' << Extent<1>(Point<1>(), Point<1>()) + pt<1>(-2.5) << L' ' << std::setprecision(3)
     << box(0, 0, 1.0 / 3, 2);
  EXPECT_EQ(os.str(), L"degenerate (-2.5):(0) (0,0):(0.333,2)");
}

}  // namespace
