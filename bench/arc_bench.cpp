#include "harness.h"

namespace bench {

void addArcCases(Suite&) {}

}  // namespace bench
