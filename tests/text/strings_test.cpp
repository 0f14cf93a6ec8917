#include <qorcor14/text/strings.h>

#include <gtest/gtest.h>

#include <windows.h>

#include <algorithm>
#include <clocale>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <random>
#include <string>

namespace {

std::wstring modelDecode(const std::string& s) {
  static const std::uint32_t offsets[6] = {0, 0x3080, 0xE2080, 0x3C82080, 0xFA082080u, 0x82082080u};
  std::wstring r;
  std::size_t i = 0;
  while (i < s.size()) {
    const unsigned b = static_cast<unsigned char>(s[i++]);
    const std::size_t t = b < 0xC0 ? 0 : b < 0xE0 ? 1 : b < 0xF0 ? 2 : b < 0xF8 ? 3 : b < 0xFC ? 4 : 5;
    if (s.size() - i < t) {
      r.push_back(static_cast<wchar_t>(0xFFFD));
      break;
    }
    std::uint32_t v = b;
    for (std::size_t k = 0; k < t; ++k) v = (v << 6) + static_cast<unsigned char>(s[i++]);
    v -= offsets[t];
    if (v < 0x10000) {
      r.push_back(static_cast<wchar_t>(v));
    } else if (v < 0x110000) {
      r.push_back(static_cast<wchar_t>(((v - 0x10000) >> 10) | 0xD800));
      r.push_back(static_cast<wchar_t>(((v - 0x10000) & 0x3FF) | 0xDC00));
    }
  }
  return r;
}

// The UTF-8 form by the encoder's rules, a unit at a time.
std::string modelEncode(const std::wstring& s) {
  std::string r;
  for (std::size_t i = 0; i < s.size(); ++i) {
    std::uint32_t v = static_cast<std::uint16_t>(s[i]);
    if ((v & 0xFC00) == 0xD800 && i + 1 < s.size() && (s[i + 1] & 0xFC00) == 0xDC00) {
      v = ((v - 0xD800) << 10 | (static_cast<std::uint16_t>(s[++i]) - 0xDC00)) + 0x10000;
    }
    const int n = v < 0x80 ? 1 : v < 0x800 ? 2 : v < 0x10000 ? 3 : 4;
    static const unsigned lead[] = {0, 0, 0xC0, 0xE0, 0xF0};
    r.push_back(static_cast<char>(n == 1 ? v : lead[n] | v >> 6 * (n - 1)));
    for (int k = n - 2; k >= 0; --k) r.push_back(static_cast<char>(0x80 | (v >> 6 * k & 0x3F)));
  }
  return r;
}

std::string platformEncode(const std::wstring& s) {
  std::string r(3 * s.size(), '\0');
  r.resize(static_cast<std::size_t>(WideCharToMultiByte(CP_UTF8, 0, s.data(), static_cast<int>(s.size()), r.data(),
                                                        static_cast<int>(r.size()), nullptr, nullptr)));
  return r;
}

// At least `units` units in runs of one kind each: ASCII, two-byte, three-byte,
// pairs, and with `lone` also lone leading and trailing surrogates.
std::wstring randomWide(std::mt19937& rng, std::size_t units, bool lone) {
  static const unsigned from[] = {0, 0x80, 0x800, 0xE000, 0x10000, 0xD800, 0xDC00};
  static const unsigned to[] = {0x7F, 0x7FF, 0xD7FF, 0xFFFF, 0x10FFFF, 0xDBFF, 0xDFFF};
  std::wstring s;
  while (s.size() < units) {
    const unsigned k = rng() % (lone ? 7 : 5), run = 1 + rng() % (rng() % 2 ? 3 : 40);
    for (unsigned i = 0; i < run; ++i) {
      const unsigned v = from[k] + rng() % (to[k] - from[k] + 1);
      if (v > 0xFFFF) {
        s.push_back(static_cast<wchar_t>(0xD800 | ((v - 0x10000) >> 10)));
        s.push_back(static_cast<wchar_t>(0xDC00 | (v & 0x3FF)));
      } else {
        s.push_back(static_cast<wchar_t>(v));
      }
    }
  }
  return s;
}

// Which conversion path this run takes: the processor's level, capped by
// QORCOR14_CPU as the library caps it. Printed, and recorded in the XML report.
std::string pathUnderTest() {
#if defined(__GNUC__)
  const int found = __builtin_cpu_supports("avx2") && __builtin_cpu_supports("bmi2") ? 2
                    : __builtin_cpu_supports("ssse3")                                ? 1
                                                                                     : 0;
#else
  const int found = 2;
#endif
  static const char* const names[] = {"sse2", "ssse3", "avx2"};
  const char* cap = std::getenv("QORCOR14_CPU");
  int level = found;
  for (int k = 0; k < 3 && cap; ++k) {
    if (std::strcmp(cap, names[k]) == 0) level = std::min(found, k);
  }
  return names[level];
}

// Pieces of UTF-8 text, well-formed and not, for the decoder's differential
// tests: every class of lead byte, stray and missing trailing bytes, overlong
// forms, surrogates, and values beyond U+10FFFF.
const std::string kPieces[] = {
    "a",
    "plain ascii text ",
    "\xC3\xA9",
    "\xD0\x96",
    "\xE4\xB8\xAD",
    "\xE3\x80\x82",
    "\xF0\x9F\x98\x80",
    "\xF4\x8F\xBF\xBF",
    "\x80",
    "\xBF",
    "\xC3"
    "A",
    "\xE2\x82"
    "A",
    "\xF0\x9F\x98"
    "A",
    "\xE2\xE2\x82\xAC",
    std::string("\xC0\x80", 2),
    "\xED\xA0\x80",
    "\xF0\x80\x80\x80",
    "\xF4\x90\x80\x80",
    "\xF7\xBF\xBF\xBF",
    "\xF8\x88\x80\x80\x80",
    "\xFC\x84\x80\x80\x80\x80",
    "\xFF\xFF",
};

TEST(Utf8StringDecode, LenientRulesForStrayTruncatedOverlongAndOutOfRangeBytes) {
  const struct {
    std::string in;
    std::wstring out;
  } cases[] = {
      {"\x80\xBF", L"\x80\xBF"},  // stray continuation bytes
      {"A\xE2\x82", L"A\xFFFD"},  // cut short by the end
      {std::string(37, 'x') + "\xF0\x9F\x98", std::wstring(37, L'x') + L"\xFFFD"},
      {"\xE2"
       "ABC",
       L"\x1002"
       L"C"},                                                // trailing bytes unchecked
      {std::string("\xC0\x80", 2), std::wstring(1, L'\0')},  // overlong forms accepted
      {"\xFC\x80\x80\x81\x81\x81", L"\x1041"},
      {"a\xF4\x90\x80\x80"
       "b",
       L"ab"},  // above U+10FFFF: nothing
      {"a\xFF\xFF\xFF\xFF\xFF\xFF"
       "b",
       L"ab"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::PrintToString(c.in));
    EXPECT_EQ(utf8(c.in), c.out);
  }
}

TEST(Utf8StringDecode, RandomTextAgreesWithTheByteAtATimeRules) {
  const std::string path = pathUnderTest();
  RecordProperty("utf8_path", path);
  std::printf("utf8 conversions on the %s path\n", path.c_str());
  std::mt19937 rng(20240611);
  for (int round = 0; round < 20000; ++round) {
    std::string s;
    const std::size_t n = rng() % 400;
    const unsigned defects = rng() % 4 == 0 ? 0 : 1 + rng() % 50;  // one piece in `defects` is random
    while (s.size() < n) {
      if (defects != 0 && rng() % defects == 0) s.push_back(static_cast<char>(rng()));
      else s += kPieces[rng() % std::size(kPieces)];
    }
    ASSERT_EQ(utf8(s), modelDecode(s)) << testing::PrintToString(s);
  }
  for (int round = 0; round < 300000; ++round) {
    std::string s(rng() % 8, '\0');
    for (char& c : s) c = static_cast<char>(rng() % 4 ? 0x80 + rng() % 0x80 : rng());
    ASSERT_EQ(utf8(s), modelDecode(s)) << testing::PrintToString(s);
  }
}

TEST(Utf8StringDecode, EveryPieceAndEveryCutAtEveryPlaceAroundTheBlocks) {
  // Backgrounds of one sequence length each, and a mixed one; each piece is
  // put at every offset of the first two 64-byte blocks and the bytes after
  // them, and each text is cut at every length, so that sequences end and
  // break off at every place in a block (the output's length is counted in
  // such blocks too). A stray byte in front makes the length count take its
  // first bytes one at a time and its blocks from an odd offset.
  const std::string fills[] = {"ascii text", "\xC3\xA9\xD0\x96", "\xE4\xB8\xAD\xE3\x80\x82", "\xF0\x9F\x98\x80",
                               "ab\xC3\xA9\xE4\xB8\xAD\xF0\x9F\x98\x80 "};
  for (const std::string& fill : fills) {
    std::string text;
    while (text.size() < 300) text += fill;
    for (const char* front : {"", "\x80"}) {
      for (const std::string& piece : kPieces) {
        for (std::size_t at = 0; at < 136; ++at) {
          const std::string s = front + text.substr(0, at) + piece + text.substr(at);
          ASSERT_EQ(utf8(s), modelDecode(s)) << testing::PrintToString(s);
        }
      }
    }
    for (std::size_t n = 0; n <= text.size(); ++n) {
      const std::string s = text.substr(0, n);
      ASSERT_EQ(utf8(s), modelDecode(s)) << testing::PrintToString(s);
    }
  }
}

TEST(Utf8StringEncode, LoneAndReversedSurrogatesBecomeThreeByteSequences) {
  EXPECT_EQ(utf8(std::wstring(L"\xDC00")), "\xED\xB0\x80");
  EXPECT_EQ(utf8(std::wstring(L"a\xD83D")), "a\xED\xA0\xBD");
  EXPECT_EQ(utf8(std::wstring(L"\xDE00\xD83D")), "\xED\xB8\x80\xED\xA0\xBD");
  EXPECT_EQ(utf8(std::wstring(L"\xD83D\xD83D\xDE00")), "\xED\xA0\xBD\xF0\x9F\x98\x80");
  EXPECT_EQ(utf8(std::wstring()), std::string());
}

TEST(Utf8StringEncode, EveryUnitAtEveryPositionAroundTheBlockSizes) {
  const std::wstring fills[] = {L"q", L"\xE9", L"\x4E2D", L"\xD83D\xDE00", L"a\xE9\x4E2D\xD83D\xDE00"};
  const std::wstring inserts[] = {L"\xE9",   L"\x4E2D",       L"\xD83D\xDE00",       L"\xD800",
                                  L"\xDC00", L"\xDC00\xD800", L"\xD800\xD800\xDC00", L"a"};
  for (const std::wstring& fill : fills) {
    for (std::size_t n : {7u, 8u, 9u, 15u, 16u, 17u, 31u, 32u, 33u, 47u, 48u, 49u, 64u, 65u, 80u}) {
      std::wstring text;
      while (text.size() < n) text += fill;
      text.resize(n);  // may end on a lone leading surrogate
      for (std::size_t at = 0; at <= n; ++at) {
        for (const std::wstring& insert : inserts) {
          std::wstring w = text;
          w.replace(at, std::min(insert.size(), n - at), insert);
          SCOPED_TRACE(testing::PrintToString(utf8(w)));
          const std::string b = utf8(w);
          ASSERT_EQ(b, modelEncode(w));
          ASSERT_EQ(utf8(b), w);
        }
      }
    }
  }
}

TEST(Utf8String, ValidTextMatchesThePlatformAndAnyWideStringRoundTrips) {
  std::mt19937 rng(11);
  for (int round = 0; round < 400; ++round) {
    const std::wstring w = randomWide(rng, 300, false);
    const std::string b = utf8(w);
    ASSERT_EQ(b, platformEncode(w));
    ASSERT_EQ(utf8(b), w);
  }
  for (int round = 0; round < 5000; ++round) {
    const std::wstring w = randomWide(rng, rng() % 300, true);
    const std::string b = utf8(w);
    ASSERT_EQ(b, modelEncode(w)) << testing::PrintToString(b);
    ASSERT_EQ(utf8(b), w);
  }
}

TEST(FromUtf16, CombinesOnlyALeadingThenTrailingSurrogate) {
  unsigned int out = 7;
  EXPECT_FALSE(fromUTF16(out, 0xDE00, 0xD83D));
  EXPECT_FALSE(fromUTF16(out, 0x1D800, 0xDC00));  // the test is on all 32 bits
  EXPECT_FALSE(fromUTF16(out, 0xD800, 0x1DC00));
  EXPECT_EQ(out, 7u);
  EXPECT_TRUE(fromUTF16(out, 0xDBFF, 0xDFFF));
  EXPECT_EQ(out, 0x10FFFFu);
}

TEST(CaseMapping, SimpleLowercaseTouchesOnlyAsciiCapitals) {
  const std::wstring in(L"@AZ[a\0\u00C4", 7);
  EXPECT_EQ(simpleLowercase(in), std::wstring(L"@az[a\0\u00C4", 7));
}

TEST(CaseMapping, RuntimeMappingFollowsTheLocaleAndStopsAtEmbeddedNul) {
  for (std::size_t n : {63u, 64u, 1000u}) EXPECT_EQ(uppercase(std::wstring(n, L'q')), std::wstring(n, L'Q')) << n;
  EXPECT_EQ(uppercase(std::wstring(L"\u00e9a\0b", 4)), L"\u00e9A");
  AutoLocale guard(LC_CTYPE);
  EXPECT_EQ(uppercase(L"\u00e9a"), L"\u00c9A");
  EXPECT_EQ(lowercase(std::wstring(L"\u00c9A\0B", 4)), L"\u00e9a");
}

TEST(Trim, DropsUnicodeWhiteSpaceAtBothEndsOnly) {
  const struct {
    std::wstring in, out;
  } cases[] = {
      {L"  abc\t\r\n", L"abc"},
      {L"\u3000\u00a0\u2028\u2029\ufeff\v\fa b\u1680\u2003", L"a b"},
      {L" a \u3000 b ", L"a \u3000 b"},
      {L"\u0085x\u200b", L"\u0085x\u200b"},  // NEL is a control, U+200B a format character
      {L"\x1c\x1fx", L"\x1c\x1fx"},
      {L"\ufeff ", L""},
      {L" \xDC00 ", L"\xDC00"},
      {L" \xD83D\xDE00\xD83D ", L"\xD83D\xDE00\xD83D"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::PrintToString(utf8(c.in)));
    EXPECT_EQ(trimwhitespace(c.in), c.out);
  }
}

TEST(StringFormat, LegacyWideSpecifiersTakeWideStringsAndHsNarrow) {
  EXPECT_EQ(stringPrintf(L"%s|%hs|%c|%hc", L"wide", "narrow", L'\u0416', 'n'), L"wide|narrow|\u0416|n");
  EXPECT_EQ(stringPrintf(L"%d %5.2f %x %ls", -42, 3.14159, 255u, L"l"), L"-42  3.14 ff l");
  EXPECT_EQ(stringPrintf(L""), L"");
}

TEST(StringFormat, OutputOfAnyLengthAroundEachBufferSize) {
  for (std::size_t n : {1023u, 1024u, 1025u, 2048u, 2049u, 4097u, 100000u}) {
    SCOPED_TRACE(n);
    std::wstring arg(n - 1, L'w');
    for (std::size_t i = 0; i < arg.size(); i += 97) arg[i] = static_cast<wchar_t>(L'a' + i % 26);
    EXPECT_EQ(stringPrintf(L"%s!", arg.c_str()), arg + L"!");
    EXPECT_EQ(stringPrintf(L"%*d", static_cast<int>(n), 7), std::wstring(n - 1, L' ') + L"7");
  }
}

TEST(AutoLocaleGuard, SwitchesOneCategoryToTheUserLocaleAndRestoresTheName) {
  const std::string before = std::setlocale(LC_ALL, nullptr);
  const std::string userDefault = std::setlocale(LC_CTYPE, "");  // what it is called, asked directly
  std::setlocale(LC_ALL, before.c_str());
  const std::string numeric = std::setlocale(LC_NUMERIC, nullptr);
  ASSERT_NE(userDefault, std::setlocale(LC_CTYPE, nullptr));
  {
    AutoLocale guard(LC_CTYPE);
    { AutoLocale again(LC_CTYPE); }  // nested: gives back the outer guard's locale
    EXPECT_EQ(std::setlocale(LC_CTYPE, nullptr), userDefault);
    EXPECT_EQ(std::setlocale(LC_NUMERIC, nullptr), numeric);
  }
  EXPECT_EQ(std::setlocale(LC_ALL, nullptr), before);
  { AutoLocale unknown(12345); }  // no such category: nothing changes
  EXPECT_EQ(std::setlocale(LC_ALL, nullptr), before);
}

}  // namespace
