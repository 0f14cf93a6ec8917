// qortool number: what the library's strict parsers make of one piece of text.
#include "command.h"

#include <qorcor14/text/strings.h>

#include <windows.h>

#include <bit>
#include <cstdint>

namespace qortool {
namespace {}  // namespace

int runNumber(const Args& args) {
  if (args.size() != 1) throw UsageError("needs exactly one argument, the text to parse");
  const std::wstring text = wideArguments(args)[0];

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
