// Out-of-line members of the integer points, vectors and extents, and the
// instantiations the DLL exports.
#include <qorcor14/geometry/integer.h>

#include <ostream>

namespace {

template <int N>
std::wostream& putInts(std::wostream& os, const int (&c)[N]) {
  os << L'(' << c[0];
  for (int k = 1; k < N; ++k) os << L',' << c[k];
  return os << L')';
}

}  // namespace

template <int N>
std::wostream& IVector<N>::putOn(std::wostream& os) const {
  return putInts(os, m_c);
}

template <int N>
std::wostream& IPoint<N>::putOn(std::wostream& os) const {
  return putInts(os, m_c);
}

template <int N>
const IPoint<N> IPoint<N>::m_origin{};

template <int N>
std::wostream& IExtent<N>::putOn(std::wostream& os) const {
  if (degenerate()) return os << L"degenerate";
  return os << lo() << L':' << hi();
}

template <int N>
const IExtent<N> IExtent<N>::m_nothing{};

template <int N>
const IExtent<N> IExtent<N>::m_everything{EverythingTag{}};

template class IVector<2>;
template class IVector<3>;
template class IPoint<2>;
template class IPoint<3>;
template class IExtent<2>;
template class IExtent<3>;
