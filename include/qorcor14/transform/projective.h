// qorcor14/transform/projective.h - PerspectiveTransform<N>, the projective
// transforms: a homogeneous (N+1)×(N+1) matrix H applied to the row vector
// (p, 1) followed by a division by the homogeneous coordinate w.
//
// It models a central projection: the eye looks along the negative last axis,
// so points in front of it have w < 0. Mapping an extent keeps only what lies
// in front of the eye and widens the result to ±1.7976931348623157e308 where
// the box crosses the eye plane. PerspectiveTransform<1> exists only as the
// slice of a planar one.
#pragma once

#include <qorcor14/config.h>
#include <qorcor14/geometry/matrix.h>
#include <qorcor14/transform/affine.h>
#include <qorcor14/transform/transform.h>

#include <ostream>

// A central projection of the plane (N = 2) or of space (N = 3).
//
// Example:
//   PerspectiveTransform<2> p;        // the unit projection: (x, y) → (x/y, −1/y)
//   Point<2>(2, -4) * p;              // (-0.5,0.25)
//   p *= UniformTransform<2>::translation(Vector<2>(0, 1));   // then shift
//   std::wcout << p;                  // H alone, in the matrix form
//
// Note: operator/= does exactly what operator*= does (H ← H·A); it does not
// invert the affine transform. Two perspective transforms are never merged:
// their composition is a CompoundTransform.
// Note: nothing tests w = 0; such points map to infinities or NaN.
template <int N>
class QORCOR14_API PerspectiveTransform : public Transform<N> {
  static_assert(N == 2 || N == 3, "PerspectiveTransform<1> is specialised");

public:
  // The default H: for N = 2 rows (1,0,0), (0,0,1), (0,−1,0); for N = 3
  // rows (1,0,0,0), (0,1,0,0), (0,0,0,1), (0,0,−1,0). The unit projection of
  // (x, y, z) is (x/z, y/z, −1/z) with w = z.
  static const Matrix<N + 1> m_unitTrn;

  // H = m_unitTrn.
  PerspectiveTransform() : m_h(m_unitTrn) {}
  PerspectiveTransform(const PerspectiveTransform&) = default;
  PerspectiveTransform(PerspectiveTransform&&) = default;
  PerspectiveTransform& operator=(const PerspectiveTransform&) = default;
  PerspectiveTransform& operator=(PerspectiveTransform&&) = default;

  // H⁻¹, with no singularity test.
  [[nodiscard]] PerspectiveTransform inverse() const;

  [[nodiscard]] PerspectiveTransform* clone() const override;
  [[nodiscard]] Transform<N>* pInverse() const override;
  // For N = 3 a PerspectiveTransform<2> of H's rows and columns 0, 1 and 3;
  // for N = 2 an empty PerspectiveTransform<1>.
  [[nodiscard]] Transform<N - 1>* pSlice() const override;
  // An affine other gives a copy of this with H ← H·A; anything else a
  // compound of clones.
  [[nodiscard]] Transform<N>* composeWith(const Transform<N>& other) const override;

  // H.
  [[nodiscard]] virtual Matrix<N + 1> homogeneous() const;
  // H ← A·H: the affine map first, then this projection.
  virtual PerspectiveTransform& preMultiply(const AffineTransform<N>& a);
  // H ← H·A: this projection, then the affine map.
  // Note: divide and multiply are one and the same operation.
  virtual PerspectiveTransform& divide(const AffineTransform<N>& a);
  // H ← H·A, exactly as divide.
  virtual PerspectiveTransform& multiply(const AffineTransform<N>& a);

  // divide(a): H ← H·A.
  PerspectiveTransform& operator*=(const AffineTransform<N>& a) { return divide(a); }
  // multiply(a): H ← H·A as well.
  PerspectiveTransform& operator/=(const AffineTransform<N>& a) { return multiply(a); }

protected:
  // H alone, in the matrix form.
  std::wostream& putOn(std::wostream& os) const override;
  // The front and behind rule: see the header comment.
  [[nodiscard]] Extent<N> preMultiply(const Extent<N>& e) const override;
  [[nodiscard]] Point<N> preMultiply(const Point<N>& p) const override;
  // As the forward mappings, through H⁻¹ computed afresh on every call.
  [[nodiscard]] Extent<N> preDivide(const Extent<N>& e) const override;
  [[nodiscard]] Point<N> preDivide(const Point<N>& p) const override;

private:
  template <int>
  friend class PerspectiveTransform;

  explicit PerspectiveTransform(const Matrix<N + 1>& h) : m_h(h) {}

  Matrix<N + 1> m_h;
};

// The slice of a planar perspective transform: carries nothing.
template <>
class QORCOR14_API PerspectiveTransform<1> : public Transform<1> {
public:
  ~PerspectiveTransform() override;

private:
  template <int>
  friend class PerspectiveTransform;

  // The matrix is ignored.
  explicit PerspectiveTransform(const Matrix<2>&) {}
};

QORCOR14_EXTERN_TEMPLATE(PerspectiveTransform<2>)
QORCOR14_EXTERN_TEMPLATE(PerspectiveTransform<3>)
QORCOR14_EXTERN_TEMPLATE_DATA(const Matrix<3> PerspectiveTransform<2>::m_unitTrn)
QORCOR14_EXTERN_TEMPLATE_DATA(const Matrix<4> PerspectiveTransform<3>::m_unitTrn)
