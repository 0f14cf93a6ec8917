// qortool number: what the library's strict parsers make of one piece of text.
#include "command.h"

#include <qorcor14/text/strings.h>

#include <windows.h>
#include <shellapi.h>

#include <bit>
#include <cstdint>

namespace qortool {
namespace {

// The argument after "number", taken from the wide command line: the narrow
// argv has been through the ANSI code page, which would turn a full-width
// digit or any character outside it into '?'.
std::wstring wideArgument(const std::string& narrow) {
  int count = 0;
  std::wstring out;
  if (LPWSTR* argv = CommandLineToArgvW(GetCommandLineW(), &count)) {
    if (count == 3) out = argv[2];
    LocalFree(argv);
    if (count == 3) return out;
  }
  return getWCS(narrow);
}

}  // namespace

int runNumber(const Args& args) {
  if (args.size() != 1) throw UsageError("needs exactly one argument, the text to parse");
  const std::wstring text = wideArgument(args[0]);

  std::wstring out = L"text     \"" + text + L"\"\n";
  long l = 0;
  if (isLong(&l, text.data(), text.size())) out += stringPrintf(L"isLong   accepted %ld\n", l);
  else out += L"isLong   rejected\n";
  double d = 0;
  if (isDouble(&d, text.data(), text.size())) {
    const unsigned long long bits = std::bit_cast<std::uint64_t>(d);
    out += stringPrintf(L"isDouble accepted %.17g (bits 0x%016llx)\n", d, bits);
  } else {
    out += L"isDouble rejected\n";
  }
  print(out);
  return 0;
}

}  // namespace qortool
