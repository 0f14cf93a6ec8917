#include <qorcor14/arc/flat.h>

#include "reference.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <utility>
#include <vector>

namespace {

constexpr double kEps = std::numeric_limits<double>::epsilon();
constexpr double kPi = 3.14159265358979323846;

std::vector<double> sweepBulges() {
  std::mt19937_64 rng(20240611);
  std::uniform_real_distribution<double> exponent(-8, 8);
  std::vector<double> bulges;
  for (int i = 0; i < 4000; ++i) bulges.push_back((i % 2 ? 1 : -1) * std::pow(10.0, exponent(rng)));
  return bulges;
}

void split(double t, double b, double out[6]) {
  QORArcSplit(t, b, &out[0], &out[1], &out[2], &out[3], &out[4], &out[5]);
}

double relativeError(double got, arcref::Real want) { return static_cast<double>(std::fabs((got - want) / want)); }

TEST(FlatArcAccuracy, LengthAreaAndCoGStayWithinAFewUlpsFromTinyToHugeBulges) {
  for (double b : sweepBulges()) {
    SCOPED_TRACE(b);
    const double m = std::fabs(b);
    EXPECT_LE(relativeError(QORArcLength(b), arcref::length(b)), 2 * kEps);
    EXPECT_LE(relativeError(QORArcSegmentArea(b), arcref::area(b)), (m > 0.2 && m < 1 ? 24 : 3) * kEps);
    EXPECT_LE(relativeError(QORArcSegmentCoG(b), arcref::cog(b)), (m > 0.3 && m < 1 ? 80 : 3) * kEps);
    EXPECT_EQ(QORArcLength(-b), QORArcLength(b));
    EXPECT_EQ(QORArcSegmentArea(-b), -QORArcSegmentArea(b));
    EXPECT_EQ(QORArcSegmentCoG(-b), -QORArcSegmentCoG(b));
  }
}

TEST(FlatArcAccuracy, SplitMatchesThePointOnTheCircleAtTheSplitAngle) {
  std::mt19937_64 rng(7);
  std::uniform_real_distribution<double> anyT(-1, 1);
  for (double b : sweepBulges()) {
    const double big = std::max(1.0, std::fabs(b));
    const arcref::Real radius = std::fabs(b) > 1 ? std::fabs(1 / (2 * arcref::half(b).sh)) : 0;
    for (double t : {-1.0, -0.999, -0.3, 0.0, 1e-3, 0.9, 1.0, anyT(rng), anyT(rng)}) {
      SCOPED_TRACE(testing::Message() << "b " << b << ", t " << t);
      double out[6];
      split(t, b, out);
      const std::array<arcref::Real, 6> want = arcref::split(t, b);
      const arcref::Real scale[6] = {
          std::fabs(want[0]) * big + 1e-300, std::fabs(b) / 2 + radius, std::fabs(want[2]) + radius + 1e-300, 1, 1,
          std::fabs(want[5]) * big + 1e-300};
      for (int i = 0; i < 6; ++i) EXPECT_LE(std::fabs(out[i] - want[i]) / scale[i], (i == 1 ? 96 : 3) * kEps) << i;
      if (t == 0) {
        EXPECT_EQ(out[0], out[5]);
        EXPECT_EQ(out[2], 0.0);
        EXPECT_EQ(out[3], 0.0);
        EXPECT_EQ(out[4], 1.0);
      }
    }
  }
}

std::pair<double, double> crossing(double limit, bool strict) {
  const double up = std::numeric_limits<double>::infinity();
  const auto inside = [&](double b) { return strict ? b * b < limit : b * b <= limit; };
  double b = std::sqrt(limit);
  while (!inside(b)) b = std::nextafter(b, 0.0);
  while (inside(std::nextafter(b, up))) b = std::nextafter(b, up);
  return {b, std::nextafter(b, up)};
}

TEST(FlatArcBranches, EverySwitchIsContinuousAcrossOneUlp) {
  const struct {
    double (*f)(double);
    double limit, ulps;
  } switches[] = {
      {QORArcLength, 1e-6, 4}, {QORArcLength, 25, 4}, {QORArcSegmentArea, 0.04, 8}, {QORArcSegmentCoG, 0.125, 16}};
  for (const auto& s : switches) {
    const auto [below, above] = crossing(s.limit, false);
    EXPECT_LE(std::fabs(s.f(above) - s.f(below)) / std::fabs(s.f(below)), s.ulps * kEps) << "b2 = " << s.limit;
  }
  for (double limit : {kEps, 0.01}) {
    const auto [below, above] = crossing(limit, true);
    const double scale[6] = {above, above / 2, 0.5, 1, 1, above};
    for (double t : {-1.0, -0.9, -0.5, 0.0, 0.25, 0.7, 0.999, 1.0}) {
      double lo[6], hi[6];
      split(t, below, lo);
      split(t, above, hi);
      for (int i = 0; i < 6; ++i)
        EXPECT_LE(std::fabs(hi[i] - lo[i]) / scale[i], 128 * kEps)
            << "b2 = " << limit << ", t " << t << ", output " << i;
    }
  }
}

TEST(FlatArcValues, KnownShapesAndTheComplementaryArc) {
  EXPECT_EQ(QORArcLength(-0.0), 1.0);
  EXPECT_EQ(QORArcSegmentArea(0), 0.0);
  EXPECT_EQ(QORArcSegmentCoG(0), 0.0);
  EXPECT_NEAR(QORArcLength(1), kPi / 2, kEps);
  EXPECT_NEAR(QORArcSegmentArea(1), kPi / 8, kEps);
  EXPECT_NEAR(QORArcSegmentCoG(1), 2 / (3 * kPi), kEps);
  EXPECT_EQ(QORArcLength(10), 101.0 / 40 * 6.283185307179586 - QORArcLength(0.1));
  EXPECT_EQ(QORArcSegmentArea(4e-324), 0.0);
}

TEST(FlatArcValues, NaNGoesThroughEveryFunction) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  for (double v : {QORArcLength(nan), QORArcSegmentArea(nan), QORArcSegmentCoG(nan)}) EXPECT_TRUE(std::isnan(v));
  double out[12];
  split(0.5, nan, out);
  split(nan, 0.5, out + 6);
  for (double v : out) EXPECT_TRUE(std::isnan(v));
}

}  // namespace
