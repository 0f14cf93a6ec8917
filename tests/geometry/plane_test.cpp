#include <qorcor14/geometry/plane.h>

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <sstream>

namespace {

using QOR::Line;

std::wstring text(const Plane& pl) {
  std::wostringstream os;
  os << pl;
  return os.str();
}

// Random points and directions with coordinates in [-100, 100]; Line and Plane
// scale the directions to unit length.
struct Random {
  std::mt19937_64 gen{20240611};
  std::uniform_real_distribution<double> coord{-100, 100};

  Vector<3> vector() { return Vector<3>(coord(gen), coord(gen), coord(gen)); }
  Point<3> point() { return Point<3>::origin() + vector(); }
  Line<3> line() { return Line<3>(vector(), point()); }
  Plane plane() { return Plane(vector(), point()); }
};

TEST(PlaneBasics, NormalIsScaledToUnitAndQueriesMeasureAlongIt) {
  EXPECT_EQ(text(Plane()), L"(0,0,1)@(0,0,0)");
  const Plane pl(Vector<3>(0, 0, 2), Point<3>(1, 1, 1));
  EXPECT_EQ(text(pl), L"(0,0,1)@(1,1,1)");
  const Point<3> q(5, 5, 4);
  EXPECT_EQ(pl.distanceTo(q), 3.0);
  EXPECT_EQ(pl.distanceTo(Point<3>(0, 0, -1)), -2.0);
  EXPECT_EQ(pl.project(q), Point<3>(5, 5, 1));
  EXPECT_EQ(pl.vectorTo(q), Vector<3>(0, 0, 3));
  EXPECT_EQ(Plane(Vector<3>(0, 0, -1), Point<3>(7, -3, 1)).distanceFromOrigin(), -1.0);
  EXPECT_TRUE(Plane(Vector<3>(), Point<3>()).normal().isNaN());
  // Negation turns the normal round and keeps the point.
  EXPECT_EQ(text(-Plane(Vector<3>(0, 3, 4), Point<3>(1, 2, 3))), L"(-0,-0.6,-0.8)@(1,2,3)");
}

TEST(PlaneThroughPoints, CentroidAndClockwiseNormal) {
  const Plane pl(Point<3>(0, 0, 0), Point<3>(1, 0, 0), Point<3>(0, 1, 0));
  EXPECT_EQ(pl.normal(), Vector<3>(0, 0, -1));
  EXPECT_EQ(pl.pointOnPlane(), Point<3>(1 / 3.0, 1 / 3.0, 0));
  // The centroid is summed before the division by 3.
  EXPECT_EQ(Plane(Point<3>(0.1, 0, 5), Point<3>(0.2, 1, 5), Point<3>(0.3, 0, 5)).pointOnPlane()[0],
            (0.1 + 0.2 + 0.3) / 3.0);
  EXPECT_TRUE(Plane(Point<3>(0, 0, 0), Point<3>(1, 1, 1), Point<3>(2, 2, 2)).normal().isNaN());
  Random r;
  for (int i = 0; i < 500; ++i) {
    const Point<3> a = r.point(), b = r.point(), c = r.point();
    const Vector<3> area = cross(b - a, c - a);
    if (area.length() < 1) continue;  // nearly collinear
    const Plane random(a, b, c);
    for (const Point<3>& q : {a, b, c}) EXPECT_NEAR(random.distanceTo(q), 0.0, 1e-9) << i;
    // Seen from the normal's side the points turn clockwise, so the normal
    // opposes the counter-clockwise area vector.
    EXPECT_NEAR(dot(random.normal(), area.unit()), -1.0, 1e-9) << i;
  }
}

TEST(LineConstruction, DirectionIsNormalisedAndDefaultIsTheXAxis) {
  const Line<2> l(Vector<2>(3, 4), Point<2>(1, 1));
  EXPECT_EQ(l.direction(), Vector<2>(0.6, 0.8));
  EXPECT_EQ(l.pointAt(5), Point<2>(4, 5));
  EXPECT_EQ(Line<3>(), Line<3>(Vector<3>(1, 0, 0), Point<3>()));
  EXPECT_EQ(Line<2>(Vector<2>(2, 0), Point<2>()), Line<2>());
  EXPECT_NE(Line<2>(Vector<2>(1, 0), Point<2>(1, 0)), Line<2>());
  EXPECT_EQ(Line<3>::through(Point<3>(1, 2, 3), Point<3>(1, 2, -7)), Line<3>(Vector<3>(0, 0, -1), Point<3>(1, 2, 3)));
  EXPECT_TRUE(Line<3>(Vector<3>(), Point<3>()).direction().isNaN());
}

TEST(LineIntersection, PlanarLinesMeetWhereBothPass) {
  const Line<2> xAxis(Vector<2>(1, 0), Point<2>(0, 0)), upright(Vector<2>(0, 1), Point<2>(2, 5));
  EXPECT_EQ(QOR::intersect(xAxis, upright), Point<2>(2, 0));
  EXPECT_EQ(QOR::intersect(upright, xAxis), Point<2>(2, 0));
  EXPECT_FALSE(QOR::intersect(xAxis, Line<2>(Vector<2>(-1, 0), Point<2>(0, 1))).isFinite());
  Random r;
  const auto line2 = [&] {
    return Line<2>(Vector<2>(r.coord(r.gen), r.coord(r.gen)), Point<2>(r.coord(r.gen), r.coord(r.gen)));
  };
  for (int i = 0; i < 500; ++i) {
    const Line<2> a = line2(), b = line2();
    if (std::abs(cross(a.direction(), b.direction())) < 0.05) continue;
    const Point<2> x = QOR::intersect(a, b);
    EXPECT_NEAR(cross(a.direction(), x - a.point()), 0.0, 1e-9) << i;
    EXPECT_NEAR(cross(b.direction(), x - b.point()), 0.0, 1e-9) << i;
  }
}

TEST(LineIntersection, SpatialLineMeetsAPlaneInEitherArgumentOrder) {
  const Line<3> z(Vector<3>(0, 0, 1), Point<3>(0, 0, 5));
  EXPECT_EQ(QOR::intersect(z, Plane()), Point<3>(0, 0, 0));
  EXPECT_EQ(QOR::intersect(Plane(), z), Point<3>(0, 0, 0));
  EXPECT_FALSE(QOR::intersect(Line<3>(Vector<3>(1, 0, 0), Point<3>(0, 0, 5)), Plane()).isFinite());
  Random r;
  for (int i = 0; i < 500; ++i) {
    const Line<3> l = r.line();
    const Plane pl = r.plane();
    if (std::abs(dot(l.direction(), pl.normal())) < 0.05) continue;
    const Point<3> x = QOR::intersect(l, pl);
    EXPECT_NEAR(pl.distanceTo(x), 0.0, 1e-9) << i;
    EXPECT_NEAR(cross(x - l.point(), l.direction()).length(), 0.0, 1e-9) << i;
  }
}

TEST(LineCrossing, ClosestPointsJoinPerpendicularToBothLines) {
  Point<3> onA, onB;
  QOR::crossing(onA, onB, Line<3>(Vector<3>(1, 0, 0), Point<3>(5, 0, 0)),
                Line<3>(Vector<3>(0, 1, 0), Point<3>(2, 7, 3)));
  EXPECT_EQ(onA, Point<3>(2, 0, 0));
  EXPECT_EQ(onB, Point<3>(2, 0, 3));
  // Parallel lines divide by zero.
  QOR::crossing(onA, onB, Line<3>(), Line<3>(Vector<3>(1, 0, 0), Point<3>(0, 1, 0)));
  EXPECT_FALSE(onA.isFinite());
  EXPECT_FALSE(onB.isFinite());
  Random r;
  for (int i = 0; i < 500; ++i) {
    const Line<3> a = r.line(), b = r.line();
    if (cross(a.direction(), b.direction()).length() < 0.05) continue;
    QOR::crossing(onA, onB, a, b);
    EXPECT_NEAR(dot(onB - onA, a.direction()), 0.0, 1e-9) << i;
    EXPECT_NEAR(dot(onB - onA, b.direction()), 0.0, 1e-9) << i;
    EXPECT_NEAR(cross(onA - a.point(), a.direction()).length(), 0.0, 1e-9) << i;
    EXPECT_NEAR(cross(onB - b.point(), b.direction()).length(), 0.0, 1e-9) << i;
  }
}

TEST(PlaneIntersection, TwoPlanesMeetInTheLineNearestTheOrigin) {
  // z = 2 and x = 3: the line x = 3, z = 2 along −y, nearest the origin at y = 0.
  const Line<3> m =
      intersect(Plane(Vector<3>(0, 0, 1), Point<3>(9, 9, 2)), Plane(Vector<3>(-1, 0, 0), Point<3>(3, -4, 8)));
  EXPECT_EQ(m, Line<3>(Vector<3>(0, -1, 0), Point<3>(3, 0, 2)));
  EXPECT_TRUE(intersect(Plane(), -Plane()).point().isNaN());
  Random r;
  for (int i = 0; i < 500; ++i) {
    const Plane a = r.plane(), b = r.plane();
    if (cross(a.normal(), b.normal()).length() < 0.05) continue;
    const Line<3> x = intersect(a, b);
    for (double t : {0.0, 50.0}) {
      EXPECT_NEAR(a.distanceTo(x.pointAt(t)), 0.0, 1e-9) << i;
      EXPECT_NEAR(b.distanceTo(x.pointAt(t)), 0.0, 1e-9) << i;
    }
    EXPECT_NEAR(dot(x.point() - Point<3>::origin(), x.direction()), 0.0, 1e-9) << i;
    // Swapping the planes reverses the direction.
    EXPECT_NEAR((intersect(b, a).direction() + x.direction()).length(), 0, 1e-15) << i;
  }
}

}  // namespace
