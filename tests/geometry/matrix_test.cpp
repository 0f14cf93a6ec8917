#include <qorcor14/geometry/matrix.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <iomanip>
#include <random>
#include <sstream>
#include <utility>

namespace {

template <int N>
void expectElements(const Matrix<N>& m, const double (&want)[N][N], double tolerance = 0) {
  for (int i = 0; i < N; ++i)
    for (int j = 0; j < N; ++j) {
      SCOPED_TRACE(testing::Message() << "element " << i << "," << j);
      if (tolerance == 0)
        EXPECT_EQ(m[i][j], want[i][j]);
      else
        EXPECT_NEAR(m[i][j], want[i][j], tolerance);
    }
}

template <int N>
Matrix<N> randomMatrix(std::mt19937& rng) {
  std::uniform_real_distribution<double> d(-10, 10);
  double rows[N][N];
  for (auto& row : rows)
    for (double& e : row) e = d(rng);
  return Matrix<N>(rows);
}

constexpr double id2[2][2] = {{1, 0}, {0, 1}};
constexpr double id3[3][3] = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
constexpr double id4[4][4] = {{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 1, 0}, {0, 0, 0, 1}};

TEST(MatrixBasics, IdentityByDefaultAndRowMajorThroughout) {
  expectElements(Matrix<3>(), id3);
  expectElements(Matrix<3>().inverse(), id3);
  expectElements(Matrix<4>().inverse(), id4);
  const double rows[3][3] = {{1, 2, 3}, {4, 5, 6}, {7, 8, 9}};
  const double cols[3][3] = {{1, 4, 7}, {2, 5, 8}, {3, 6, 9}};
  double out[3][3] = {};
  Matrix<3>(rows).packToPod(out);
  expectElements(Matrix<3>(out), rows);
  expectElements(Matrix<3>(rows).transpose(), cols);
  EXPECT_EQ(Matrix<3>(rows).determinant(), 0.0);
}

TEST(MatrixInverse, SmallDimensionsDivideEachAdjugateElement) {
  const double two[2][2] = {{1, 2}, {3, 4}};
  const double twoInv[2][2] = {{-2, 1}, {1.5, -0.5}};
  EXPECT_EQ(Matrix<2>(two).determinant(), -2.0);
  expectElements(Matrix<2>(two).inverse(), twoInv);
  // The adjugate of an integer matrix is exact, so each element must be the
  // correctly rounded quotient; multiplying by 1/169 misses four of them.
  const double three[3][3] = {{-2, 9, 8}, {-5, 2, 6}, {9, -7, -9}};
  const double adj[3][3] = {{24, 25, 38}, {9, -54, -28}, {17, 67, 41}};
  double want[3][3];
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 3; ++j) want[i][j] = adj[i][j] / 169;
  EXPECT_EQ(Matrix<3>(three).determinant(), 169.0);
  expectElements(Matrix<3>(three).inverse(), want);
}

TEST(MatrixInverse, SingularMatricesGiveNonFiniteElementsWithoutError) {
  const double ones[2][2] = {{1, 1}, {1, 1}};
  const Matrix<2> inv2 = Matrix<2>(ones).inverse();
  EXPECT_TRUE(std::isinf(inv2[0][0]) && std::isinf(inv2[0][1]) && std::isinf(inv2[1][0]) && std::isinf(inv2[1][1]));
  const double zero[1][1] = {{0}};
  EXPECT_TRUE(std::isinf(Matrix<1>(zero).inverse()[0][0]));
  // The all-zero row has scale 0: its ratios are NaN and never chosen.
  const double zeroRow[4][4] = {{1, 2, 3, 4}, {0, 0, 0, 0}, {5, 6, 7, 9}, {1, 0, 1, 0}};
  const Matrix<4> inv4 = Matrix<4>(zeroRow).inverse();
  EXPECT_FALSE(std::isfinite(inv4[0][1]));
}

TEST(Matrix4Inverse, PivotSearchBringsRowThreeForward) {
  const double rows[4][4] = {{0, 0, 0, 2}, {0, 4, 0, 0}, {0, 0, 8, 0}, {1, 0, 0, 0}};
  const double want[4][4] = {{0, 0, 0, 1}, {0, 0.25, 0, 0}, {0, 0, 0.125, 0}, {0.5, 0, 0, 0}};
  expectElements(Matrix<4>(rows).inverse(), want);
  const double diag[4][4] = {{1, 0, 0, 0}, {0, 2, 0, 0}, {0, 0, 4, 0}, {0, 0, 0, 8}};
  const double diagInv[4][4] = {{1, 0, 0, 0}, {0, 0.5, 0, 0}, {0, 0, 0.25, 0}, {0, 0, 0, 0.125}};
  expectElements(Matrix<4>(diag).inverse(), diagInv);
}

