// QOR::Arc<3>: the members that walk around the circle, its box and halves.
#include <qorcor14/arc/spatial_arc.h>

#include "internal/walk.h"

#include <cmath>
#include <ostream>

namespace QOR {
namespace {

// A unit vector perpendicular to the chord, found without trigonometry: the
// chord crossed with x when it leans towards y (or z), else crossed with y.
// Either choice keeps the divisor well away from 0 for any non-zero chord.
Vector<3> straightAxis(const Point<3>& start, const Point<3>& end) {
  const Vector<3> d = end - start;
  const double dx = d[0], dy = d[1], dz = d[2];
  const double yz = dy * dy + dz * dz;
  const double xz = dx * dx + dz * dz;
  if (yz > xz) return Vector<3>(0, dz, -dy) / std::sqrt(yz);
  if (xz > 0) return Vector<3>(-dz, 0, dx) / std::sqrt(xz);
  return Vector<3>(0, 0, 1);
}

Vector<3> axisDirection(int e) { return Vector<3>(e == 0 ? 1 : 0, e == 1 ? 1 : 0, e == 2 ? 1 : 0); }

}  // namespace

Arc<3>::Arc(const Point<3>& start, const Point<3>& end)
    : m_start(start), m_bulge(0), m_axis(straightAxis(start, end)), m_end(end) {}

bool Arc<3>::measureOff(double distance, Point<3>& point, Vector<3>& direction) const {
  if (m_bulge == 0) return internal::measureOffChord(m_start, m_end, distance, point, direction);
  const Point<3> c = centre();
  const Vector<3> u = m_start - c;
  const double r = u.length();
  // Signed like the bulge, so that distance / rs is the turn about the axis
  // in radians, counter-clockwise positive, and the tangent flips with it.
  const double rs = m_bulge < 0 ? -r : r;
  const double phi = distance / rs;
  const Vector<3> v = u * std::cos(phi) + cross(m_axis, u) * std::sin(phi);
  point = c + v;
  direction = cross(m_axis, v) / rs;
  return internal::withinArc(distance, m_bulge, rs);
}

Extent<3> Arc<3>::extent() const {
  Extent<3> box(m_start, m_end);
  if (m_bulge == 0) return box;
  const Point<3> c = centre();
  const double r = radius();
  const Vector<3> d = m_end - m_start;
  // The arc is exactly the part of its circle strictly beyond the chord on
  // the side it bulges to, whatever its sweep: w points to that side and t is
  // the chord's offset along w.
  const Vector<3> side = cross(d, m_axis);
  const Vector<3> w = (m_bulge > 0 ? side : -side) / side.length();
  const double t = dot(internal::chordMiddle(m_start, m_end) - Point<3>::origin(), w);
  double hi[3], lo[3];
  for (int e = 0; e < 3; ++e) {
    // The circle's extremes along e lie where the radius is parallel to e's
    // projection into the arc's plane; an axis along e leaves no projection,
    // and the whole circle then shares the centre's coordinate.
    const Vector<3> p = axisDirection(e) - m_axis * m_axis[e];
    const double pl = p.length();
    const double s = pl == 0 ? 0 : r / pl;
    const Point<3> plus = c + p * s;
    const Point<3> minus = c - p * s;
    // An extreme off the arc contributes the start, which the box holds anyway.
    hi[e] = dot(plus - Point<3>::origin(), w) > t ? plus[e] : m_start[e];
    lo[e] = dot(minus - Point<3>::origin(), w) > t ? minus[e] : m_start[e];
  }
  box += Point<3>(hi);
  box += Point<3>(lo);
  return box;
}

void Arc<3>::bisect(Arc& first, Arc& second) const {
  const double b = m_bulge;
  // tan(theta / 8) from tan(theta / 4). The closed form cancels for small
  // bulges, where its series is already exact to rounding.
  const double h =
      b * b <= 1e-5 ? b * 0.5 - b * b * b * 0.125 + b * b * b * b * b * 0.0625 : (std::sqrt(b * b + 1) - 1) / b;
  // Copies first: first or second may be this arc.
  const Point<3> start = m_start, end = m_end, mid = midpoint();
  const Vector<3> axis = m_axis;
  first = Arc(start, h, axis, mid);
  second = Arc(mid, h, axis, end);
}

std::wostream& Arc<3>::putOn(std::wostream& os) const {
  return os << m_start << L'[' << m_bulge << L' ' << m_axis << L']' << m_end;
}

}  // namespace QOR
