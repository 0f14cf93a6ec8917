#include "harness.h"

namespace bench {

void addUtf8Cases(Suite&) {}

}  // namespace bench
