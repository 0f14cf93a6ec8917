// Long double references for the arc tests, built from the angles rather
// than from the bulge series the library uses: for a unit chord, h = 2 atan b
// is the half angle the arc subtends and R = 1 / (2 sin h) its signed radius.
#pragma once

#include <array>
#include <cmath>

namespace arcref {

using Real = long double;

struct Half {
  Real h, sh, ch;  // h, sin h, cos h
};

// For |b| > 1 the half angle is near +-pi, where sin h would inherit the
// rounding of h; the complementary angle 2 atan(1/b) gives it directly.
inline Half half(Real b) {
  const Real h = 2 * std::atan(b);
  if (std::fabs(b) <= 1) return {h, std::sin(h), std::cos(h)};
  const Real e = 2 * std::atan(1 / b);
  return {h, std::sin(e), -std::cos(e)};
}

// The sum over odd n of c(n) (-1)^((n-1)/2) x^n / n!, for |x| <= 1: the
// series of the two differences below, which cancel for small angles.
template <class Coefficient>
Real oddSeries(Real x, Coefficient c) {
  Real sum = 0, term = x;
  for (int n = 1; n < 60; term *= -x * x / ((n + 1) * (n + 2)), n += 2) sum += c(n) * term;
  return sum;
}

// theta - sin theta for theta = 2h.
inline Real thetaMinusSin(Real b) {
  const Half a = half(b);
  if (std::fabs(a.h) > 0.5) return 2 * a.h - 2 * a.sh * a.ch;
  return oddSeries(2 * a.h, [](int n) { return n == 1 ? 0 : -1; });
}

// Arc length per unit chord: h / sin h.
inline Real length(Real b) { return b == 0 ? 1 : half(b).h / half(b).sh; }

// Segment area for a unit chord: R^2 (theta - sin theta) / 2.
inline Real area(Real b) { return thetaMinusSin(b) / (8 * half(b).sh * half(b).sh); }

// Centroid offset from the chord: the centroid's distance from the centre,
// 4 R sin^3 h / (3 (theta - sin theta)), less R cos h, over one denominator.
// The numerator 4 sin^3 h - 6 h cos h + 6 sin h cos^2 h equals
// 9/2 sin h + 1/2 sin 3h - 6 h cos h, whose series starts at h^5.
inline Real cog(Real b) {
  const Half a = half(b);
  const Real numerator = std::fabs(a.h) > 1
                             ? 4 * a.sh * a.sh * a.sh - 6 * a.h * a.ch + 6 * a.sh * a.ch * a.ch
                             : oddSeries(a.h, [](int n) { return (9 + std::pow(Real(3), n)) / 2 - 6 * n; });
  return numerator / (6 * a.sh * thetaMinusSin(b));
}

// QORArcSplit's six outputs (bulge1, offset, along, tangentOffset,
// tangentAlong, bulge2) at t: the point at the angle alpha = t h from the
// arc's middle on the circle around (along 0, offset b/2 - R). The offset
// R (cos alpha - cos h) is written as a product, which does not cancel; each
// part's bulge is the tangent of a quarter of the angle it subtends.
inline std::array<Real, 6> split(Real t, Real b) {
  const Half a = half(b);
  const Real R = 1 / (2 * a.sh), alpha = t * a.h;
  return {std::tan((alpha + a.h) / 4),
          2 * R * std::sin((a.h + alpha) / 2) * std::sin((a.h - alpha) / 2),
          R * std::sin(alpha),
          -std::sin(alpha),
          std::cos(alpha),
          std::tan((a.h - alpha) / 4)};
}

}  // namespace arcref
