// Vector and Point: the trigonometric members, the text form and the origin.
// Only the dimensions below are provided by the library.
#include <qorcor14/geometry/vector.h>
// The matrix products are defined in matrix.h; seeing them here lets the
// instantiations below provide them too.
#include <qorcor14/geometry/matrix.h>

#include <cmath>

namespace QOR::internal {

Angle VectorExtras<2>::theta() const {
  const auto& v = static_cast<const Vector<2>&>(*this);
  // The same division as unit(), so theta() and unit() agree exactly.
  const double l = v.length();
  return Angle(v[0] / l, v[1] / l);
}

Vector<3> VectorExtras<3>::altAz(double r, Angle alt, Angle az) {
  if (r == 0) return Vector<3>();
  const double z = r * alt.sin();
  // Only an exact zero is tested: degrees(90) leaves a cosine of about 6e-17
  // and, with it, tiny horizontal components.
  if (alt.cos() == 0) return Vector<3>(0, 0, z);
  return Vector<3>(alt.cos() * az.sin() * r, alt.cos() * az.cos() * r, z);
}

Angle VectorExtras<3>::altitude() const {
  const auto& v = static_cast<const Vector<3>&>(*this);
  const double h = std::sqrt(v[0] * v[0] + v[1] * v[1]);
  const double l = std::sqrt(h * h + v[2] * v[2]);
  return Angle(h / l, v[2] / l);
}

Angle VectorExtras<3>::azimuth() const {
  const auto& v = static_cast<const Vector<3>&>(*this);
  const double l = std::sqrt(v[1] * v[1] + v[0] * v[0]);
  return Angle(v[1] / l, v[0] / l);
}

}  // namespace QOR::internal

template <int N>
std::wostream& Vector<N>::putOn(std::wostream& os) const {
  os << L'(';
  for (int i = 0; i < N; ++i) {
    if (i != 0) os << L',';
    os << m_c[i];
  }
  return os << L')';
}

template <int N>
std::wostream& Point<N>::putOn(std::wostream& os) const {
  return asVector().putOn(os);
}

// constinit: other modules' static initialisers may read origin() before
// this module's dynamic initialisation would have run.
template <int N>
constinit const Point<N> Point<N>::m_origin{};

template class Vector<1>;
template class Vector<2>;
template class Vector<3>;
template class Vector<4>;
template class Point<1>;
template class Point<2>;
template class Point<3>;
