#include <qorcor14/text/strings.h>

#include <gtest/gtest.h>

#include <windows.h>

#include <algorithm>
#include <clocale>
#include <cstdint>
#include <initializer_list>
#include <random>
#include <string>
#include <vector>

namespace {

std::wstring units(std::initializer_list<unsigned> list) {
  std::wstring s;
  for (unsigned u : list) s.push_back(static_cast<wchar_t>(u));
  return s;
}

std::string bytes(std::initializer_list<unsigned> list) {
  std::string s;
  for (unsigned b : list) s.push_back(static_cast<char>(b));
  return s;
}

// The decoding rules applied one byte at a time with no fast path: the model
// the block decoder must agree with on every input.
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

std::wstring platformDecode(const std::string& s) {
  if (s.empty()) return std::wstring();
  const int n = MultiByteToWideChar(CP_UTF8, 0, s.data(), static_cast<int>(s.size()), nullptr, 0);
  std::wstring r(static_cast<std::size_t>(n), L'\0');
  MultiByteToWideChar(CP_UTF8, 0, s.data(), static_cast<int>(s.size()), r.data(), n);
  return r;
}

std::string platformEncode(const std::wstring& s) {
  if (s.empty()) return std::string();
  const int n = WideCharToMultiByte(CP_UTF8, 0, s.data(), static_cast<int>(s.size()), nullptr, 0, nullptr, nullptr);
  std::string r(static_cast<std::size_t>(n), '\0');
  WideCharToMultiByte(CP_UTF8, 0, s.data(), static_cast<int>(s.size()), r.data(), n, nullptr, nullptr);
  return r;
}

// Random text with runs of ASCII long enough to reach the block paths, mixed
// with code points from every UTF-8 length class. With `lone`, unpaired and
// reversed surrogates appear too.
std::wstring randomWide(std::mt19937& rng, std::size_t codePoints, bool lone) {
  std::uniform_int_distribution<int> kind(0, lone ? 6 : 5);
  std::wstring s;
  for (std::size_t i = 0; i < codePoints; ++i) {
    switch (kind(rng)) {
      case 0:
      case 1: {
        const int run = std::uniform_int_distribution<int>(1, 40)(rng);
        for (int k = 0; k < run; ++k) s.push_back(static_cast<wchar_t>(std::uniform_int_distribution<int>(0, 0x7F)(rng)));
        break;
      }
      case 2: s.push_back(static_cast<wchar_t>(std::uniform_int_distribution<int>(0x80, 0x7FF)(rng))); break;
      case 3: {
        unsigned v;
        do v = std::uniform_int_distribution<unsigned>(0x800, 0xFFFF)(rng);
        while (v >= 0xD800 && v <= 0xDFFF);
        s.push_back(static_cast<wchar_t>(v));
        break;
      }
      case 4:
      case 5: {
        const unsigned v = std::uniform_int_distribution<unsigned>(0x10000, 0x10FFFF)(rng) - 0x10000;
        s.push_back(static_cast<wchar_t>(0xD800 | (v >> 10)));
        s.push_back(static_cast<wchar_t>(0xDC00 | (v & 0x3FF)));
        break;
      }
      default: s.push_back(static_cast<wchar_t>(std::uniform_int_distribution<unsigned>(0xD800, 0xDFFF)(rng))); break;
    }
  }
  return s;
}

std::wstring formatV(const wchar_t* format, ...) {
  va_list args;
  va_start(args, format);
  std::wstring r = vStringPrintf(format, args);
  va_end(args);
  return r;
}

// ---------------------------------------------------------------------------
// UTF-8 -> UTF-16

TEST(Utf8StringDecode, TruncatedSequenceEmitsOneReplacementAndStops) {
  EXPECT_EQ(utf8(bytes({0xE2, 0x82})), units({0xFFFD}));
  EXPECT_EQ(utf8(bytes({0x41, 0xE2, 0x82})), units({0x41, 0xFFFD}));
  EXPECT_EQ(utf8(bytes({0xC3})), units({0xFFFD}));
  EXPECT_EQ(utf8(bytes({0xFC, 0x80, 0x80, 0x80, 0x80})), units({0xFFFD}));
  // After a long ASCII run, the cut sequence sits behind the block loop.
  const std::string run(37, 'x');
  EXPECT_EQ(utf8(run + bytes({0xF0, 0x9F, 0x98})), std::wstring(37, L'x') + units({0xFFFD}));
  // Only the end of the input truncates: a lead byte inside the text simply
  // swallows the bytes after it, whatever they are.
  EXPECT_EQ(utf8(bytes({0xE2, 0x41, 0x42, 0x43})), units({0x1002, 0x43}));
}

TEST(Utf8StringDecode, StrayContinuationBytesBecomeTheirOwnLatin1Units) {
  std::string in;
  std::wstring expected;
  for (unsigned b = 0x80; b < 0xC0; ++b) {
    in.push_back(static_cast<char>(b));
    expected.push_back(static_cast<wchar_t>(b));
  }
  EXPECT_EQ(utf8(in), expected);
  EXPECT_EQ(utf8(bytes({0x80})), units({0x80}));
}

TEST(Utf8StringDecode, TrailingBytesAreUncheckedAndOverlongFormsAccepted) {
  const struct {
    std::string in;
    std::wstring out;
  } cases[] = {
      {bytes({0xC3, 0x41}), units({0x81})},
      {bytes({0xC0, 0x80}), units({0x00})},
      {bytes({0xE0, 0x80, 0xAF}), units({0x2F})},
      {bytes({0xC3, 0xA9}), units({0xE9})},
      {bytes({0xED, 0xA0, 0x80}), units({0xD800})},
      {bytes({0xED, 0xB0, 0x80}), units({0xDC00})},
      {bytes({0xEF, 0xBF, 0xBE}), units({0xFFFE})},
      {bytes({0xF0, 0x9F, 0x98, 0x80}), units({0xD83D, 0xDE00})},
      {bytes({0xF4, 0x8F, 0xBF, 0xBF}), units({0xDBFF, 0xDFFF})},
      {bytes({0xF8, 0x80, 0x80, 0x80, 0xAF}), units({0x2F})},
      {bytes({0xFC, 0x80, 0x80, 0x81, 0x81, 0x81}), units({0x1041})},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::PrintToString(c.in));
    EXPECT_EQ(utf8(c.in), c.out);
  }
}

