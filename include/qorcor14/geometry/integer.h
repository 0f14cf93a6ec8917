// qorcor14/geometry/integer.h - integer points, vectors and extents.
//
// IVector<N>, IPoint<N> and IExtent<N> (N = 2, 3) are the int counterparts of
// Vector<N>, Point<N> and Extent<N>, meant for pixel and grid coordinates.
// Points and vectors are distinct types, as with the floating-point ones; the
// extent keeps the same two sentinels (empty and unbounded) and the same union,
// intersection and containment rules. Arithmetic wraps modulo 2^32 like the
// processor's own int arithmetic, never invoking undefined behaviour.
//
// There are deliberately no conversions to or from the floating-point types:
// rounding rules belong to the caller.
#pragma once

#include <qorcor14/config.h>
#include <qorcor14/geometry/internal/components.h>

#include <iosfwd>
#include <limits>

namespace QOR::internal {

// Two's-complement arithmetic through unsigned, where overflow is defined;
// C++20 makes the conversion back to int modular.
constexpr int wrapAdd(int a, int b) noexcept {
  return static_cast<int>(static_cast<unsigned>(a) + static_cast<unsigned>(b));
}
constexpr int wrapSub(int a, int b) noexcept {
  return static_cast<int>(static_cast<unsigned>(a) - static_cast<unsigned>(b));
}
constexpr int wrapMul(int a, int b) noexcept {
  return static_cast<int>(static_cast<unsigned>(a) * static_cast<unsigned>(b));
}
constexpr int wrapNeg(int a) noexcept { return static_cast<int>(0u - static_cast<unsigned>(a)); }

}  // namespace QOR::internal

// A displacement of N ints (x, y, z).
//
// Example:
//   IVector<2>(2, -3) * 4          // (8,-12)
//
// Note: +, -, unary - and * wrap on overflow: -IVector<2>(INT_MIN, 0) is
// (INT_MIN,0). The compound assignments return a const reference.
template <int N>
class QORCOR14_API IVector {
  static_assert(N == 2 || N == 3, "IVector exists for N = 2 and 3");

public:
  constexpr IVector() noexcept : m_c{} {}
  template <int M = N>
  requires(M == 2) constexpr IVector(int x, int y) noexcept : m_c{x, y} {}
  template <int M = N>
  requires(M == 3) constexpr IVector(int x, int y, int z) noexcept : m_c{x, y, z} {}
  // Reads N ints in the order x, y, z.
  constexpr explicit IVector(const int* c) noexcept : m_c{} {
    for (int k = 0; k < N; ++k) m_c[k] = c[k];
  }

  // For N = 2, any index but 0 gives y; for N = 3, any index but 0 and 1
  // gives z. No index is out of range.
  [[nodiscard]] constexpr int operator[](int i) const noexcept { return QOR::internal::componentAt(m_c, i); }

  [[nodiscard]] constexpr IVector operator+() const noexcept { return *this; }
  [[nodiscard]] constexpr IVector operator-() const noexcept {
    IVector r;
    for (int k = 0; k < N; ++k) r.m_c[k] = QOR::internal::wrapNeg(m_c[k]);
    return r;
  }
  [[nodiscard]] constexpr IVector operator+(const IVector& v) const noexcept {
    IVector r(*this);
    return r += v;
  }
  [[nodiscard]] constexpr IVector operator-(const IVector& v) const noexcept {
    IVector r(*this);
    return r -= v;
  }
  [[nodiscard]] constexpr IVector operator*(int s) const noexcept {
    IVector r(*this);
    return r *= s;
  }

