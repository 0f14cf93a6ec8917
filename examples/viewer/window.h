// The viewer's windows: one per drawing, painted by the draw thread.
#pragma once

#include <windows.h>

#include <string>
#include <vector>

namespace viewer {

// WM_COPYDATA's dwData for "open this file": the data is the file's name in
// UTF-16, without a terminating zero. The window answers TRUE when it takes
// the name, and opens the file after answering.
inline constexpr ULONG_PTR kOpenFileData = 0x4F50454E;  // "OPEN"

// Opens the first window (on args[0], or on the last file shown, if any) and
// runs the message loop until the last window closes. Returns the exit code.
int runWindows(HINSTANCE instance, int show, const std::vector<std::wstring>& args);

}  // namespace viewer
