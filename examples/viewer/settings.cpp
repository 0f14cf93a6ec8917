// The viewer's settings in the registry, through the library's keys. The
// placement is one REG_SZ "left,top,right,bottom,showCmd" of the restored
// window rectangle, so that reg.exe shows and edits it as text.
#include "settings.h"

#include <qorcor14/platform.h>

#include <cstdio>

namespace viewer {
namespace {

const wchar_t kKey[] = L"Software\\qorcor14\\viewer";

}  // namespace

std::optional<WINDOWPLACEMENT> loadPlacement() {
  RegReadKey key(HKEY_CURRENT_USER, kKey, 0);
  std::wstring text;
  if (!key.valid() || !key.getString(L"Placement", text)) return std::nullopt;
  WINDOWPLACEMENT placement{};
  placement.length = sizeof placement;
  RECT& r = placement.rcNormalPosition;
  int show = 0;
  wchar_t rest = 0;
  if (std::swscanf(text.c_str(), L"%ld,%ld,%ld,%ld,%d%lc", &r.left, &r.top, &r.right, &r.bottom, &show, &rest) != 5)
    return std::nullopt;
  // A rectangle from another screen or a hand edit: only sizes a window can have.
  if (r.right - r.left < 100 || r.bottom - r.top < 100 || r.right - r.left > 16384 || r.bottom - r.top > 16384)
    return std::nullopt;
  placement.showCmd = show == SW_SHOWMAXIMIZED ? SW_SHOWMAXIMIZED : SW_SHOWNORMAL;
  return placement;
}

void savePlacement(HWND window) {
  WINDOWPLACEMENT placement{};
  placement.length = sizeof placement;
  if (!GetWindowPlacement(window, &placement)) return;
  const RECT& r = placement.rcNormalPosition;
  wchar_t text[80];
  std::swprintf(text, 80, L"%ld,%ld,%ld,%ld,%u", r.left, r.top, r.right, r.bottom, placement.showCmd);
  RegWriteKey(HKEY_CURRENT_USER, kKey, 0).setString(L"Placement", text);
}

std::wstring loadLastFile() {
  RegReadKey key(HKEY_CURRENT_USER, kKey, 0);
  std::wstring file;
  if (key.valid()) (void)key.getString(L"LastFile", file);
  return file;
}

void saveLastFile(const std::wstring& file) { RegWriteKey(HKEY_CURRENT_USER, kKey, 0).setString(L"LastFile", file); }

}  // namespace viewer
