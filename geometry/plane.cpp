// Plane and Line: the constructions, the intersections and the text form.
#include <qorcor14/geometry/plane.h>

#include <ostream>

namespace {

Vector<3> fromOrigin(const Point<3>& p) { return p - Point<3>::origin(); }

}  // namespace

Plane::Plane(const Point<3>& a, const Point<3>& b, const Point<3>& c)
    : m_p((a[0] + b[0] + c[0]) / 3.0, (a[1] + b[1] + c[1]) / 3.0, (a[2] + b[2] + c[2]) / 3.0) {
  // Taking the points about their centroid keeps the cross products small
  // when the points lie far from the origin; the three-term sum is twice the
  // triangle's area vector and does not depend on which vertex comes first.
  const Vector<3> a1 = a - m_p, b1 = b - m_p, c1 = c - m_p;
  m_n = (-(cross(a1, b1) + cross(b1, c1) + cross(c1, a1))).unit();
}

std::wostream& Plane::putOn(std::wostream& os) const { return os << m_n << L'@' << m_p; }

namespace QOR {

template class Line<2>;
template class Line<3>;

Point<2> intersect(const Line<2>& a, const Line<2>& b) {
  const Vector<2>& da = a.direction();
  const Vector<2>& db = b.direction();
  const Point<2>& pa = a.point();
  const Point<2>& pb = b.point();
  const double k = -dot(da, db);
  const double t = (k * dot(db, pb - pa) - dot(da, pa - pb)) / (1 - k * k);
  return pa + da * t;
}

void crossing(Point<3>& onA, Point<3>& onB, const Line<3>& a, const Line<3>& b) {
  const Vector<3>& da = a.direction();
  const Vector<3>& db = b.direction();
  const Point<3>& pa = a.point();
  const Point<3>& pb = b.point();
  const double k = -dot(db, da);
  const double s = dot(da, pa - pb);
  const double r = dot(db, pb - pa);
  const double d = 1 - k * k;
  const double tb = (k * s - r) / d;
  const double ta = (k * r - s) / d;
  onA = pa + da * ta;
  onB = pb + db * tb;
}

Point<3> intersect(const Line<3>& l, const Plane& pl) {
  const Vector<3> n = pl.normal();
  const double t = dot(l.point() - pl.pointOnPlane(), n) / dot(l.direction(), n);
  return l.point() - l.direction() * t;
}

}  // namespace QOR

QOR::Line<3> intersect(const Plane& a, const Plane& b) {
  const Vector<3> na = a.normal();
  const Vector<3> nb = b.normal();
  const double da = dot(fromOrigin(a.pointOnPlane()), na);
  const double db = dot(fromOrigin(b.pointOnPlane()), nb);
  const Vector<3> u = cross(na, nb);
  const Vector<3> w = nb * da - na * db;
  return QOR::Line<3>(u, Point<3>::origin() + cross(w, u / u.lengthSquared()));
}
