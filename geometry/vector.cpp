// Vector and Point: the trigonometric members, the text form and the origin.
// Only the dimensions below are provided by the library.
#include <qorcor14/geometry/vector.h>
// The matrix products are defined in matrix.h; seeing them here lets the
// instantiations below provide them too.
#include <qorcor14/geometry/matrix.h>

#include <cmath>

template <int N>
Angle Vector<N>::theta() const requires(N == 2) {
  // The same division as unit(), so theta() and unit() agree exactly.
  const double l = length();
  return Angle(m_c[0] / l, m_c[1] / l);
}

template <int N>
Vector<N> Vector<N>::altAz(double r, Angle alt, Angle az) requires(N == 3) {
  if (r == 0) return Vector();
  const double z = r * alt.sin();
  // Only an exact zero is tested: degrees(90) leaves a cosine of about 6e-17
  // and, with it, tiny horizontal components.
  if (alt.cos() == 0) return Vector(0, 0, z);
  return Vector(alt.cos() * az.sin() * r, alt.cos() * az.cos() * r, z);
}

template <int N>
Angle Vector<N>::altitude() const requires(N == 3) {
  const double h = std::sqrt(m_c[0] * m_c[0] + m_c[1] * m_c[1]);
  const double l = std::sqrt(h * h + m_c[2] * m_c[2]);
  return Angle(h / l, m_c[2] / l);
}

template <int N>
Angle Vector<N>::azimuth() const requires(N == 3) {
  const double l = std::sqrt(m_c[1] * m_c[1] + m_c[0] * m_c[0]);
  return Angle(m_c[1] / l, m_c[0] / l);
}

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