TEST(Utf8StringDecode, SequencesAboveUnicodeEmitNothingAndDecodingGoesOn) {
  EXPECT_EQ(utf8(bytes({0xF4, 0x90, 0x80, 0x80})), std::wstring());
  EXPECT_EQ(utf8(bytes({0x61, 0xF4, 0x90, 0x80, 0x80, 0x62})), L"ab");
  EXPECT_EQ(utf8(bytes({0x61, 0xF8, 0x88, 0x80, 0x80, 0x80, 0x62})), L"ab");
  EXPECT_EQ(utf8(bytes({0x61, 0xFD, 0xBF, 0xBF, 0xBF, 0xBF, 0xBF, 0x62})), L"ab");
  EXPECT_EQ(utf8(bytes({0x61, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x62})), L"ab");
  EXPECT_EQ(utf8(std::string()), std::wstring());
}

TEST(Utf8StringDecode, RandomBytesAgreeWithTheByteAtATimeRules) {
  std::mt19937 rng(20240611);
  std::uniform_int_distribution<int> pick(0, 9), byte(0, 255), high(0x80, 0xFF), len(0, 300);
  std::size_t total = 0;
  for (int round = 0; round < 12000; ++round) {
    std::string s;
    const int n = len(rng);
    while (static_cast<int>(s.size()) < n) {
      const int k = pick(rng);
      if (k < 4) s.append(static_cast<std::size_t>(pick(rng) * 3), static_cast<char>('a' + pick(rng)));
      else if (k < 7) s.push_back(static_cast<char>(high(rng)));
      else s.push_back(static_cast<char>(byte(rng)));
    }
    total += s.size();
    const std::wstring got = utf8(s);
    ASSERT_EQ(got, modelDecode(s)) << testing::PrintToString(s);
    ASSERT_LE(got.size(), s.size());
  }
  EXPECT_GT(total, 1500000u);
}

