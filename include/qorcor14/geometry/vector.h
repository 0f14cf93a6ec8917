// qorcor14/geometry/vector.h - displacements (Vector<N>, N = 1..4) and
// positions (Point<N>, N = 1..3) of double components.
//
// The two are kept apart by type: a point plus a vector is a point, a point
// minus a point is a vector, and there is no point plus point. Both have the
// same layout, N doubles in the order x, y, z, w. Nothing is checked or
// normalised: components may be infinite or NaN, and isNaN()/isFinite() are
// the means to ask. Equality is exact, with no tolerance.
//
// The arithmetic is inline, since a call into the DLL would cost more than the
// work; the trigonometric members and the text form live in the library.
#pragma once

#include <qorcor14/config.h>
#include <qorcor14/geometry/internal/components.h>
#include <qorcor14/geometry/angle.h>

#include <cmath>
#include <ostream>
#include <type_traits>

template <int N>
class Matrix;
template <int N>
class Point;
template <int N>
class Vector;

namespace QOR::internal {

// The members that only planar or only spatial vectors have. Vector<N>
// derives from VectorExtras<N>; each specialisation is exported on its own, so
// Vector<1> and Vector<4> carry none of them.
template <int N>
class QORCOR14_API VectorExtras {};

template <>
class QORCOR14_API VectorExtras<2> {
public:
  // The direction as an Angle, (x, y) divided by length(); NaN for the zero
  // vector. Vector<2>(r, a) is its inverse.
  [[nodiscard]] Angle theta() const;
};

template <>
class QORCOR14_API VectorExtras<3> {
public:
  // The vector of length r at altitude alt above the x-y plane and azimuth az,
  // measured from +y towards +x (the surveying convention).
  // Note: only a cosine of alt that is exactly 0 puts the result on the z
  // axis; altAz(1, Angle::degrees(90), az) keeps tiny x and y.
  [[nodiscard]] static Vector<3> altAz(double r, Angle alt, Angle az);
  // The angle up from the x-y plane; NaN for the zero vector.
  [[nodiscard]] Angle altitude() const;
  // The angle from +y towards +x of the projection onto the x-y plane; NaN for
  // a vector along z.
  [[nodiscard]] Angle azimuth() const;
};

}  // namespace QOR::internal

// A displacement of N double components.
//
// Example:
//   Vector<2> v(3, 4);
//   v.length();           // 5
//   v.unit();             // (0.6,0.8)
//   dot(v, v.perpendicular());   // 0
template <int N>
class QORCOR14_API Vector : public QOR::internal::VectorExtras<N> {
  using CompoundResult = std::conditional_t<N == 2, const Vector&, Vector&>;

public:
  // All components 0.
  constexpr Vector() : m_c{} {}
  template <int M = N>
  requires(M == 2) constexpr Vector(double x, double y) : m_c{x, y} {}
  template <int M = N>
  requires(M == 3) constexpr Vector(double x, double y, double z) : m_c{x, y, z} {}
  // Reads N doubles in component order.
  constexpr explicit Vector(const double* c) : m_c{} {
    for (int i = 0; i < N; ++i) m_c[i] = c[i];
  }
  // The polar form (r·a.cos(), r·a.sin()); theta() is its inverse.
  template <int M = N>
  requires(M == 2) Vector(double r, Angle a) : m_c{r * a.cos(), r * a.sin()} {}

  // The row vector v·m: component j is the sum over i of v[i]·m[i][j], in
  // order of i. Defined inline in matrix.h; the library provides them too.
  Vector(const Vector& v, const Matrix<N>& m);
  // v·m + t.
  Vector(const Vector& v, const Matrix<N>& m, const Vector& t);

  // Component i.
  // Note: Vector<2> gives y for every index but 0, and Vector<3> gives z for
  // every index but 0 and 1; Vector<1> and Vector<4> do not check the index.
  [[nodiscard]] double operator[](int i) const { return QOR::internal::componentAt(m_c, i); }

  // Writes the N components, in order, to c.
  void packToPod(double* c) const {
    for (int i = 0; i < N; ++i) c[i] = m_c[i];
  }

  // True when any component is NaN.
  [[nodiscard]] bool isNaN() const {
    for (int i = 0; i < N; ++i)
      if (std::isnan(m_c[i])) return true;
    return false;
  }
  // True when every component is finite.
  [[nodiscard]] bool isFinite() const {
    for (int i = 0; i < N; ++i)
      if (!std::isfinite(m_c[i])) return false;
    return true;
  }

  [[nodiscard]] Vector operator+() const { return *this; }
  [[nodiscard]] Vector operator-() const {
    Vector r;
    for (int i = 0; i < N; ++i) r.m_c[i] = -m_c[i];
    return r;
  }

