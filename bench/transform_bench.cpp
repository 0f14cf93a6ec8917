// Transforms against Eigen's Affine3d on identical data: points and extents
// mapped through a UniformTransform<3> reached through the base class (a
// virtual call each), and the composition of two affine transforms.
//
// Eigen maps column vectors (p' = L·p + t) where the library maps row vectors
// (p' = p·M + t), so the peer's linear part is M transposed.
#include "harness.h"

#include <qorcor14/transform.h>

#include <Eigen/Geometry>

#include <memory>
#include <random>

namespace bench {
namespace {

constexpr std::size_t kSet = 256;
constexpr std::size_t kMask = kSet - 1;

struct Data {
  std::unique_ptr<Transform<3>> ours;  // a UniformTransform<3>, used through the base
  UniformTransform<3> a, b;
  Eigen::Affine3d peer, peerA, peerB;
  std::vector<Point<3>> points;
  std::vector<Eigen::Vector3d> peerPoints;
  std::vector<Extent<3>> boxes;
  std::vector<Eigen::AlignedBox3d> peerBoxes;
};

Eigen::Affine3d toEigen(const AffineTransform<3>& t) {
  double pod[4][3];
  t.packToPod(pod);
  Eigen::Affine3d e = Eigen::Affine3d::Identity();
  for (int i = 0; i < 3; ++i) {
    for (int j = 0; j < 3; ++j) e.linear()(j, i) = pod[i][j];
    e.translation()(i) = pod[3][i];
  }
  return e;
}

std::shared_ptr<Data> makeData() {
  auto d = std::make_shared<Data>();
  d->a = UniformTransform<3>::rotation(Angle::degrees(37), Vector<3>(1, 2, 3));
  d->a *= UniformTransform<3>::scale(1.5);
  d->a *= UniformTransform<3>::translation(Vector<3>(1, -2, 3));
  d->b = UniformTransform<3>::rotation(Angle::degrees(-71), Vector<3>(-2, 1, 0.5));
  d->b *= UniformTransform<3>::translation(Vector<3>(-4, 0.5, 2));
  d->ours.reset(d->a.clone());
  d->peer = d->peerA = toEigen(d->a);
  d->peerB = toEigen(d->b);
  std::mt19937_64 rng(9);
  std::uniform_real_distribution<double> u(-100, 100);
  for (std::size_t k = 0; k < kSet; ++k) {
    const double x = u(rng), y = u(rng), z = u(rng);
    d->points.emplace_back(x, y, z);
    d->peerPoints.emplace_back(x, y, z);
    const double w = std::fabs(u(rng)) / 4;
    d->boxes.emplace_back(Point<3>(x, y, z), Point<3>(x + w, y + w, z + w));
    d->peerBoxes.emplace_back(Eigen::Vector3d(x, y, z), Eigen::Vector3d(x + w, y + w, z + w));
  }
  return d;
}

void addPoints(Suite& suite, const std::shared_ptr<Data>& d) {
  suite.add({"point through Transform<3>& (uniform)", "point",
             [d](std::size_t ops) {
               const Transform<3>& t = *d->ours;
               for (std::size_t i = 0; i < ops; ++i) doNotOptimize(d->points[i & kMask] * t);
               return ops;
             },
             "Eigen Affine3d * v",
             [d](std::size_t ops) {
               for (std::size_t i = 0; i < ops; ++i) {
                 Eigen::Vector3d r = d->peer * d->peerPoints[i & kMask];
                 doNotOptimize(r);
               }
               return ops;
             }});
}

void addExtents(Suite& suite, const std::shared_ptr<Data>& d) {
  suite.add({"extent through Transform<3>& (uniform)", "extent",
             [d](std::size_t ops) {
               const Transform<3>& t = *d->ours;
               for (std::size_t i = 0; i < ops; ++i) doNotOptimize(d->boxes[i & kMask] * t);
               return ops;
             },
             "Eigen 8 corners into AlignedBox3d",
             [d](std::size_t ops) {
               for (std::size_t i = 0; i < ops; ++i) {
                 const Eigen::AlignedBox3d& in = d->peerBoxes[i & kMask];
                 Eigen::AlignedBox3d r;
                 for (int c = 0; c < 8; ++c)
                   r.extend(d->peer * in.corner(static_cast<Eigen::AlignedBox3d::CornerType>(c)));
                 doNotOptimize(r);
               }
               return ops;
             }});
}

void addComposition(Suite& suite, const std::shared_ptr<Data>& d) {
  suite.add({"compose two UniformTransform<3> (heap)", "compose",
             [d](std::size_t ops) {
               for (std::size_t i = 0; i < ops; ++i) {
                 std::unique_ptr<Transform<3>> r(d->a.composeWith(static_cast<const Transform<3>&>(d->b)));
                 doNotOptimize(r.get());
               }
               return ops;
             },
             "Eigen Affine3d product",
             [d](std::size_t ops) {
               for (std::size_t i = 0; i < ops; ++i) {
                 Eigen::Affine3d r = d->peerB * d->peerA;
                 doNotOptimize(r);
               }
               return ops;
             }});
  suite.add({"UniformTransform<3> *= in place", "compose",
             [d](std::size_t ops) {
               UniformTransform<3> r = d->a;
               for (std::size_t i = 0; i < ops; ++i) {
                 r = d->a;
                 r *= d->b;
                 doNotOptimize(r);
               }
               return ops;
             },
             "Eigen Affine3d product",
             [d](std::size_t ops) {
               for (std::size_t i = 0; i < ops; ++i) {
                 Eigen::Affine3d r = d->peerB * d->peerA;
                 doNotOptimize(r);
               }
               return ops;
             }});
}

}  // namespace

void addTransformCases(Suite& suite) {
  auto d = makeData();
  addPoints(suite, d);
  addExtents(suite, d);
  addComposition(suite, d);
}

}  // namespace bench
