#include <qorcor14/text/codepoint.h>

#include <gtest/gtest.h>

#include <windows.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace {

CodePoint cp(unsigned int v) { return CodePoint::codePoint(v); }

std::string hexBytes(const char* b, std::size_t n) {
  std::string s;
  char part[4];
  for (std::size_t i = 0; i < n; ++i) {
    std::snprintf(part, sizeof part, i ? " %02X" : "%02X", static_cast<unsigned char>(b[i]));
    s += part;
  }
  return s;
}

std::vector<unsigned int> enumerate(const std::wstring& s) {
  std::vector<unsigned int> out;
  for (CodePointEnumerator e(s); e; ++e) out.push_back((*e).codePoint());
  return out;
}

TEST(CodePointValue, HoldsAnyValueAndComparesByValue) {
  for (unsigned int v : {0u, 0xD800u, 0x110000u, 0xFFFFFFFFu}) EXPECT_EQ(cp(v).codePoint(), v);
  EXPECT_TRUE(cp(0x41) == cp(0x41));
  EXPECT_FALSE(cp(0x41) != cp(0x41));
  EXPECT_TRUE(cp(0x41) != cp(0x10041));
}

TEST(Utf8Encode, LengthsAndBytesAtEveryBoundaryAndShortBuffersWriteNothing) {
  const struct {
    unsigned int v;
    const char* bytes;
  } cases[] = {
      {0x00, "00"}, {0x7F, "7F"}, {0x80, "C2 80"}, {0x7FF, "DF BF"}, {0x800, "E0 A0 80"},
      {0xD800, "ED A0 80"}, {0xDFFF, "ED BF BF"}, {0xFFFF, "EF BF BF"}, {0x10000, "F0 90 80 80"},
      {0x10FFFF, "F4 8F BF BF"}, {0x110000, "F4 90 80 80"}, {0x1FFFFF, "F7 BF BF BF"},
      {0x200000, "F8 88 80 80 80"}, {0x3FFFFFF, "FB BF BF BF BF"}, {0x4000000, "FC 84 80 80 80 80"},
      {0x7FFFFFFF, "FD BF BF BF BF BF"}, {0x80000000, ""}, {0xFFFFFFFF, ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.v);
    const std::size_t len = (std::string(c.bytes).size() + 1) / 3;
    char buf[8];
    std::fill(buf, buf + 8, '\x55');
    ASSERT_EQ(cp(c.v).utf8(buf, 8), len);
    EXPECT_EQ(hexBytes(buf, len), c.bytes);
    EXPECT_EQ(buf[len], '\x55');
    if (len == 0) continue;
    std::fill(buf, buf + 8, '\x55');
    EXPECT_EQ(cp(c.v).utf8(buf, len - 1), 0u);
    EXPECT_EQ(hexBytes(buf, 8), "55 55 55 55 55 55 55 55");
    EXPECT_EQ(cp(c.v).utf8(buf, len), len);
    EXPECT_EQ(buf[len], '\x55');
  }
}

TEST(Utf16Encode, PairsLoneSurrogatesAndLimits) {
  const struct {
    unsigned int v;
    std::wstring units;
  } cases[] = {
      {0x0000, std::wstring(1, L'\0')}, {0x0041, L"A"}, {0xD800, L"\xD800"}, {0xDFFF, L"\xDFFF"},
      {0xFFFF, L"\xFFFF"}, {0x10000, L"\xD800\xDC00"}, {0x1F600, L"\xD83D\xDE00"},
      {0x10FFFF, L"\xDBFF\xDFFF"}, {0x110000, L""}, {0xFFFFFFFF, L""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.v);
    EXPECT_EQ(static_cast<std::wstring>(cp(c.v)), c.units);
    wchar_t buf[3] = {L'#', L'#', L'#'};
    ASSERT_EQ(cp(c.v).wchars(buf, 3), c.units.size());
    EXPECT_EQ(std::wstring(buf, c.units.size()), c.units);
    EXPECT_EQ(buf[c.units.size()], L'#');
    // One unit short of the whole form writes nothing.
    if (!c.units.empty()) {
      wchar_t small[2] = {L'#', L'#'};
      EXPECT_EQ(cp(c.v).wchars(small, c.units.size() - 1), 0u);
      EXPECT_EQ(small[0], L'#');
    }
  }
}

