// qorcor14/geometry/extent.h - axis-aligned boxes of doubles.
//
// Extent<N> (N = 1, 2, 3) is the bounding box of geometry: grown point by
// point, combined by union and intersection, compared by containment. Two
// sentinels carry the design: nothing(), whose lower bounds lie above its upper
// bounds so that growing it by any point gives exactly that point, and
// everything(), which contains every finite point.
//
// Growing, union, intersection and the tests are inline: growing a box by
// millions of points is a hot loop, and a call into the DLL would cost more
// than the work.
#pragma once

#include <qorcor14/config.h>
#include <qorcor14/geometry/vector.h>

#include <iosfwd>

// An axis-aligned box of doubles, borders included: lo, then hi.
//
// An extent is degenerate (empty) when lo > hi on some axis; lo == hi (a single
// point, a flat box) is not degenerate. The canonical empty extent, nothing(),
// is also the default value: every lo is 1.7976931348623157e308 (DBL_MAX) and
// every hi -DBL_MAX. everything() has every lo -DBL_MAX and every hi DBL_MAX.
// Operations that can produce emptiness (intersection, dilate) return nothing().
//
// Example:
//   Extent<2> box;                          // degenerate
//   box += Point<2>(3, 4);                  // (3,4):(3,4)
//   box |= Extent<2>(Point<2>(0, 0), Point<2>(1, 1));   // (0,0):(3,4)
//   box.contains(Point<2>(3, 0));           // true
//
// Note: every comparison with NaN is false, so a NaN coordinate passes the
// containment test of its axis (an all-NaN point is contained even in
// nothing()) and changes nothing when the extent is grown by it.
// Note: the union is not normalised: the union of two non-canonical empty
// extents may be a non-empty box.
template <int N>
class QORCOR14_API Extent {
  static_assert(N >= 1 && N <= 3, "Extent exists for N = 1, 2 and 3");

  struct EverythingTag {};

  static constexpr double kMax = 1.7976931348623157e308;

public:
  // The canonical empty extent.
  constexpr Extent() noexcept : m_lo{}, m_hi{} {
    for (int k = 0; k < N; ++k) {
      m_lo[k] = kMax;
      m_hi[k] = -kMax;
    }
  }
  // The box spanned by two opposite corners, given in any order.
  Extent(const Point<N>& a, const Point<N>& b) noexcept : m_lo{}, m_hi{} {
    for (int k = 0; k < N; ++k) {
      const double ak = a[k], bk = b[k];
      m_lo[k] = ak > bk ? bk : ak;
      m_hi[k] = ak > bk ? ak : bk;
    }
  }
  // Two rows of N doubles, lo then hi, taken unchanged (a degenerate box stays
  // so). The inverse of packToPod.
  constexpr explicit Extent(const double (*rows)[N]) noexcept : m_lo{}, m_hi{} {
    for (int k = 0; k < N; ++k) {
      m_lo[k] = rows[0][k];
      m_hi[k] = rows[1][k];
    }
  }

  // Writes lo and hi as two rows of N doubles.
  void packToPod(double (*rows)[N]) const noexcept {
    for (int k = 0; k < N; ++k) {
      rows[0][k] = m_lo[k];
      rows[1][k] = m_hi[k];
    }
  }

  [[nodiscard]] static const Extent& nothing() noexcept { return m_nothing; }
  [[nodiscard]] static const Extent& everything() noexcept { return m_everything; }

  [[nodiscard]] Point<N> lo() const noexcept { return Point<N>(m_lo); }
  [[nodiscard]] Point<N> hi() const noexcept { return Point<N>(m_hi); }
  // Component i of a corner; i must lie in 0..N-1.
  [[nodiscard]] constexpr double lo(int i) const noexcept { return m_lo[i]; }
  [[nodiscard]] constexpr double hi(int i) const noexcept { return m_hi[i]; }

  // (lo + hi)·0.5 per axis.
  // Note: meaningless for a degenerate extent (the centre of nothing() is 0).
  [[nodiscard]] Point<N> centre() const noexcept {
    double c[N];
    for (int k = 0; k < N; ++k) c[k] = (m_lo[k] + m_hi[k]) * 0.5;
    return Point<N>(c);
  }
  // Corner i: on axis k, hi where bit k of i is set, else lo.
  //
  // Example: for the unit square, corner(1) is (1,0) and corner(2) is (0,1).
  [[nodiscard]] Point<N> corner(unsigned int i) const noexcept {
    double c[N];
    for (int k = 0; k < N; ++k) c[k] = (i >> k) & 1u ? m_hi[k] : m_lo[k];
    return Point<N>(c);
  }

  // Borders included. A degenerate extent contains no ordinary point, but a
  // NaN coordinate passes the test of every axis, the empty one included.
  [[nodiscard]] bool contains(const Point<N>& p) const noexcept {
    for (int k = 0; k < N; ++k) {
      const double c = p[k];
      if (m_lo[k] > c || c > m_hi[k]) return false;
    }
    return true;
  }
  [[nodiscard]] constexpr bool degenerate() const noexcept {
    for (int k = 0; k < N; ++k)
      if (m_lo[k] > m_hi[k]) return true;
    return false;
  }

  // Grows the box to include p; a NaN coordinate leaves its axis unchanged.
  Extent& operator+=(const Point<N>& p) noexcept {
    // Copying the coordinates first spares the compiler from fearing that the
    // stores to this extent change them; the axes are spelt out because GCC
    // at -O2 does not unroll even a three-trip loop.
    double c[N];
    p.packToPod(c);
    growAxis(0, c[0]);
    if constexpr (N > 1) growAxis(1, c[1]);
    if constexpr (N > 2) growAxis(2, c[2]);
    return *this;
  }
  [[nodiscard]] Extent operator+(const Point<N>& p) const noexcept {
    Extent r(*this);
    return r += p;
  }

