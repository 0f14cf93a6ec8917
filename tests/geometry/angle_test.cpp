#include <qorcor14/geometry/angle.h>

#include <gtest/gtest.h>

#include <cmath>
#include <iomanip>
#include <sstream>

namespace {

TEST(AngleConstruction, ReadsBackAcrossTheSeamAndLeavesZeroUnguarded) {
  EXPECT_EQ(Angle::degrees(180).degrees(), 180.0);
  EXPECT_EQ(Angle::degrees(-180).degrees(), -180.0);
  EXPECT_EQ(Angle::cosSin(3, 4).cos(), 0.6);
  EXPECT_EQ(Angle::cosSin(3, 4).sin(), 0.8);
  EXPECT_FALSE(Angle::cosSin(0, 0).isFinite());
  // The stored cosine of 90 degrees is about 6.1e-17, not 0.
  EXPECT_TRUE(std::isfinite(Angle::degrees(90).tan()));
  EXPECT_GT(Angle::degrees(90).tan(), 1e15);
}

TEST(AngleArithmetic, SumsDriftUntilAMultipleRenormalises) {
  Angle sum;
  for (int i = 0; i < 1000; ++i) sum += Angle::degrees(0.7);
  const Angle once = sum * 1;
  EXPECT_NEAR(once.cos() * once.cos() + once.sin() * once.sin(), 1.0, 4e-16);
  EXPECT_NEAR(sum.degrees(), once.degrees(), 1e-9);
  const Angle a = Angle::degrees(37), b = Angle::degrees(-121);
  EXPECT_EQ((-a).sin(), -a.sin());
  EXPECT_TRUE(closerThanDegrees((a + b) - b, a, 1e-12));
  EXPECT_TRUE(closerThanDegrees(a - b, Angle::degrees(158), 1e-12));
  EXPECT_NEAR((Angle::degrees(170) * 3).degrees(), 150.0, 1e-12);  // 510 wrapped
  Angle z = Angle::degrees(20);
  EXPECT_EQ(z *= 0, Angle());
}

TEST(AngleEquality, IsExactIgnoresZeroSignAndFailsOnNaN) {
  EXPECT_EQ(Angle(), -Angle());  // sine -0.0 against +0.0
  const Angle n = Angle::cosSin(0, 0);
  EXPECT_FALSE(n == n);
  EXPECT_TRUE(n != n);
  EXPECT_NE(Angle::degrees(1), Angle::degrees(1) + Angle::degrees(1e-10));
}

TEST(AngleTolerance, SeamIsCrossedTheShortWayAndTheBoundIsStrict) {
  EXPECT_TRUE(closerThanDegrees(Angle::degrees(179), Angle::degrees(-179), 3));
  EXPECT_FALSE(closerThanDegrees(Angle::degrees(179), Angle::degrees(-179), 1.5));
  EXPECT_FALSE(closerThanRadians(Angle::degrees(45), Angle::degrees(45), 0));  // not even a == b
  const Angle a = Angle::degrees(33.3), b = Angle::degrees(-12.1);
  const double deg = std::fabs((a - b).degrees()), rad = std::fabs((a - b).radians());
  EXPECT_FALSE(closerThanDegrees(a, b, deg));
  EXPECT_TRUE(closerThanDegrees(a, b, std::nextafter(deg, 1e9)));
  EXPECT_FALSE(closerThanRadians(a, b, rad));
  EXPECT_TRUE(closerThanRadians(a, b, std::nextafter(rad, 1e9)));
}

TEST(AngleText, WritesDegreesWithTheStreamsFormatting) {
  std::wostringstream os;
  os << Angle() << L' ' << Angle::degrees(12.345678) << L' ' << std::setprecision(3) << Angle::degrees(12.345678)
     << L' ' << std::fixed << std::setprecision(2) << Angle::degrees(-180);
  EXPECT_EQ(os.str(), L"0 12.3457 12.3 -180.00");
}

}  // namespace