// The platform's UTF-8 converter is the reference for every Unicode scalar
// value, in both directions, and for the UTF-16 form.
TEST(Utf8Encode, AgreesWithThePlatformForEveryScalarValue) {
  std::wstring wide;
  std::string narrow;
  char b[6];
  for (unsigned int v = 0; v < 0x110000; ++v) {
    if (isSurrogate(v)) continue;
    const std::wstring units = cp(v);
    wchar_t w[2];
    ASSERT_EQ(cp(v).wchars(w, 2), units.size());
    ASSERT_EQ(std::wstring(w, units.size()), units);
    wide += units;
    narrow.append(b, cp(v).utf8(b, sizeof b));
  }
  const int wn = static_cast<int>(wide.size());
  const int nn = static_cast<int>(narrow.size());
  std::string platformNarrow(static_cast<std::size_t>(nn), '\0');
  ASSERT_EQ(WideCharToMultiByte(CP_UTF8, WC_ERR_INVALID_CHARS, wide.data(), wn, platformNarrow.data(), nn, nullptr,
                                nullptr),
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
      {L"a\xD800", {0x61, 0xD800}},                       // lead at the end
      {L"\xD800" L"a", {0xD800, 0x61}},                   // lead at the start
      {L"a\xD800" L"b", {0x61, 0xD800, 0x62}},            // lead in the middle
      {L"\xDC00" L"a", {0xDC00, 0x61}},                   // trail at the start
      {L"a\xDC00", {0x61, 0xDC00}},                       // trail at the end
      {L"\xDC00\xD800", {0xDC00, 0xD800}},                // reversed pair
      {L"\xD800\xD800\xDC00", {0xD800, 0x10000}},         // lead, then a pair
      {L"\xD800\xDC00\xDC00", {0x10000, 0xDC00}},         // pair, then a trail
      {L"a\xD83D\xDE00", {0x61, 0x1F600}},                // pair at the end
      {L"\xDBFF\xDFFF\xD800\xDC00", {0x10FFFF, 0x10000}}, // pairs back to back
      {L"\xD7FF\xDC00\xE000", {0xD7FF, 0xDC00, 0xE000}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::PrintToString(c.points));
    EXPECT_EQ(enumerate(c.units), c.points);
  }
}

TEST(CodePointEnumerator, IteratorRangeEndsAPairItCutsInHalf) {
  const std::wstring s = L"x\xD83D\xDE00y";
  std::vector<unsigned int> got;
  for (CodePointEnumerator e(s.begin(), s.begin() + 2); e; ++e) got.push_back((*e).codePoint());
  EXPECT_EQ(got, (std::vector<unsigned int>{0x78, 0xD83D}));
  got.clear();
  for (CodePointEnumerator e(s.begin() + 2, s.end()); e; ++e) got.push_back((*e).codePoint());
  EXPECT_EQ(got, (std::vector<unsigned int>{0xDE00, 0x79}));
  EXPECT_FALSE(CodePointEnumerator(s.end(), s.end()));
}

// Re-encoding what the enumerator yields gives back the exact units, whatever
// mix of pairs and broken surrogates they hold.
TEST(CodePointEnumerator, RandomUnitsRoundTripThroughTheUtf16Form) {
  std::mt19937 rng(5);
  const wchar_t pool[] = {L'a', L'\x00E9', L'\xD800', L'\xDBFF', L'\xDC00', L'\xDFFF', L'\xFFFF', L'\0'};
  for (int round = 0; round < 500; ++round) {
    std::wstring s;
    const std::size_t len = rng() % 12;
    for (std::size_t i = 0; i < len; ++i) s += pool[rng() % (sizeof pool / sizeof pool[0])];
    std::wstring back;
    std::size_t pairs = 0, points = 0;
    for (CodePointEnumerator e(s); e; ++e, ++points) {
      back += static_cast<std::wstring>(*e);
      pairs += (*e).codePoint() > 0xFFFF;
    }
    ASSERT_EQ(back, s);
    ASSERT_EQ(points + pairs, s.size());
  }
}