  // Union: a bound moves only when the other's lies strictly beyond it, so the
  // union with nothing() is the other operand. Not normalised (see the note).
  constexpr Extent& operator|=(const Extent& e) noexcept {
    for (int k = 0; k < N; ++k) {
      m_lo[k] = e.m_lo[k] < m_lo[k] ? e.m_lo[k] : m_lo[k];
      m_hi[k] = e.m_hi[k] > m_hi[k] ? e.m_hi[k] : m_hi[k];
    }
    return *this;
  }
  [[nodiscard]] constexpr Extent operator|(const Extent& e) const noexcept {
    Extent r(*this);
    return r |= e;
  }

  // Intersection, axis by axis; the first empty axis makes the whole result
  // nothing() and the remaining axes are not visited. Touching boxes meet in a
  // flat, non-degenerate extent.
  constexpr Extent& operator&=(const Extent& e) noexcept {
    for (int k = 0; k < N; ++k) {
      if (e.m_lo[k] > m_lo[k]) m_lo[k] = e.m_lo[k];
      if (m_hi[k] > e.m_hi[k]) m_hi[k] = e.m_hi[k];
      if (m_lo[k] > m_hi[k]) return *this = Extent();
    }
    return *this;
  }
  [[nodiscard]] constexpr Extent operator&(const Extent& e) const noexcept {
    Extent r(*this);
    return r &= e;
  }

  // A new extent widened by d on every side (narrowed when d < 0); nothing()
  // when some axis becomes empty. This extent is unchanged.
  [[nodiscard]] Extent dilate(double d) const noexcept;

  // Incremental maintenance of a union. This extent is the union of a
  // collection of parts, one of which has changed from oldPart to newPart.
  // Widens this extent to take in newPart and returns true when it is again
  // exactly the union; false when some bound was defined by oldPart and
  // newPart has moved off it, so that this extent may now be too large and the
  // caller must recompute it from all the parts. Every bound is updated,
  // whatever the answer.
  //
  // Example: with this (0,0):(10,10), the union of (0,0):(10,5) and
  // (2,2):(4,10), update((2,2):(4,10), (2,2):(12,10)) widens this to x = 12
  // and returns true; update((0,0):(10,5), (1,0):(9,5)) returns false.
  bool update(const Extent& oldPart, const Extent& newPart) noexcept;

  // a <= b: on every axis b.lo is not above a.lo and a.hi not above b.hi (a
  // lies inside b, borders included). a < b: also differs in some bound.
  // Note: nothing() <= every extent; a box is <= itself but not < itself,
  // unless it has a NaN bound (which passes the test and differs from itself).
  [[nodiscard]] constexpr bool operator<=(const Extent& e) const noexcept {
    for (int k = 0; k < N; ++k)
      if (e.m_lo[k] > m_lo[k] || m_hi[k] > e.m_hi[k]) return false;
    return true;
  }
  [[nodiscard]] constexpr bool operator<(const Extent& e) const noexcept { return *this <= e && *this != e; }
  [[nodiscard]] constexpr bool operator>=(const Extent& e) const noexcept { return e <= *this; }
  [[nodiscard]] constexpr bool operator>(const Extent& e) const noexcept { return e < *this; }

  // Exact comparison of all 2N bounds: no tolerance, a NaN bound is unequal to
  // everything.
  [[nodiscard]] constexpr bool operator==(const Extent& e) const noexcept {
    for (int k = 0; k < N; ++k)
      if (m_lo[k] != e.m_lo[k] || m_hi[k] != e.m_hi[k]) return false;
    return true;
  }
  [[nodiscard]] constexpr bool operator!=(const Extent& e) const noexcept { return !(*this == e); }

  // Writes "degenerate", or lo:hi in the point form with the stream's own
  // number formatting: the unit square prints as (0,0):(1,1).
  friend std::wostream& operator<<(std::wostream& os, const Extent& e) { return e.putOn(os); }

private:
  constexpr explicit Extent(EverythingTag) noexcept : m_lo{}, m_hi{} {
    for (int k = 0; k < N; ++k) {
      m_lo[k] = -kMax;
      m_hi[k] = kMax;
    }
  }

  // "if (lo > c) lo = c; if (c > hi) hi = c", written as selects so that the
  // compiler can use min/max instructions, whose NaN rule matches: every
  // comparison with NaN is false, so the bound stays.
  void growAxis(int k, double c) noexcept {
    m_lo[k] = c < m_lo[k] ? c : m_lo[k];
    m_hi[k] = c > m_hi[k] ? c : m_hi[k];
  }

  std::wostream& putOn(std::wostream& os) const;

  double m_lo[N];
  double m_hi[N];

  static const Extent m_nothing;
  static const Extent m_everything;
};

QORCOR14_EXTERN_TEMPLATE(Extent<1>)
QORCOR14_EXTERN_TEMPLATE(Extent<2>)
QORCOR14_EXTERN_TEMPLATE(Extent<3>)
QORCOR14_EXTERN_TEMPLATE_DATA(const Extent<1> Extent<1>::m_nothing)
QORCOR14_EXTERN_TEMPLATE_DATA(const Extent<2> Extent<2>::m_nothing)
QORCOR14_EXTERN_TEMPLATE_DATA(const Extent<3> Extent<3>::m_nothing)
QORCOR14_EXTERN_TEMPLATE_DATA(const Extent<1> Extent<1>::m_everything)
QORCOR14_EXTERN_TEMPLATE_DATA(const Extent<2> Extent<2>::m_everything)
QORCOR14_EXTERN_TEMPLATE_DATA(const Extent<3> Extent<3>::m_everything)
