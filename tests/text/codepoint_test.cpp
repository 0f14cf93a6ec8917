#include <qorcor14/text/codepoint.h>

#include <gtest/gtest.h>

#include <windows.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

namespace {

CodePoint cp(unsigned int v) { return CodePoint::codePoint(v); }

std::vector<unsigned int> enumerate(CodePointEnumerator e) {
  std::vector<unsigned int> out;
  for (; e; ++e) out.push_back((*e).codePoint());
  return out;
}

TEST(CodePointEncode, EachFormAtEveryBoundaryAndShortBuffersWriteNothing) {
  const struct {
    unsigned int v;
    std::string bytes;
    std::wstring units;
  } cases[] = {
      {0x7F, "\x7F", L"\x7F"},
      {0x7FF, "\xDF\xBF", L"\x7FF"},
      {0xD800, "\xED\xA0\x80", L"\xD800"},
      {0xDFFF, "\xED\xBF\xBF", L"\xDFFF"},
      {0x10FFFF, "\xF4\x8F\xBF\xBF", L"\xDBFF\xDFFF"},
      {0x110000, "\xF4\x90\x80\x80", L""},
      {0x1FFFFF, "\xF7\xBF\xBF\xBF", L""},
      {0x200000, "\xF8\x88\x80\x80\x80", L""},
      {0x3FFFFFF, "\xFB\xBF\xBF\xBF\xBF", L""},
      {0x4000000, "\xFC\x84\x80\x80\x80\x80", L""},
      {0x7FFFFFFF, "\xFD\xBF\xBF\xBF\xBF\xBF", L""},
      {0x80000000, "", L""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.v);
    char buf[8];
    std::fill(buf, buf + 8, 'U');
    ASSERT_EQ(cp(c.v).utf8(buf, 8), c.bytes.size());
    EXPECT_EQ(std::string(buf, c.bytes.size() + 1), c.bytes + "U");
    if (!c.bytes.empty()) {
      std::fill(buf, buf + 8, 'U');
      EXPECT_EQ(cp(c.v).utf8(buf, c.bytes.size() - 1), 0u);
      EXPECT_EQ(std::string(buf, 8), std::string(8, 'U'));
    }
    EXPECT_EQ(static_cast<std::wstring>(cp(c.v)), c.units);
    wchar_t wbuf[3] = {L'#', L'#', L'#'};
    ASSERT_EQ(cp(c.v).wchars(wbuf, 3), c.units.size());
    EXPECT_EQ(std::wstring(wbuf, c.units.size() + 1), c.units + L"#");
    if (!c.units.empty()) {
      wchar_t small[2] = {L'#', L'#'};
      EXPECT_EQ(cp(c.v).wchars(small, c.units.size() - 1), 0u);  // a pair is never split
      EXPECT_EQ(small[0], L'#');
    }
  }
}

TEST(Utf8Encode, AgreesWithThePlatformForEveryScalarValue) {
  std::wstring wide;
  std::string narrow;
  char b[6];
  for (unsigned int v = 0; v < 0x110000; ++v) {
    if (isSurrogate(v)) continue;
    wide += static_cast<std::wstring>(cp(v));
    narrow.append(b, cp(v).utf8(b, sizeof b));
  }
  const int wn = static_cast<int>(wide.size());
  const int nn = static_cast<int>(narrow.size());
  std::string platformNarrow(static_cast<std::size_t>(nn), '\0');
  ASSERT_EQ(
      WideCharToMultiByte(CP_UTF8, WC_ERR_INVALID_CHARS, wide.data(), wn, platformNarrow.data(), nn, nullptr, nullptr),
      nn);
  EXPECT_TRUE(platformNarrow == narrow);
  std::wstring platformWide(static_cast<std::size_t>(wn), L'\0');
  ASSERT_EQ(MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, narrow.data(), nn, platformWide.data(), wn), wn);
  EXPECT_TRUE(platformWide == wide);
}

TEST(CodePointEnumerator, LoneAndReversedSurrogatesStandForThemselves) {
  const struct {
    std::wstring units;
    std::vector<unsigned int> points;
  } cases[] = {
      {L"", {}},
      {L"a\xD800", {0x61, 0xD800}},  // lead at the end
      {L"\xD800"
       L"a",
       {0xD800, 0x61}},  // lead before a non-surrogate
      {L"\xDC00"
       L"a",
       {0xDC00, 0x61}},                                    // trail alone
      {L"\xDC00\xD800", {0xDC00, 0xD800}},                 // reversed pair
      {L"\xD800\xD800\xDC00", {0xD800, 0x10000}},          // lead, then a pair
      {L"\xD800\xDC00\xDC00", {0x10000, 0xDC00}},          // pair, then a trail
      {L"\xDBFF\xDFFF\xD800\xDC00", {0x10FFFF, 0x10000}},  // pairs back to back
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::PrintToString(c.points));
    EXPECT_EQ(enumerate(CodePointEnumerator(c.units)), c.points);
  }
}