  // In place; they return the vector by reference.
  // Note: for Vector<2> the reference is const, so (v += a) += b does not
  // compile there.
  CompoundResult operator+=(const Vector& b) {
    for (int i = 0; i < N; ++i) m_c[i] += b.m_c[i];
    return *this;
  }
  CompoundResult operator-=(const Vector& b) {
    for (int i = 0; i < N; ++i) m_c[i] -= b.m_c[i];
    return *this;
  }
  CompoundResult operator*=(double s) {
    for (int i = 0; i < N; ++i) m_c[i] *= s;
    return *this;
  }
  // Note: division by 0 is not checked and yields infinities or NaN.
  CompoundResult operator/=(double s) {
    for (int i = 0; i < N; ++i) m_c[i] /= s;
    return *this;
  }

  [[nodiscard]] friend Vector operator+(const Vector& a, const Vector& b) {
    Vector r(a);
    r += b;
    return r;
  }
  [[nodiscard]] friend Vector operator-(const Vector& a, const Vector& b) {
    Vector r(a);
    r -= b;
    return r;
  }
  [[nodiscard]] friend Vector operator*(const Vector& a, double s) {
    Vector r(a);
    r *= s;
    return r;
  }
  [[nodiscard]] friend Vector operator/(const Vector& a, double s) {
    Vector r(a);
    r /= s;
    return r;
  }

  // Sum of the squared components, in component order.
  [[nodiscard]] double lengthSquared() const { return doDot(*this); }
  [[nodiscard]] double length() const { return std::sqrt(lengthSquared()); }
  // Each component divided by length(), computed once.
  // Note: there is no test for zero: the unit of a zero vector is NaN. Test
  // lengthSquared() first where a zero vector can occur.
  [[nodiscard]] Vector unit() const { return *this / length(); }

  // Sum of the componentwise products, in component order.
  [[nodiscard]] friend double dot(const Vector& a, const Vector& b) { return a.doDot(b); }

  // Exact componentwise comparison: a NaN component makes two vectors
  // unequal, and -0.0 equals +0.0.
  [[nodiscard]] friend bool operator==(const Vector& a, const Vector& b) { return a.isEql(b); }
  [[nodiscard]] friend bool operator!=(const Vector& a, const Vector& b) { return !a.isEql(b); }

  // (-y, x): the vector turned by +90 degrees.
  template <int M = N>
  requires(M == 2) [[nodiscard]] Vector perpendicular() const { return Vector(-m_c[1], m_c[0]); }

  // The quadrant, 1 to 4, counting a zero component as non-negative: the
  // origin and both positive axes are in 1, the negative x axis in 2, the
  // negative y axis in 4.
  // Note: a NaN component counts as negative.
  template <int M = N>
  requires(M == 2) [[nodiscard]] int quadrant() const {
    static constexpr int q[4] = {3, 2, 4, 1};
    return q[2 * (m_c[0] >= 0) + (m_c[1] >= 0)];
  }

  // Vector<2> has theta(), Vector<3> altAz(), altitude() and azimuth(): see
  // QOR::internal::VectorExtras.

  // Writes (x,y,...) with the stream's own number formatting and no spaces.
  friend std::wostream& operator<<(std::wostream& os, const Vector& v) { return v.putOn(os); }

private:
  template <int>
  friend class Point;

  [[nodiscard]] double doDot(const Vector& b) const {
    double s = m_c[0] * b.m_c[0];
    for (int i = 1; i < N; ++i) s += m_c[i] * b.m_c[i];
    return s;
  }
  [[nodiscard]] bool isEql(const Vector& b) const {
    for (int i = 0; i < N; ++i)
      if (!(m_c[i] == b.m_c[i])) return false;
    return true;
  }
  std::wostream& putOn(std::wostream& os) const;

  double m_c[N];
};

// a.x·b.y − a.y·b.x: the z component of the spatial cross product.
[[nodiscard]] inline double cross(const Vector<2>& a, const Vector<2>& b) { return a[0] * b[1] - a[1] * b[0]; }

// The cross product a × b.
[[nodiscard]] inline Vector<3> cross(const Vector<3>& a, const Vector<3>& b) {
  return Vector<3>(a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]);
}

// A position of N double components.
//
// Example:
//   Point<2> a(1, 2), b(4, 6);
//   (b - a).length();        // 5
//   a + (b - a) * 0.5;       // (2.5,4)
//   midpoint(a, b);          // (2.5,4)
template <int N>
class QORCOR14_API Point {
public:
  // All components 0.
  constexpr Point() : m_c{} {}
  template <int M = N>
  requires(M == 2) constexpr Point(double x, double y) : m_c{x, y} {}
  template <int M = N>
  requires(M == 3) constexpr Point(double x, double y, double z) : m_c{x, y, z} {}
  // Reads N doubles in component order.
  constexpr explicit Point(const double* c) : m_c{} {
    for (int i = 0; i < N; ++i) m_c[i] = c[i];
  }

