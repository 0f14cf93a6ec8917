// A small benchmark harness: each case times the library and a named peer on
// identical inputs in the same run and prints one table row with the ratio.
//
// Timing uses QueryPerformanceCounter. A case's operation is run in batches
// long enough to dwarf the timer's resolution; the row shows the median and
// the minimum nanoseconds per operation over many batches.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace bench {

// Keeps the compiler from discarding a computed value.
template <class T>
inline void doNotOptimize(const T& value) {
#if defined(__GNUC__)
  asm volatile("" : : "g"(&value) : "memory");
#else
  static volatile const void* sink;
  sink = &value;
#endif
}

// One side of a case: runs `ops` operations per call and returns how many it
// ran (usually `ops`), so that a side may process a fixed batch per call.
using Body = std::function<std::size_t(std::size_t ops)>;

struct Case {
  std::string name;
  std::string unit;  // what one operation is, e.g. "inverse", "point", "MB"
  Body ours;
  std::string peerName;
  Body peer;
  double bytesPerOp = 0;  // when set, rows also show MB/s
};

struct Timing {
  double medianNs = 0;
  double minNs = 0;
};

// Times `body`: batches of about 2 ms, at least 25 of them.
Timing measure(const Body& body);

class Suite {
public:
  void add(Case c) { m_cases.push_back(std::move(c)); }
  // Runs the cases whose name contains `filter` (all when empty); returns the
  // number run.
  int run(const std::string& filter) const;

private:
  std::vector<Case> m_cases;
};

void addGeometryCases(Suite& suite);
void addCodePointCases(Suite& suite);
void addUtf8Cases(Suite& suite);
void addStreamCases(Suite& suite);
void addCsvCases(Suite& suite);
// The private memory of one end-to-end read of a 500 MB file, when the filter
// matches; returns the number of figures printed.
int runCsvMemory(const std::string& filter);
void addArcCases(Suite& suite);
void addTransformCases(Suite& suite);
void addLockCases(Suite& suite);
void addObjectCases(Suite& suite);
// The debug stream when off; the active case runs in a child qorbench process
// (its state is fixed per process), which runDebugActiveInChild starts when
// the filter matches and which main hands to runDebugChild.
void addDebugCases(Suite& suite);
int runDebugActiveInChild(const std::string& filter);
bool isDebugChild();
int runDebugChild();
void addSchedulerCases(Suite& suite);
void addColourCases(Suite& suite);
// The viewer example's rendering beside bare GDI (built with the example).
void addViewerCases(Suite& suite);

}  // namespace bench
