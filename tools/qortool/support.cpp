#include "command.h"

#include <windows.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>

namespace qortool {

void print(const std::wstring& text) {
  if (text.empty()) return;
  int n = WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), nullptr, 0, nullptr, nullptr);
  std::string bytes(static_cast<std::size_t>(n), '\0');
  WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), bytes.data(), n, nullptr, nullptr);
  std::fwrite(bytes.data(), 1, bytes.size(), stdout);
}

double parseDouble(const std::string& text, const char* what) {
  const char* begin = text.c_str();
  char* end = nullptr;
  errno = 0;
  double value = std::strtod(begin, &end);
  if (text.empty() || end != begin + text.size() || errno == ERANGE)
    throw UsageError(std::string(what) + " must be a number, not '" + text + "'");
  return value;
}

}  // namespace qortool
