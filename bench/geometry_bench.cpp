// Geometry value types against Eigen 3.4 on identical inputs.
#include "harness.h"

#include <qorcor14/geometry.h>

#include <Eigen/Dense>
#include <Eigen/Geometry>

#include <memory>
#include <random>

namespace bench {
namespace {

constexpr std::size_t kSet = 256;  // inputs cycled through: a power of two, small enough for L1/L2
constexpr std::size_t kMask = kSet - 1;

template <int N>
struct MatrixSet {
  std::vector<Matrix<N>> ours;
  std::vector<Eigen::Matrix<double, N, N, Eigen::RowMajor>> peer;
};

// Well-conditioned random matrices: uniform entries with a heavy diagonal.
template <int N>
MatrixSet<N> randomMatrices(unsigned seed) {
  std::mt19937_64 rng(seed);
  std::uniform_real_distribution<double> u(-1, 1);
  MatrixSet<N> set;
  for (std::size_t k = 0; k < kSet; ++k) {
    double a[N][N];
    Eigen::Matrix<double, N, N, Eigen::RowMajor> e;
    for (int i = 0; i < N; ++i)
      for (int j = 0; j < N; ++j) e(i, j) = a[i][j] = u(rng) + (i == j ? 4 : 0);
    set.ours.emplace_back(a);
    set.peer.push_back(e);
  }
  return set;
}

template <int N>
void addInverse(Suite& suite, const char* name) {
  auto set = std::make_shared<MatrixSet<N>>(randomMatrices<N>(N));
  suite.add({name, "inverse",
             [set](std::size_t ops) {
               for (std::size_t i = 0; i < ops; ++i) doNotOptimize(set->ours[i & kMask].inverse());
               return ops;
             },
             "Eigen inverse()",
             [set](std::size_t ops) {
               for (std::size_t i = 0; i < ops; ++i) {
                 Eigen::Matrix<double, N, N, Eigen::RowMajor> r = set->peer[i & kMask].inverse();
                 doNotOptimize(r);
               }
               return ops;
             }});
}

void addProduct(Suite& suite) {
  auto set = std::make_shared<MatrixSet<4>>(randomMatrices<4>(7));
  suite.add({"Matrix<4> product", "product",
             [set](std::size_t ops) {
               for (std::size_t i = 0; i < ops; ++i) doNotOptimize(set->ours[i & kMask] * set->ours[(i + 1) & kMask]);
               return ops;
             },
             "Eigen operator*",
             [set](std::size_t ops) {
               for (std::size_t i = 0; i < ops; ++i) {
                 Eigen::Matrix<double, 4, 4, Eigen::RowMajor> r = set->peer[i & kMask] * set->peer[(i + 1) & kMask];
                 doNotOptimize(r);
               }
               return ops;
             }});
}

// Row vectors, as the library maps them: p·M + t.
void addPointMapping(Suite& suite) {
  struct Data {
    Matrix<3> m;
    Vector<3> t;
    Eigen::Matrix3d em;
    Eigen::RowVector3d et;
    std::vector<Vector<3>> ours;
    std::vector<Eigen::RowVector3d> peer;
  };
  auto d = std::make_shared<Data>();
  std::mt19937_64 rng(3);
  std::uniform_real_distribution<double> u(-100, 100);
  const double rows[3][3] = {{0.36, 0.48, -0.8}, {-0.8, 0.6, 0}, {0.48, 0.64, 0.6}};
  d->m = Matrix<3>(rows);
  d->t = Vector<3>(1, -2, 3);
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 3; ++j) d->em(i, j) = rows[i][j];
  d->et << 1, -2, 3;
  for (std::size_t k = 0; k < kSet; ++k) {
    double x = u(rng), y = u(rng), z = u(rng);
    d->ours.emplace_back(x, y, z);
    d->peer.emplace_back(x, y, z);
  }
  suite.add({"point through Matrix<3> + t", "point",
             [d](std::size_t ops) {
               for (std::size_t i = 0; i < ops; ++i) doNotOptimize(Vector<3>(d->ours[i & kMask], d->m, d->t));
               return ops;
             },
             "Eigen v*M + t",
             [d](std::size_t ops) {
               for (std::size_t i = 0; i < ops; ++i) {
                 Eigen::RowVector3d r = d->peer[i & kMask] * d->em + d->et;
                 doNotOptimize(r);
               }
               return ops;
             }});
}

// One operation is one point; a call grows a fresh box by the whole million.
void addExtentGrowth(Suite& suite) {
  constexpr std::size_t kPoints = 1000000;
  struct Data {
    std::vector<Point<3>> ours;
    std::vector<Eigen::Vector3d> peer;
  };
  auto d = std::make_shared<Data>();
  std::mt19937_64 rng(5);
  std::normal_distribution<double> g(0, 50);
  d->ours.reserve(kPoints);
  d->peer.reserve(kPoints);
  for (std::size_t k = 0; k < kPoints; ++k) {
    double x = g(rng), y = g(rng), z = g(rng);
    d->ours.emplace_back(x, y, z);
    d->peer.emplace_back(x, y, z);
  }
  suite.add({"Extent<3> grown by 1e6 points", "point",
             [d](std::size_t) {
               Extent<3> e;
               for (const Point<3>& p : d->ours) e += p;
               doNotOptimize(e);
               return kPoints;
             },
             "Eigen AlignedBox3d",
             [d](std::size_t) {
               Eigen::AlignedBox3d e;
               for (const Eigen::Vector3d& p : d->peer) e.extend(p);
               doNotOptimize(e);
               return kPoints;
             }});
}

}  // namespace

void addGeometryCases(Suite& suite) {
  addInverse<4>(suite, "Matrix<4>::inverse");
  addInverse<3>(suite, "Matrix<3>::inverse");
  addProduct(suite);
  addPointMapping(suite);
  addExtentGrowth(suite);
}

}  // namespace bench