TEST(Surrogates, RangeTestsIgnoreNothingAboveSixteenBits) {
  const struct {
    unsigned int c;
    bool any, lead, trail;
  } cases[] = {
      {0xD7FF, false, false, false}, {0xD800, true, true, false},   {0xDBFF, true, true, false},
      {0xDC00, true, false, true},   {0xDFFF, true, false, true},   {0xE000, false, false, false},
      {0x1D800, false, false, false}, {0xFFFFDC00, false, false, false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.c);
    EXPECT_EQ(isSurrogate(c.c), c.any);
    EXPECT_EQ(isSurrogateA(c.c), c.lead);
    EXPECT_EQ(isSurrogateB(c.c), c.trail);
  }
}

TEST(EolCode, OnlyTheSixBreaksAndVerticalTabIsNotOne) {
  for (unsigned int v = 0; v < 0x110000; ++v) {
    CodePoint::EOLCode want = CodePoint::eolNone;
    if (v == 0x0D) want = CodePoint::eolCR;
    if (v == 0x0A || v == 0x0C || v == 0x85 || v == 0x2028 || v == 0x2029) want = CodePoint::eolBreak;
    if (cp(v).eolCode() != want) FAIL() << "U+" << std::hex << v;
  }
  EXPECT_EQ(cp(0x0B).eolCode(), CodePoint::eolNone);
  EXPECT_EQ(cp(0x1000A).eolCode(), CodePoint::eolNone);
  EXPECT_EQ(static_cast<int>(CodePoint::eolCR), 2);
}

TEST(UnicodeClass, ChosenCodePointsOfEveryClassIncludingLaterAssignments) {
  const struct {
    unsigned char k;
    std::vector<unsigned int> points;
  } cases[] = {
      {0, {0x0370, 0x0378, 0x0524, 0x2C70, 0x9FBC, 0xFFFE, 0xFFFF, 0x1F600, 0xE01F0, 0x10FFFF}},
      {1, {0x0041, 0x00C0, 0x0391, 0x0410, 0x1D400}},
      {2, {0x0061, 0x00AA, 0x00BA, 0x00DF, 0x03B1}},
      {3, {0x01C5, 0x1F88}},
      {4, {0x0300, 0x0591, 0xE0100}},
      {5, {0x0903, 0x1D165}},
      {6, {0x0488, 0x20DD}},
      {7, {0x0030, 0x0039, 0x0660, 0x1D7CE}},
      {8, {0x2160, 0x3007, 0x10140}},
      {9, {0x00B2, 0x00BC, 0x2070, 0x2460}},
      {10, {0x0020, 0x00A0, 0x2000, 0x3000}},
      {11, {0x2028}},
      {12, {0x2029}},
      {13, {0x0000, 0x001F, 0x007F, 0x0085, 0x009F}},
      {14, {0x00AD, 0x200B, 0xFEFF, 0xE0001}},
      {15, {0xD800, 0xDBFF, 0xDC00, 0xDFFF}},
      {16, {0xE000, 0xF8FF, 0xF0000, 0x10FFFD}},
      {18, {0x02B0, 0x3005}},
      {19, {0x01BB, 0x05D0, 0x4E00, 0xAC00, 0x20000}},
      {20, {0x005F, 0x203F}},
      {21, {0x002D, 0x2014}},
      {22, {0x0028, 0x005B}},
      {23, {0x0029, 0x007D}},
      {24, {0x00AB, 0x201C}},
      {25, {0x00BB, 0x201D}},
      {26, {0x0021, 0x0025, 0x00B7}},
      {27, {0x002B, 0x00D7, 0x2200}},
      {28, {0x0024, 0x00A3, 0x20AC}},
      {29, {0x005E, 0x0060, 0x02C2}},
      {30, {0x00A6, 0x00A9, 0x2600}},
      {0, {0x110000, 0x7FFFFFFF, 0xFFFFFFFF}},
  };
  for (const auto& c : cases)
    for (unsigned int v : c.points) {
      SCOPED_TRACE(v);
      EXPECT_EQ(unicodeClass(cp(v)), c.k);
    }
}

