#include <qorcor14/geometry/vector.h>

#include <gtest/gtest.h>

#include <cmath>
#include <iomanip>
#include <limits>
#include <sstream>
#include <type_traits>

namespace {

constexpr double inf = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();

// Compound assignment on Vector<2> alone returns a const reference.
static_assert(std::is_same_v<decltype(std::declval<Vector<2>&>() += Vector<2>()), const Vector<2>&>);
static_assert(std::is_same_v<decltype(std::declval<Vector<3>&>() /= 2.0), Vector<3>&>);
static_assert(std::is_same_v<decltype(std::declval<Point<2>&>() -= Vector<2>()), Point<2>&>);
// A vector never becomes a point outside the mixed operators.
static_assert(!std::is_constructible_v<Point<2>, Vector<2>>);

TEST(VectorConstruction, PodKeepsComponentOrderAndOutOfRangeIndexGivesTheLast) {
  const double in[4] = {1.5, -2, 3e300, 7};
  double out[4] = {9, 9, 9, 9};
  Vector<4>(in).packToPod(out);
  for (int i = 0; i < 4; ++i) EXPECT_EQ(out[i], in[i]);
  EXPECT_EQ(Point<3>(in), Point<3>(1.5, -2, 3e300));
  EXPECT_EQ(Point<3>(), Point<3>::origin());
  for (int i : {2, 9, -1}) {
    SCOPED_TRACE(i);
    EXPECT_EQ(Vector<2>(5, 7)[i], 7.0);
    EXPECT_EQ(Point<2>(5, 7)[i], 7.0);
    EXPECT_EQ(Vector<3>(1, 2, 3)[i], 3.0);
    EXPECT_EQ(Point<3>(1, 2, 3)[i], 3.0);
  }
}

TEST(VectorArithmetic, UnitAndDivisionLeaveZeroUnguarded) {
  EXPECT_EQ(Vector<2>(3, 4).unit(), Vector<2>(0.6, 0.8));
  EXPECT_TRUE(Vector<3>().unit().isNaN());
  EXPECT_TRUE((Vector<3>(1, -1, 0) / 0).isNaN());  // only z is NaN
  EXPECT_FALSE(Vector<3>(1, inf, 0).isNaN());
  EXPECT_FALSE(Vector<3>(1, inf, 0).isFinite());
  Vector<3> a(1, 2, 3);
  (a += Vector<3>(0.5, -4, 8)) *= 2;
  EXPECT_EQ(-a + a * 0.5 - Vector<3>(1, 1, 1), Vector<3>(-2.5, 1, -12));
}

TEST(VectorArithmetic, DotSumsInComponentOrderAndCrossFollowsRightHand) {
  EXPECT_EQ(dot(Vector<3>(1e308, 1e308, -1e308), Vector<3>(1, 1, 1)), inf);  // x + y overflows first
  EXPECT_EQ(cross(Vector<2>(1, 0), Vector<2>(0, 1)), 1.0);
  EXPECT_EQ(cross(Vector<3>(1, 2, 3), Vector<3>(4, 5, 6)), Vector<3>(-3, 6, -3));
  const Vector<2> p = Vector<2>(1, 0).perpendicular();
  EXPECT_EQ(p, Vector<2>(0, 1));
  EXPECT_TRUE(std::signbit(p[0]));
}

TEST(VectorPlane, QuadrantCountsZeroAsPositiveAndNaNAsNegative) {
  struct Case {
    double x, y;
    int q;
  };
  const Case cases[] = {{0, 0, 1},  {-0.0, -0.0, 1}, {-1, 0, 2},  {-1, -1, 3},
                        {0, -1, 4}, {nan, 1, 2},     {1, nan, 4}, {nan, nan, 3}};
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << c.x << "," << c.y);
    EXPECT_EQ(Vector<2>(c.x, c.y).quadrant(), c.q);
  }
}

TEST(VectorPlane, ThetaUsesTheUnitDivisionAndPolarFormInvertsIt) {
  const Vector<2> v(-2.5, 7.25);
  EXPECT_EQ(Vector<2>(1, v.theta()), v.unit());
  EXPECT_NEAR(Vector<2>(v.length(), v.theta())[0], -2.5, 1e-15);
  EXPECT_EQ(Vector<2>(0, -3).theta().degrees(), -90.0);
  EXPECT_FALSE(Vector<2>().theta().isFinite());
}

TEST(VectorSpace, AltAzTestsOnlyExactZerosAndFollowsTheSurveyingConvention) {
  const Angle bad = Angle::cosSin(0, 0);
  EXPECT_EQ(Vector<3>::altAz(0, bad, bad), Vector<3>());
  EXPECT_EQ(Vector<3>::altAz(2, Angle::cosSin(0, 1), bad), Vector<3>(0, 0, 2));
  const Vector<3> up = Vector<3>::altAz(1, Angle::degrees(90), Angle::degrees(45));
  EXPECT_NE(up[0], 0.0);
  EXPECT_LT(std::fabs(up[0]), 1e-16);
  EXPECT_EQ(Vector<3>(1, 0, 0).azimuth().degrees(), 90.0);
  EXPECT_EQ(Vector<3>(-1, -1, 7).azimuth().degrees(), -135.0);
  EXPECT_EQ(Vector<3>(5, 0, -5).altitude().degrees(), -45.0);
  EXPECT_FALSE(Vector<3>().altitude().isFinite());
  EXPECT_FALSE(Vector<3>(0, 0, 5).azimuth().isFinite());
  EXPECT_EQ(Vector<3>::altAz(3, Angle(), Angle::cosSin(0, 1)), Vector<3>(3, 0, 0));  // azimuth 90 is +x
  const Vector<3> v(1.5, -2, 0.75);
  const Vector<3> w = Vector<3>::altAz(v.length(), v.altitude(), v.azimuth());
  for (int i = 0; i < 3; ++i) EXPECT_NEAR(w[i], v[i], 1e-14);
}

TEST(VectorEquality, IsExactWithNaNUnequalToItself) {
  EXPECT_NE(Point<2>(1, 2), Point<2>(1, 2.0000000001));
  EXPECT_EQ(Point<2>(-0.0, 0), Point<2>(0, -0.0));
  EXPECT_TRUE(Vector<1>(&nan) != Vector<1>(&nan));
}

TEST(PointInterp, EndpointsAreExactAndDifferFromMidpointInRounding) {
  const Point<2> a(1e16, 3), b(1, 0.1);
  EXPECT_EQ(interp(a, b, 1), b);  // a + t·(b − a) would lose b's x
  EXPECT_EQ(interp(a, b, 0), a);
  // (a + b)·0.5 overflows, or keeps a subnormal that 0.5a + 0.5b rounds away.
  const Point<2> big(1e308, 5e-324);
  EXPECT_EQ(midpoint(big, big), Point<2>(inf, 5e-324));
  EXPECT_EQ(interp(big, big, 0.5), Point<2>(1e308, 0));
}

TEST(VectorText, ParenthesisedCommaListWithTheStreamsFormatting) {
  const double c[4] = {1, -0.0, inf, 1e-7};
  std::wostringstream os;
  os << Point<3>(1, 2.5, -3) << Vector<1>(c) << Vector<4>(c) << std::setprecision(3) << Vector<2>(1.23456, 2)
     << std::fixed << Point<1>(c);
  EXPECT_EQ(os.str(), L"(1,2.5,-3)(1)(1,-0,inf,1e-07)(1.23,2)(1.000)");
}

}  // namespace