  constexpr const IVector& operator+=(const IVector& v) noexcept {
    for (int k = 0; k < N; ++k) m_c[k] = QOR::internal::wrapAdd(m_c[k], v.m_c[k]);
    return *this;
  }
  constexpr const IVector& operator-=(const IVector& v) noexcept {
    for (int k = 0; k < N; ++k) m_c[k] = QOR::internal::wrapSub(m_c[k], v.m_c[k]);
    return *this;
  }
  constexpr const IVector& operator*=(int s) noexcept {
    for (int k = 0; k < N; ++k) m_c[k] = QOR::internal::wrapMul(m_c[k], s);
    return *this;
  }

  [[nodiscard]] constexpr bool operator==(const IVector& v) const noexcept {
    for (int k = 0; k < N; ++k)
      if (m_c[k] != v.m_c[k]) return false;
    return true;
  }
  [[nodiscard]] constexpr bool operator!=(const IVector& v) const noexcept { return !(*this == v); }

  // Writes (x,y) or (x,y,z) through the stream's own int insertion.
  friend std::wostream& operator<<(std::wostream& os, const IVector& v) { return v.putOn(os); }

private:
  std::wostream& putOn(std::wostream& os) const;

  int m_c[N];
};

// A position of N ints (x, y, z). Moved by IVector<N>; the difference of two
// points is the IVector<N> from the second to the first.
//
// Example:
//   IPoint<2> p(5, 7);
//   p += IVector<2>(1, -1);        // (6,6)
//   p[4]                           // 6: any index but 0 gives y
//
// Note: moving wraps on overflow, as IVector<N> arithmetic does.
template <int N>
class QORCOR14_API IPoint {
  static_assert(N == 2 || N == 3, "IPoint exists for N = 2 and 3");

public:
  constexpr IPoint() noexcept : m_c{} {}
  template <int M = N>
  requires(M == 2) constexpr IPoint(int x, int y) noexcept : m_c{x, y} {}
  template <int M = N>
  requires(M == 3) constexpr IPoint(int x, int y, int z) noexcept : m_c{x, y, z} {}
  // Reads N ints in the order x, y, z.
  constexpr explicit IPoint(const int* c) noexcept : m_c{} {
    for (int k = 0; k < N; ++k) m_c[k] = c[k];
  }

  // The index rules of IVector<N>.
  [[nodiscard]] constexpr int operator[](int i) const noexcept { return QOR::internal::componentAt(m_c, i); }

  // The zero point.
  [[nodiscard]] static const IPoint& origin() noexcept { return m_origin; }

  constexpr IPoint& operator+=(const IVector<N>& v) noexcept {
    for (int k = 0; k < N; ++k) m_c[k] = QOR::internal::wrapAdd(m_c[k], v[k]);
    return *this;
  }
  constexpr IPoint& operator-=(const IVector<N>& v) noexcept {
    for (int k = 0; k < N; ++k) m_c[k] = QOR::internal::wrapSub(m_c[k], v[k]);
    return *this;
  }

  [[nodiscard]] friend constexpr IPoint operator+(IPoint p, const IVector<N>& v) noexcept { return p += v; }
  [[nodiscard]] friend constexpr IPoint operator-(IPoint p, const IVector<N>& v) noexcept { return p -= v; }
  [[nodiscard]] friend constexpr IVector<N> operator-(const IPoint& a, const IPoint& b) noexcept {
    int c[N];
    for (int k = 0; k < N; ++k) c[k] = QOR::internal::wrapSub(a.m_c[k], b.m_c[k]);
    return IVector<N>(c);
  }

  [[nodiscard]] constexpr bool operator==(const IPoint& p) const noexcept {
    for (int k = 0; k < N; ++k)
      if (m_c[k] != p.m_c[k]) return false;
    return true;
  }
  [[nodiscard]] constexpr bool operator!=(const IPoint& p) const noexcept { return !(*this == p); }

  // Writes (x,y) or (x,y,z) through the stream's own int insertion.
  friend std::wostream& operator<<(std::wostream& os, const IPoint& p) { return p.putOn(os); }

private:
  std::wostream& putOn(std::wostream& os) const;

  int m_c[N];

  static const IPoint m_origin;
};

