// qorcor14/transform/affine.h - AffineTransform<N>, the common base of the
// uniform and non-uniform transforms: a matrix M and a translation t that map
// a point p to p·M + t and a vector v to v·M.
//
// It does all affine arithmetic (mapping, composition in place, homogeneous
// form, slicing); the concrete kinds add factories and queries.
#pragma once

#include <qorcor14/config.h>
#include <qorcor14/geometry/matrix.h>
#include <qorcor14/transform/transform.h>

#include <ostream>

// The matrix and translation of an affine map. Abstract: build one of the
// concrete kinds (UniformTransform, NonUniformTransform).
//
// Example:
//   auto t = NonUniformTransform<2>::scale(2, 3);
//   t.multiply(UniformTransform<2>::translation(Vector<2>(1, 1)));
//   Point<2>(1, 1) * t;    // (3,4)
//   Vector<2>(1, 1) * t;   // (2,3): vectors ignore the translation
//
// Note: nothing is cached: mapping backwards inverts M afresh on every call,
// and a singular M gives infinities or NaN without an error.
template <int N>
class QORCOR14_API AffineTransform : public Transform<N> {
public:
  // The root's composition, reached here too despite the overload below.
  using Transform<N>::composeWith;
  [[nodiscard]] Transform<N>* composeWith(const Transform<N>& other) const override = 0;
  // Throws the bare string "Not Implemented" (a const char*) for N = 2; for
  // N = 3 a new NonUniformTransform<2> of the upper-left 2×2 block of M and
  // (t.x, t.y): whatever couples z with x and y is dropped.
  [[nodiscard]] Transform<N - 1>* pSlice() const override;

  // This followed by other, as the most specific affine kind.
  [[nodiscard]] virtual AffineTransform* composeWith(const AffineTransform& other) const = 0;
  // t.
  [[nodiscard]] virtual Vector<N> translation() const;
  // The (N+1)×(N+1) matrix with M in the upper left, t as the last row and 1
  // in the corner.
  [[nodiscard]] virtual Matrix<N + 1> homogeneous() const;
  // True when det(M) < 0; a zero determinant is not mirroring.
  [[nodiscard]] virtual bool mirroring() const;

  // Vector mapping: v * t is v·M, v / t is v·M⁻¹ (and the assigning forms).
  [[nodiscard]] friend Vector<N> operator*(const Vector<N>& v, const AffineTransform& t) { return t.preMultiply(v); }
  [[nodiscard]] friend Vector<N> operator/(const Vector<N>& v, const AffineTransform& t) { return t.preDivide(v); }
  friend Vector<N>& operator*=(Vector<N>& v, const AffineTransform& t) { return v = t.preMultiply(v); }
  friend Vector<N>& operator/=(Vector<N>& v, const AffineTransform& t) { return v = t.preDivide(v); }

protected:
  using Transform<N>::preMultiply;
  using Transform<N>::preDivide;

  [[nodiscard]] virtual Vector<N> preMultiply(const Vector<N>& v) const;
  [[nodiscard]] virtual Vector<N> preDivide(const Vector<N>& v) const;

public:
  // This becomes this followed by b: t ← t·b.M + b.t, then M ← M·b.M.
  virtual AffineTransform& multiply(const AffineTransform& b);
  // This becomes this followed by the inverse of b: t ← (t − b.t)·b.M⁻¹, then
  // M ← M·b.M⁻¹.
  virtual AffineTransform& divide(const AffineTransform& b);

  // Rows 0 … N−1 are the rows of M, row N is t: the layout createFromPod reads.
  void packToPod(double (&rows)[N + 1][N]) const;

protected:
  // Identity, no translation.
  AffineTransform() = default;
  // Identity, translation t.
  explicit AffineTransform(const Vector<N>& t) : m_matrix(), m_vector(t) {}
  // M from N rows of N doubles, no translation.
  explicit AffineTransform(const double (*rows)[N]) : m_matrix(rows), m_vector() {}
  AffineTransform(const Matrix<N>& m, const Vector<N>& t) : m_matrix(m), m_vector(t) {}
  AffineTransform(const AffineTransform&) = default;
  AffineTransform& operator=(const AffineTransform&) = default;

  [[nodiscard]] const Matrix<N>& getMatrix() const { return m_matrix; }
  [[nodiscard]] const Vector<N>& getVector() const { return m_vector; }

  // The shared composition of the concrete kinds: another affine kind goes to
  // composeWith(const AffineTransform&), a perspective one becomes a copy of
  // it pre-multiplied by this, anything else a compound of clones.
  [[nodiscard]] Transform<N>* composeAny(const Transform<N>& other) const;

  // The translation, "+", the matrix: (1,2)+[1,0/0,1].
  std::wostream& putOn(std::wostream& os) const override;
  // The root's extent mappings, corner by corner through p·M + t and
  // (p − t)·M⁻¹ with the same results, without a virtual call per corner and
  // inverting M once. A kind derived by a program, which may map points its
  // own way, gets the root's.
  [[nodiscard]] Extent<N> preMultiply(const Extent<N>& e) const override;
  [[nodiscard]] Extent<N> preDivide(const Extent<N>& e) const override;
  // p·M + t.
  [[nodiscard]] Point<N> preMultiply(const Point<N>& p) const override;
  // (p − t)·M⁻¹.
  [[nodiscard]] Point<N> preDivide(const Point<N>& p) const override;

private:
  Matrix<N> m_matrix;
  Vector<N> m_vector;
};

QORCOR14_EXTERN_TEMPLATE(AffineTransform<2>)
QORCOR14_EXTERN_TEMPLATE(AffineTransform<3>)
