#include "command.h"

namespace qortool {

int runChar(const Args&) { throw UsageError("not available yet"); }

}  // namespace qortool