// An axis-aligned box of ints, borders included: lo, then hi.
//
// An extent is degenerate (empty) when lo > hi on some axis. The canonical
// empty extent, nothing(), has every lo at INT_MAX and every hi at INT_MIN, so
// growing it by a point gives exactly that point; everything() runs from
// INT_MIN to INT_MAX on every axis.
//
// Example:
//   IExtent<2> box;                       // degenerate
//   box += IPoint<2>(3, 4);               // (3,4):(3,4)
//   box |= IExtent<2>(IPoint<2>(0, 0), IPoint<2>(1, 1));   // (0,0):(4,4)
//
// Note: the union is not normalised: the union of two non-canonical empty
// extents may be a non-empty box. Intersection, in contrast, always yields
// nothing() when the result is empty.
template <int N>
class QORCOR14_API IExtent {
  static_assert(N == 2 || N == 3, "IExtent exists for N = 2 and 3");

  struct EverythingTag {};

  static constexpr int kMin = std::numeric_limits<int>::min();
  static constexpr int kMax = std::numeric_limits<int>::max();

public:
  // The canonical empty extent.
  constexpr IExtent() noexcept : m_lo{}, m_hi{} {
    for (int k = 0; k < N; ++k) {
      m_lo[k] = kMax;
      m_hi[k] = kMin;
    }
  }
  // The box spanned by two opposite corners, given in any order.
  constexpr IExtent(const IPoint<N>& a, const IPoint<N>& b) noexcept : m_lo{}, m_hi{} {
    for (int k = 0; k < N; ++k) {
      m_lo[k] = a[k] > b[k] ? b[k] : a[k];
      m_hi[k] = a[k] > b[k] ? a[k] : b[k];
    }
  }
  // Two rows of N ints, lo then hi, taken unchanged (a degenerate box stays so).
  constexpr explicit IExtent(const int (*rows)[N]) noexcept : m_lo{}, m_hi{} {
    for (int k = 0; k < N; ++k) {
      m_lo[k] = rows[0][k];
      m_hi[k] = rows[1][k];
    }
  }

  [[nodiscard]] static const IExtent& nothing() noexcept { return m_nothing; }
  [[nodiscard]] static const IExtent& everything() noexcept { return m_everything; }

  [[nodiscard]] constexpr IPoint<N> lo() const noexcept { return IPoint<N>(m_lo); }
  [[nodiscard]] constexpr IPoint<N> hi() const noexcept { return IPoint<N>(m_hi); }
  // Component i of a corner; i must lie in 0..N-1.
  [[nodiscard]] constexpr int lo(int i) const noexcept { return m_lo[i]; }
  [[nodiscard]] constexpr int hi(int i) const noexcept { return m_hi[i]; }

  [[nodiscard]] constexpr bool degenerate() const noexcept {
    for (int k = 0; k < N; ++k)
      if (m_lo[k] > m_hi[k]) return true;
    return false;
  }
  // Borders included; nothing is contained in a degenerate extent.
  [[nodiscard]] constexpr bool contains(const IPoint<N>& p) const noexcept {
    for (int k = 0; k < N; ++k)
      if (m_lo[k] > p[k] || p[k] > m_hi[k]) return false;
    return true;
  }

  // Grows the box to include p.
  constexpr IExtent& operator+=(const IPoint<N>& p) noexcept {
    for (int k = 0; k < N; ++k) {
      const int c = p[k];
      if (m_lo[k] > c) m_lo[k] = c;
      if (c > m_hi[k]) m_hi[k] = c;
    }
    return *this;
  }
  [[nodiscard]] constexpr IExtent operator+(const IPoint<N>& p) const noexcept {
    IExtent r(*this);
    return r += p;
  }

