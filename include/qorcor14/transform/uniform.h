// qorcor14/transform/uniform.h - UniformTransform<2> and UniformTransform<3>,
// the similarities: rotation, uniform scale, mirroring and translation, which
// keep angles and scale every length by one factor.
//
// The kind is a promise of the factory that built the object and is never
// checked: createFromPod accepts any matrix, and the queries that only a
// similarity can answer (rotation, scale) then give whatever their formulas
// make of it.
#pragma once

#include <qorcor14/config.h>
#include <qorcor14/geometry/angle.h>
#include <qorcor14/geometry/plane.h>
#include <qorcor14/transform/affine.h>

#include <ostream>

template <int N>
class UniformTransform;

// A similarity of the plane.
//
// Example:
//   auto t = UniformTransform<2>::scale(2);
//   t *= UniformTransform<2>::rotation(Angle::degrees(30));
//   t.scale();                 // 2
//   t.rotation().degrees();    // 30, up to rounding
//   std::wcout << UniformTransform<2>::translation(Vector<2>(1, 2));   // (1,2)*1~0
//
// Note: scale() of a mirroring transform is NaN (the square root of a
// negative determinant).
template <>
class QORCOR14_API UniformTransform<2> : public AffineTransform<2> {
public:
  // The identity.
  UniformTransform() = default;
  UniformTransform(const UniformTransform&) = default;
  UniformTransform& operator=(const UniformTransform&) = default;

  // Identity matrix, translation t.
  [[nodiscard]] static UniformTransform translation(const Vector<2>& t);
  // M = s·I, no translation.
  [[nodiscard]] static UniformTransform scale(double s);
  // Counter-clockwise about the origin: M rows (cos a, sin a), (−sin a, cos a).
  [[nodiscard]] static UniformTransform rotation(const Angle& a);
  // Reflection in the line, whose direction is taken as unit length.
  [[nodiscard]] static UniformTransform mirror(const QOR::Line<2>& line);
  // Rows 0-1 the matrix, row 2 the translation, copied as they are.
  [[nodiscard]] static UniformTransform createFromPod(const double (&rows)[3][2]);

  using AffineTransform<2>::translation;
  // The direction of M's first row: 0 for a pure scale.
  [[nodiscard]] Angle rotation() const;
  // sqrt(det M).
  [[nodiscard]] double scale() const;
  // M⁻¹ and −t·M⁻¹.
  [[nodiscard]] UniformTransform inverse() const;

  [[nodiscard]] UniformTransform* clone() const override;
  [[nodiscard]] Transform<2>* pInverse() const override;
  [[nodiscard]] Transform<2>* composeWith(const Transform<2>& other) const override;
  // Uniform when other is uniform, else non-uniform.
  [[nodiscard]] AffineTransform<2>* composeWith(const AffineTransform<2>& other) const override;

  // multiply and divide.
  UniformTransform& operator*=(const UniformTransform& b) {
    multiply(b);
    return *this;
  }
  UniformTransform& operator/=(const UniformTransform& b) {
    divide(b);
    return *this;
  }

protected:
  // The translation, "*", scale(), "~", rotation() in degrees: (1,2)*1~0.
  std::wostream& putOn(std::wostream& os) const override;

private:
  explicit UniformTransform(const double (*rows)[2]) : AffineTransform<2>(rows) {}
  UniformTransform(const Matrix<2>& m, const Vector<2>& t) : AffineTransform<2>(m, t) {}
};

// A similarity of space.
//
// Example:
//   auto r = UniformTransform<3>::rotation(Angle::degrees(90), Vector<3>(0, 0, 1));
//   Point<3>(1, 0, 0) * r;                   // about (0,1,0): right-handed
//   UniformTransform<3>::scale(-2).scale();  // -2
//   std::wcout << UniformTransform<3>();     // UniformTfm[[1,0,0/0,1,0/0,0,1] + (0,0,0)]
//
// Note: rotation(Vector<3>&) is declared but not provided: it always throws
// QOR::NotImplemented, which a handler for QOR::QorError does not catch.
template <>
class QORCOR14_API UniformTransform<3> : public AffineTransform<3> {
public:
  // The identity.
  UniformTransform() = default;
  UniformTransform(const UniformTransform&) = default;
  UniformTransform& operator=(const UniformTransform&) = default;

  // Identity matrix, translation t.
  [[nodiscard]] static UniformTransform translation(const Vector<3>& t);
  // M = s·I, no translation.
  [[nodiscard]] static UniformTransform scale(double s);
  // By a about the axis through the origin, right-handed: 90 degrees about
  // (0,0,1) takes (1,0,0) to (0,1,0). The axis is normalised; a zero axis
  // gives NaN.
  [[nodiscard]] static UniformTransform rotation(const Angle& a, const Vector<3>& axis);
  // The frame whose x axis points along x and whose y axis lies in the plane
  // of x and y. Parallel or zero vectors give NaN rows.
  [[nodiscard]] static UniformTransform xyAxes(const Vector<3>& x, const Vector<3>& y);
  // The frame whose y axis points along y and whose z axis lies in the plane
  // of y and z.
  [[nodiscard]] static UniformTransform yzAxes(const Vector<3>& y, const Vector<3>& z);
  // The frame whose z axis points along z and whose x axis lies in the plane
  // of z and x.
  [[nodiscard]] static UniformTransform zxAxes(const Vector<3>& z, const Vector<3>& x);
  // Reflection in the plane, whose normal is taken as unit length.
  [[nodiscard]] static UniformTransform mirror(const Plane& plane);
  // Rows 0-2 the matrix, row 3 the translation, copied as they are.
  [[nodiscard]] static UniformTransform createFromPod(const double (&rows)[4][3]);

  using AffineTransform<3>::translation;
  // Not provided: throws QOR::NotImplemented(L"UniformTransform<3>::rotation")
  // and leaves axis untouched.
  [[nodiscard]] Angle rotation(Vector<3>& axis) const;
  // The real cube root of det M: negative for a mirroring transform.
  [[nodiscard]] double scale() const;
  // M⁻¹ and −t·M⁻¹.
  [[nodiscard]] UniformTransform inverse() const;

  [[nodiscard]] UniformTransform* clone() const override;
  [[nodiscard]] Transform<3>* pInverse() const override;
  [[nodiscard]] Transform<3>* composeWith(const Transform<3>& other) const override;
  // Uniform when other is uniform, else non-uniform.
  [[nodiscard]] AffineTransform<3>* composeWith(const AffineTransform<3>& other) const override;

  // multiply and divide.
  UniformTransform& operator*=(const UniformTransform& b) {
    multiply(b);
    return *this;
  }
  UniformTransform& operator/=(const UniformTransform& b) {
    divide(b);
    return *this;
  }

protected:
  // "UniformTfm[", the matrix, " + ", the translation, "]".
  std::wostream& putOn(std::wostream& os) const override;

private:
  explicit UniformTransform(const double (*rows)[3]) : AffineTransform<3>(rows) {}
  UniformTransform(const Matrix<3>& m, const Vector<3>& t) : AffineTransform<3>(m, t) {}
};
