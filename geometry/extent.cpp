// Out-of-line members of Extent<N> and the instantiations the DLL exports.
#include <qorcor14/geometry/extent.h>

#include <ostream>

template <int N>
const Extent<N> Extent<N>::m_nothing{};

template <int N>
const Extent<N> Extent<N>::m_everything{EverythingTag{}};

template <int N>
Extent<N> Extent<N>::dilate(double d) const noexcept {
  Extent r;
  for (int k = 0; k < N; ++k) {
    r.m_lo[k] = m_lo[k] - d;
    r.m_hi[k] = m_hi[k] + d;
    if (r.m_lo[k] > r.m_hi[k]) return Extent();
  }
  return r;
}

template <int N>
bool Extent<N>::update(const Extent& oldPart, const Extent& newPart) noexcept {
  bool exact = true;
  for (int k = 0; k < N; ++k) {
    // A bound that newPart does not reach stays; it is still exact unless
    // oldPart was what held it there.
    if (m_lo[k] >= newPart.m_lo[k]) m_lo[k] = newPart.m_lo[k];
    else if (m_lo[k] >= oldPart.m_lo[k]) exact = false;
    if (newPart.m_hi[k] >= m_hi[k]) m_hi[k] = newPart.m_hi[k];
    else if (oldPart.m_hi[k] >= m_hi[k]) exact = false;
  }
  return exact;
}

template <int N>
std::wostream& Extent<N>::putOn(std::wostream& os) const {
  if (degenerate()) return os << L"degenerate";
  return os << lo() << L':' << hi();
}

template class Extent<1>;
template class Extent<2>;
template class Extent<3>;