TEST(Matrix4Inverse, ScaledPivotAndFirstOfEqualCandidatesFixTheBits) {
  // Column 0 over the row maxima gives ratios 1, 4/9, 1, 1: row 0 stays. An
  // unscaled search or one letting the last tie win would take row 3 and
  // change ten of the sixteen results.
  const double rows[4][4] = {{8, -8, 3, 5}, {-4, -9, 7, -7}, {-8, -8, -3, -2}, {-9, 5, 1, 5}};
  const double want[4][4] = {
      {0x1.3759d32a93852p-6, -0x1.0078f4da52d7dp-6, -0x1.268d269f1201cp-5, -0x1.c506d7a0f15a6p-5},
      {-0x1.89ab20a2f489bp-5, -0x1.d662df422a623p-8, -0x1.ecc91aa6d7119p-5, 0x1.c8f25538f5f91p-7},
      {0x1.abd3d4cfaf153p-6, 0x1.61e8dd9d0ed28p-4, -0x1.5db5b27a2e719p-4, 0x1.f143f3549334bp-5},
      {0x1.3b8cfe4d73e63p-4, -0x1.39973f817196dp-5, 0x1.99e87218be88bp-7, 0x1.30a18e25f950bp-4},
  };
  expectElements(Matrix<4>(rows).inverse(), want);
}

// The reference is Gauss-Jordan with partial pivoting in long double.
TEST(Matrix4Inverse, AgreesWithLongDoubleGaussJordanOnRandomMatrices) {
  std::mt19937 rng(1234);
  for (int n = 0; n < 200; ++n) {
    SCOPED_TRACE(n);
    const Matrix<4> m = randomMatrix<4>(rng);
    long double a[4][8];
    for (int i = 0; i < 4; ++i)
      for (int j = 0; j < 8; ++j) a[i][j] = j < 4 ? m[i][j] : (j - 4 == i);
    for (int k = 0; k < 4; ++k) {
      int p = k;
      for (int r = k + 1; r < 4; ++r)
        if (std::fabs(a[r][k]) > std::fabs(a[p][k])) p = r;
      std::swap(a[k], a[p]);
      const long double pivot = a[k][k];
      for (long double& e : a[k]) e /= pivot;
      for (int r = 0; r < 4; ++r) {
        if (r == k) continue;
        const long double f = a[r][k];
        for (int j = 0; j < 8; ++j) a[r][j] -= f * a[k][j];
      }
    }
    double want[4][4];
    double scale = 0;
    for (int i = 0; i < 4; ++i)
      for (int j = 0; j < 4; ++j) scale = std::max(scale, std::fabs(want[i][j] = static_cast<double>(a[i][j + 4])));
    expectElements(m.inverse(), want, 1e-10 * scale);
  }
}

TEST(MatrixInverse, RandomRoundTripsGiveTheIdentity) {
  std::mt19937 rng(99);
  for (int n = 0; n < 100; ++n) {
    SCOPED_TRACE(n);
    const Matrix<2> m2 = randomMatrix<2>(rng);
    expectElements(m2 * m2.inverse(), id2, 1e-11);
    const Matrix<3> m3 = randomMatrix<3>(rng);
    expectElements(m3.inverse() * m3, id3, 1e-11);
    Matrix<4> m4 = randomMatrix<4>(rng);
    m4 /= Matrix<4>(m4);
    expectElements(m4, id4, 1e-11);
  }
}

TEST(MatrixProduct, RowVectorsApplyTheLeftFactorFirst) {
  const double turn[2][2] = {{0, 1}, {-1, 0}};
  const double stretch[2][2] = {{2, 0}, {0, 3}};
  const Matrix<2> a(turn), b(stretch);
  const double ab[2][2] = {{0, 3}, {-2, 0}};
  expectElements(a * b, ab);
  EXPECT_EQ(Vector<2>(Vector<2>(1, 1), a * b), Vector<2>(Vector<2>(Vector<2>(1, 1), a), b));
  Matrix<2> c = a;
  c *= c;  // the product is built aside, so aliasing is safe
  const double minusId[2][2] = {{-1, 0}, {0, -1}};
  expectElements(c, minusId);
}

TEST(MatrixProduct, VectorTimesMatrixPicksRowsAndAddsTheTranslation) {
  const double rows[2][2] = {{1, 2}, {3, 4}};
  EXPECT_EQ(Vector<2>(Vector<2>(1, 0), Matrix<2>(rows)), Vector<2>(1, 2));
  EXPECT_EQ(Vector<2>(Vector<2>(0, 1), Matrix<2>(rows), Vector<2>(10, 20)), Vector<2>(13, 24));
  // Summed over rows in order: 1e308 + 1e308 overflows before -1e308 comes.
  const double down[3][3] = {{1, 0, 0}, {1, 0, 0}, {1, 0, 0}};
  EXPECT_TRUE(std::isinf(Vector<3>(Vector<3>(1e308, 1e308, -1e308), Matrix<3>(down))[0]));
}

TEST(MatrixText, BracketedRowsWithTheStreamsFormatting) {
  const double one[1][1] = {{2.5}};
  const double thirds[2][2] = {{1.0 / 3, -2}, {0, 1e10}};
  std::wostringstream os;
  os << Matrix<2>() << Matrix<1>(one) << std::setprecision(2) << Matrix<2>(thirds);
  EXPECT_EQ(os.str(), L"[1,0/0,1][2.5][0.33,-2/0,1e+10]");
}

}  // namespace
