#include "harness.h"

namespace bench {

void addCodePointCases(Suite&) {}

}  // namespace bench
