#include <qormsg.h>
#include <qorcor14/text/strings.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace {

std::vector<std::wstring> conversions(const std::wstring& format) {
  std::vector<std::wstring> found;
  for (size_t i = format.find(L'%'); i != std::wstring::npos; i = format.find(L'%', i + 1)) {
    const size_t end = std::min(format.find_first_not_of(L"-+ #0123456789.*hlLwI", i + 1), format.size());
    if (end != i + 1 || format[end] != L'%') found.push_back(format.substr(i + 1, end - i));
    i = end;
  }
  return found;
}

const struct CallSite {
  unsigned int number;
  std::vector<std::wstring> takes;
} callSites[] = {
    {218, {L"s"}},        {248, {L"s"}},        {249, {L"s", L"hs"}}, {250, {L"s", L"hs"}},
    {251, {L"s", L"hs"}}, {252, {L"s", L"hs"}}, {253, {L"s", L"hs"}}, {254, {L"s", L"s"}},
    {271, {L"s"}},        {278, {L"s"}},        {280, {L"s"}},        {282, {L"s", L"s", L"s"}},
};

TEST(MessageCatalogue, EveryTemplateTakesExactlyItsCallersArguments) {
  for (const CallSite& site : callSites) {
    const std::wstring format = qorMsg(site.number);
    EXPECT_EQ(conversions(format), site.takes) << site.number << ": " << testing::PrintToString(format);
    EXPECT_EQ(format.find(L'\n'), std::wstring::npos) << site.number;
  }
}

TEST(MessageCatalogue, UnknownNumberNamesItAndTakesNoArguments) {
  for (unsigned int number : {0u, 217u, 219u, 255u, 281u, 283u, 4294967295u}) {
    SCOPED_TRACE(number);
    const std::wstring text = qorMsg(number);
    EXPECT_NE(text.find(std::to_wstring(number)), std::wstring::npos) << text;
    EXPECT_EQ(stringPrintf(text.c_str(), L"a file", "an error", L"more"), text);
  }
}

}  // namespace
