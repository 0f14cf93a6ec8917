// qorcor14/geometry/matrix.h - square matrices of doubles (Matrix<N>,
// N = 1..4) and the read-only row view returned by indexing one.
//
// The library multiplies row vectors on the left: a vector or point v maps to
// v·M (+ t), and "first A, then B" is the product A·B. Matrices are the linear
// part of the affine transforms and the homogeneous matrix of the perspective
// ones. Nothing here reports numeric failure: a singular matrix inverts to
// infinities or NaN.
#pragma once

#include <qorcor14/config.h>
#include <qorcor14/geometry/internal/row_kernels.h>
#include <qorcor14/geometry/vector.h>

#include <ostream>

template <int N>
class Matrix;

namespace QOR::internal {

// The N×N elements of m, row by row, for the inline kernels.
template <int N>
const double* elementsOf(const Matrix<N>& m);

// determinant(), which Matrix<N> has for N = 1..3 only: Matrix<N> derives
// from MatrixExtras<N>, and only the specialisation for N <= 3 declares it.
template <int N, bool HasDeterminant = (N <= 3)>
class QORCOR14_API MatrixExtras {};

template <int N>
class QORCOR14_API MatrixExtras<N, true> {
public:
  // The determinant. For N = 3 it is expanded along the first row as
  // c1·m01 + c0·m00 + c2·m02.
  [[nodiscard]] double determinant() const;
};

}  // namespace QOR::internal

// A view of one row of a Matrix<N>, so that m[i][j] reads an element.
//
// Note: it holds a pointer into the matrix and is valid only while the matrix
// lives; neither index is range-checked.
template <int N>
class QORCOR14_API MatrixRow {
public:
  // Element j of the row.
  [[nodiscard]] double operator[](int j) const { return m_row[j]; }

private:
  friend class Matrix<N>;

  explicit MatrixRow(const double* row) : m_row(row) {}

  const double* m_row;
};

// An N×N matrix of doubles, stored row by row.
//
// Example:
//   const double rows[2][2] = {{1, 2}, {3, 4}};
//   Matrix<2> m(rows);
//   m.determinant();                  // -2
//   Vector<2>(Vector<2>(1, 0), m);    // (1,2), row 0 of m
//   m * m.inverse();                  // the identity, up to rounding
template <int N>
class QORCOR14_API Matrix : public QOR::internal::MatrixExtras<N> {
public:
  // The identity.
  constexpr Matrix() : m_m{} {
    for (int i = 0; i < N; ++i) m_m[i][i] = 1;
  }
  // Copies an N×N array of rows.
  explicit Matrix(const double (*rows)[N]) {
    for (int i = 0; i < N; ++i)
      for (int j = 0; j < N; ++j) m_m[i][j] = rows[i][j];
  }

  // A view of row i; not range-checked.
  [[nodiscard]] MatrixRow<N> operator[](int i) const { return MatrixRow<N>(m_m[i]); }

  // Writes the N×N elements, row by row, into rows.
  void packToPod(double (*rows)[N]) const;

  // This becomes this·b. m *= m is safe: the product is built aside first.
  Matrix& operator*=(const Matrix& b);
  // This becomes this·b.inverse(), with the inverse's behaviour for a singular
  // or badly scaled b.
  Matrix& operator/=(const Matrix& b);

  // The product a·b: a is applied first.
  [[nodiscard]] friend Matrix operator*(const Matrix& a, const Matrix& b) {
    Matrix r(a);
    r *= b;
    return r;
  }

  // Element (i, j) of the result is element (j, i) of this matrix.
  [[nodiscard]] Matrix transpose() const;

  // determinant(), for N <= 3: see QOR::internal::MatrixExtras.

  // The inverse: the adjugate over the determinant for N <= 3, Gaussian
  // elimination with scaled partial pivoting for N = 4.
  // Note: no singularity test is made: a singular matrix gives infinities or
  // NaN. For N <= 3 each element is divided by the determinant separately
  // rather than multiplied by its reciprocal.
  [[nodiscard]] Matrix inverse() const;

  // Writes [a,b/c,d]: rows separated by "/", elements by ",", with the
  // stream's own number formatting.
  friend std::wostream& operator<<(std::wostream& os, const Matrix& m) { return m.putOn(os); }

private:
  friend const double* QOR::internal::elementsOf<N>(const Matrix& m);

  // Row i of the result is row perm[i] of rows.
  Matrix(const double (*rows)[N], const int* perm);
  // The product a·b of the two arrays taken as matrices.
  Matrix(const double (*a)[N], const double (*b)[N]);

  std::wostream& putOn(std::wostream& os) const;

  double m_m[N][N];
};

template <int N>
inline const double* QOR::internal::elementsOf(const Matrix<N>& m) {
  return m.m_m[0];
}

// Each component is written once, straight from its sum: building v·m first
// and adding t afterwards made the compiler reload the stored halves.
template <int N>
inline Vector<N>::Vector(const Vector& v, const Matrix<N>& m) {
  QOR::internal::rowTimes<N>(v.m_c, QOR::internal::elementsOf(m), nullptr, m_c);
}

template <int N>
inline Vector<N>::Vector(const Vector& v, const Matrix<N>& m, const Vector& t) {
  QOR::internal::rowTimes<N>(v.m_c, QOR::internal::elementsOf(m), t.m_c, m_c);
}

template <int N>
inline Point<N>::Point(const Point& p, const Matrix<N>& m) {
  QOR::internal::rowTimes<N>(p.m_c, QOR::internal::elementsOf(m), nullptr, m_c);
}

template <int N>
inline Point<N>::Point(const Point& p, const Matrix<N>& m, const Vector<N>& t) {
  QOR::internal::rowTimes<N>(p.m_c, QOR::internal::elementsOf(m), t.m_c, m_c);
}

QORCOR14_EXTERN_TEMPLATE(QOR::internal::MatrixExtras<1>)
QORCOR14_EXTERN_TEMPLATE(QOR::internal::MatrixExtras<2>)
QORCOR14_EXTERN_TEMPLATE(QOR::internal::MatrixExtras<3>)
QORCOR14_EXTERN_TEMPLATE(MatrixRow<1>)
QORCOR14_EXTERN_TEMPLATE(MatrixRow<2>)
QORCOR14_EXTERN_TEMPLATE(MatrixRow<3>)
QORCOR14_EXTERN_TEMPLATE(MatrixRow<4>)
QORCOR14_EXTERN_TEMPLATE(Matrix<1>)
QORCOR14_EXTERN_TEMPLATE(Matrix<2>)
QORCOR14_EXTERN_TEMPLATE(Matrix<3>)
QORCOR14_EXTERN_TEMPLATE(Matrix<4>)
