// Angle: the members that need trigonometry, and the tolerant comparison.
#include <qorcor14/geometry/angle.h>

#include <cmath>

namespace {

// pi/180 as a double; every conversion multiplies or divides by this value so
// that degrees(d).degrees() and d agree wherever the rounding allows.
constexpr double degreesToRadians = 0.017453292519943295;

// atan2 of the difference a − b, formed as the product of a with the
// conjugate of b.
double signedDistance(const Angle& a, const Angle& b) {
  const double c = b.cos() * a.cos() + b.sin() * a.sin();
  const double s = b.cos() * a.sin() - a.cos() * b.sin();
  return std::atan2(s, c);
}

}  // namespace

Angle Angle::degrees(double d) {
  const double r = d * degreesToRadians;
  return Angle(std::cos(r), std::sin(r));
}

Angle Angle::radians(double r) { return Angle(std::cos(r), std::sin(r)); }

Angle Angle::cosSin(double c, double s) {
  const double n = std::sqrt(c * c + s * s);
  return Angle(c / n, s / n);
}

double Angle::radians() const { return std::atan2(m_sin, m_cos); }

double Angle::degrees() const { return std::atan2(m_sin, m_cos) / degreesToRadians; }

Angle Angle::operator*(int n) const {
  const double t = std::atan2(m_sin, m_cos) * static_cast<double>(n);
  return Angle(std::cos(t), std::sin(t));
}

bool closerThanDegrees(const Angle& a, const Angle& b, double tolerance) {
  return tolerance > std::fabs(signedDistance(a, b) / degreesToRadians);
}

bool closerThanRadians(const Angle& a, const Angle& b, double tolerance) {
  return tolerance > std::fabs(signedDistance(a, b));
}
