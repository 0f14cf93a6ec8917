#include "harness.h"

#include <windows.h>

#include <algorithm>
#include <cstdio>

namespace bench {
namespace {

double ticksPerNs() {
  LARGE_INTEGER f;
  QueryPerformanceFrequency(&f);
  return static_cast<double>(f.QuadPart) / 1e9;
}

long long now() {
  LARGE_INTEGER t;
  QueryPerformanceCounter(&t);
  return t.QuadPart;
}

void printRow(const Case& c, const Timing& ours, const Timing& peer) {
  std::printf("%-40s %-8s %12.2f %12.2f  %-36s %12.2f %12.2f  %6.2f", c.name.c_str(), c.unit.c_str(), ours.medianNs,
              ours.minNs, c.peerName.c_str(), peer.medianNs, peer.minNs, ours.medianNs / peer.medianNs);
  if (c.bytesPerOp > 0)
    std::printf("  %8.0f %8.0f", c.bytesPerOp / ours.medianNs * 1e3, c.bytesPerOp / peer.medianNs * 1e3);
  std::printf("\n");
}

}  // namespace

Timing measure(const Body& body) {
  static const double perNs = ticksPerNs();
  const double batchNs = 2e6;
  const int batches = 25;

  // Grow the batch until it lasts long enough to time.
  std::size_t ops = 1;
  for (;;) {
    long long t0 = now();
    std::size_t done = body(ops);
    double ns = (now() - t0) / perNs;
    if (ns >= batchNs / 4 || ops >= (std::size_t(1) << 40)) {
      ops = std::max<std::size_t>(1, static_cast<std::size_t>(done * (batchNs / std::max(ns, 1.0))));
      break;
    }
    ops *= 4;
  }

  std::vector<double> perOp;
  for (int i = 0; i < batches; ++i) {
    long long t0 = now();
    std::size_t done = body(ops);
    perOp.push_back((now() - t0) / perNs / static_cast<double>(done));
  }
  std::sort(perOp.begin(), perOp.end());
  return {perOp[perOp.size() / 2], perOp.front()};
}

int Suite::run(const std::string& filter) const {
  std::printf("%-40s %-8s %12s %12s  %-36s %12s %12s  %6s  %8s %8s\n", "case", "per", "ns median", "ns min", "peer",
              "ns median", "ns min", "ratio", "MB/s", "peer");
  int count = 0;
  for (const Case& c : m_cases) {
    if (!filter.empty() && c.name.find(filter) == std::string::npos) continue;
    Timing ours = measure(c.ours);
    Timing peer = measure(c.peer);
    printRow(c, ours, peer);
    std::fflush(stdout);
    ++count;
  }
  std::printf("ratio = qorcor14 median / peer median (below 1: qorcor14 is faster)\n");
  return count;
}

}  // namespace bench
