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
      EXPECT_NEAR(m[i][j], want[i][j], tolerance);
    }
}

constexpr double id4[4][4] = {{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 1, 0}, {0, 0, 0, 1}};

TEST(MatrixBasics, IdentityByDefaultAndRowMajorThroughout) {
  const double rows[3][3] = {{1, 2, 3}, {4, 5, 6}, {7, 8, 9}};
  const double cols[3][3] = {{1, 4, 7}, {2, 5, 8}, {3, 6, 9}};
  double out[3][3] = {};
  Matrix<3>(rows).packToPod(out);
  expectElements(Matrix<3>(out), rows);
  expectElements(Matrix<3>(rows).transpose(), cols);
  expectElements(Matrix<4>(), id4);
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
  EXPECT_TRUE(std::isinf(Matrix<2>(ones).inverse()[1][0]));
  const double zero[1][1] = {{0}};
  EXPECT_TRUE(std::isinf(Matrix<1>(zero).inverse()[0][0]));
  const double zeroRow[4][4] = {{1, 2, 3, 4}, {0, 0, 0, 0}, {5, 6, 7, 9}, {1, 0, 1, 0}};
  EXPECT_FALSE(std::isfinite(Matrix<4>(zeroRow).inverse()[0][1]));
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
  std::uniform_real_distribution<double> d(-10, 10);
  for (int n = 0; n < 200; ++n) {
    SCOPED_TRACE(n);
    double rows[4][4];
    long double a[4][8];
    for (int i = 0; i < 4; ++i)
      for (int j = 0; j < 8; ++j) a[i][j] = j < 4 ? (rows[i][j] = d(rng)) : (j - 4 == i);
    const Matrix<4> m(rows);
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
    Matrix<4> q = m;
    q /= m;  // this·m⁻¹
    expectElements(q, id4, 1e-11);
  }
}

TEST(MatrixProduct, RowVectorsApplyTheLeftFactorFirstAndSumInRowOrder) {
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
  EXPECT_EQ(Vector<2>(Vector<2>(0, 1), b, Vector<2>(10, 20)), Vector<2>(10, 23));
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
