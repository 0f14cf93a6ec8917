// The viewer's windows: one per drawing, painted by the draw thread.
#pragma once

#include <windows.h>

#include <string>
#include <vector>

namespace viewer {

// Opens the first window (on args[0], or on the last file shown, if any) and
// runs the message loop until the last window closes. Returns the exit code.
int runWindows(HINSTANCE instance, int show, const std::vector<std::wstring>& args);

}  // namespace viewer
