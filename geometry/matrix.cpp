// Matrix: products, transpose, determinant, inverse and the text form. Only
// the dimensions below are provided by the library.
#include <qorcor14/geometry/matrix.h>

#include <cmath>

template <int N>
Matrix<N>::Matrix(const double (*rows)[N], const int* perm) {
  for (int i = 0; i < N; ++i)
    for (int j = 0; j < N; ++j) m_m[i][j] = rows[perm[i]][j];
}

template <int N>
Matrix<N>::Matrix(const double (*a)[N], const double (*b)[N]) {
  for (int i = 0; i < N; ++i)
    for (int j = 0; j < N; ++j) {
      double s = a[i][0] * b[0][j];
      for (int k = 1; k < N; ++k) s += a[i][k] * b[k][j];
      m_m[i][j] = s;
    }
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
double QOR::detail::MatrixExtras<N, true>::determinant() const {
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

// Gaussian elimination with scaled partial pivoting and back substitution on
// a beside the identity. Rows are reached through a permutation rather than
// moved. No pivot is tested: a zero pivot gives infinities or NaN.
void invert4(const double (*m)[4], double (*result)[4]) {
  double a[4][4];
  double b[4][4];
  double scale[4];
  int p[4];
  for (int i = 0; i < 4; ++i) {
    scale[i] = 0;
    for (int j = 0; j < 4; ++j) {
      a[i][j] = m[i][j];
      b[i][j] = i == j ? 1 : 0;
      if (std::fabs(m[i][j]) > scale[i]) scale[i] = std::fabs(m[i][j]);
    }
    p[i] = i;
  }

  for (int k = 0; k < 3; ++k) {
    // Only a strictly larger ratio displaces the best so far, so ties keep
    // the earliest row, and the NaN ratios of an all-zero row never win.
    int best = k;
    double bestRatio = std::fabs(a[p[k]][k]) / scale[p[k]];
    for (int r = k + 1; r < 4; ++r) {
      const double ratio = std::fabs(a[p[r]][k]) / scale[p[r]];
      if (ratio > bestRatio) {
        bestRatio = ratio;
        best = r;
      }
    }
    const int t = p[k];
    p[k] = p[best];
    p[best] = t;

    const double pivot = a[p[k]][k];
    for (int r = k + 1; r < 4; ++r) {
      const double f = a[p[r]][k] / pivot;
      for (int c = k + 1; c < 4; ++c) a[p[r]][c] -= f * a[p[k]][c];
      for (int c = 0; c < 4; ++c) b[p[r]][c] -= f * b[p[k]][c];
    }
  }

  for (int k = 3; k >= 0; --k) {
    const double pivot = a[p[k]][k];
    for (int r = k - 1; r >= 0; --r) {
      const double f = a[p[r]][k] / pivot;
      for (int c = 0; c < 4; ++c) b[p[r]][c] -= f * b[p[k]][c];
    }
    for (int c = 0; c < 4; ++c) b[p[k]][c] /= pivot;
  }

  for (int i = 0; i < 4; ++i)
    for (int j = 0; j < 4; ++j) result[i][j] = b[p[i]][j];
}

} // namespace

template <int N>
Matrix<N> Matrix<N>::inverse() const {
  const auto& m = m_m;
  Matrix r;
  if constexpr (N == 1) {
    r.m_m[0][0] = 1 / m[0][0];
  } else if constexpr (N == 2) {
    const double det = m[0][0] * m[1][1] - m[0][1] * m[1][0];
    r.m_m[0][0] = m[1][1] / det;
    r.m_m[0][1] = m[0][1] / -det;
    r.m_m[1][0] = m[1][0] / -det;
    r.m_m[1][1] = m[0][0] / det;
  } else if constexpr (N == 3) {
    const double c0 = m[1][1] * m[2][2] - m[2][1] * m[1][2];
    const double c1 = m[1][2] * m[2][0] - m[1][0] * m[2][2];
    const double c2 = m[2][1] * m[1][0] - m[1][1] * m[2][0];
    // Summed in cofactor order. determinant() starts from c1·m01 instead; the
    // first addition commutes, so both give the same double.
    const double det = c0 * m[0][0] + c1 * m[0][1] + c2 * m[0][2];
    // One division per element rather than a multiplication by 1/det, which
    // would round differently.
    r.m_m[0][0] = c0 / det;
    r.m_m[0][1] = (m[0][2] * m[2][1] - m[0][1] * m[2][2]) / det;
    r.m_m[0][2] = (m[0][1] * m[1][2] - m[0][2] * m[1][1]) / det;
    r.m_m[1][0] = c1 / det;
    r.m_m[1][1] = (m[0][0] * m[2][2] - m[0][2] * m[2][0]) / det;
    r.m_m[1][2] = (m[0][2] * m[1][0] - m[0][0] * m[1][2]) / det;
    r.m_m[2][0] = c2 / det;
    r.m_m[2][1] = (m[0][1] * m[2][0] - m[0][0] * m[2][1]) / det;
    r.m_m[2][2] = (m[0][0] * m[1][1] - m[0][1] * m[1][0]) / det;
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

template class QOR::detail::MatrixExtras<1>;
template class QOR::detail::MatrixExtras<2>;
template class QOR::detail::MatrixExtras<3>;
template class MatrixRow<1>;
template class MatrixRow<2>;
template class MatrixRow<3>;
template class MatrixRow<4>;
template class Matrix<1>;
template class Matrix<2>;
template class Matrix<3>;
template class Matrix<4>;
