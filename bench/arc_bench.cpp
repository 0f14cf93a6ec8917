// The flat arc functions and Arc<2>::extent beside naive closed forms of the
// same quantities: what the branch tests and the series cost against plain
// trigonometry (which loses accuracy for small bulges, see the tests). The
// spatial arc's exact box and walk beside sampling and a rotation matrix.
#include "harness.h"

#include <qorcor14/arc.h>

#include <cmath>
#include <memory>
#include <random>
#include <vector>

namespace bench {
namespace {

constexpr std::size_t kSet = 256;
constexpr std::size_t kMask = kSet - 1;

// Bulges of both signs, log-uniform from 1e-5 to 1e3: every branch of every
// function (the length's series below 1e-3 and complement above 5, the
// area's series below 0.2, the centre of gravity's polynomial below 0.354,
// the split's linear form below 1.5e-8 is left to the tests).
std::shared_ptr<std::vector<double>> bulges() {
  auto b = std::make_shared<std::vector<double>>();
  std::mt19937_64 rng(17);
  std::uniform_real_distribution<double> exponent(-5, 3);
  for (std::size_t i = 0; i < kSet; ++i) b->push_back((i % 2 ? -1 : 1) * std::pow(10.0, exponent(rng)));
  return b;
}

// A function of the bulge, ours and a peer, one bulge per operation.
template <class Ours, class Peer>
void addScalar(Suite& suite, const char* name, Ours ours, const char* peerName, Peer peer) {
  auto b = bulges();
  suite.add({name, "call",
             [b, ours](std::size_t ops) {
               for (std::size_t i = 0; i < ops; ++i) doNotOptimize(ours((*b)[i & kMask]));
               return ops;
             },
             peerName,
             [b, peer](std::size_t ops) {
               for (std::size_t i = 0; i < ops; ++i) doNotOptimize(peer((*b)[i & kMask]));
               return ops;
             }});
}

double naiveArea(double b) {
  const double theta = 4 * std::atan(b), s = std::sin(theta / 2);
  return (theta - std::sin(theta)) / (8 * s * s);
}

double naiveCoG(double b) {
  const double theta = 4 * std::atan(b), h = theta / 2, s = std::sin(h);
  return 2 * s * s / (3 * (theta - std::sin(theta))) - std::cos(h) / (2 * s);
}

struct SplitOut {
  double v[6];
};

SplitOut naiveSplit(double t, double b) {
  const double a = std::atan(b), alpha = 2 * t * a, r = (1 / b + b) * 0.25;
  return {{std::tan((t + 1) * a * 0.5), r * std::cos(alpha) - (1 / b - b) * 0.25, r * std::sin(alpha), -std::sin(alpha),
           std::cos(alpha), std::tan((1 - t) * a * 0.5)}};
}

// The box from angles: the ends, and each axis extreme whose angle from the
// sweep's first end, counter-clockwise, lies within the sweep.
Extent<2> naiveExtent(const QOR::Arc<2>& a) {
  Extent<2> box(a.start(), a.end());
  if (a.bulge() == 0) return box;
  const Point<2> c = a.centre();
  const double r = a.radius();
  const Point<2>& from = a.bulge() > 0 ? a.start() : a.end();
  const double sweep = std::fabs(4 * std::atan(a.bulge()));
  const double first = std::atan2(from[1] - c[1], from[0] - c[0]);
  const double pi = 3.141592653589793;
  const double axes[4][2] = {{1, 0}, {0, 1}, {-1, 0}, {0, -1}};
  for (int k = 0; k < 4; ++k) {
    const double turn = std::fmod(k * pi / 2 - first + 4 * pi, 2 * pi);
    if (turn <= sweep) box += c + Vector<2>(axes[k][0], axes[k][1]) * r;
  }
  return box;
}

void addSplit(Suite& suite) {
  auto b = bulges();
  auto t = std::make_shared<std::vector<double>>();
  std::mt19937_64 rng(19);
  std::uniform_real_distribution<double> u(-1, 1);
  for (std::size_t i = 0; i < kSet; ++i) t->push_back(u(rng));
  suite.add({"QORArcSplit", "call",
             [b, t](std::size_t ops) {
               for (std::size_t i = 0; i < ops; ++i) {
                 SplitOut o;
                 QORArcSplit((*t)[i & kMask], (*b)[(i * 7) & kMask], &o.v[0], &o.v[1], &o.v[2], &o.v[3], &o.v[4],
                             &o.v[5]);
                 doNotOptimize(o);
               }
               return ops;
             },
             "closed forms",
             [b, t](std::size_t ops) {
               for (std::size_t i = 0; i < ops; ++i) doNotOptimize(naiveSplit((*t)[i & kMask], (*b)[(i * 7) & kMask]));
               return ops;
             }});
}

void addExtent(Suite& suite) {
  auto arcs = std::make_shared<std::vector<QOR::Arc<2>>>();
  std::mt19937_64 rng(23);
  std::uniform_real_distribution<double> u(-100, 100), sweep(-6, 6);
  for (std::size_t i = 0; i < kSet; ++i)
    arcs->emplace_back(Point<2>(u(rng), u(rng)), std::tan(sweep(rng) / 4), Point<2>(u(rng), u(rng)));
  suite.add({"Arc<2>::extent", "arc",
             [arcs](std::size_t ops) {
               for (std::size_t i = 0; i < ops; ++i) doNotOptimize((*arcs)[i & kMask].extent());
               return ops;
             },
             "atan2 sweep test",
             [arcs](std::size_t ops) {
               for (std::size_t i = 0; i < ops; ++i) doNotOptimize(naiveExtent((*arcs)[i & kMask]));
               return ops;
             }});
}

// Random spatial arcs: random planes, sweeps up to 340 degrees either way.
std::shared_ptr<std::vector<QOR::Arc<3>>> spatialArcs() {
  auto arcs = std::make_shared<std::vector<QOR::Arc<3>>>();
  std::mt19937_64 rng(29);
  std::uniform_real_distribution<double> u(-100, 100), sweep(-5.9, 5.9);
  for (std::size_t i = 0; i < kSet; ++i) {
    const Vector<3> n(u(rng), u(rng), u(rng));
    const Vector<3> v(u(rng), u(rng), u(rng));
    const Point<3> start(u(rng), u(rng), u(rng));
    arcs->emplace_back(start, std::tan(sweep(rng) / 4), n, start + cross(n, v) * 0.01);
  }
  return arcs;
}

constexpr int kExtentSamples = 64;

// The box of kExtentSamples + 1 points walked off along the arc: what a caller
// without an exact box would do, and still short of the extremes.
Extent<3> sampledExtent(const QOR::Arc<3>& a) {
  Extent<3> box;
  const double step = a.length() / kExtentSamples;
  Point<3> p;
  Vector<3> d;
  for (int k = 0; k <= kExtentSamples; ++k) {
    a.measureOff(step * k, p, d);
    box += p;
  }
  return box;
}

// The point at a distance along the arc by the textbook route: the sweep and
// radius from the bulge's angle, then the start's radius turned by the
// rotation matrix about the axis (Rodrigues' formula).
Point<3> rotatedPoint(const QOR::Arc<3>& a, double distance) {
  const Vector<3> d = a.end() - a.start();
  const double theta = 4 * std::atan(a.bulge());
  const double r = d.length() / (2 * std::sin(theta / 2));
  const Vector<3>& n = a.axis();
  const Vector<3> toCentre = cross(n, d).unit() * (r * std::cos(theta / 2));
  const Point<3> c = midpoint(a.start(), a.end()) + toCentre;
  const Vector<3> u = a.start() - c;
  const double phi = distance / r, cs = std::cos(phi), sn = std::sin(phi), t = 1 - cs;
  double m[3][3];
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 3; ++j) m[i][j] = t * n[i] * n[j] + (i == j ? cs : 0);
  m[0][1] -= sn * n[2], m[1][0] += sn * n[2];
  m[0][2] += sn * n[1], m[2][0] -= sn * n[1];
  m[1][2] -= sn * n[0], m[2][1] += sn * n[0];
  return c + Vector<3>(m[0][0] * u[0] + m[0][1] * u[1] + m[0][2] * u[2],
                       m[1][0] * u[0] + m[1][1] * u[1] + m[1][2] * u[2],
                       m[2][0] * u[0] + m[2][1] * u[1] + m[2][2] * u[2]);
}

void addSpatial(Suite& suite) {
  auto arcs = spatialArcs();
  suite.add({"Arc<3>::extent", "arc",
             [arcs](std::size_t ops) {
               for (std::size_t i = 0; i < ops; ++i) doNotOptimize((*arcs)[i & kMask].extent());
               return ops;
             },
             "box of 65 samples",
             [arcs](std::size_t ops) {
               for (std::size_t i = 0; i < ops; ++i) doNotOptimize(sampledExtent((*arcs)[i & kMask]));
               return ops;
             }});
  auto lengths = std::make_shared<std::vector<double>>();
  for (const QOR::Arc<3>& a : *arcs) lengths->push_back(a.length() * 0.37);
  suite.add({"Arc<3>::measureOff", "point",
             [arcs, lengths](std::size_t ops) {
               Point<3> p;
               Vector<3> d;
               for (std::size_t i = 0; i < ops; ++i) {
                 doNotOptimize((*arcs)[i & kMask].measureOff((*lengths)[i & kMask], p, d));
                 doNotOptimize(p);
               }
               return ops;
             },
             "Rodrigues matrix",
             [arcs, lengths](std::size_t ops) {
               for (std::size_t i = 0; i < ops; ++i)
                 doNotOptimize(rotatedPoint((*arcs)[i & kMask], (*lengths)[i & kMask]));
               return ops;
             }});
}

}  // namespace

void addArcCases(Suite& suite) {
  addScalar(suite, "QORArcLength", QORArcLength, "atan(b)*(b*b+1)/b",
            [](double b) { return std::atan(b) * (b * b + 1) / b; });
  addScalar(suite, "QORArcSegmentArea", QORArcSegmentArea, "(th-sin th)/8sin^2", naiveArea);
  addScalar(suite, "QORArcSegmentCoG", QORArcSegmentCoG, "centroid - R cos(th/2)", naiveCoG);
  addSplit(suite);
  addExtent(suite);
  addSpatial(suite);
}

}  // namespace bench
