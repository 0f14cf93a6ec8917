// qorcor14/arc/spatial_arc.h - QOR::Arc<3>, a circular arc in space given by
// its two end points, its bulge and the axis it turns about.
//
// The planar arc's end points and bulge carry over unchanged; the axis, a unit
// normal of the arc's plane, says which way a positive bulge turns: counter-
// clockwise seen from the side the axis points to (right-handed). With the
// axis (0,0,1) and ends in the x-y plane every member agrees with QOR::Arc<2>
// on x and y.
#pragma once

#include <qorcor14/config.h>
#include <qorcor14/arc/flat.h>
#include <qorcor14/arc/planar_arc.h>
#include <qorcor14/geometry/extent.h>
#include <qorcor14/geometry/plane.h>
#include <qorcor14/geometry/vector.h>

#include <cmath>
#include <ostream>

namespace QOR {

namespace internal {
// (a + b)·0.5 per component; Arc<3>::midpoint() hides the free midpoint()
// inside the class.
[[nodiscard]] inline Point<3> chordMiddle(const Point<3>& a, const Point<3>& b) { return midpoint(a, b); }
}  // namespace internal

// A circular arc in space: start, bulge, axis, end. A plain value; nothing is
// checked.
//
// Example:
//   QOR::Arc<3> half(Point<3>(0, 0, 0), 1, Vector<3>(0, 0, 1), Point<3>(2, 0, 0));
//   half.centre();     // (1,0,0)
//   half.midpoint();   // (1,-1,0), as for Arc<2>
//   half.plane();      // (0,0,1)@(0,0,0)
//   std::wcout << half;   // (0,0,0)[1 (0,0,1)](2,0,0)
//
// Note: centre() and radius() divide by the bulge and give infinities or NaN
// for a straight arc; every other member handles bulge 0.
// Note: unlike Arc<2>::radius(), radius() comes from the chord and the bulge,
// not from the distance to centre(); the two agree only to rounding.
template <>
class QORCOR14_API Arc<3> {
public:
  // Start and end at the origin, bulge 0, axis (0,0,1).
  constexpr Arc() : m_start(), m_bulge(0), m_axis(0, 0, 1), m_end() {}
  // As given; the axis is divided by its length (a zero axis gives NaN).
  Arc(const Point<3>& start, double bulge, const Vector<3>& axis, const Point<3>& end)
      : m_start(start), m_bulge(bulge), m_axis(axis.unit()), m_end(end) {}
  // The straight segment from start to end (bulge 0), with an axis
  // perpendicular to the chord: (0, dz, -dy) scaled to unit length when the
  // chord leans more towards y than towards x, else (-dz, 0, dx) scaled, and
  // (0,0,1) when start equals end.
  //
  // Example: Arc(Point<3>(0, 0, 0), Point<3>(0, 0, 5)).axis() is (-1,0,0).
  Arc(const Point<3>& start, const Point<3>& end);

  constexpr Arc(const Arc&) = default;
  constexpr Arc(Arc&&) = default;
  constexpr Arc& operator=(const Arc&) = default;
  constexpr Arc& operator=(Arc&&) = default;

  [[nodiscard]] const Point<3>& start() const { return m_start; }
  [[nodiscard]] const Point<3>& end() const { return m_end; }
  [[nodiscard]] double bulge() const { return m_bulge; }
  // The unit axis.
  [[nodiscard]] const Vector<3>& axis() const { return m_axis; }

  // The arc's plane: through start, with the axis (normalised again) as its
  // normal.
  [[nodiscard]] Plane plane() const { return Plane(m_axis, m_start); }

  // The centre of the arc's circle: the chord's middle moved by
  // (1 - b²) / (4b) times axis × chord.
  // Note: infinite or NaN for bulge 0.
  [[nodiscard]] Point<3> centre() const {
    const double k = (1 - m_bulge * m_bulge) / (4 * m_bulge);
    return internal::chordMiddle(m_start, m_end) + cross(m_axis, m_end - m_start) * k;
  }

  // |chord · (b² + 1) / (4b)|.
  // Note: infinite for bulge 0.
  [[nodiscard]] double radius() const {
    return std::fabs((m_end - m_start).length() * (m_bulge * m_bulge + 1) / (4 * m_bulge));
  }

  // Chord length times QORArcLength(bulge): exact for a straight arc.
  [[nodiscard]] double length() const { return QORArcLength(m_bulge) * (m_end - m_start).length(); }

  // The sagitta, |chord · 0.5 · bulge|: the greatest distance of the arc from
  // its chord.
  [[nodiscard]] double deviation() const { return std::fabs((m_end - m_start).length() * 0.5 * m_bulge); }

  // The arc's point halfway along it: the chord's middle moved by bulge / 2
  // times chord × axis (the chord's middle itself for bulge 0).
  [[nodiscard]] Point<3> midpoint() const {
    const Point<3> m = internal::chordMiddle(m_start, m_end);
    if (m_bulge == 0) return m;
    return m + cross(m_end - m_start, m_axis) * (m_bulge / 2);
  }

  // The point `distance` along the arc from the start, and the unit tangent
  // there in the direction of travel, turning about the axis. Returns whether
  // the distance lies within the arc (0 to length(), ends included); point
  // and direction are written in every case, beyond the ends on the
  // continuation of the circle (or of the line, for bulge 0).
  //
  // Note: a zero-length chord gives NaN point and direction, and false.
  bool measureOff(double distance, Point<3>& point, Vector<3>& direction) const;

  // The exact bounding box, for sweeps up to a full circle: the box of the
  // ends grown by those of the circle's six axis extremes that lie strictly
  // on the bulge side of the chord, which is where the arc runs.
  [[nodiscard]] Extent<3> extent() const;

  // The two halves, split at midpoint(): each has the same axis and the half
  // bulge tan(theta / 8). first and second may be this arc.
  //
  // Example: a half circle (bulge 1) gives two quarter circles of bulge
  // sqrt(2) - 1.
  void bisect(Arc& first, Arc& second) const;

  // Writes (x0,y0,z0)[bulge (ax,ay,az)](x1,y1,z1) with the stream's own
  // number formatting and the one blank shown.
  friend std::wostream& operator<<(std::wostream& os, const Arc& a) { return a.putOn(os); }

private:
  std::wostream& putOn(std::wostream& os) const;

  Point<3> m_start;
  double m_bulge;
  Vector<3> m_axis;
  Point<3> m_end;
};

}  // namespace QOR
