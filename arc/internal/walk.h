// Shared by the planar and the spatial arc: walking a distance along an arc.
#pragma once

#include <qorcor14/geometry/vector.h>

#include <cmath>

namespace QOR::internal {

// A straight arc: the point at `distance` along the chord and the chord's
// direction; true when the point lies between the ends.
template <int N>
bool measureOffChord(const Point<N>& start, const Point<N>& end, double distance, Point<N>& point,
                     Vector<N>& direction) {
  const Vector<N> d = end - start;
  const double c = d.length();
  const double f = distance / c;
  point = start + d * f;
  direction = d / c;
  return 0 <= f && f <= 1;
}

// Whether `distance` lies within an arc of bulge b whose radius rs is signed
// like b: atan(b) * 4 is the signed sweep, so the quotient is the fraction of
// the arc covered whichever way it turns.
inline bool withinArc(double distance, double bulge, double rs) {
  const double f = distance / (std::atan(bulge) * 4 * rs);
  return 0 <= f && f <= 1;
}

}  // namespace QOR::internal
