// UniformTransform<2> and UniformTransform<3>: the factories of similarities,
// the queries only a similarity can answer, inverses and text forms.
#include <qorcor14/transform/uniform.h>

#include <qorcor14/errors.h>
#include "transform/internal/kinds.h"

#include <cmath>
#include <memory>
#include <ostream>

namespace {

// A copy of a, followed by b, as the affine kind the pair allows.
template <int N>
AffineTransform<N>* composeAffine(const UniformTransform<N>& a, const AffineTransform<N>& b) {
  if (QOR::internal::isUniform(b)) {
    std::unique_ptr<UniformTransform<N>> r(new UniformTransform<N>(a));
    r->multiply(b);
    return r.release();
  }
  std::unique_ptr<NonUniformTransform<N>> r(new NonUniformTransform<N>(a));
  r->multiply(b);
  return r.release();
}

}  // namespace

// ---- UniformTransform<2> ----

UniformTransform<2> UniformTransform<2>::translation(const Vector<2>& t) { return UniformTransform(Matrix<2>(), t); }

UniformTransform<2> UniformTransform<2>::scale(double s) {
  const double rows[2][2] = {{s, 0}, {0, s}};
  return UniformTransform(rows);
}

UniformTransform<2> UniformTransform<2>::rotation(const Angle& a) {
  const double c = a.cos(), s = a.sin();
  const double rows[2][2] = {{c, s}, {-s, c}};
  return UniformTransform(rows);
}

UniformTransform<2> UniformTransform<2>::mirror(const QOR::Line<2>& line) {
  // The reflection across the normal n = (-d.y, d.x): I - 2·n·nᵀ, applied
  // about the line's point so that the line itself stays put.
  const Vector<2> d = line.direction();
  const double dx = d[0], dy = d[1];
  const double rows[2][2] = {{1 - 2 * dy * dy, 2 * dx * dy}, {2 * dx * dy, 1 - 2 * dx * dx}};
  const Matrix<2> m(rows);
  const Vector<2> p = line.point() - Point<2>::origin();
  return UniformTransform(m, p - Vector<2>(p, m));
}

UniformTransform<2> UniformTransform<2>::createFromPod(const double (&rows)[3][2]) {
  return UniformTransform(Matrix<2>(rows), Vector<2>(rows[2]));
}

Angle UniformTransform<2>::rotation() const {
  const Matrix<2>& m = getMatrix();
  return Angle::cosSin(m[0][0], m[0][1]);
}

double UniformTransform<2>::scale() const {
  const Matrix<2>& m = getMatrix();
  return std::sqrt(m[0][0] * m[1][1] - m[1][0] * m[0][1]);
}

UniformTransform<2> UniformTransform<2>::inverse() const {
  const Matrix<2> inv = getMatrix().inverse();
  return UniformTransform(inv, -Vector<2>(getVector(), inv));
}

UniformTransform<2>* UniformTransform<2>::clone() const { return new UniformTransform(*this); }

Transform<2>* UniformTransform<2>::pInverse() const { return new UniformTransform(inverse()); }

Transform<2>* UniformTransform<2>::composeWith(const Transform<2>& other) const { return composeAny(other); }

AffineTransform<2>* UniformTransform<2>::composeWith(const AffineTransform<2>& other) const {
  return composeAffine(*this, other);
}

std::wostream& UniformTransform<2>::putOn(std::wostream& os) const {
  return os << getVector() << L'*' << scale() << L'~' << rotation().degrees();
}

// ---- UniformTransform<3> ----

UniformTransform<3> UniformTransform<3>::translation(const Vector<3>& t) { return UniformTransform(Matrix<3>(), t); }

UniformTransform<3> UniformTransform<3>::scale(double s) {
  const double rows[3][3] = {{s, 0, 0}, {0, s, 0}, {0, 0, s}};
  return UniformTransform(rows);
}

