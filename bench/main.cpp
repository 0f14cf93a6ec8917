// qorbench [FILTER]: runs the benchmark cases whose name contains FILTER.
#include "harness.h"

#include <cstdio>

int main(int argc, char** argv) {
  if (bench::isDebugChild()) return bench::runDebugChild();
  bench::Suite suite;
  bench::addGeometryCases(suite);
  bench::addArcCases(suite);
  bench::addTransformCases(suite);
  bench::addCodePointCases(suite);
  bench::addUtf8Cases(suite);
  bench::addLockCases(suite);
  bench::addSchedulerCases(suite);
  bench::addObjectCases(suite);
  bench::addStreamCases(suite);
  bench::addCsvCases(suite);
  bench::addColourCases(suite);
  bench::addDebugCases(suite);
#ifdef QOR_BENCH_VIEWER
  bench::addViewerCases(suite);
#endif
  int run = suite.run(argc > 1 ? argv[1] : "");
  run += bench::runDebugActiveInChild(argc > 1 ? argv[1] : "");
  run += bench::runCsvMemory(argc > 1 ? argv[1] : "");
  if (run == 0) {
    std::fprintf(stderr, "qorbench: no case matches '%s'\n", argc > 1 ? argv[1] : "");
    return 2;
  }
  return 0;
}
