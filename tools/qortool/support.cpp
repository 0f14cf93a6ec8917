#include "command.h"

#include <qorcor14/text/strings.h>

#include "common/unique_resource.h"

#include <windows.h>
#include <shellapi.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>

namespace qortool {

int firstArgument = 2;

void print(const std::wstring& text) {
  const std::string bytes = utf8(text);
  std::fwrite(bytes.data(), 1, bytes.size(), stdout);
}

std::vector<std::wstring> wideArguments(const Args& narrow) {
  std::vector<std::wstring> out;
  int count = 0;
  if (const QOR::internal::UniqueLocalMemory<LPWSTR*> argv(CommandLineToArgvW(GetCommandLineW(), &count)); argv) {
    for (int i = firstArgument; i < count; ++i) out.emplace_back(argv.get()[i]);
    if (out.size() == narrow.size()) return out;
    out.clear();
  }
  for (const std::string& a : narrow) out.push_back(getWCS(a));
  return out;
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
