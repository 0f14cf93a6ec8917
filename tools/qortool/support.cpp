#include "command.h"

#include <qorcor14/text/strings.h>

#include "common/unique_resource.h"

#include <windows.h>
#include <shellapi.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>

namespace qortool {

void print(const std::wstring& text) {
  const std::string bytes = utf8(text);
  std::fwrite(bytes.data(), 1, bytes.size(), stdout);
}

std::vector<std::wstring> wideArguments(const Args& narrow) {
  int count = 0;
  if (const QOR::internal::UniqueLocalMemory<LPWSTR*> argv(CommandLineToArgvW(GetCommandLineW(), &count)); argv) {
    // The subcommand's arguments are the last ones, whatever options came
    // before its name.
    const std::size_t size = narrow.size();
    if (static_cast<std::size_t>(count) > size)
      return {argv.get() + (static_cast<std::size_t>(count) - size), argv.get() + count};
  }
  std::vector<std::wstring> out;
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
