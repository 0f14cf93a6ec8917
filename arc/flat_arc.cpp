// The flat arc functions. Each picks, by the square of the bulge, between a
// closed form and a series or polynomial: the closed forms subtract nearly
// equal quantities as the bulge approaches 0, the expansions converge fast
// there. The thresholds sit where both agree to within rounding.
#include <qorcor14/arc/flat.h>

#include <cmath>

namespace {

// The double nearest 2 pi.
constexpr double kTwoPi = 6.283185307179586;
// DBL_EPSILON, spelt out: the series below stop on it.
constexpr double kEpsilon = 2.220446049250313e-16;

}  // namespace

extern "C" {

double QORArcLength(double b) {
  if (b == 0) return 1;
  const double b2 = b * b;
  if (b2 > 25) {
    // Much more than a half circle, where atan(b)/b loses the information in
    // b: the full circumference per unit chord, (b2 + 1)/(4b) times 2 pi,
    // less the complementary arc, whose bulge is 1/b.
    return std::fabs((b2 + 1) / (4 * b)) * kTwoPi - QORArcLength(1 / b);
  }
  // Written as a negation so that a NaN bulge takes the series and comes out
  // NaN without a call to atan.
  if (!(b2 > 1e-6)) {
    const double v = 2 * b2 / 3;
    return 1 + v - v * b2 / 5;
  }
  return std::atan(b) * (b2 + 1) / b;
}

double QORArcSegmentArea(double b) {
  if (b == 0) return 0;
  const double b2 = b * b;
  if (b2 > 0.04) {
    // (theta - sin theta) / (8 sin^2(theta/2)) with s = sin(theta/2) and the
    // cotangent term written in b.
    const double s = 2 * b / (b2 + 1);
    const double a = std::atan(b);
    return (2 * a / (s * s) - (1 - b2) / (2 * b)) * 0.25;
  }
  // b/3 + b^3/15 - b^5/105 + ...: each term is the previous one times
  // b2 (1 - 2k) / (5 + 2k). The first term too small to change the sum stops
  // the loop and is left out.
  double sum = b / 3;
  double term = sum * b2 / 5;
  double p = 1;
  double q = 5;
  while (std::fabs(term / sum) >= kEpsilon) {
    sum = sum + term;
    p = p - 2;
    q = q + 2;
    term = term * p / q * b2;
  }
  return sum;
}

double QORArcSegmentCoG(double b) {
  if (b == 0) return 0;
  const double b2 = b * b;
  if (b2 > 0.125) {
    // The segment's first moment about the circle's centre is c^3/12 for any
    // sweep; divided by the area it gives the centroid's distance from the
    // centre, from which the centre's own distance from the chord, w/2, is
    // taken off.
    const double s = 2 * b / (b2 + 1);
    const double w = (1 - b2) / (2 * b);
    const double a = std::atan(b);
    return 1 / ((2 * a / (s * s) - w) * 0.25 * 12) - w * 0.5;
  }
  // b times a polynomial in b2, coefficients from the highest power (b2^11)
  // down to the constant term, evaluated by Horner's rule in that order.
  static constexpr double kCoefficients[] = {
      0.00011880736447861843, -0.00015729578935227485, 0.00021399882485020517, -0.0003006639602552092,
      0.0004389102190414338,  -0.0006707292449314058,  0.00108291585058932,    -0.0018684401312972741,
      0.003495856524427953,   -0.007238095238095238,   0.017142857142857144,   0.2,
  };
  double p = kCoefficients[0];
  for (unsigned i = 1; i < sizeof kCoefficients / sizeof kCoefficients[0]; ++i) p = p * b2 + kCoefficients[i];
  return b * p;
}

void QORArcSplit(double t, double b, double* bulge1, double* offset, double* along, double* tangentOffset,
                 double* tangentAlong, double* bulge2) {
  const double b2 = b * b;
  const double t2 = t * t;
  double first, off, alo, tanOff, tanAlo, second;
  if (b2 < kEpsilon) {
    // Nearly straight: every quantity to first order in b, which is exact to
    // rounding when b2 is below the epsilon.
    first = (t + 1) * b * 0.5;
    second = (1 - t) * b * 0.5;
    off = (1 - t2) * b * 0.5;
    alo = t * 0.5;
    tanOff = -2 * t * b;
    tanAlo = 1;
  } else {
    const double a = std::atan(b);
    const double alpha = 2 * t * a;  // the point's angle from the arc's middle
    first = std::tan((t + 1) * a * 0.5);
    second = std::tan((1 - t) * a * 0.5);
    tanOff = -std::sin(alpha);
    tanAlo = std::cos(alpha);
    // (1/b + b) / 4 is the signed radius for a unit chord.
    alo = (1 / b + b) * 0.25 * std::sin(alpha);
    if (b2 < 0.01) {
      // The closed form below subtracts two terms of size 1/(4b) to get one
      // of size b/2; its expansion in y = b2, with x = t2, does not.
      const double x = t2, y = b2;
      off =
          b * (0.5 +
               x * (-0.5 + y * ((x - 1) / 6 +
                                y * ((7 - (2 * x + 5) * x) / 90 +
                                     y * ((((x + 14) * x + 14) * x - 29) / 630 +
                                          y * ((873 - (((2 * x + 75) * x + 546) * x + 250) * x) / 28350 +
                                               y * (((((2 * x + 154) * x + 3036) * x + 15202) * x + 2387) * x - 20781) /
                                                   935550))))));
    } else {
      off = (1 / b + b) * 0.25 * std::cos(alpha) - (1 / b - b) * 0.25;
    }
  }
  *bulge1 = first;
  *offset = off;
  *along = alo;
  *tangentOffset = tanOff;
  *tangentAlong = tanAlo;
  *bulge2 = second;
}

}  // extern "C"
