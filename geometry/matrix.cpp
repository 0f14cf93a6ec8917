// Matrix: products, transpose, determinant, inverse and the text form. Only
// the dimensions below are provided by the library.
#include <qorcor14/geometry/matrix.h>

#include <cmath>
#include <type_traits>

template <int N>
Matrix<N>::Matrix(const double (*rows)[N], const int* perm) {
  for (int i = 0; i < N; ++i)
    for (int j = 0; j < N; ++j) m_m[i][j] = rows[perm[i]][j];
}

template <int N>
Matrix<N>::Matrix(const double (*a)[N], const double (*b)[N]) {
  // Row i of the product is row i of a times b.
  for (int i = 0; i < N; ++i) QOR::internal::rowTimes<N>(a[i], b[0], nullptr, m_m[i]);
}

template <int N>
void Matrix<N>::packToPod(double (*rows)[N]) const {
  for (int i = 0; i < N; ++i)
    for (int j = 0; j < N; ++j) rows[i][j] = m_m[i][j];
}

template <int N>
Matrix<N>& Matrix<N>::operator*=(const Matrix& b) {
  // Built in a temporary: this and b may be the same matrix.
  *this = Matrix(m_m, b.m_m);
  return *this;
}

template <int N>
Matrix<N>& Matrix<N>::operator/=(const Matrix& b) {
  return *this *= b.inverse();
}

template <int N>
Matrix<N> Matrix<N>::transpose() const {
  Matrix r;
  for (int i = 0; i < N; ++i)
    for (int j = 0; j < N; ++j) r.m_m[i][j] = m_m[j][i];
  return r;
}

template <int N>
double QOR::internal::MatrixExtras<N, true>::determinant() const {
  const auto& m = static_cast<const Matrix<N>&>(*this);
  if constexpr (N == 1) {
    return m[0][0];
  } else if constexpr (N == 2) {
    return m[0][0] * m[1][1] - m[0][1] * m[1][0];
  } else {
    const double c0 = m[1][1] * m[2][2] - m[2][1] * m[1][2];
    const double c1 = m[1][2] * m[2][0] - m[1][0] * m[2][2];
    const double c2 = m[2][1] * m[1][0] - m[1][1] * m[2][0];
    return c1 * m[0][1] + c0 * m[0][0] + c2 * m[0][2];
  }
}

namespace {

#if defined(QORCOR14_SSE2)

// A row of four doubles in two registers. The row operations below work on
// all four columns at once; each column sees exactly the scalar operations.
struct Row4 {
  __m128d lo, hi;

  static Row4 load(const double* p) { return {_mm_loadu_pd(p), _mm_loadu_pd(p + 2)}; }
  void store(double* p) const {
    _mm_storeu_pd(p, lo);
    _mm_storeu_pd(p + 2, hi);
  }
  // this − f·other, column by column.
  void subtractScaled(double f, const Row4& other) {
    const __m128d ff = _mm_set1_pd(f);
    lo = _mm_sub_pd(lo, _mm_mul_pd(ff, other.lo));
    hi = _mm_sub_pd(hi, _mm_mul_pd(ff, other.hi));
  }
  void divideBy(double d) {
    const __m128d dd = _mm_set1_pd(d);
    lo = _mm_div_pd(lo, dd);
    hi = _mm_div_pd(hi, dd);
  }
  // Column c, a constant.
  [[nodiscard]] double at(int c) const {
    const __m128d half = c < 2 ? lo : hi;
    return _mm_cvtsd_f64(c % 2 == 0 ? half : _mm_unpackhi_pd(half, half));
  }
};

#else

struct Row4 {
  double e[4];

