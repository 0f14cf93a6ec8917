// The viewer's trace: one line per event on the library's debug stream, when
// QORDEBUGPRINTFILE (or QORDEBUGPRINTTEMPLATE) names a file.
#pragma once

#include <string>

namespace viewer {

// Writes `line`, tagged with the writing thread, and flushes it; does nothing
// when the debug stream is off.
void trace(const std::wstring& line);

}  // namespace viewer
