// AffineTransform<N>: the mapping, in-place composition, homogeneous form and
// slicing shared by the uniform and non-uniform kinds.
#include <qorcor14/transform/affine.h>

#include "transform/internal/kinds.h"

#include <memory>
#include <ostream>

template <int N>
Transform<N - 1>* AffineTransform<N>::pSlice() const {
  if constexpr (N == 2) {
    // Deliberately a bare string rather than an error class: callers catch it
    // as const char*, and handlers for the library's exceptions let it pass.
    throw "Not Implemented";
  } else {
    const double pod[3][2] = {
        {m_matrix[0][0], m_matrix[0][1]}, {m_matrix[1][0], m_matrix[1][1]}, {m_vector[0], m_vector[1]}};
    return new NonUniformTransform<2>(NonUniformTransform<2>::createFromPod(pod));
  }
}

template <int N>
Vector<N> AffineTransform<N>::translation() const {
  return m_vector;
}

template <int N>
Matrix<N + 1> AffineTransform<N>::homogeneous() const {
  double rows[N + 1][N + 1];
  for (int i = 0; i < N; ++i) {
    for (int j = 0; j < N; ++j) rows[i][j] = m_matrix[i][j];
    rows[i][N] = 0;
  }
  for (int j = 0; j < N; ++j) rows[N][j] = m_vector[j];
  rows[N][N] = 1;
  return Matrix<N + 1>(rows);
}

template <int N>
bool AffineTransform<N>::mirroring() const {
  return m_matrix.determinant() < 0;
}

template <int N>
Vector<N> AffineTransform<N>::preMultiply(const Vector<N>& v) const {
  double c[N];
  v.packToPod(c);
  QOR::internal::rowTimes<N>(c, QOR::internal::elementsOf(m_matrix), nullptr, c);
  return Vector<N>(c);
}

template <int N>
Vector<N> AffineTransform<N>::preDivide(const Vector<N>& v) const {
  return Vector<N>(v, m_matrix.inverse());
}

template <int N>
AffineTransform<N>& AffineTransform<N>::multiply(const AffineTransform& b) {
  // t first: it needs b's matrix, and b may be this transform itself.
  m_vector = Vector<N>(m_vector, b.m_matrix, b.m_vector);
  m_matrix *= b.m_matrix;
  return *this;
}

template <int N>
AffineTransform<N>& AffineTransform<N>::divide(const AffineTransform& b) {
  const Matrix<N> inv = b.m_matrix.inverse();
  m_vector = Vector<N>(m_vector - b.m_vector, inv);
  m_matrix *= inv;
  return *this;
}

template <int N>
void AffineTransform<N>::packToPod(double (&rows)[N + 1][N]) const {
  m_matrix.packToPod(rows);
  m_vector.packToPod(rows[N]);
}

template <int N>
Transform<N>* AffineTransform<N>::composeAny(const Transform<N>& other) const {
  // Affine first, then perspective: the order of the kind tests matters only
  // to a class deriving from both, but it is fixed.
  if (const auto* a = QOR::internal::asAffine(other)) return composeWith(*a);
  if (const auto* p = QOR::internal::asPerspective(other)) {
    std::unique_ptr<PerspectiveTransform<N>> r(p->clone());
    r->preMultiply(*this);
    return r.release();
  }
  return Transform<N>::composeWith(other);
}

template <int N>
std::wostream& AffineTransform<N>::putOn(std::wostream& os) const {
  return os << m_vector << L'+' << m_matrix;
}

namespace {

// The bounding extent of the corners c of e, in the order of Extent::corner,
// each mapped to (c − shift)·m + t: shift or t may be null.
template <int N>
Extent<N> mapCorners(const Extent<N>& e, const double* shift, const double* m, const double* t) {
  double lo[N], hi[N];
  for (int k = 0; k < N; ++k) {
    lo[k] = shift ? e.lo(k) - shift[k] : e.lo(k);
    hi[k] = shift ? e.hi(k) - shift[k] : e.hi(k);
  }
  Extent<N> r;
  for (unsigned int i = 0; i < (1u << N); ++i) {
    double c[N];
    for (int k = 0; k < N; ++k) c[k] = (i >> k) & 1u ? hi[k] : lo[k];
    QOR::internal::rowTimes<N>(c, m, t, c);
    r += Point<N>(c);
  }
  return r;
}

}  // namespace

template <int N>
Extent<N> AffineTransform<N>::preMultiply(const Extent<N>& e) const {
  if (!QOR::internal::isPlainAffine(*this)) return Transform<N>::preMultiply(e);
  if (e.degenerate()) return e;
  double t[N];
  m_vector.packToPod(t);
  return mapCorners(e, nullptr, QOR::internal::elementsOf(m_matrix), t);
}

template <int N>
Extent<N> AffineTransform<N>::preDivide(const Extent<N>& e) const {
  if (!QOR::internal::isPlainAffine(*this)) return Transform<N>::preDivide(e);
  if (e.degenerate()) return e;
  const Matrix<N> inv = m_matrix.inverse();
  double t[N];
  m_vector.packToPod(t);
  return mapCorners(e, t, QOR::internal::elementsOf(inv), nullptr);
}

template <int N>
Point<N> AffineTransform<N>::preMultiply(const Point<N>& p) const {
  // The kernel straight into the result: the Point constructor that does the
  // same is not inlined here, and the call cost a third of the mapping.
  double t[N];
  m_vector.packToPod(t);
  Point<N> r;
  QOR::internal::rowTimes<N>(p.m_c, QOR::internal::elementsOf(m_matrix), t, r.m_c);
  return r;
}

template <int N>
Point<N> AffineTransform<N>::preDivide(const Point<N>& p) const {
  return Point<N>(p - m_vector, m_matrix.inverse());
}

template class AffineTransform<2>;
template class AffineTransform<3>;