TEST(Utf8StringDecode, MillionsOfShortRandomStringsAgreeWithTheRules) {
  // Short strings put lead bytes next to the end of the input all the time.
  std::mt19937 rng(99);
  std::uniform_int_distribution<int> len(0, 7), high(0x80, 0xFF), any(0, 255), coin(0, 3);
  for (int round = 0; round < 1000000; ++round) {
    std::string s(static_cast<std::size_t>(len(rng)), '\0');
    for (char& c : s) c = static_cast<char>(coin(rng) ? high(rng) : any(rng));
    ASSERT_EQ(utf8(s), modelDecode(s)) << testing::PrintToString(s);
  }
}

TEST(Utf8StringDecode, ValidTextMatchesMultiByteToWideChar) {
  std::mt19937 rng(7);
  for (int round = 0; round < 400; ++round) {
    const std::wstring w = randomWide(rng, 200, false);
    const std::string b = platformEncode(w);
    ASSERT_EQ(utf8(b), platformDecode(b));
    ASSERT_EQ(utf8(b), w);
  }
}

// ---------------------------------------------------------------------------
// UTF-16 -> UTF-8

TEST(Utf8StringEncode, LoneAndReversedSurrogatesBecomeThreeByteSequences) {
  EXPECT_EQ(utf8(units({0xDC00})), bytes({0xED, 0xB0, 0x80}));
  EXPECT_EQ(utf8(units({0xD800})), bytes({0xED, 0xA0, 0x80}));
  EXPECT_EQ(utf8(units({0x61, 0xD83D})), bytes({0x61, 0xED, 0xA0, 0xBD}));
  EXPECT_EQ(utf8(units({0xDE00, 0xD83D})), bytes({0xED, 0xB8, 0x80, 0xED, 0xA0, 0xBD}));
  EXPECT_EQ(utf8(units({0xD83D, 0xDE00})), bytes({0xF0, 0x9F, 0x98, 0x80}));
  EXPECT_EQ(utf8(units({0xD83D, 0xD83D, 0xDE00})), bytes({0xED, 0xA0, 0xBD, 0xF0, 0x9F, 0x98, 0x80}));
  EXPECT_EQ(utf8(units({0x7F, 0x80, 0x7FF, 0x800, 0xFFFF})),
            bytes({0x7F, 0xC2, 0x80, 0xDF, 0xBF, 0xE0, 0xA0, 0x80, 0xEF, 0xBF, 0xBF}));
  EXPECT_EQ(utf8(std::wstring()), std::string());
}

TEST(Utf8StringEncode, EveryPositionOfNonAsciiUnitsAroundTheBlockSizes) {
  // Blocks of 8 units (length count) and 16 units (ASCII copy); a pair or a
  // lone surrogate at every position, including across block edges.
  const std::wstring inserts[] = {units({0xE9}), units({0x4E2D}), units({0xD83D, 0xDE00}), units({0xD800}),
                                  units({0xDC00}), units({0xDC00, 0xD800})};
  for (std::size_t n : {7u, 8u, 9u, 15u, 16u, 17u, 24u, 31u, 32u, 33u, 48u}) {
    for (std::size_t at = 0; at < n; ++at) {
      for (std::size_t k = 0; k < std::size(inserts); ++k) {
        std::wstring w(n, L'q');
        w.replace(at, std::min(inserts[k].size(), n - at), inserts[k]);
        w.resize(n);
        SCOPED_TRACE(testing::Message() << n << " " << at << " " << k);
        const std::string b = utf8(w);
        if (k < 3 && at + inserts[k].size() <= n) {
          ASSERT_EQ(b, platformEncode(w));
        }
        ASSERT_EQ(utf8(b), w);
      }
    }
  }
}

TEST(Utf8StringEncode, ValidTextMatchesWideCharToMultiByte) {
  std::mt19937 rng(11);
  for (int round = 0; round < 400; ++round) {
    const std::wstring w = randomWide(rng, 200, false);
    ASSERT_EQ(utf8(w), platformEncode(w));
  }
}

