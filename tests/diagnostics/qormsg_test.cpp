#include <qormsg.h>
#include <qorcor14/text/strings.h>

#include <gtest/gtest.h>

#include <cwchar>
#include <cwctype>
#include <string>
#include <vector>

namespace {

// The conversions of a printf template in the order they take arguments:
// the length modifier and conversion letter of each ("s", "hs", "d", ...),
// "*" for a width or precision read from the arguments. "%%" takes none.
std::vector<std::wstring> conversions(const std::wstring& format) {
  std::vector<std::wstring> found;
  for (size_t i = 0; i < format.size(); ++i) {
    if (format[i] != L'%') continue;
    if (++i < format.size() && format[i] == L'%') continue;
    while (i < format.size() && std::wcschr(L"-+ #0", format[i])) ++i;
    for (bool precision = false;; precision = true) {
      if (i < format.size() && format[i] == L'*') {
        found.push_back(L"*");
        ++i;
      }
      while (i < format.size() && std::iswdigit(format[i])) ++i;
      if (precision || i >= format.size() || format[i] != L'.') break;
      ++i;
    }
    std::wstring conversion;
    while (i < format.size() && std::wcschr(L"hlLwIjzt0123456789", format[i])) conversion += format[i++];
    if (i < format.size()) conversion += format[i];
    found.push_back(conversion);
  }
  return found;
}

TEST(MessageTemplateParser, ReadsLengthsWidthsAndEscapes) {
  using V = std::vector<std::wstring>;
  EXPECT_EQ(conversions(L"100%% of %s in %hs"), (V{L"s", L"hs"}));
  EXPECT_EQ(conversions(L"%-*.*ls|%08lx|%I64d"), (V{L"*", L"*", L"ls", L"lx", L"I64d"}));
  EXPECT_EQ(conversions(L"plain"), V{});
  EXPECT_EQ(conversions(L"trailing %"), V{L""});
}

struct CallSite {
  unsigned int number;
  std::vector<std::wstring> takes;
};

// What each caller passes: wide strings, and for the raw file errors the
// runtime's narrow error text after the file name.
const std::vector<CallSite> callSites = {
    {218, {L"s"}},       {248, {L"s"}},       {249, {L"s", L"hs"}}, {250, {L"s", L"hs"}},
    {251, {L"s", L"hs"}}, {252, {L"s", L"hs"}}, {253, {L"s", L"hs"}}, {254, {L"s", L"s"}},
    {271, {L"s"}},       {278, {L"s"}},       {280, {L"s"}},       {282, {L"s", L"s", L"s"}},
};

TEST(MessageCatalogue, EveryTemplateTakesExactlyItsCallersArguments) {
  for (const CallSite& site : callSites) {
    SCOPED_TRACE(site.number);
    const std::wstring text = qorMsg(site.number);
    EXPECT_EQ(conversions(text), site.takes) << text;
    EXPECT_EQ(text.find(L'\n'), std::wstring::npos);
  }
}

TEST(MessageCatalogue, FormattedTextsShowEveryArgument) {
  const wchar_t* const wide[] = {L"C:\\Daten\\Gr\u00fc\u00dfe.csv", L"U+20AC", L"\u65e5\u672c"};
  const char* const narrow = "No such file or directory";
  for (const CallSite& site : callSites) {
    SCOPED_TRACE(site.number);
    const std::wstring format = qorMsg(site.number);
    std::wstring text;
    std::vector<std::wstring> shown;
    switch (site.takes.size()) {
    case 1:
      text = stringPrintf(format.c_str(), wide[0]);
      shown = {wide[0]};
      break;
    case 2:
      if (site.takes[1] == L"hs") {
        text = stringPrintf(format.c_str(), wide[0], narrow);
        shown = {wide[0], L"No such file or directory"};
      } else {
        text = stringPrintf(format.c_str(), wide[1], wide[0]);
        shown = {wide[1], wide[0]};
      }
      break;
    default:
      text = stringPrintf(format.c_str(), wide[2], wide[1], wide[0]);
      shown = {wide[2], wide[1], wide[0]};
    }
    size_t from = 0;  // the arguments appear in the order they were passed
    for (const std::wstring& s : shown) {
      const size_t at = text.find(s, from);
      ASSERT_NE(at, std::wstring::npos) << "missing " << testing::PrintToString(s) << " in "
                                        << testing::PrintToString(text);
      from = at + s.size();
    }
    EXPECT_EQ(text.find(L'%'), std::wstring::npos);
  }
}

TEST(MessageCatalogue, UnknownNumberNamesItAndTakesNoArguments) {
  for (unsigned int number : {0u, 1u, 217u, 219u, 255u, 270u, 281u, 283u, 4294967295u}) {
    SCOPED_TRACE(number);
    const std::wstring text = qorMsg(number);
    EXPECT_NE(text.find(std::to_wstring(number)), std::wstring::npos) << text;
    EXPECT_EQ(text.find(L'%'), std::wstring::npos);
    EXPECT_EQ(stringPrintf(text.c_str(), L"a file", "an error", L"more"), text);
  }
  EXPECT_NE(qorMsg(7), qorMsg(8));
}

} // namespace
