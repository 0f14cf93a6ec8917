#include "command.h"

namespace qortool {

int runNumber(const Args&) { throw UsageError("not available yet"); }

}  // namespace qortool
