// The viewer's windows (being written).
#include "window.h"

namespace viewer {

int runWindows(HINSTANCE, int, const std::vector<std::wstring>&) { return 0; }

}  // namespace viewer
