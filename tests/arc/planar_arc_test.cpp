#include <qorcor14/arc.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <iomanip>
#include <random>
#include <sstream>
#include <string>
#include <tuple>
#include <type_traits>

namespace {

using QOR::Arc;

constexpr double kPi = 3.14159265358979323846;

static_assert(std::is_trivially_copyable_v<Arc<2>>);
static_assert(sizeof(Arc<2>) == 5 * sizeof(double));

Arc<2> randomArc(std::mt19937_64& rng) {
  std::uniform_real_distribution<double> coordinate(-100, 100), sweep(-350, 350), logScale(-5, 1);
  const Point<2> start(coordinate(rng), coordinate(rng));
  const Vector<2> chord = Vector<2>(coordinate(rng), coordinate(rng)) * std::pow(10.0, logScale(rng));
  return Arc<2>(start, std::tan(sweep(rng) * kPi / 720), start + chord);
}

std::wstring text(const Arc<2>& a, int precision = 17) {
  std::wostringstream os;
  os << std::setprecision(precision) << a;
  return os.str();
}

double scaleOf(const Arc<2>& a) { return std::max({std::fabs(a.start()[0]), std::fabs(a.start()[1]), a.radius()}); }

TEST(PlanarArc, HalfCircleOnTheXAxis) {
  const Arc<2> a(Point<2>(0, 0), 1, Point<2>(2, 0));
  EXPECT_EQ(a.centre(), Point<2>(1, 0));
  EXPECT_EQ(a.radius(), 1.0);
  EXPECT_EQ(a.midpoint(), Point<2>(1, -1));
  EXPECT_EQ(a.deviation(), 1.0);
  EXPECT_NEAR(a.length(), kPi, 1e-15);
  EXPECT_EQ(a.extent(), Extent<2>(Point<2>(0, -1), Point<2>(2, 0)));
  EXPECT_EQ(text(a, 6), L"(0,0)[1](2,0)");

  const Arc<2> b(Point<2>(0, 0), -1, Point<2>(2, 0));
  EXPECT_EQ(b.centre(), Point<2>(1, 0));
  EXPECT_EQ(b.midpoint(), Point<2>(1, 1));
  EXPECT_EQ(b.extent(), Extent<2>(Point<2>(0, 0), Point<2>(2, 1)));
  EXPECT_EQ(text(Arc<2>(Point<2>(-1.5, 1.0 / 3), -0.125, Point<2>(1e20, 2)), 3), L"(-1.5,0.333)[-0.125](1e+20,2)");
}

TEST(PlanarArc, StraightArcAnswersEverythingButCentreAndRadius) {
  const Arc<2> a(Point<2>(1, 1), Point<2>(4, 5));
  EXPECT_EQ(a.length(), 5.0);
  EXPECT_EQ(a.deviation(), 0.0);
  EXPECT_EQ(a.midpoint(), Point<2>(2.5, 3));
  EXPECT_EQ(a.extent(), Extent<2>(Point<2>(1, 1), Point<2>(4, 5)));
  EXPECT_FALSE(a.centre().isFinite());
  EXPECT_FALSE(std::isfinite(a.radius()));
  Point<2> p;
  Vector<2> d;
  for (const auto& [s, within, x, y] : {std::tuple(0.0, true, 1.0, 1.0), std::tuple(5.0, true, 4.0, 5.0),
                                        std::tuple(-5.0, false, -2.0, -3.0), std::tuple(10.0, false, 7.0, 9.0)}) {
    EXPECT_EQ(a.measureOff(s, p, d), within) << s;
    EXPECT_EQ(p, Point<2>(x, y)) << s;
    EXPECT_EQ(d, Vector<2>(0.6, 0.8)) << s;
  }
  for (double b : {0.0, 0.5}) {
    EXPECT_FALSE(Arc<2>(Point<2>(3, 3), b, Point<2>(3, 3)).measureOff(1, p, d)) << b;
    EXPECT_TRUE(p.isNaN() && d.isNaN()) << b;
  }
}

TEST(PlanarArc, MeasureOffIsTheSplitPointAndGoesOnAroundTheCircle) {
  std::mt19937_64 rng(11);
  for (int i = 0; i < 300; ++i) {
    const Arc<2> a = randomArc(rng);
    const Vector<2> d = a.end() - a.start(), right(d[1], -d[0]);
    const double r = a.radius(), tol = 1e-10 * scaleOf(a);
    for (double f : {-0.2, 0.0, 0.1, 0.5, 0.81, 1 - 1e-6, 1 + 1e-6, 1.3}) {
      SCOPED_TRACE(testing::Message() << text(a) << " f " << f);
      Point<2> p;
      Vector<2> tangent;
      EXPECT_EQ(a.measureOff(f * a.length(), p, tangent), f >= 0 && f < 1);
      if (f < 0 || f > 1) {
        EXPECT_NEAR((p - a.centre()).length(), r, tol);
        EXPECT_NEAR((p - a.start()).length(), 2 * r * std::fabs(std::sin(f * a.length() / (2 * r))), tol);
        continue;
      }
      double b1, offset, along, tOffset, tAlong, b2;
      QORArcSplit(2 * f - 1, a.bulge(), &b1, &offset, &along, &tOffset, &tAlong, &b2);
      EXPECT_NEAR((midpoint(a.start(), a.end()) + d * along + right * offset - p).length(), 0, tol);
      EXPECT_NEAR((d.unit() * tAlong + right.unit() * tOffset - tangent).length(), 0, 1e-10);
    }
  }
}

Extent<2> sweptBox(const Arc<2>& a) {
  Extent<2> box(a.start(), a.end());
  const Point<2> c = a.centre();
  const Point<2>& from = a.bulge() > 0 ? a.start() : a.end();
  const double sweep = std::fabs(4 * std::atan(a.bulge()));
  const double start = std::atan2(from[1] - c[1], from[0] - c[0]);
  for (int k = 0; k < 4; ++k) {
    const double along = std::fmod(k * kPi / 2 - start + 4 * kPi, 2 * kPi);
    if (along <= sweep) box += c + Vector<2>(std::cos(k * kPi / 2), std::sin(k * kPi / 2)) * a.radius();
  }
  return box;
}

TEST(PlanarArcExtent, IsTheSweptBoxUnlessBothEndsShareAQuadrant) {
  std::mt19937_64 rng(5);
  int checked = 0;
  for (int i = 0; i < 400; ++i) {
    const Arc<2> a = randomArc(rng);
    if ((a.start() - a.centre()).quadrant() == (a.end() - a.centre()).quadrant()) continue;
    SCOPED_TRACE(text(a));
    ++checked;
    const Extent<2> box = a.extent(), closed = sweptBox(a);
    EXPECT_TRUE(box <= closed.dilate(1e-12 * scaleOf(a)) && closed <= box.dilate(1e-12 * scaleOf(a)));
  }
  EXPECT_GT(checked, 250);
}

TEST(PlanarArcExtent, EndsInOneQuadrantGiveTheBoxOfTheEndsWhateverTheSweep) {
  const Point<2> at80(std::cos(80 * kPi / 180), std::sin(80 * kPi / 180));
  const Point<2> at10(std::cos(10 * kPi / 180), std::sin(10 * kPi / 180));
  const double longWay = std::tan(290 * kPi / 720), shortWay = std::tan(70 * kPi / 720);
  for (const Arc<2>& a : {Arc<2>(at80, longWay, at10), Arc<2>(at10, -longWay, at80), Arc<2>(at10, shortWay, at80)}) {
    EXPECT_EQ(a.extent(), Extent<2>(at80, at10)) << a.bulge();
  }
}

}  // namespace
