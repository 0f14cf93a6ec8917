// The ANSI code page conversions, packTo3 and the narrow formatting. These
// cases run under code pages 1252, 932 and 1251 (see CMakeLists.txt) and pick
// their expectations by GetACP().
#include <qorcor14/errors.h>
#include <qorcor14/text/strings.h>

#include <gtest/gtest.h>

#include <windows.h>

#include <clocale>
#include <cstring>
#include <stdexcept>
#include <string>

namespace {

struct CodePageSample {
  UINT acp;
  std::wstring wide;     // text the code page can represent
  std::string narrow;    // its bytes
  std::wstring missing;  // a character the code page lacks...
  std::string missingAs; // ...and what the system puts in its place
};

const CodePageSample* sampleForThisProcess() {
  static const CodePageSample samples[] = {
      {1252, L"caf\u00e9 \u20ac\u00ff", "caf\xE9 \x80\xFF", L"\u0416", "?"},
      {932, L"\u65e5\u672c\uff71a", "\x93\xFA\x96\x7B\xB1" "a", L"\u20ac", "?"},
      {1251, L"\u041f\u0440\u0438\u0432\u0435\u0442 \u20ac", "\xCF\xF0\xE8\xE2\xE5\xF2 \x88", L"\u00e6", "?"},
  };
  for (const CodePageSample& s : samples)
    if (s.acp == GetACP()) return &s;
  return nullptr;
}

#define REQUIRE_KNOWN_CODE_PAGE(sample)                                  \
  const CodePageSample* sample = sampleForThisProcess();                 \
  if (!sample) GTEST_SKIP() << "no expectations for code page " << GetACP()

std::string repeat(const std::string& s, std::size_t times) {
  std::string r;
  for (std::size_t i = 0; i < times; ++i) r += s;
  return r;
}

std::wstring repeat(const std::wstring& s, std::size_t times) {
  std::wstring r;
  for (std::size_t i = 0; i < times; ++i) r += s;
  return r;
}

// packTo3 into a buffer pre-filled with 'U', so that writes past the result
// show.
struct Packed {
  unsigned int length;
  char buf[64];
};

Packed pack(const std::wstring& s, int size) {
  Packed p;
  std::memset(p.buf, 'U', sizeof p.buf);
  p.length = packTo3(s, p.buf, size);
  return p;
}

TEST(AnsiConversion, RoundTripsTheCodePageRepertoireInEveryForm) {
  REQUIRE_KNOWN_CODE_PAGE(sample);
  EXPECT_EQ(getMBS(sample->wide), sample->narrow);
  EXPECT_EQ(getMBS(sample->wide.c_str()), sample->narrow);
  EXPECT_EQ(getMBS(sample->wide.data(), sample->wide.size()), sample->narrow);
  EXPECT_EQ(getWCS(sample->narrow), sample->wide);
  EXPECT_EQ(getWCS(sample->narrow.c_str()), sample->wide);
  EXPECT_EQ(getWCS(sample->narrow.data(), sample->narrow.size()), sample->wide);
}

TEST(AnsiConversion, UnrepresentableCharacterBecomesTheSystemSubstitute) {
  REQUIRE_KNOWN_CODE_PAGE(sample);
  EXPECT_EQ(getMBS(L"<" + sample->missing + L">"), "<" + sample->missingAs + ">");
}

TEST(AnsiConversion, StackAndHeapBuffersAgreeAtEveryLength) {
  REQUIRE_KNOWN_CODE_PAGE(sample);
  // The stack holds 64 wide characters (getWCS) or 128 bytes (getMBS, five
  // per unit plus one): cover both sides of each limit.
  for (std::size_t times : {1u, 2u, 3u, 4u, 5u, 6u, 7u, 8u, 9u, 10u, 11u, 12u, 13u, 16u, 21u, 22u, 500u}) {
    SCOPED_TRACE(times);
    const std::wstring wide = repeat(sample->wide, times);
    const std::string narrow = repeat(sample->narrow, times);
    EXPECT_EQ(getMBS(wide), narrow);
    EXPECT_EQ(getWCS(narrow), wide);
  }
  for (std::size_t n : {24u, 25u, 26u, 27u, 62u, 63u, 64u, 65u, 129u}) {
    SCOPED_TRACE(n);
    EXPECT_EQ(getMBS(std::wstring(n, L'k')), std::string(n, 'k'));
    EXPECT_EQ(getWCS(std::string(n, 'k')), std::wstring(n, L'k'));
  }
}

TEST(AnsiConversion, CountedFormsKeepEmbeddedNulsAndPointerFormsStopAtThem) {
  const std::string narrow("ab\0cd", 5);
  const std::wstring wide(L"ab\0cd", 5);
  EXPECT_EQ(getWCS(narrow), wide);
  EXPECT_EQ(getWCS(narrow.data(), 5), wide);
  EXPECT_EQ(getWCS(narrow.data()), L"ab");
  EXPECT_EQ(getMBS(wide), narrow);
  EXPECT_EQ(getMBS(wide.data(), 5), narrow);
  EXPECT_EQ(getMBS(wide.data()), "ab");
  EXPECT_EQ(getWCS(""), L"");
  EXPECT_EQ(getWCS("xyz", 0), L"");
  EXPECT_EQ(getMBS(L""), "");
  EXPECT_EQ(getMBS(std::wstring()), "");
  EXPECT_EQ(getWCS(static_cast<const char*>(nullptr)), L"");
  EXPECT_EQ(getMBS(static_cast<const wchar_t*>(nullptr)), "");
}

TEST(AnsiFormat, NarrowStringPrintfConvertsFormatAndResultThroughTheCodePage) {
  REQUIRE_KNOWN_CODE_PAGE(sample);
  const std::string format = sample->narrow + " %s %d";
  EXPECT_EQ(stringPrintf(format.c_str(), sample->wide.c_str(), 12), sample->narrow + " " + sample->narrow + " 12");
  EXPECT_EQ(stringPrintf("%hs|", "plain"), "plain|");
  // A %hs argument is widened by the runtime's own locale, not by the ANSI
  // code page: only under the user's locale does every byte come back.
  AutoLocale guard(LC_CTYPE);
  EXPECT_EQ(stringPrintf("%hs|", sample->narrow.c_str()), sample->narrow + "|");
  EXPECT_EQ(stringPrintf("%s", (L"<" + sample->missing + L">").c_str()), "<" + sample->missingAs + ">");
}

TEST(PackTo3Narrow, ZeroSizeIsALogicErrorAndANegativeOneAWinError) {
  char buf[4] = {'U', 'U', 'U', 'U'};
  try {
    (void)packTo3(L"abc", buf, 0);
    FAIL() << "no exception";
  } catch (const std::logic_error& e) {
    EXPECT_STREQ(e.what(), "illegal buffer to pack wstring");
  }
  EXPECT_EQ(buf[0], 'U');
  try {
    (void)packTo3(L"abc", buf, -3);
    FAIL() << "no exception";
  } catch (const WinError& e) {
    const std::wstring text = e.wWhat();
    const std::wstring tail = L" calling WideCharToMultiByte in packTo";
    ASSERT_GE(text.size(), tail.size());
    EXPECT_EQ(text.substr(text.size() - tail.size()), tail);
  }
}

TEST(PackTo3Narrow, CopiesTheLongestPrefixThatFits) {
  const struct {
    int size;
    unsigned int length;
    const char* text;
  } cases[] = {{1, 0, ""}, {2, 1, "a"}, {3, 2, "ab"}, {4, 3, "abc"}, {5, 3, "abc"}, {64, 3, "abc"}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.size);
    const Packed p = pack(L"abc", c.size);
    EXPECT_EQ(p.length, c.length);
    EXPECT_STREQ(p.buf, c.text);
    // Nothing beyond the terminator inside the buffer, nothing past it at all.
    if (c.size < 64) {
      EXPECT_EQ(p.buf[c.size], 'U');
    }
  }
  const Packed empty = pack(L"", 5);
  EXPECT_EQ(empty.length, 0u);
  EXPECT_EQ(empty.buf[0], '\0');
  EXPECT_EQ(empty.buf[1], 'U');
}