UniformTransform<3> UniformTransform<3>::rotation(const Angle& a, const Vector<3>& axis) {
  const Vector<3> u = axis / axis.length();
  const double ux = u[0], uy = u[1], uz = u[2];
  const double c = a.cos(), s = a.sin(), k = 1 - c;
  const double rows[3][3] = {{(1 - ux * ux) * c + ux * ux, uz * s + ux * uy * k, ux * uz * k - uy * s},
                             {ux * uy * k - uz * s, (1 - uy * uy) * c + uy * uy, ux * s + uy * uz * k},
                             {uy * s + ux * uz * k, uy * uz * k - ux * s, (1 - uz * uz) * c + uz * uz}};
  return UniformTransform(rows);
}

namespace {

// The unit primary vector u and the unit normal w of the plane of p and q.
void frame(const Vector<3>& p, const Vector<3>& q, Vector<3>& u, Vector<3>& w) {
  u = p / p.length();
  const Vector<3> n = cross(u, q);
  w = n / n.length();
}

void rowsOf(const Vector<3>& a, const Vector<3>& b, const Vector<3>& c, double (&rows)[3][3]) {
  a.packToPod(rows[0]);
  b.packToPod(rows[1]);
  c.packToPod(rows[2]);
}

}  // namespace

UniformTransform<3> UniformTransform<3>::xyAxes(const Vector<3>& x, const Vector<3>& y) {
  Vector<3> u, w;
  frame(x, y, u, w);
  double rows[3][3];
  rowsOf(u, cross(w, u), w, rows);
  return UniformTransform(rows);
}

UniformTransform<3> UniformTransform<3>::yzAxes(const Vector<3>& y, const Vector<3>& z) {
  Vector<3> u, w;
  frame(y, z, u, w);
  double rows[3][3];
  rowsOf(w, u, cross(w, u), rows);
  return UniformTransform(rows);
}

UniformTransform<3> UniformTransform<3>::zxAxes(const Vector<3>& z, const Vector<3>& x) {
  Vector<3> u, w;
  frame(z, x, u, w);
  double rows[3][3];
  rowsOf(cross(w, u), w, u, rows);
  return UniformTransform(rows);
}

UniformTransform<3> UniformTransform<3>::mirror(const Plane& plane) {
  const Vector<3> n = plane.normal();
  double rows[3][3];
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 3; ++j) rows[i][j] = (i == j ? 1 : 0) - 2 * n[i] * n[j];
  const Matrix<3> m(rows);
  const Vector<3> p = plane.pointOnPlane() - Point<3>::origin();
  return UniformTransform(m, p - Vector<3>(p, m));
}

UniformTransform<3> UniformTransform<3>::createFromPod(const double (&rows)[4][3]) {
  return UniformTransform(Matrix<3>(rows), Vector<3>(rows[3]));
}

Angle UniformTransform<3>::rotation(Vector<3>&) const { throw QOR::NotImplemented(L"UniformTransform<3>::rotation"); }

double UniformTransform<3>::scale() const {
  const Matrix<3>& m = getMatrix();
  const double det = m[0][1] * (m[1][2] * m[2][0] - m[1][0] * m[2][2]) +
                     m[0][0] * (m[1][1] * m[2][2] - m[2][1] * m[1][2]) +
                     m[0][2] * (m[2][1] * m[1][0] - m[1][1] * m[2][0]);
  // The real cube root, so that a mirroring similarity has a negative scale.
  constexpr double third = 0.3333333333333333;
  return det >= 0 ? std::pow(det, third) : -std::pow(-det, third);
}

UniformTransform<3> UniformTransform<3>::inverse() const {
  const Matrix<3> inv = getMatrix().inverse();
  return UniformTransform(inv, -Vector<3>(getVector(), inv));
}

UniformTransform<3>* UniformTransform<3>::clone() const { return new UniformTransform(*this); }

Transform<3>* UniformTransform<3>::pInverse() const { return new UniformTransform(inverse()); }

Transform<3>* UniformTransform<3>::composeWith(const Transform<3>& other) const { return composeAny(other); }

AffineTransform<3>* UniformTransform<3>::composeWith(const AffineTransform<3>& other) const {
  return composeAffine(*this, other);
}

std::wostream& UniformTransform<3>::putOn(std::wostream& os) const {
  return os << L"UniformTfm[" << getMatrix() << L" + " << getVector() << L']';
}
