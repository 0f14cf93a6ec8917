// qorcor14/arc/planar_arc.h - QOR::Arc<2>, a circular arc in the plane given
// by its two end points and its bulge.
//
// The bulge is tan(theta / 4) for the signed angle theta that the arc subtends
// at its centre: 0 is the straight segment, +-1 a half circle, and a magnitude
// above 1 more than a half circle. A positive bulge turns counter-clockwise
// from start to end, so that, looking along the chord from start to end, the
// arc lies to the right of it and the centre to the left (x right, y up).
//
// Keeping the ends exact and the bulge dimensionless means that an arc and its
// straight chord share their end points bit for bit, and that a zero bulge is
// an ordinary value rather than an infinite radius.
#pragma once

#include <qorcor14/config.h>
#include <qorcor14/arc/flat.h>
#include <qorcor14/geometry/extent.h>
#include <qorcor14/geometry/vector.h>

#include <cmath>
#include <ostream>

namespace QOR {

// A circular arc: Arc<2> in the plane. Only the specialisations the library
// provides exist.
template <int N>
class Arc;

// A circular arc in the plane: start, bulge, end. A plain value; nothing is
// checked.
//
// Example:
//   QOR::Arc<2> half(Point<2>(0, 0), 1, Point<2>(2, 0));
//   half.centre();     // (1,0)
//   half.midpoint();   // (1,-1): right of the chord, as for every positive bulge
//   half.length();     // pi
//   half.extent();     // (0,-1):(2,0)
//
// Note: centre() and radius() divide by the bulge and give infinities or NaN
// for a straight arc; every other member handles bulge 0.
template <>
class QORCOR14_API Arc<2> {
public:
  // Start and end at the origin, bulge 0.
  constexpr Arc() : m_start(), m_bulge(0), m_end() {}
  // The straight segment from start to end (bulge 0).
  constexpr Arc(const Point<2>& start, const Point<2>& end) : m_start(start), m_bulge(0), m_end(end) {}
  // As given, without checks.
  constexpr Arc(const Point<2>& start, double bulge, const Point<2>& end)
      : m_start(start), m_bulge(bulge), m_end(end) {}

  constexpr Arc(const Arc&) = default;
  constexpr Arc(Arc&&) = default;
  constexpr Arc& operator=(const Arc&) = default;
  constexpr Arc& operator=(Arc&&) = default;

  [[nodiscard]] const Point<2>& start() const { return m_start; }
  [[nodiscard]] const Point<2>& end() const { return m_end; }
  [[nodiscard]] double bulge() const { return m_bulge; }

  // The centre of the arc's circle: the chord's middle moved by
  // (b - 1/b) / 2 times half the chord, perpendicular to it.
  // Note: infinite or NaN for bulge 0.
  [[nodiscard]] Point<2> centre() const {
    const double dx = m_end[0] - m_start[0], dy = m_end[1] - m_start[1];
    const double k = (m_bulge - 1 / m_bulge) / 2;
    // Measured from the start rather than from the chord's middle, so that a
    // half circle's centre is exactly start + d/2.
    return Point<2>(m_start[0] + (dx + dy * k) * 0.5, m_start[1] + (dy - dx * k) * 0.5);
  }

  // The distance from start to centre(); never negative.
  // Note: infinite or NaN for bulge 0.
  [[nodiscard]] double radius() const { return (m_start - centre()).length(); }

  // Chord length times QORArcLength(bulge): exact for a straight arc.
  [[nodiscard]] double length() const { return QORArcLength(m_bulge) * (m_end - m_start).length(); }

  // The arc's point halfway along it: the chord's middle moved by bulge times
  // half the chord to the right of the chord.
  [[nodiscard]] Point<2> midpoint() const {
    const double dx = m_end[0] - m_start[0], dy = m_end[1] - m_start[1];
    return Point<2>(m_start[0] + (dx + dy * m_bulge) * 0.5, m_start[1] + (dy - dx * m_bulge) * 0.5);
  }

  // The sagitta, |bulge| times half the chord: the greatest distance of the
  // arc from its chord.
  [[nodiscard]] double deviation() const { return std::fabs(m_bulge) * (m_end - m_start).length() * 0.5; }

  // The point `distance` along the arc from the start, and the unit tangent
  // there in the direction of travel. Returns whether the distance lies
  // within the arc (0 to length(), ends included); point and direction are
  // written in every case, beyond the ends on the continuation of the circle
  // (or of the line, for bulge 0).
  //
  // Example: for the half circle from (0,0) to (2,0) with bulge 1,
  // measureOff(pi/2, p, d) gives p = (1,-1), d = (1,0) and true.
  //
  // Note: a zero-length chord gives NaN point and direction, and false.
  bool measureOff(double distance, Point<2>& point, Vector<2>& direction) const;

  // The bounding box: the box of the ends grown by each of the circle's
  // four axis extremes that the sweep passes.
  // Note: the extremes are found by walking the quadrants around the centre
  // from the first end to the second in counter-clockwise order. When both
  // ends lie in the same quadrant no extreme is added, even for an arc of
  // nearly a full circle, which then gets only the box of its ends.
  [[nodiscard]] Extent<2> extent() const;

  // Writes (x0,y0)[bulge](x1,y1) with the stream's own number formatting and
  // no blanks: the half circle above prints as (0,0)[1](2,0).
  friend std::wostream& operator<<(std::wostream& os, const Arc& a) { return a.putOn(os); }

private:
  std::wostream& putOn(std::wostream& os) const;

  Point<2> m_start;
  double m_bulge;
  Point<2> m_end;
};

}  // namespace QOR