  static Row4 load(const double* p) { return {{p[0], p[1], p[2], p[3]}}; }
  void store(double* p) const {
    for (int c = 0; c < 4; ++c) p[c] = e[c];
  }
  void subtractScaled(double f, const Row4& other) {
    for (int c = 0; c < 4; ++c) e[c] -= f * other.e[c];
  }
  void divideBy(double d) {
    for (int c = 0; c < 4; ++c) e[c] /= d;
  }
  [[nodiscard]] double at(int c) const { return e[c]; }
};

#endif

// Calls f(integral_constant<int, i>) for i = From, From + 1, ..., To - 1
// (Step = -1: From, From - 1, ..., To + 1): the elimination's loops are
// short and fixed, and unrolled they keep every index a constant.
template <int From, int To, int Step = 1, class F>
inline void unrolled(F&& f) {
  if constexpr (From != To) {
    f(std::integral_constant<int, From>{});
    unrolled<From + Step, To, Step>(f);
  }
}

// r[0] = a / d and r[1] = b / e: one packed division where SSE2 allows,
// whose quotients are the scalar divisions' own.
inline void dividePair(double a, double b, double d, double e, double* r) {
#if defined(QORCOR14_SSE2)
  _mm_storeu_pd(r, _mm_div_pd(_mm_set_pd(b, a), _mm_set_pd(e, d)));
#else
  r[0] = a / d;
  r[1] = b / e;
#endif
}

// n[i] /= d[i] for i < K, two at a time where SSE2 allows: the quotients
// are the scalar divisions' own, and independent divisions share the divider.
template <int K>
inline void divideEach(double (&n)[K], const double (&d)[K]) {
  unrolled<0, K / 2>([&](auto h) {
    constexpr int i = 2 * decltype(h)::value;
    dividePair(n[i], n[i + 1], d[i], d[i + 1], &n[i]);
  });
  if constexpr (K % 2 != 0) n[K - 1] /= d[K - 1];
}

// Gaussian elimination with scaled partial pivoting and back substitution on
// a beside the identity. Rows are reached through a permutation rather than
// moved. No pivot is tested: a zero pivot gives infinities or NaN.
//
// The elimination updates every column of a row, the eliminated ones too:
// those left of and under the diagonal are never read again, so the columns
// that matter hold exactly what updating them alone would give.
void invert4(const double (*m)[4], double (*result)[4]) {
  Row4 a[4];
  Row4 b[4];
  double scale[4];
  int p[4] = {0, 1, 2, 3};
  unrolled<0, 4>([&](auto i) {
    double s = 0;
    unrolled<0, 4>([&](auto j) {
      if (std::fabs(m[i][j]) > s) s = std::fabs(m[i][j]);
    });
    scale[i] = s;
    a[i] = Row4::load(m[i]);
    const double unit[4] = {i == 0 ? 1.0 : 0.0, i == 1 ? 1.0 : 0.0, i == 2 ? 1.0 : 0.0, i == 3 ? 1.0 : 0.0};
    b[i] = Row4::load(unit);
  });

  unrolled<0, 3>([&](auto k) {
    constexpr int rows = 4 - decltype(k)::value;
    // Only a strictly larger ratio displaces the best so far, so ties keep
    // the earliest row, and the NaN ratios of an all-zero row never win.
    double ratio[rows], scaleOf[rows];
    unrolled<0, rows>([&](auto j) {
      ratio[j] = std::fabs(a[p[k + j]].at(k));
      scaleOf[j] = scale[p[k + j]];
    });
    divideEach<rows>(ratio, scaleOf);
    int best = k;
    double bestRatio = ratio[0];
    unrolled<1, rows>([&](auto j) {
      const bool better = ratio[j] > bestRatio;
      bestRatio = better ? ratio[j] : bestRatio;
      best = better ? int(k + j) : best;
    });
    const int t = p[k];
    p[k] = p[best];
    p[best] = t;

    const Row4 pivotA = a[p[k]], pivotB = b[p[k]];
    double f[rows - 1], pivot[rows - 1];
    unrolled<0, rows - 1>([&](auto j) {
      f[j] = a[p[k + 1 + j]].at(k);
      pivot[j] = pivotA.at(k);
    });
    divideEach<rows - 1>(f, pivot);
    unrolled<0, rows - 1>([&](auto j) {
      a[p[k + 1 + j]].subtractScaled(f[j], pivotA);
      b[p[k + 1 + j]].subtractScaled(f[j], pivotB);
    });
  });

  // a no longer changes, so the six factors of the back substitution, row r
  // against column k > r, are divided all at once: (r, k) = (2,3) (1,3) (0,3)
  // (1,2) (0,2) (0,1).
  constexpr int kCol[6] = {3, 3, 3, 2, 2, 1}, kRow[6] = {2, 1, 0, 1, 0, 0};
  double f[6], pivot[6];
  unrolled<0, 6>([&](auto n) {
    f[n] = a[p[kRow[n]]].at(kCol[n]);
    pivot[n] = a[p[kCol[n]]].at(kCol[n]);
  });
  divideEach<6>(f, pivot);
  unrolled<0, 6>([&](auto n) { b[p[kRow[n]]].subtractScaled(f[n], b[p[kCol[n]]]); });
  unrolled<0, 4>([&](auto k) { b[p[k]].divideBy(a[p[k]].at(k)); });

  unrolled<0, 4>([&](auto i) { b[p[i]].store(result[i]); });
}

}  // namespace

