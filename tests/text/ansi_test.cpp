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
  std::wstring missing;  // a character the code page lacks (the system puts '?')
};

const CodePageSample* sampleForThisProcess() {
  static const CodePageSample samples[] = {
      {1252, L"caf\u00e9 \u20ac\u00ff", "caf\xE9 \x80\xFF", L"\u0416"},
      {932, L"\u65e5\u672c\uff71a",
       "\x93\xFA\x96\x7B\xB1"
       "a",
       L"\u20ac"},
      {1251, L"\u041f\u0440\u0438\u0432\u0435\u0442 \u20ac", "\xCF\xF0\xE8\xE2\xE5\xF2 \x88", L"\u00e6"},
  };
  for (const CodePageSample& s : samples)
    if (s.acp == GetACP()) return &s;
  return nullptr;
}

#define REQUIRE_KNOWN_CODE_PAGE(sample)                  \
  const CodePageSample* sample = sampleForThisProcess(); \
  if (!sample) GTEST_SKIP() << "no expectations for code page " << GetACP()

template <class S>
S repeat(const S& s, std::size_t times) {
  S r;
  for (std::size_t i = 0; i < times; ++i) r += s;
  return r;
}

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
  EXPECT_EQ(getMBS(sample->wide.c_str()), sample->narrow);
  EXPECT_EQ(getMBS(sample->wide.data(), sample->wide.size()), sample->narrow);
  EXPECT_EQ(getWCS(sample->narrow.c_str()), sample->wide);
  EXPECT_EQ(getWCS(sample->narrow.data(), sample->narrow.size()), sample->wide);
  EXPECT_EQ(getMBS(L"<" + sample->missing + L">"), "<?>");
  for (std::size_t times : {1u, 9u, 13u, 500u}) {
    SCOPED_TRACE(times);
    EXPECT_EQ(getMBS(repeat(sample->wide, times)), repeat(sample->narrow, times));
    EXPECT_EQ(getWCS(repeat(sample->narrow, times)), repeat(sample->wide, times));
  }
  for (std::size_t n : {25u, 26u, 63u, 64u}) {
    SCOPED_TRACE(n);
    EXPECT_EQ(getMBS(std::wstring(n, L'k')), std::string(n, 'k'));
    EXPECT_EQ(getWCS(std::string(n, 'k')), std::wstring(n, L'k'));
  }
}

TEST(AnsiConversion, CountedFormsKeepEmbeddedNulsAndPointerFormsStopAtThem) {
  const std::string narrow("ab\0cd", 5);
  const std::wstring wide(L"ab\0cd", 5);
  EXPECT_EQ(getWCS(narrow), wide);
  EXPECT_EQ(getWCS(narrow.data()), L"ab");
  EXPECT_EQ(getMBS(wide), narrow);
  EXPECT_EQ(getMBS(wide.data()), "ab");
  EXPECT_EQ(getWCS("xyz", 0), L"");
  EXPECT_EQ(getMBS(std::wstring()), "");
  EXPECT_EQ(getWCS(static_cast<const char*>(nullptr)), L"");
  EXPECT_EQ(getMBS(static_cast<const wchar_t*>(nullptr)), "");
}

TEST(AnsiFormat, NarrowStringPrintfConvertsFormatAndResultThroughTheCodePage) {
  REQUIRE_KNOWN_CODE_PAGE(sample);
  const std::string format = sample->narrow + " %s %d";
  EXPECT_EQ(stringPrintf(format.c_str(), sample->wide.c_str(), 12), sample->narrow + " " + sample->narrow + " 12");
  AutoLocale guard(LC_CTYPE);
  EXPECT_EQ(stringPrintf("%hs|", sample->narrow.c_str()), sample->narrow + "|");
}

TEST(PackTo3, ZeroSizeIsALogicErrorAndANegativeOneAWinError) {
  char buf[1] = {'U'};
  wchar_t wbuf[1] = {L'U'};
  auto thrown = [](auto pack) -> std::wstring {
    try {
      pack();
    } catch (const std::logic_error& e) {
      return L"logic_error: " + getWCS(e.what());
    } catch (const WinError& e) {
      return L"WinError: " + std::wstring(e.wWhat());
    }
    return L"nothing";
  };
  const std::wstring illegal = L"logic_error: illegal buffer to pack wstring";
  EXPECT_EQ(thrown([&] { (void)packTo3(L"abc", buf, 0); }), illegal);
  EXPECT_EQ(thrown([&] { (void)packTo3(L"abc", wbuf, std::size_t{0}); }), illegal);
  EXPECT_EQ(buf[0], 'U');  // nothing written
  EXPECT_EQ(wbuf[0], L'U');
  EXPECT_EQ(thrown([&] { (void)packTo3(L"abc", buf, -3); }),  // the system refuses the negative capacity
            L"WinError: " + formatMessage(87ul, nullptr) + L" calling WideCharToMultiByte in packTo");
}

TEST(PackTo3Narrow, CopiesTheLongestPrefixThatFitsAndNeverSplitsAPair) {
  const struct {
    std::wstring s;
    int size;
    const char* text;
  } cases[] = {
      {L"abc", 1, ""},
      {L"abc", 2, "a"},
      {L"abc", 4, "abc"},
      {L"abc", 5, "abc"},
      {L"", 5, ""},
      {L"a\U0001F600b", 5, "a??b"},
      {L"a\U0001F600b", 4, "a??"},
      {L"a\U0001F600b", 3, "a"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.size);
    const Packed p = pack(c.s, c.size);
    EXPECT_EQ(p.length, std::strlen(c.text));
    EXPECT_STREQ(p.buf, c.text);
    EXPECT_EQ(p.buf[c.size], 'U');  // nothing past the buffer
  }
}

TEST(PackTo3Narrow, LongStringsBacktrackOverAHeapList) {
  REQUIRE_KNOWN_CODE_PAGE(sample);
  const std::wstring wide = repeat(sample->wide, 20);  // more than 64 units
  const std::string full = getMBS(wide);
  char buf[1024];
  for (int size : {1, 2, 3, 17, 40, 64, 65, 200, 1024}) {
    SCOPED_TRACE(size);
    unsigned int n = 0;
    try {
      n = packTo3(wide, buf, size);
    } catch (const WinError&) {
      EXPECT_EQ(size, 2);
      EXPECT_EQ(sample->acp, 932u);
      continue;
    }
    std::size_t best = 0;
    for (std::size_t units = 0; units <= wide.size(); ++units) {
      const std::size_t bytes = getMBS(wide.substr(0, units)).size();
      if (bytes < static_cast<std::size_t>(size)) best = bytes;
    }
    EXPECT_EQ(n, best);
    EXPECT_EQ(std::string(buf), full.substr(0, n));
  }
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
    EXPECT_EQ(std::wstring(buf, c.copied + 2), s.substr(0, c.copied) + L'\0' + L'U');
  }
}

}  // namespace