TEST(Utf8StringEncode, AnyWideStringSurvivesTheRoundTrip) {
  std::mt19937 rng(12);
  std::size_t total = 0;
  for (int round = 0; round < 3000; ++round) {
    const std::wstring w = randomWide(rng, 60, true);
    total += w.size();
    ASSERT_EQ(utf8(utf8(w)), w);
  }
  // Arbitrary units, surrogates of both kinds in any order.
  std::uniform_int_distribution<unsigned> unit(0, 0xFFFF);
  for (int round = 0; round < 2000; ++round) {
    std::wstring w(static_cast<std::size_t>(round % 90), L'\0');
    for (wchar_t& c : w) c = static_cast<wchar_t>(unit(rng));
    total += w.size();
    ASSERT_EQ(utf8(utf8(w)), w);
  }
  EXPECT_GT(total, 500000u);
}

TEST(FromUtf16, CombinesOnlyALeadingThenTrailingSurrogate) {
  unsigned int out = 7;
  EXPECT_TRUE(fromUTF16(out, 0xD83D, 0xDE00));
  EXPECT_EQ(out, 0x1F600u);
  EXPECT_TRUE(fromUTF16(out, 0xDBFF, 0xDFFF));
  EXPECT_EQ(out, 0x10FFFFu);
  out = 7;
  EXPECT_FALSE(fromUTF16(out, 0xDE00, 0xD83D));
  EXPECT_FALSE(fromUTF16(out, 0xD800, 0xD800));
  EXPECT_FALSE(fromUTF16(out, 0x41, 0xDC00));
  EXPECT_FALSE(fromUTF16(out, 0x1D800, 0xDC00));  // the test is on all 32 bits
  EXPECT_EQ(out, 7u);
}

// ---------------------------------------------------------------------------
// Case, collation, trimming

TEST(CaseMapping, SimpleLowercaseTouchesOnlyAsciiCapitals) {
  EXPECT_EQ(simpleLowercase(L'A'), L'a');
  EXPECT_EQ(simpleLowercase(L'Z'), L'z');
  EXPECT_EQ(simpleLowercase(L'@'), L'@');
  EXPECT_EQ(simpleLowercase(L'['), L'[');
  EXPECT_EQ(simpleLowercase(L'a'), L'a');
  EXPECT_EQ(simpleLowercase(static_cast<wchar_t>(0xC4)), static_cast<wchar_t>(0xC4));
  const std::wstring in(L"AbZ\0\u00C4\u0416Q", 7);
  EXPECT_EQ(simpleLowercase(in), std::wstring(L"abz\0\u00C4\u0416q", 7));
}

TEST(CaseMapping, RuntimeMappingStopsAtEmbeddedNulAndHandlesLongStrings) {
  EXPECT_EQ(uppercase(L"abc xyz"), L"ABC XYZ");
  EXPECT_EQ(lowercase(L"ABC XYZ"), L"abc xyz");
  EXPECT_EQ(uppercase(std::wstring(L"ab\0cd", 5)), L"AB");
  EXPECT_EQ(uppercase(std::wstring()), std::wstring());
  for (std::size_t n : {62u, 63u, 64u, 1000u}) {
    SCOPED_TRACE(n);
    EXPECT_EQ(uppercase(std::wstring(n, L'q')), std::wstring(n, L'Q'));
    EXPECT_EQ(lowercase(std::wstring(n, L'Q')), std::wstring(n, L'q'));
  }
}

TEST(CaseMapping, FollowsTheRuntimeLocale) {
  // Under the user's locale (1252 in the default test run) the runtime maps
  // accented Latin letters too; in the "C" locale it maps ASCII only.
  EXPECT_EQ(uppercase(L"\u00e9a"), L"\u00e9A");
  AutoLocale guard(LC_CTYPE);
  EXPECT_EQ(uppercase(L"\u00e9a"), L"\u00c9A");
  EXPECT_EQ(lowercase(L"\u00c9A"), L"\u00e9a");
}