TEST(CodePointEnumerator, IteratorRangeEndsAPairItCutsInHalf) {
  const std::wstring s = L"x\xD83D\xDE00y";
  EXPECT_EQ(enumerate(CodePointEnumerator(s.begin(), s.begin() + 2)), (std::vector<unsigned int>{0x78, 0xD83D}));
  EXPECT_EQ(enumerate(CodePointEnumerator(s.begin() + 2, s.end())), (std::vector<unsigned int>{0xDE00, 0x79}));
}

TEST(Surrogates, RangeTestsIgnoreNothingAboveSixteenBits) {
  for (unsigned int v : {0xD7FFu, 0xD800u, 0xDBFFu, 0xDC00u, 0xDFFFu, 0xE000u, 0x1D800u, 0xFFFFDC00u}) {
    EXPECT_EQ(isSurrogate(v), v >= 0xD800 && v <= 0xDFFF) << v;
    EXPECT_EQ(isSurrogateA(v), v >= 0xD800 && v <= 0xDBFF) << v;
    EXPECT_EQ(isSurrogateB(v), v >= 0xDC00 && v <= 0xDFFF) << v;
  }
}

TEST(EolCode, OnlyTheSixBreaksAndVerticalTabIsNotOne) {
  EXPECT_EQ(static_cast<int>(cp(0x0D).eolCode()), 2);
  for (unsigned int v : {0x0Au, 0x0Cu, 0x85u, 0x2028u, 0x2029u}) EXPECT_EQ(cp(v).eolCode(), CodePoint::eolBreak) << v;
  for (unsigned int v : {0x09u, 0x0Bu, 0x0Eu, 0x2027u, 0x202Au, 0x1000Au, 0x1000Du})
    EXPECT_EQ(cp(v).eolCode(), CodePoint::eolNone) << v;
}

TEST(UnicodeClass, MatchesTheGeneralCategoryDataForEveryCodePoint) {
  EXPECT_EQ(unicodeClass(cp(0x110000)), 0);  // past the table: unassigned
  EXPECT_EQ(unicodeClass(cp(0xFFFFFFFF)), 0);
  std::ifstream in(std::string("Z:") + QOR_GENERAL_CATEGORY_DATA);
  if (!in) GTEST_SKIP() << "no general-category data at " << QOR_GENERAL_CATEGORY_DATA;
  const std::string names = "CnLuLlLtMnMcMeNdNlNoZsZlZpCcCfCsCo  LmLoPcPdPsPePiPfPoSmScSkSo";
  std::vector<int> want(0x110000, -1);
  std::string line;
  while (std::getline(in, line)) {
    if (line.empty() || line[0] == '#') continue;
    unsigned int first = 0, last = 0;
    char abbr[3] = {};
    if (std::sscanf(line.c_str(), "%x..%x;%2s", &first, &last, abbr) != 3) {
      ASSERT_EQ(std::sscanf(line.c_str(), "%x;%2s", &first, abbr), 2) << line;
      last = first;
    }
    ASSERT_LT(last, 0x110000u) << line;
    const std::size_t at = names.find(abbr);  // "  " for 17 never matches
    ASSERT_TRUE(at != std::string::npos && at % 2 == 0) << line;
    std::fill(want.begin() + first, want.begin() + last + 1, static_cast<int>(at / 2));
  }
  int mismatches = 0;
  for (unsigned int v = 0; v < 0x110000; ++v)
    if (want[v] != unicodeClass(cp(v)) && ++mismatches <= 10)
      ADD_FAILURE() << "U+" << std::hex << v << ": " << std::dec << want[v] << " != " << int(unicodeClass(cp(v)));
  EXPECT_EQ(mismatches, 0);
}

TEST(UnicodePredicates, FollowTheirClassSetsForEveryCodePoint) {
  auto in = [](int k, std::initializer_list<int> set) { return std::find(set.begin(), set.end(), k) != set.end(); };
  std::vector<unsigned int> values;
  for (unsigned int v = 0; v < 0x110000; ++v) values.push_back(v);
  for (unsigned int v : {0x110000u, 0x11000Du, 0x10FEFFu, 0xFFFFFFFFu}) values.push_back(v);
  for (unsigned int v : values) {
    const CodePoint c = cp(v);
    const int k = unicodeClass(c);
    const bool letter = in(k, {1, 2, 3, 18, 19}), number = k >= 7 && k <= 9;
    const bool separator = k >= 10 && k <= 12;
    const bool print = (k >= 1 && k <= 12) || (k >= 18 && k <= 30) || v == 0xFEFF;
    const bool ok = isUalpha(c) == letter && isUdigit(c) == number && isUalnum(c) == (letter || number) &&
                    isUspace(c) == (separator || (v >= 9 && v <= 13) || v == 0xFEFF) && isUascii(c) == (v < 0x80) &&
                    isUprint(c) == print && isUgraph(c) == (print && !separator && v != 0xFEFF) &&
                    isUpunct(c) == (k >= 20 && k <= 26);
    if (!ok) FAIL() << "U+" << std::hex << v;
  }
}

}  // namespace
