// qortool quark: interns texts and shows which share one quark, and the
// ordinal and collating orders of the distinct ones.
#include "command.h"

#include <qorcor14/object/quark.h>
#include <qorcor14/text/strings.h>

#include <algorithm>
#include <clocale>
#include <cwchar>
#include <vector>

namespace qortool {
namespace {

std::wstring quoted(const Quark& q) { return L"\"" + std::wstring(q.value()) + L"\""; }

std::wstring joined(const std::vector<Quark>& quarks) {
  std::wstring out;
  for (const Quark& q : quarks) out += L" " + quoted(q);
  return out;
}

// UTF-16 units compared as unsigned values.
bool ordinalLess(const Quark& a, const Quark& b) {
  return std::lexicographical_compare(a.value(), a.value() + std::wcslen(a.value()), b.value(),
                                      b.value() + std::wcslen(b.value()),
                                      [](wchar_t x, wchar_t y) { return char16_t(x) < char16_t(y); });
}

}  // namespace

int runQuark(const Args& args) {
  if (args.empty()) throw UsageError("needs at least one text");
  // Collate as the user's locale does (the C runtime starts in "C").
  const char* locale = std::setlocale(LC_COLLATE, "");

  std::wstring out;
  std::vector<Quark> distinct;
  int n = 0;
  for (const std::wstring& text : wideArguments(args)) {
    const Quark q = Quark::create(text.c_str());
    const auto known = std::find(distinct.begin(), distinct.end(), q);  // by identity
    out += stringPrintf(L"%-3d %-24s ", ++n, quoted(q).c_str());
    if (known == distinct.end()) {
      distinct.push_back(q);
      out += stringPrintf(L"quark %d\n", static_cast<int>(distinct.size()));
    } else {
      out += stringPrintf(L"quark %d (same pointer)\n", static_cast<int>(known - distinct.begin()) + 1);
    }
  }
  std::vector<Quark> ordinal = distinct, collated = distinct;
  std::sort(ordinal.begin(), ordinal.end(), ordinalLess);
  std::sort(collated.begin(), collated.end(), QuarkCollatesLess());
  out += L"ordinal order  " + joined(ordinal) + L"\n";
  out += L"collating order" + joined(collated) + L"  (locale " + getWCS(locale ? locale : "C") + L")\n";
  print(out);
  return 0;
}

}  // namespace qortool