TEST(UnicodeClass, TableHas85DistinctPagesAndNeverClass17) {
  std::set<std::string> pages;
  std::set<int> classes;
  for (unsigned int block = 0; block < 0x1100; ++block) {
    std::string page(256, '\0');
    for (unsigned int i = 0; i < 256; ++i) {
      page[i] = static_cast<char>(unicodeClass(cp(block << 8 | i)));
      classes.insert(page[i]);
    }
    pages.insert(page);
  }
  EXPECT_EQ(pages.size(), 85u);
  std::set<int> expected;
  for (int k = 0; k <= 30; ++k)
    if (k != 17) expected.insert(k);
  EXPECT_EQ(classes, expected);
}

int categoryNumber(const std::string& abbr) {
  static const char* const names[] = {"Cn", "Lu", "Ll", "Lt", "Mn", "Mc", "Me", "Nd", "Nl", "No", "Zs",
                                      "Zl", "Zp", "Cc", "Cf", "Cs", "Co", "",   "Lm", "Lo", "Pc", "Pd",
                                      "Ps", "Pe", "Pi", "Pf", "Po", "Sm", "Sc", "Sk", "So"};
  for (int k = 0; k <= 30; ++k)
    if (abbr == names[k]) return k;
  return -1;
}

// An independent reading of the data the table was generated from: every code
// point, by category name rather than the file's own numbers.
TEST(UnicodeClass, MatchesTheGeneralCategoryDataForEveryCodePoint) {
  std::ifstream in(std::string("Z:") + QOR_GENERAL_CATEGORY_DATA);
  if (!in) GTEST_SKIP() << "no general-category data at " << QOR_GENERAL_CATEGORY_DATA;
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
    const int k = categoryNumber(abbr);
    ASSERT_GE(k, 0) << line;
    std::fill(want.begin() + first, want.begin() + last + 1, k);
  }
  int mismatches = 0;
  for (unsigned int v = 0; v < 0x110000; ++v)
    if (want[v] != unicodeClass(cp(v)) && ++mismatches <= 10)
      ADD_FAILURE() << "U+" << std::hex << v << ": " << std::dec << want[v] << " != " << int(unicodeClass(cp(v)));
  EXPECT_EQ(mismatches, 0);
}

// The predicates, spelled out as sets of classes, over every code point.
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

TEST(UnicodePredicates, ByteOrderMarkTabsAndLineEnds) {
  EXPECT_TRUE(isUspace(cp(0xFEFF)));
  EXPECT_TRUE(isUprint(cp(0xFEFF)));
  EXPECT_FALSE(isUgraph(cp(0xFEFF)));
  for (unsigned int v : {0x09u, 0x0Bu, 0x0Du}) {
    SCOPED_TRACE(v);
    EXPECT_TRUE(isUspace(cp(v)));  // controls, yet white space
    EXPECT_FALSE(isUprint(cp(v)));
  }
  // NEL ends a line but is neither a separator nor one of the listed controls.
  EXPECT_EQ(cp(0x85).eolCode(), CodePoint::eolBreak);
  EXPECT_FALSE(isUspace(cp(0x85)));
  EXPECT_TRUE(isUspace(cp(0x2028)));
  EXPECT_FALSE(isUgraph(cp(0x2028)));
  EXPECT_TRUE(isUdigit(cp(0x2160)));  // Roman numeral one
  EXPECT_FALSE(isUpunct(cp(0x24)));
  EXPECT_TRUE(isUascii(cp(0x7F)));
  EXPECT_FALSE(isUascii(cp(0x80)));
}

}  // namespace
