// QOR::Arc<2>: the members that walk around the circle.
#include <qorcor14/arc/planar_arc.h>

#include "internal/walk.h"

#include <cmath>
#include <ostream>

namespace QOR {

bool Arc<2>::measureOff(double distance, Point<2>& point, Vector<2>& direction) const {
  if (m_bulge == 0) return internal::measureOffChord(m_start, m_end, distance, point, direction);
  const Point<2> c = centre();
  const Vector<2> u = m_start - c;
  const double r = u.length();
  // With the radius signed like the bulge, distance / rs is the turn in
  // radians, counter-clockwise positive, and the tangent divides by it too.
  const double rs = m_bulge > 0 ? r : -r;
  const double phi = distance / rs;
  const double cosPhi = std::cos(phi), sinPhi = std::sin(phi);
  const Vector<2> v(cosPhi * u[0] - sinPhi * u[1], cosPhi * u[1] + sinPhi * u[0]);
  point = c + v;
  direction = Vector<2>(-v[1] / rs, v[0] / rs);
  return internal::withinArc(distance, m_bulge, rs);
}

Extent<2> Arc<2>::extent() const {
  Extent<2> box(m_start, m_end);
  if (m_bulge == 0) return box;
  const Point<2> c = centre();
  const double r = radius();
  // The sweep from `from` to `to` runs counter-clockwise.
  const Point<2>& from = m_bulge >= 0 ? m_start : m_end;
  const Point<2>& to = m_bulge >= 0 ? m_end : m_start;
  // Quadrants around the centre, a point on an axis counting to its
  // non-negative side.
  const int qFrom = (from - c).quadrant();
  int qTo = (to - c).quadrant();
  if (qTo < qFrom) qTo += 4;
  // Leaving quadrant q crosses the axis extreme between q and q + 1. Ends in
  // the same quadrant add nothing, even when the sweep goes almost all the
  // way round: callers depend on that box.
  for (int q = qFrom; q < qTo; ++q) {
    switch (q) {
    case 1:
    case 5: box += Point<2>(c[0], c[1] + r); break;
    case 2:
    case 6: box += Point<2>(c[0] - r, c[1]); break;
    case 3:
    case 7: box += Point<2>(c[0], c[1] - r); break;
    default: box += Point<2>(c[0] + r, c[1]); break;
    }
  }
  return box;
}

std::wostream& Arc<2>::putOn(std::wostream& os) const {
  return os << L'(' << m_start[0] << L',' << m_start[1] << L")[" << m_bulge << L"](" << m_end[0] << L',' << m_end[1]
            << L')';
}

}  // namespace QOR
