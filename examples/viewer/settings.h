// What the viewer remembers between runs, under
// HKEY_CURRENT_USER\Software\qorcor14\viewer: the last window's placement and
// the last file shown.
#pragma once

#include <windows.h>

#include <optional>
#include <string>

namespace viewer {

// The placement saved by savePlacement, if there is a valid one.
[[nodiscard]] std::optional<WINDOWPLACEMENT> loadPlacement();
void savePlacement(HWND window);

[[nodiscard]] std::wstring loadLastFile();
void saveLastFile(const std::wstring& file);

}  // namespace viewer
