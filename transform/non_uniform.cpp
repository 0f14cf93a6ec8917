// NonUniformTransform<N>: the factories of general affine maps and their
// inverse and composition.
#include <qorcor14/transform/non_uniform.h>

#include <memory>

namespace QOR::internal {

NonUniformTransform<2> NonUniformExtras<2>::scale(double sx, double sy) {
  const double rows[2][2] = {{sx, 0}, {0, sy}};
  return NonUniformTransform<2>(rows);
}

NonUniformTransform<3> NonUniformExtras<3>::scale(double sx, double sy, double sz) {
  const double rows[3][3] = {{sx, 0, 0}, {0, sy, 0}, {0, 0, sz}};
  return NonUniformTransform<3>(rows);
}

NonUniformTransform<2> NonUniformExtras<2>::axes(const Vector<2>& a, const Vector<2>& b) {
  double rows[2][2];
  a.packToPod(rows[0]);
  b.packToPod(rows[1]);
  return NonUniformTransform<2>(rows);
}

NonUniformTransform<3> NonUniformExtras<3>::axes(const Vector<3>& a, const Vector<3>& b, const Vector<3>& c) {
  double rows[3][3];
  a.packToPod(rows[0]);
  b.packToPod(rows[1]);
  c.packToPod(rows[2]);
  return NonUniformTransform<3>(rows);
}

}  // namespace QOR::internal

template <int N>
NonUniformTransform<N> NonUniformTransform<N>::createFromPod(const double (&rows)[N + 1][N]) {
  return NonUniformTransform(Matrix<N>(rows), Vector<N>(rows[N]));
}

template <int N>
NonUniformTransform<N> NonUniformTransform<N>::inverse() const {
  const Matrix<N> inv = this->getMatrix().inverse();
  return NonUniformTransform(inv, -Vector<N>(this->getVector(), inv));
}

template <int N>
NonUniformTransform<N>* NonUniformTransform<N>::clone() const {
  return new NonUniformTransform(*this);
}

template <int N>
Transform<N>* NonUniformTransform<N>::pInverse() const {
  return new NonUniformTransform(inverse());
}

template <int N>
Transform<N>* NonUniformTransform<N>::composeWith(const Transform<N>& other) const {
  return this->composeAny(other);
}

template <int N>
AffineTransform<N>* NonUniformTransform<N>::composeWith(const AffineTransform<N>& other) const {
  std::unique_ptr<NonUniformTransform> r(new NonUniformTransform(*this));
  r->multiply(other);
  return r.release();
}

template class NonUniformTransform<2>;
template class NonUniformTransform<3>;