  // The point with every component 0.
  [[nodiscard]] static const Point& origin() { return m_origin; }

  // Component i, with the index rules of Vector: Point<2> gives y for every
  // index but 0, Point<3> gives z for every index but 0 and 1, and Point<1>
  // does not check the index.
  [[nodiscard]] double operator[](int i) const { return QOR::internal::componentAt(m_c, i); }

  // Writes the N components, in order, to c.
  void packToPod(double* c) const {
    for (int i = 0; i < N; ++i) c[i] = m_c[i];
  }

  // True when any component is NaN.
  [[nodiscard]] bool isNaN() const { return asVector().isNaN(); }
  // True when every component is finite.
  [[nodiscard]] bool isFinite() const { return asVector().isFinite(); }

  Point& operator+=(const Vector<N>& v) {
    for (int i = 0; i < N; ++i) m_c[i] += v.m_c[i];
    return *this;
  }
  Point& operator-=(const Vector<N>& v) {
    for (int i = 0; i < N; ++i) m_c[i] -= v.m_c[i];
    return *this;
  }

  [[nodiscard]] friend Point operator+(const Point& p, const Vector<N>& v) { return Point(p.asVector() + v); }
  [[nodiscard]] friend Point operator+(const Vector<N>& v, const Point& p) { return Point(v + p.asVector()); }
  [[nodiscard]] friend Point operator-(const Point& p, const Vector<N>& v) { return Point(p.asVector() - v); }
  // The vector from b to a.
  [[nodiscard]] friend Vector<N> operator-(const Point& a, const Point& b) { return a.asVector() - b.asVector(); }

  // (1 − t)·a + t·b per component, so that t = 0 and t = 1 give a and b
  // exactly; t outside [0, 1] extrapolates.
  // Note: interp(a, b, 0.5) may differ from midpoint(a, b) in the last bit.
  [[nodiscard]] friend Point interp(const Point& a, const Point& b, double t) {
    Point r;
    for (int i = 0; i < N; ++i) r.m_c[i] = (1 - t) * a.m_c[i] + t * b.m_c[i];
    return r;
  }
  // (a + b)·0.5 per component.
  [[nodiscard]] friend Point midpoint(const Point& a, const Point& b) {
    Point r;
    for (int i = 0; i < N; ++i) r.m_c[i] = (a.m_c[i] + b.m_c[i]) * 0.5;
    return r;
  }

  // Exact componentwise comparison: a NaN component makes two points unequal,
  // and -0.0 equals +0.0.
  [[nodiscard]] friend bool operator==(const Point& a, const Point& b) { return a.isEql(b); }
  [[nodiscard]] friend bool operator!=(const Point& a, const Point& b) { return !a.isEql(b); }

  // Writes (x,y,...) exactly as the vector of the same components.
  friend std::wostream& operator<<(std::wostream& os, const Point& p) { return p.putOn(os); }

private:
  template <int>
  friend class AffineTransform;
  template <int>
  friend class PerspectiveTransform;

  // Vectors become points only through the mixed operators above.
  constexpr explicit Point(const Vector<N>& v) : Point(v.m_c) {}

  // p·m and p·m + t. Defined in matrix.h.
  Point(const Point& p, const Matrix<N>& m);
  Point(const Point& p, const Matrix<N>& m, const Vector<N>& t);

  [[nodiscard]] Vector<N> asVector() const { return Vector<N>(m_c); }
  [[nodiscard]] bool isEql(const Point& b) const { return asVector().isEql(b.asVector()); }
  std::wostream& putOn(std::wostream& os) const;

  static const Point m_origin;

  double m_c[N];
};

QORCOR14_EXTERN_TEMPLATE(Vector<1>)
QORCOR14_EXTERN_TEMPLATE(Vector<2>)
QORCOR14_EXTERN_TEMPLATE(Vector<3>)
QORCOR14_EXTERN_TEMPLATE(Vector<4>)
QORCOR14_EXTERN_TEMPLATE(Point<1>)
QORCOR14_EXTERN_TEMPLATE(Point<2>)
QORCOR14_EXTERN_TEMPLATE(Point<3>)
QORCOR14_EXTERN_TEMPLATE_DATA(const Point<1> Point<1>::m_origin)
QORCOR14_EXTERN_TEMPLATE_DATA(const Point<2> Point<2>::m_origin)
QORCOR14_EXTERN_TEMPLATE_DATA(const Point<3> Point<3>::m_origin)