TEST(PackTo3Narrow, SurrogatePairIsNeverSplit) {
  // The pair converts to two substitutes, which fit or go together.
  const std::wstring s = L"a\U0001F600b";
  const std::string all = getMBS(s);
  ASSERT_EQ(all, "a??b");
  EXPECT_STREQ(pack(s, 5).buf, "a??b");
  EXPECT_STREQ(pack(s, 4).buf, "a??");
  EXPECT_STREQ(pack(s, 3).buf, "a");
  EXPECT_STREQ(pack(s, 2).buf, "a");
}

TEST(PackTo3Narrow, LongStringsBacktrackOverAHeapList) {
  REQUIRE_KNOWN_CODE_PAGE(sample);
  const std::wstring wide = repeat(sample->wide, 20);  // more than 64 units
  ASSERT_GT(wide.size(), 64u);
  char buf[1024];
  for (int size : {2, 17, 40, 63, 64, 65, 200, 1024}) {
    SCOPED_TRACE(size);
    unsigned int n = 0;
    try {
      n = packTo3(wide, buf, size);
    } catch (const WinError&) {
      // Only when not even the first character fits (932's double bytes).
      EXPECT_EQ(size, 2);
      EXPECT_EQ(sample->acp, 932u);
      continue;
    }
    ASSERT_LT(n, static_cast<unsigned int>(size));
    EXPECT_EQ(std::strlen(buf), n);
    // The longest whole-character prefix of the conversion that fits.
    const std::string full = getMBS(wide);
    std::size_t best = 0;
    for (std::size_t units = 0; units <= wide.size(); ++units) {
      const std::size_t bytes = getMBS(wide.substr(0, units)).size();
      if (bytes < static_cast<std::size_t>(size)) best = bytes;
    }
    EXPECT_EQ(n, best);
    EXPECT_EQ(std::string(buf, n), full.substr(0, n));
  }
}

