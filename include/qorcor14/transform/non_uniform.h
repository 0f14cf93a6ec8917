// qorcor14/transform/non_uniform.h - NonUniformTransform<N> (N = 2, 3): any
// affine map of the plane or of space, with independent scales per axis,
// shear and arbitrary axes.
#pragma once

#include <qorcor14/config.h>
#include <qorcor14/transform/affine.h>

#include <ostream>

template <int N>
class NonUniformTransform;

namespace QOR::internal {

// The factories that take one argument per axis. NonUniformTransform<N>
// derives from NonUniformExtras<N>; each specialisation is exported on its
// own, so each dimension carries only its own forms.
template <int N>
class QORCOR14_API NonUniformExtras {};

template <>
class QORCOR14_API NonUniformExtras<2> {
public:
  // M = diag(sx, sy), no translation.
  [[nodiscard]] static NonUniformTransform<2> scale(double sx, double sy);
  // M rows a and b, no translation.
  [[nodiscard]] static NonUniformTransform<2> axes(const Vector<2>& a, const Vector<2>& b);
};

template <>
class QORCOR14_API NonUniformExtras<3> {
public:
  // M = diag(sx, sy, sz), no translation.
  [[nodiscard]] static NonUniformTransform<3> scale(double sx, double sy, double sz);
  // M rows a, b and c, no translation.
  [[nodiscard]] static NonUniformTransform<3> axes(const Vector<3>& a, const Vector<3>& b, const Vector<3>& c);
};

}  // namespace QOR::internal

// A general affine map: matrix M and translation t, nothing promised about M.
//
// Example:
//   auto t = NonUniformTransform<2>::scale(2, 3);
//   Point<2>(1, 1) * t;     // (2,3)
//   std::wcout << t;        // (0,0)+[2,0/0,3]
//   auto u = compose(t, UniformTransform<2>::scale(2));   // still non-uniform
//
// Note: axes() takes its vectors as the rows of M unchanged: they are neither
// normalised nor made orthogonal.
template <int N>
class QORCOR14_API NonUniformTransform : public AffineTransform<N>, public QOR::internal::NonUniformExtras<N> {
public:
  // The identity.
  NonUniformTransform() = default;
  NonUniformTransform(const NonUniformTransform&) = default;
  NonUniformTransform& operator=(const NonUniformTransform&) = default;
  // The matrix and translation of any affine transform.
  NonUniformTransform(const AffineTransform<N>& a) : AffineTransform<N>(a) {}

  // scale(sx, sy[, sz]) and axes(a, b[, c]): see QOR::internal::NonUniformExtras.
  // Rows 0 … N−1 the matrix, row N the translation, copied as they are.
  [[nodiscard]] static NonUniformTransform createFromPod(const double (&rows)[N + 1][N]);

  // M⁻¹ and −t·M⁻¹.
  [[nodiscard]] NonUniformTransform inverse() const;

  [[nodiscard]] NonUniformTransform* clone() const override;
  [[nodiscard]] Transform<N>* pInverse() const override;
  [[nodiscard]] Transform<N>* composeWith(const Transform<N>& other) const override;
  // Always non-uniform.
  [[nodiscard]] AffineTransform<N>* composeWith(const AffineTransform<N>& other) const override;

  // multiply and divide with any affine transform.
  NonUniformTransform& operator*=(const AffineTransform<N>& b) {
    this->multiply(b);
    return *this;
  }
  NonUniformTransform& operator/=(const AffineTransform<N>& b) {
    this->divide(b);
    return *this;
  }

private:
  friend class QOR::internal::NonUniformExtras<N>;

  explicit NonUniformTransform(const double (*rows)[N]) : AffineTransform<N>(rows) {}
  NonUniformTransform(const Matrix<N>& m, const Vector<N>& t) : AffineTransform<N>(m, t) {}
};

QORCOR14_EXTERN_TEMPLATE(NonUniformTransform<2>)
QORCOR14_EXTERN_TEMPLATE(NonUniformTransform<3>)