template <int N>
Matrix<N> Matrix<N>::inverse() const {
  const auto& m = m_m;
  Matrix r;
  if constexpr (N == 1) {
    r.m_m[0][0] = 1 / m[0][0];
  } else if constexpr (N == 2) {
    const double det = m[0][0] * m[1][1] - m[0][1] * m[1][0];
    dividePair(m[1][1], m[0][1], det, -det, &r.m_m[0][0]);
    dividePair(m[1][0], m[0][0], -det, det, &r.m_m[1][0]);
  } else if constexpr (N == 3) {
    const double c0 = m[1][1] * m[2][2] - m[2][1] * m[1][2];
    const double c1 = m[1][2] * m[2][0] - m[1][0] * m[2][2];
    const double c2 = m[2][1] * m[1][0] - m[1][1] * m[2][0];
    // Summed in cofactor order. determinant() starts from c1·m01 instead; the
    // first addition commutes, so both give the same double.
    const double det = c0 * m[0][0] + c1 * m[0][1] + c2 * m[0][2];
    // One division per element rather than a multiplication by 1/det, which
    // would round differently; the nine elements, row by row, in pairs.
    double* e = &r.m_m[0][0];
    dividePair(c0, m[0][2] * m[2][1] - m[0][1] * m[2][2], det, det, e);
    dividePair(m[0][1] * m[1][2] - m[0][2] * m[1][1], c1, det, det, e + 2);
    dividePair(m[0][0] * m[2][2] - m[0][2] * m[2][0], m[0][2] * m[1][0] - m[0][0] * m[1][2], det, det, e + 4);
    dividePair(c2, m[0][1] * m[2][0] - m[0][0] * m[2][1], det, det, e + 6);
    e[8] = (m[0][0] * m[1][1] - m[0][1] * m[1][0]) / det;
  } else {
    invert4(m, r.m_m);
  }
  return r;
}

template <int N>
std::wostream& Matrix<N>::putOn(std::wostream& os) const {
  os << L'[';
  for (int i = 0; i < N; ++i) {
    if (i != 0) os << L'/';
    for (int j = 0; j < N; ++j) {
      if (j != 0) os << L',';
      os << m_m[i][j];
    }
  }
  return os << L']';
}

template class QOR::internal::MatrixExtras<1>;
template class QOR::internal::MatrixExtras<2>;
template class QOR::internal::MatrixExtras<3>;
template class MatrixRow<1>;
template class MatrixRow<2>;
template class MatrixRow<3>;
template class MatrixRow<4>;
template class Matrix<1>;
template class Matrix<2>;
template class Matrix<3>;
template class Matrix<4>;