TEST(PackTo3Narrow, DoubleByteCharactersAreNeverSplitUnder932) {
  if (GetACP() != 932) GTEST_SKIP() << "needs code page 932";
  const std::wstring s = L"a\u65e5\u672c";  // a, then two double-byte characters
  EXPECT_EQ(pack(s, 6).length, 5u);
  EXPECT_EQ(pack(s, 5).length, 3u);
  EXPECT_EQ(pack(s, 4).length, 3u);
  EXPECT_EQ(std::string(pack(s, 4).buf), "a\x93\xFA");
  EXPECT_EQ(pack(s, 3).length, 1u);
  EXPECT_EQ(std::string(pack(s, 3).buf), "a");
  EXPECT_EQ(pack(s, 2).length, 1u);
  EXPECT_EQ(pack(s, 1).length, 0u);
  // When not even the first character fits, the last attempt is the empty
  // prefix, which the system refuses outright.
  EXPECT_THROW((void)pack(L"\u65e5\u672c", 2), WinError);
  EXPECT_EQ(pack(L"\u65e5\u672c", 1).length, 0u);
}

TEST(PackTo3Wide, ZeroSizeIsALogicError) {
  wchar_t buf[2] = {L'U', L'U'};
  try {
    (void)packTo3(L"abc", buf, std::size_t{0});
    FAIL() << "no exception";
  } catch (const std::logic_error& e) {
    EXPECT_STREQ(e.what(), "illegal buffer to pack wstring");
  }
  EXPECT_EQ(buf[0], L'U');
}

TEST(PackTo3Wide, LooksOnlyAtTheFirstUnitThatDoesNotFit) {
  const std::wstring s = L"ab\U0001F600c";  // a b D83D DE00 c
  const struct {
    std::size_t size, copied;
  } cases[] = {
      {1, 0}, {2, 1}, {3, 1},  // unit 2 (the leading half) does not fit: one more unit goes
      {4, 3},                  // unit 3 does not fit: the pair is split
      {5, 4}, {6, 5}, {7, 5},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.size);
    wchar_t buf[8];
    std::fill(buf, buf + 8, L'U');
    EXPECT_EQ(packTo3(s, buf, c.size), c.copied);
    EXPECT_EQ(std::wstring(buf, c.copied), s.substr(0, c.copied));
    EXPECT_EQ(buf[c.copied], L'\0');
    if (c.copied + 1 < 8) {
      EXPECT_EQ(buf[c.copied + 1], L'U');
    }
  }
  wchar_t one[1];
  EXPECT_EQ(packTo3(std::wstring(L"\U0001F600"), one, 1), 0u);
  EXPECT_EQ(one[0], L'\0');
  // The unit after the leading half is a trailing one: the pair is split.
  wchar_t two[2];
  EXPECT_EQ(packTo3(std::wstring(L"\U0001F600"), two, 2), 1u);
  EXPECT_EQ(two[0], static_cast<wchar_t>(0xD83D));
}

}  // namespace
