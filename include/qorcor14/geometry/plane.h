// qorcor14/geometry/plane.h - oriented planes in space, infinite straight
// lines in the plane and in space, and the intersections between them.
//
// A plane is a point and a unit normal, and a line a unit direction and a
// point, so that signed distances and projections are plain dot products.
// Like the rest of the geometry, nothing here reports numeric failure:
// parallel lines, a line parallel to a plane, parallel planes, a zero normal
// or three collinear points give infinities or NaN, which isFinite() and
// isNaN() of the results test.
//
// The queries are inline; the constructions that do more work and the text
// form live in the library.
#pragma once

#include <qorcor14/config.h>
#include <qorcor14/geometry/vector.h>

#include <iosfwd>

namespace QOR {

// An infinite straight line in N = 2 or 3 dimensions: a unit direction, then
// a point on the line.
//
// The constructor normalises the direction it is given, so Line(b - a, a) is
// the line through a and b whatever the distance between them. The
// intersection functions rely on the direction being unit and never
// normalise it themselves.
//
// Example:
//   QOR::Line<2> l(Vector<2>(3, 4), Point<2>(1, 1));
//   l.direction();   // (0.6,0.8)
//   l.pointAt(5);    // (4,5)
//
// Note: a zero direction is not tested for and gives a NaN direction.
template <int N>
class QORCOR14_API Line {
  static_assert(N == 2 || N == 3, "Line exists for N = 2 and 3");

public:
  // The x axis: direction (1, 0[, 0]) through the origin.
  Line() : m_d(unitX()), m_p() {}
  // The line through point along direction; the direction is divided by its
  // length (no test for zero).
  Line(const Vector<N>& direction, const Point<N>& point) : m_d(direction.unit()), m_p(point) {}

  // The line through a, directed from a towards b. a == b gives NaN.
  [[nodiscard]] static Line through(const Point<N>& a, const Point<N>& b) { return Line(b - a, a); }

  // The unit direction.
  [[nodiscard]] const Vector<N>& direction() const { return m_d; }
  // The point the line was given.
  [[nodiscard]] const Point<N>& point() const { return m_p; }
  // point() + t·direction(): the point at signed distance t from point().
  [[nodiscard]] Point<N> pointAt(double t) const { return m_p + m_d * t; }

  // Exact comparison of the stored direction and point: the same line given
  // through another of its points compares unequal.
  [[nodiscard]] friend bool operator==(const Line& a, const Line& b) { return a.m_d == b.m_d && a.m_p == b.m_p; }
  [[nodiscard]] friend bool operator!=(const Line& a, const Line& b) { return !(a == b); }

private:
  [[nodiscard]] static Vector<N> unitX() {
    if constexpr (N == 2) return Vector<N>(1, 0);
    else return Vector<N>(1, 0, 0);
  }

  Vector<N> m_d;
  Point<N> m_p;
};

QORCOR14_EXTERN_TEMPLATE(Line<2>)
QORCOR14_EXTERN_TEMPLATE(Line<3>)

}  // namespace QOR

// An oriented plane in space: a point on it, then its unit normal.
//
// Distances are signed: positive on the side the normal points to.
//
// Example:
//   Plane pl(Vector<3>(0, 0, 2), Point<3>(1, 1, 1));   // z = 1, facing +z
//   pl.distanceTo(Point<3>(5, 5, 4));                   // 3
//   pl.project(Point<3>(5, 5, 4));                      // (5,5,1)
//   std::wcout << pl;                                   // (0,0,1)@(1,1,1)
class QORCOR14_API Plane {
public:
  // The x-y plane through the origin, facing +z.
  Plane() : m_p(), m_n(0, 0, 1) {}
  // The plane through p with the given normal divided by its length.
  // Note: a zero normal is not tested for and gives a NaN normal.
  Plane(const Vector<3>& normal, const Point<3>& p) : m_p(p), m_n(normal.unit()) {}
  // The plane through three points. Its point is their centroid, and its
  // normal points to the side from which a, b, c appear clockwise: the plane
  // through (0,0,0), (1,0,0), (0,1,0) faces -z.
  // Note: collinear (or coincident) points give a NaN normal.
  Plane(const Point<3>& a, const Point<3>& b, const Point<3>& c);

  // The point the plane was built with (the centroid for three points).
  [[nodiscard]] Point<3> pointOnPlane() const { return m_p; }
  // The unit normal.
  [[nodiscard]] Vector<3> normal() const { return m_n; }

  // The same plane facing the other way: the point kept, the normal negated
  // and normalised again.
  [[nodiscard]] Plane operator-() const { return Plane(-m_n, m_p); }

  // p·n: the signed distance of the plane from the origin, measured along
  // the normal (negative when the normal points towards the origin).
  [[nodiscard]] double distanceFromOrigin() const { return dot(m_p - Point<3>::origin(), m_n); }
  // (q − p)·n: the signed distance of q, positive on the normal's side.
  [[nodiscard]] double distanceTo(const Point<3>& q) const { return dot(q - m_p, m_n); }
  // The foot of the perpendicular from q: q − ((q − p)·n)·n.
  [[nodiscard]] Point<3> project(const Point<3>& q) const { return q - vectorTo(q); }
  // ((q − p)·n)·n: the vector from the foot of the perpendicular to q.
  [[nodiscard]] Vector<3> vectorTo(const Point<3>& q) const { return m_n * distanceTo(q); }

  // Writes the normal, "@" and the point: the default plane prints as
  // (0,0,1)@(0,0,0).
  friend std::wostream& operator<<(std::wostream& os, const Plane& pl) { return pl.putOn(os); }

private:
  std::wostream& putOn(std::wostream& os) const;

  Point<3> m_p;
  Vector<3> m_n;
};

namespace QOR {

// The crossing point of two planar lines.
// Note: parallel lines divide by zero and give infinities or NaN.
[[nodiscard]] QORCOR14_API Point<2> intersect(const Line<2>& a, const Line<2>& b);

// The closest points of two spatial lines: onA on a, onB on b, with onB − onA
// perpendicular to both. For lines that meet, both are the meeting point.
// Note: parallel lines give infinities or NaN.
QORCOR14_API void crossing(Point<3>& onA, Point<3>& onB, const Line<3>& a, const Line<3>& b);

// Where a line meets a plane.
// Note: a line parallel to the plane divides by zero.
[[nodiscard]] QORCOR14_API Point<3> intersect(const Line<3>& l, const Plane& pl);
// The same, with the arguments the other way round.
[[nodiscard]] inline Point<3> intersect(const Plane& pl, const Line<3>& l) { return intersect(l, pl); }

}  // namespace QOR

// The line where two planes meet. Its direction is na × nb normalised, and
// its point is the point of the line nearest the origin.
//
// Example: the default plane and the plane x = 0 facing +x meet in the line
// through the origin along (0,1,0).
//
// Note: parallel planes give NaN.
[[nodiscard]] QORCOR14_API QOR::Line<3> intersect(const Plane& a, const Plane& b);