  // Union, not normalised (see the class note).
  constexpr IExtent& operator|=(const IExtent& e) noexcept {
    for (int k = 0; k < N; ++k) {
      if (m_lo[k] > e.m_lo[k]) m_lo[k] = e.m_lo[k];
      if (e.m_hi[k] > m_hi[k]) m_hi[k] = e.m_hi[k];
    }
    return *this;
  }
  [[nodiscard]] constexpr IExtent operator|(const IExtent& e) const noexcept {
    IExtent r(*this);
    return r |= e;
  }

  // Intersection; the first empty axis makes the whole result nothing().
  constexpr IExtent& operator&=(const IExtent& e) noexcept {
    for (int k = 0; k < N; ++k) {
      if (e.m_lo[k] > m_lo[k]) m_lo[k] = e.m_lo[k];
      if (m_hi[k] > e.m_hi[k]) m_hi[k] = e.m_hi[k];
      if (m_lo[k] > m_hi[k]) return *this = IExtent();
    }
    return *this;
  }
  [[nodiscard]] constexpr IExtent operator&(const IExtent& e) const noexcept {
    IExtent r(*this);
    return r &= e;
  }

  // a <= b: a lies inside b, borders included. a < b: also differs in some bound.
  [[nodiscard]] constexpr bool operator<=(const IExtent& e) const noexcept {
    for (int k = 0; k < N; ++k)
      if (e.m_lo[k] > m_lo[k] || m_hi[k] > e.m_hi[k]) return false;
    return true;
  }
  [[nodiscard]] constexpr bool operator<(const IExtent& e) const noexcept { return *this <= e && *this != e; }
  [[nodiscard]] constexpr bool operator>=(const IExtent& e) const noexcept { return e <= *this; }
  [[nodiscard]] constexpr bool operator>(const IExtent& e) const noexcept { return e < *this; }

  // Exact comparison of all 2N bounds.
  [[nodiscard]] constexpr bool operator==(const IExtent& e) const noexcept {
    for (int k = 0; k < N; ++k)
      if (m_lo[k] != e.m_lo[k] || m_hi[k] != e.m_hi[k]) return false;
    return true;
  }
  [[nodiscard]] constexpr bool operator!=(const IExtent& e) const noexcept { return !(*this == e); }

  // Writes "degenerate", or lo:hi in the point form, as (0,0):(1,1).
  friend std::wostream& operator<<(std::wostream& os, const IExtent& e) { return e.putOn(os); }

private:
  constexpr explicit IExtent(EverythingTag) noexcept : m_lo{}, m_hi{} {
    for (int k = 0; k < N; ++k) {
      m_lo[k] = kMin;
      m_hi[k] = kMax;
    }
  }

  std::wostream& putOn(std::wostream& os) const;

  int m_lo[N];
  int m_hi[N];

  static const IExtent m_nothing;
  static const IExtent m_everything;
};

QORCOR14_EXTERN_TEMPLATE(IVector<2>)
QORCOR14_EXTERN_TEMPLATE(IVector<3>)
QORCOR14_EXTERN_TEMPLATE(IPoint<2>)
QORCOR14_EXTERN_TEMPLATE(IPoint<3>)
QORCOR14_EXTERN_TEMPLATE(IExtent<2>)
QORCOR14_EXTERN_TEMPLATE(IExtent<3>)
QORCOR14_EXTERN_TEMPLATE_DATA(const IPoint<2> IPoint<2>::m_origin)
QORCOR14_EXTERN_TEMPLATE_DATA(const IPoint<3> IPoint<3>::m_origin)
QORCOR14_EXTERN_TEMPLATE_DATA(const IExtent<2> IExtent<2>::m_nothing)
QORCOR14_EXTERN_TEMPLATE_DATA(const IExtent<3> IExtent<3>::m_nothing)
QORCOR14_EXTERN_TEMPLATE_DATA(const IExtent<2> IExtent<2>::m_everything)
QORCOR14_EXTERN_TEMPLATE_DATA(const IExtent<3> IExtent<3>::m_everything)