TEST(Collation, OrdersLikeWcscollAndTreatsErrorsAsEqual) {
  EXPECT_LT(collateStrings(L"apple", L"banana"), 0);
  EXPECT_GT(collateStrings(std::wstring(L"banana"), std::wstring(L"apple")), 0);
  EXPECT_EQ(collateStrings(L"same", L"same"), 0);
  const wchar_t* words[] = {L"a", L"B", L"c", L"\u00e9", L"e", L"Z"};
  for (const wchar_t* a : words)
    for (const wchar_t* b : words) {
      SCOPED_TRACE(testing::Message() << static_cast<unsigned>(a[0]) << " " << static_cast<unsigned>(b[0]));
      const int expected = wcscoll(a, b);
      EXPECT_EQ(collateStrings(a, b) < 0, expected < 0);
      EXPECT_EQ(collateStrings(a, b) > 0, expected > 0);
    }
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
      {L"   ", L""},
      {L"\ufeff", L""},
      {L"", L""},
      {units({0x20, 0xDC00, 0x20}), units({0xDC00})},
      {units({0x20, 0xD83D, 0xDE00, 0xD83D, 0x20}), units({0xD83D, 0xDE00, 0xD83D})},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::PrintToString(utf8(c.in)));
    EXPECT_EQ(trimwhitespace(c.in), c.out);
  }
}

// ---------------------------------------------------------------------------
// Formatting

TEST(StringFormat, LegacyWideSpecifiersTakeWideStringsAndHsNarrow) {
  EXPECT_EQ(stringPrintf(L"%s|%hs|%c|%hc", L"wide", "narrow", L'\u0416', 'n'), L"wide|narrow|\u0416|n");
  EXPECT_EQ(stringPrintf(L"%d %5.2f %x %ls", -42, 3.14159, 255u, L"l"), L"-42  3.14 ff l");
  EXPECT_EQ(stringPrintf(L"plain"), L"plain");
  EXPECT_EQ(stringPrintf(L""), L"");
  EXPECT_EQ(formatV(L"%s=%d", L"x", 5), L"x=5");
}

TEST(StringFormat, OutputOfAnyLengthAroundEachBufferSize) {
  for (std::size_t n : {1023u, 1024u, 1025u, 2047u, 2048u, 2049u, 4095u, 4096u, 4097u, 8193u, 100000u}) {
    SCOPED_TRACE(n);
    std::wstring arg(n - 1, L'w');
    for (std::size_t i = 0; i < arg.size(); i += 97) arg[i] = static_cast<wchar_t>(L'a' + i % 26);
    const std::wstring got = stringPrintf(L"%s!", arg.c_str());
    ASSERT_EQ(got.size(), n);
    EXPECT_EQ(got, arg + L"!");
    EXPECT_EQ(formatV(L"%*d", static_cast<int>(n), 7), std::wstring(n - 1, L' ') + L"7");
  }
}

TEST(StringFormat, NarrowFormsFollowTheWideArgumentRules) {
  EXPECT_EQ(stringPrintf("%s and %hs, %d", L"wide", "narrow", 3), "wide and narrow, 3");
  const std::string big = stringPrintf("%hs", std::string(3000, 'n').c_str());
  EXPECT_EQ(big, std::string(3000, 'n'));
}

// ---------------------------------------------------------------------------
// AutoLocale

TEST(AutoLocaleGuard, SwitchesToTheUserLocaleAndRestoresTheName) {
  const std::string before = std::setlocale(LC_CTYPE, nullptr);
  const std::string numericBefore = std::setlocale(LC_NUMERIC, nullptr);
  std::string inside, nested;
  {
    AutoLocale guard(LC_CTYPE);
    inside = std::setlocale(LC_CTYPE, nullptr);
    {
      AutoLocale again(LC_CTYPE);
      nested = std::setlocale(LC_CTYPE, nullptr);
    }
    EXPECT_EQ(std::setlocale(LC_CTYPE, nullptr), inside);
    EXPECT_EQ(std::setlocale(LC_NUMERIC, nullptr), numericBefore);
  }
  EXPECT_EQ(std::setlocale(LC_CTYPE, nullptr), before);
  EXPECT_EQ(nested, inside);
  // What the user's default is called, asked for directly.
  const std::string userDefault = std::setlocale(LC_CTYPE, "");
  std::setlocale(LC_CTYPE, before.c_str());
  EXPECT_EQ(inside, userDefault);
  EXPECT_NE(inside, before);
}

TEST(AutoLocaleGuard, UnknownCategoryChangesNothing) {
  const std::string before = std::setlocale(LC_ALL, nullptr);
  { AutoLocale guard(12345); }
  EXPECT_EQ(std::setlocale(LC_ALL, nullptr), before);
}

}  // namespace
