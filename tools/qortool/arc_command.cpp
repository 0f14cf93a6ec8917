#include "command.h"

namespace qortool {

int runArc(const Args&) { throw UsageError("not available yet"); }

}  // namespace qortool
