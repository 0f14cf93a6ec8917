#include <qorcor14/arc.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <iomanip>
#include <random>
#include <sstream>
#include <string>
#include <type_traits>
#include <utility>

namespace {

using QOR::Arc;

constexpr double kPi = 3.14159265358979323846;

static_assert(std::is_trivially_copyable_v<Arc<3>>);
static_assert(sizeof(Arc<3>) == 10 * sizeof(double));

std::wstring text(const Arc<3>& a, int precision = 17) {
  std::wostringstream os;
  os << std::setprecision(precision) << a;
  return os.str();
}

Vector<3> randomVector(std::mt19937_64& rng) {
  std::uniform_real_distribution<double> coordinate(-100, 100);
  return Vector<3>(coordinate(rng), coordinate(rng), coordinate(rng));
}

TEST(SpatialArc, AxisIsNormalisedAndIsThePlanesNormal) {
  EXPECT_EQ(text(Arc<3>(), 6), L"(0,0,0)[0 (0,0,1)](0,0,0)");
  const Arc<3> a(Point<3>(1, 2, 3), -0.5, Vector<3>(0, 3, 4), Point<3>(4, 5, 6));
  EXPECT_EQ(text(a, 6), L"(1,2,3)[-0.5 (0,0.6,0.8)](4,5,6)");
  EXPECT_EQ(a.plane().pointOnPlane(), a.start());
  EXPECT_NEAR((a.plane().normal() - a.axis()).length(), 0, 1e-16);
  EXPECT_TRUE(Arc<3>(Point<3>(), 1, Vector<3>(), Point<3>(1, 0, 0)).axis().isNaN());
}

TEST(SpatialArc, StraightArcAxisIsPerpendicularToTheChordByThreeRules) {
  const std::pair<Point<3>, Vector<3>> endAndAxis[] = {
      {Point<3>(0, 3, 4), Vector<3>(0, 0.8, -0.6)},  // leans towards y and z: (0, dz, -dy)
      {Point<3>(3, 0, 4), Vector<3>(-0.8, 0, 0.6)},  // leans towards x: (-dz, 0, dx)
      {Point<3>(0, 0, 5), Vector<3>(-1, 0, 0)},      // a tie takes the second rule
      {Point<3>(2, 2, 0), Vector<3>(0, 0, 1)},       // so does a tie in x and y
      {Point<3>(0, 0, 0), Vector<3>(0, 0, 1)},       // start equals end
  };
  for (int i = 0; i < 5; ++i) EXPECT_EQ(Arc<3>(Point<3>(), endAndAxis[i].first).axis(), endAndAxis[i].second) << i;
}

TEST(SpatialArc, StraightArcHasNoCentreAndAZeroChordGivesNaN) {
  const Arc<3> a(Point<3>(1, 1, 1), Point<3>(4, 5, 1));
  EXPECT_FALSE(a.centre().isFinite());
  EXPECT_FALSE(std::isfinite(a.radius()));
  EXPECT_EQ(a.extent(), Extent<3>(a.start(), a.end()));
  Point<3> p;
  Vector<3> d;
  EXPECT_FALSE(Arc<3>(Point<3>(1, 1, 1), 0.5, Vector<3>(0, 0, 1), Point<3>(1, 1, 1)).measureOff(0, p, d));
  EXPECT_TRUE(p.isNaN() && d.isNaN());
}

TEST(SpatialArc, InAnyPlaneAgreesWithThePlanarArc) {
  std::mt19937_64 rng(7);
  std::uniform_real_distribution<double> coordinate(-100, 100), sweep(-350, 350);
  for (int i = 0; i < 2000; ++i) {
    const Vector<3> e1 = randomVector(rng).unit(), e2 = cross(randomVector(rng), e1).unit();
    const Point<3> origin = Point<3>::origin() + randomVector(rng);
    const auto lift = [&](const Point<2>& p) { return origin + e1 * p[0] + e2 * p[1]; };
    const Point<2> s(coordinate(rng), coordinate(rng)), e(coordinate(rng), coordinate(rng));
    const double b = i % 10 == 1 ? 0 : std::tan(sweep(rng) * kPi / 720);
    const Arc<2> a2(s, b, e);
    const Arc<3> a3(lift(s), b, cross(e1, e2), lift(e));
    SCOPED_TRACE(text(a3));
    const double tol = std::max(100.0, b == 0 ? 0 : a2.radius()) * 1e-12;
    EXPECT_NEAR(a3.length(), a2.length(), tol);
    EXPECT_NEAR(a3.deviation(), a2.deviation(), tol);
    EXPECT_NEAR((a3.midpoint() - lift(a2.midpoint())).length(), 0, tol);
    if (b != 0) {
      EXPECT_NEAR((a3.centre() - lift(a2.centre())).length(), 0, tol);
      EXPECT_NEAR(a3.radius(), a2.radius(), tol);
    }
    for (double f : {-0.25, 0.0, 0.3, 0.999, 1.5}) {
      Point<2> p2;
      Vector<2> d2;
      Point<3> p3;
      Vector<3> d3;
      EXPECT_EQ(a3.measureOff(f * a3.length(), p3, d3), a2.measureOff(f * a2.length(), p2, d2)) << f;
      EXPECT_NEAR((p3 - lift(p2)).length(), 0, tol) << f;
      EXPECT_NEAR((d3 - e1 * d2[0] - e2 * d2[1]).length(), 0, 1e-11) << f;
    }
  }
}

TEST(SpatialArcExtent, ContainsAndTouchesDenselySampledPoints) {
  std::mt19937_64 rng(5);
  std::uniform_real_distribution<double> sweep(-359, 359), logScale(-2, 2);
  constexpr int kSamples = 4000;
  for (int i = 0; i < 300; ++i) {
    const Vector<3> axis = i % 25 == 0 ? Vector<3>(0, i % 2, 1 - i % 2) : randomVector(rng);
    const Vector<3> chord = i % 25 == 0 ? Vector<3>(4, 0, 0) : cross(axis, randomVector(rng)).unit();
    const Point<3> start = Point<3>::origin() + randomVector(rng);
    const double bulge = i % 25 == 0 ? 2.0 : std::tan(sweep(rng) * kPi / 720);
    const Arc<3> a(start, bulge, axis, start + chord * std::pow(10.0, logScale(rng)));
    SCOPED_TRACE(text(a));
    Extent<3> samples(a.start(), a.end());
    Point<3> p;
    Vector<3> d;
    for (int k = 0; k <= kSamples; ++k) {
      a.measureOff(a.length() * k / kSamples, p, d);
      samples += p;
    }
    const double R = a.radius(), step = a.length() / kSamples / R, slack = 1e-12 * std::max(100.0, R);
    EXPECT_TRUE(samples <= a.extent().dilate(slack));
    EXPECT_TRUE(a.extent() <= samples.dilate(R * step * step / 8 + slack));
  }
}

TEST(SpatialArcBisect, HalfCircleGivesTwoQuarterCirclesIntoAnyTarget) {
  const Arc<3> a(Point<3>(0, 0, 0), 1, Vector<3>(0, 2, 0), Point<3>(2, 0, 0));
  Arc<3> first, second;
  a.bisect(first, second);
  EXPECT_EQ(text(first), L"(0,0,0)[0.41421356237309515 (0,1,0)](1,0,1)");
  EXPECT_EQ(text(second), L"(1,0,1)[0.41421356237309515 (0,1,0)](2,0,0)");
  Arc<3> self = a, other;
  self.bisect(self, other);
  EXPECT_EQ(text(self), text(first));
  EXPECT_EQ(text(other), text(second));
  Arc<3>(Point<3>(0, 0, 0), Point<3>(4, 0, 0)).bisect(first, second);
  EXPECT_EQ(first.bulge(), 0.0);
  EXPECT_EQ(first.end(), Point<3>(2, 0, 0));
}

TEST(SpatialArcBisect, HalfBulgeIsTanOfAnEighthOnBothSidesOfTheSeriesSwitch) {
  for (double b : {1e-9, -1e-4, 0.003, 0.00316227, 0.0031623, -0.0031623, 0.01, 0.5, -3.0, 40.0}) {
    SCOPED_TRACE(b);
    Arc<3> first, second;
    Arc<3>(Point<3>(), b, Vector<3>(0, 0, 1), Point<3>(1, 0, 0)).bisect(first, second);
    const double h = static_cast<double>(std::tan(std::atan(static_cast<long double>(b)) / 2));
    const double rel = b * b <= 1e-5 ? 4e-16 : 4e-16 + 3e-16 / (b * b);
    EXPECT_NEAR(first.bulge(), h, std::fabs(h) * rel);
  }
}

}  // namespace
