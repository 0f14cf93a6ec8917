// PerspectiveTransform<N>: the projection of points with the division by w,
// the front/behind rule for extents, and the combination with affine maps.
#include <qorcor14/transform/projective.h>

#include "transform/internal/kinds.h"

#include <memory>
#include <ostream>

namespace {

constexpr double kMax = 1.7976931348623157e308;

// The default projection: (x, y[, z]) has w equal to its last coordinate, so
// the eye looks down the negative last axis.
template <int N>
Matrix<N + 1> unitProjection() {
  if constexpr (N == 2) {
    const double rows[3][3] = {{1, 0, 0}, {0, 0, 1}, {0, -1, 0}};
    return Matrix<3>(rows);
  } else {
    const double rows[4][4] = {{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 0, 1}, {0, 0, -1, 0}};
    return Matrix<4>(rows);
  }
}

// (p, 1)·h divided by its own last component, which is returned in w.
template <int N>
Point<N> project(const Matrix<N + 1>& h, const Point<N>& p, double& w) {
  w = p[0] * h[0][N];
  for (int i = 1; i < N; ++i) w += p[i] * h[i][N];
  w += h[N][N];
  double c[N];
  for (int j = 0; j < N; ++j) {
    double s = p[0] * h[0][j];
    for (int i = 1; i < N; ++i) s += p[i] * h[i][j];
    s += h[N][j];
    c[j] = s / w;
  }
  return Point<N>(c);
}

template <int N>
Extent<N> projectExtent(const Matrix<N + 1>& h, const Extent<N>& e) {
  if (e.degenerate()) return Extent<N>();
  // Corners in front of the eye (w < 0) and the rest: behind it, on the eye
  // plane, or with a NaN w.
  Extent<N> front, behind;
  for (unsigned int i = 0; i < (1u << N); ++i) {
    double w;
    const Point<N> q = project<N>(h, e.corner(i), w);
    if (w < 0) front += q;
    else behind += q;
  }
  if (front.degenerate()) return Extent<N>();
  if (behind.degenerate()) return front;
  // The box crosses the eye plane: where the corners behind project beyond
  // those in front, the visible part runs off to infinity on that side.
  // Each growth also pulls the other axes out to 0, which the tests of the
  // following axes then see.
  for (int k = 0; k < N; ++k) {
    double c[N] = {};
    c[k] = kMax;
    if (front.hi(k) > behind.lo(k)) front += Point<N>(c);
    c[k] = -kMax;
    if (behind.hi(k) > front.lo(k)) front += Point<N>(c);
  }
  return front;
}

}  // namespace

template <int N>
const Matrix<N + 1> PerspectiveTransform<N>::m_unitTrn = unitProjection<N>();

PerspectiveTransform<1>::~PerspectiveTransform() = default;

template <int N>
PerspectiveTransform<N> PerspectiveTransform<N>::inverse() const {
  return PerspectiveTransform(m_h.inverse());
}

template <int N>
PerspectiveTransform<N>* PerspectiveTransform<N>::clone() const {
  return new PerspectiveTransform(*this);
}

template <int N>
Transform<N>* PerspectiveTransform<N>::pInverse() const {
  return new PerspectiveTransform(inverse());
}

template <int N>
Transform<N - 1>* PerspectiveTransform<N>::pSlice() const {
  // H without the rows and columns of the last spatial axis: 0, 1 and 3 for
  // N = 3; 0 and 2 for N = 2, although the one-dimensional kind ignores them.
  int keep[N];
  for (int i = 0; i < N - 1; ++i) keep[i] = i;
  keep[N - 1] = N;
  double rows[N][N];
  for (int i = 0; i < N; ++i)
    for (int j = 0; j < N; ++j) rows[i][j] = m_h[keep[i]][keep[j]];
  return new PerspectiveTransform<N - 1>(Matrix<N>(rows));
}

template <int N>
Transform<N>* PerspectiveTransform<N>::composeWith(const Transform<N>& other) const {
  if (const auto* a = QOR::internal::asAffine(other)) {
    std::unique_ptr<PerspectiveTransform> r(clone());
    r->divide(*a);
    return r.release();
  }
  return Transform<N>::composeWith(other);
}

template <int N>
Matrix<N + 1> PerspectiveTransform<N>::homogeneous() const {
  return m_h;
}

template <int N>
PerspectiveTransform<N>& PerspectiveTransform<N>::preMultiply(const AffineTransform<N>& a) {
  m_h = a.homogeneous() * m_h;
  return *this;
}

template <int N>
PerspectiveTransform<N>& PerspectiveTransform<N>::divide(const AffineTransform<N>& a) {
  m_h *= a.homogeneous();
  return *this;
}

template <int N>
PerspectiveTransform<N>& PerspectiveTransform<N>::multiply(const AffineTransform<N>& a) {
  // The same product as divide: the two names have always meant H ← H·A.
  m_h *= a.homogeneous();
  return *this;
}

template <int N>
std::wostream& PerspectiveTransform<N>::putOn(std::wostream& os) const {
  return os << m_h;
}

template <int N>
Extent<N> PerspectiveTransform<N>::preMultiply(const Extent<N>& e) const {
  return projectExtent<N>(m_h, e);
}

template <int N>
Point<N> PerspectiveTransform<N>::preMultiply(const Point<N>& p) const {
  double w;
  return project<N>(m_h, p, w);
}

template <int N>
Extent<N> PerspectiveTransform<N>::preDivide(const Extent<N>& e) const {
  return projectExtent<N>(m_h.inverse(), e);
}

template <int N>
Point<N> PerspectiveTransform<N>::preDivide(const Point<N>& p) const {
  double w;
  return project<N>(m_h.inverse(), p, w);
}

template class PerspectiveTransform<2>;
template class PerspectiveTransform<3>;
