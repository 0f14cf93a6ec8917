// The row vector times matrix kernel behind every point, vector and matrix
// product of the library.
//
// Component j of v·m is v[0]·m[0][j] + v[1]·m[1][j] + …, summed in order of
// the rows. With SSE2 two neighbouring components are summed side by side in
// one register: each lane still sees the same multiplications and additions
// in the same order, so the results are those of the scalar loop to the bit.
// No multiply-add is ever fused (the build passes -ffp-contract=off).
#pragma once

#if defined(__SSE2__) || defined(_M_X64) || (defined(_M_IX86_FP) && _M_IX86_FP >= 2)
#define QORCOR14_SSE2 1
#include <emmintrin.h>
#endif

namespace QOR::internal {

#if defined(QORCOR14_SSE2)

// Components j and j+1 of v·m, m an N×N row-major array.
template <int N>
inline __m128d rowTimesPair(const double* v, const double* m, int j) {
  __m128d s = _mm_mul_pd(_mm_set1_pd(v[0]), _mm_loadu_pd(m + j));
  if constexpr (N > 1) s = _mm_add_pd(s, _mm_mul_pd(_mm_set1_pd(v[1]), _mm_loadu_pd(m + N + j)));
  if constexpr (N > 2) s = _mm_add_pd(s, _mm_mul_pd(_mm_set1_pd(v[2]), _mm_loadu_pd(m + 2 * N + j)));
  if constexpr (N > 3) s = _mm_add_pd(s, _mm_mul_pd(_mm_set1_pd(v[3]), _mm_loadu_pd(m + 3 * N + j)));
  return s;
}

#endif

// Component j of v·m.
template <int N>
inline double rowTimesColumn(const double* v, const double* m, int j) {
  double s = v[0] * m[j];
  if constexpr (N > 1) s += v[1] * m[N + j];
  if constexpr (N > 2) s += v[2] * m[2 * N + j];
  if constexpr (N > 3) s += v[3] * m[3 * N + j];
  return s;
}

// r = v·m, or v·m + t when t is not null. r may be v itself: v is read whole
// before r is written.
template <int N>
inline void rowTimes(const double* v, const double* m, const double* t, double* r) {
  static_assert(N >= 1 && N <= 4);
  double c[N];
  for (int i = 0; i < N; ++i) c[i] = v[i];
#if defined(QORCOR14_SSE2)
  if constexpr (N >= 2) {
    __m128d lo = rowTimesPair<N>(c, m, 0);
    if (t) lo = _mm_add_pd(lo, _mm_loadu_pd(t));
    if constexpr (N == 4) {
      __m128d hi = rowTimesPair<N>(c, m, 2);
      if (t) hi = _mm_add_pd(hi, _mm_loadu_pd(t + 2));
      _mm_storeu_pd(r + 2, hi);
    } else if constexpr (N == 3) {
      double z = rowTimesColumn<N>(c, m, 2);
      if (t) z += t[2];
      r[2] = z;
    }
    _mm_storeu_pd(r, lo);
    return;
  }
#endif
  double out[N];
  for (int j = 0; j < N; ++j) out[j] = t ? rowTimesColumn<N>(c, m, j) + t[j] : rowTimesColumn<N>(c, m, j);
  for (int j = 0; j < N; ++j) r[j] = out[j];
}

}  // namespace QOR::internal
