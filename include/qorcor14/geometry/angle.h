// qorcor14/geometry/angle.h - plane angles held as a (cos, sin) pair, and the
// tolerant comparison of two angles.
//
// Holding the unit vector instead of a number of radians makes addition,
// subtraction, negation and the sine and cosine free of trigonometric calls and
// of any wrap-around at plus or minus 180 degrees. Only the factories taking a
// number, the readers giving one, and the integer multiple call into <cmath>.
#pragma once

#include <qorcor14/config.h>

#include <cmath>
#include <ostream>

template <int N>
class Vector;
namespace QOR::internal {
template <int N>
class VectorExtras;
}

// A plane angle, stored as its cosine and sine.
//
// Example:
//   Angle a = Angle::degrees(30) + Angle::degrees(60);
//   a.degrees();   // 90, up to rounding
//   a.cos();       // about 6.1e-17, read without any computation
//
// Note: nothing renormalises the pair after construction. The sum and the
// difference are the raw complex products of the operands' pairs, so long
// chains of additions drift away from unit length by rounding.
// Note: equality is exact; compare computed angles with closerThanDegrees or
// closerThanRadians.
class QORCOR14_API Angle {
public:
  // pi as a double, 3.141592653589793.
  static constexpr double pi = 3.141592653589793;

  // The zero angle: cosine 1, sine 0.
  constexpr Angle() = default;

  // The angle of d degrees. The conversion multiplies by the double pi/180.
  [[nodiscard]] static Angle degrees(double d);
  // The angle of r radians.
  [[nodiscard]] static Angle radians(double r);
  // The direction of the plane vector (c, s), scaled to unit length.
  // Note: (0, 0) is not tested for and gives two NaNs.
  [[nodiscard]] static Angle cosSin(double c, double s);

  // atan2(sin, cos): from -pi to pi.
  [[nodiscard]] double radians() const;
  // radians() divided by pi/180: from -180 to 180.
  [[nodiscard]] double degrees() const;

  // The stored cosine.
  [[nodiscard]] double cos() const { return m_cos; }
  // The stored sine.
  [[nodiscard]] double sin() const { return m_sin; }
  // sin / cos; no test for a zero cosine.
  // Note: degrees(90) keeps a cosine of about 6.1e-17, so its tangent is a
  // large finite number, not infinity.
  [[nodiscard]] double tan() const { return m_sin / m_cos; }
  // True when neither stored component is infinite or NaN.
  [[nodiscard]] bool isFinite() const { return std::isfinite(m_cos) && std::isfinite(m_sin); }

  [[nodiscard]] Angle operator+() const { return *this; }
  [[nodiscard]] Angle operator-() const { return Angle(m_cos, -m_sin); }

  // The sum, by complex multiplication of the two pairs.
  [[nodiscard]] Angle operator+(const Angle& b) const {
    return Angle(m_cos * b.m_cos - m_sin * b.m_sin, b.m_sin * m_cos + m_sin * b.m_cos);
  }
  // The difference, by multiplication with the conjugate of b.
  [[nodiscard]] Angle operator-(const Angle& b) const {
    return Angle(m_cos * b.m_cos + m_sin * b.m_sin, b.m_cos * m_sin - m_cos * b.m_sin);
  }
  Angle& operator+=(const Angle& b) { return *this = *this + b; }
  Angle& operator-=(const Angle& b) { return *this = *this - b; }

  // n times the angle, taken through radians(): the one arithmetic operation
  // whose result has unit length again. degrees(170) * 3 is about 150.
  [[nodiscard]] Angle operator*(int n) const;
  Angle& operator*=(int n) { return *this = *this * n; }

  // Exact comparison of both components (a NaN makes them unequal; -0.0
  // equals +0.0).
  [[nodiscard]] friend bool operator==(const Angle& a, const Angle& b) { return a.equals(b); }
  [[nodiscard]] friend bool operator!=(const Angle& a, const Angle& b) { return !a.equals(b); }

  // Writes degrees() with the stream's own formatting, with no unit.
  friend std::wostream& operator<<(std::wostream& os, const Angle& a) { return os << a.degrees(); }

private:
  template <int>
  friend class Vector;
  friend class QOR::internal::VectorExtras<2>;
  friend class QOR::internal::VectorExtras<3>;

  // Stores the pair as given, without normalising.
  constexpr Angle(double c, double s) : m_cos(c), m_sin(s) {}

  [[nodiscard]] bool equals(const Angle& b) const { return m_cos == b.m_cos && m_sin == b.m_sin; }

  double m_cos = 1.0;
  double m_sin = 0.0;
};

// True when the shortest signed distance from b to a, in degrees, is strictly
// smaller in magnitude than tolerance. Angles either side of the 180 degree
// seam are close: 179 and -179 degrees are 2 degrees apart.
// Note: a tolerance of zero or below never holds, not even for a == b.
[[nodiscard]] QORCOR14_API bool closerThanDegrees(const Angle& a, const Angle& b, double tolerance);

// closerThanDegrees with the distance and tolerance in radians.
[[nodiscard]] QORCOR14_API bool closerThanRadians(const Angle& a, const Angle& b, double tolerance);
