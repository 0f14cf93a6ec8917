#include <qorcor14/platform/filenames.h>
#include <qorcor14/platform/urls.h>
#include <qorcor14/text/strings.h>

#include "support/files.h"

#include <gtest/gtest.h>

#include <windows.h>
#include <shlwapi.h>

#include <initializer_list>
#include <random>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace {

// One row of a comparison table: input, our answer, and why the platform's
// answer differs (null: it must agree).
struct Row {
  std::wstring in, out;
  const char* differs = nullptr;
};

template <class F, class P = std::nullptr_t>
void runTable(std::initializer_list<Row> rows, F mine, P platform = nullptr) {
  for (const Row& r : rows) {
    SCOPED_TRACE(utf8(r.in));
    const std::wstring got = mine(r.in);
    EXPECT_EQ(got, r.out);
    if constexpr (!std::is_null_pointer_v<P>) {
      if (!r.differs) {
        EXPECT_EQ(got, platform(r.in)) << "platform";
      }
    }
  }
}

// "a|b" split at the bar.
std::pair<std::wstring, std::wstring> split(const std::wstring& s) {
  const auto bar = s.find(L'|');
  return {s.substr(0, bar), s.substr(bar + 1)};
}

TEST(FileNames, AnalyzeFileTypeClassifiesEveryForm) {
  // clang-format off
  const std::pair<const wchar_t*, FileType> cases[] = {
      {L"", FileType::Empty},           {L"..\\a", FileType::Relative},      {L"/a/b", FileType::Rooted},
      {L"c:", FileType::DriveRelative}, {L"C:/a", FileType::DriveAbsolute},  {L"\\/srv", FileType::UNC},
      {L"//./pipe/x", FileType::Device}, {L"\\\\?\\UNC\\srv\\share", FileType::Extended},
      {L"//?/C:/a", FileType::UNC},  // only "\\?\" is extended
      {L"ab:c", FileType::URL},         {L"1a:b", FileType::Relative},  // a scheme starts with a letter
  };
  // clang-format on
  for (const auto& [name, type] : cases) {
    SCOPED_TRACE(utf8(name));
    EXPECT_EQ(analyzeFileType(name), type);
  }
}

TEST(FileNames, GetDirectoryStopsAtTheRoot) {
  // clang-format off
  runTable({{L"C:\\b.txt", L"C:\\"}, {L"C:b.txt", L"C:"}, {L"C:\\a\\\\b", L"C:\\a"}, {L"a\\b\\", L"a\\b"},
            {L"a/b\\c", L"a/b"}, {L"b.txt", L""}, {L"\\\\srv\\share\\", L"\\\\srv\\share"},
            {L"\\\\?\\C:\\a/b", L"\\\\?\\C:\\"},  // '/' is literal in an extended name
            {L"\\\\?\\UNC\\srv\\share\\b", L"\\\\?\\UNC\\srv\\share"}, {L"a\\..", L"a"},
            {L"http://host", L"http://host"}},
           [](const std::wstring& s) { return getDirectory(s); });
  // clang-format on
}

TEST(FileNames, JoinDirectoryAgreesWithPathCombineExceptWhereItResolvesNothing) {
  // clang-format off
  runTable({{L"C:\\a\\|b.txt", L"C:\\a\\b.txt"},
            {L"C:\\a\\b|\\c", L"C:\\c"},
            {L"\\\\srv\\share\\a|\\b", L"\\\\srv\\share\\b"},
            {L"C:\\a|\\\\srv\\share\\b", L"\\\\srv\\share\\b"},
            {L"|b", L"b"},
            {L"C:\\a\\\\|b.txt", L"C:\\a\\b.txt", "PathCombineW keeps a doubled separator"},
            {L"C:\\a|..\\b", L"C:\\a\\..\\b", "PathCombineW resolves '..'"},
            {L"C:/a|b", L"C:/a\\b", "PathCombineW takes no '/'"},
            {L"C:|b", L"C:b", "PathCombineW makes it absolute"},
            {L"C:\\a|", L"C:\\a", "PathCombineW adds a separator"},
            {L"http://x/a|b", L"http://x/a/b", "PathCombineW knows no URLs"},
            {L"C:\\a|http://x/", L"http://x/", "PathCombineW knows no URLs"}},
           [](const std::wstring& s) { return joinDirectory(split(s).first, split(s).second); },
           [](const std::wstring& s) {
             wchar_t out[MAX_PATH] = {};
             EXPECT_TRUE(PathCombineW(out, split(s).first.c_str(), split(s).second.c_str()));
             return std::wstring(out);
           });
  // clang-format on
  EXPECT_EQ(joinDirectory(std::wstring(300, L'a'), L"b").size(), 302u);  // no MAX_PATH limit
}

TEST(FileNames, AbbreviateFilenameKeepsTheFileName) {
  const std::wstring p = L"C:\\very\\long\\path\\file.txt|";
  // clang-format off
  runTable({{p + L"26", L"C:\\very\\long\\path\\file.txt", "Wine shortens a name that fits exactly"},
            {p + L"20", L"C:\\very\\...\\file.txt", "PathCompactPathExW keeps only the root"},
            {p + L"12", L"...\\file.txt"},
            {p + L"11", L"file.txt...", "PathCompactPathExW cuts the name differently"},
            {p + L"3", L"fil", "PathCompactPathExW gives dots"},
            {p + L"0", L"", "no room for a terminator"},
            {L"C:\\a\\b\\c\\d\\|8", L"...\\d\\", "PathCompactPathExW drops the trailing separator"},
            {L"C:\\aaaa\\b\U0001F600c|5", L"b...", "a surrogate pair is kept whole"},
            {L"\\\\?\\C:\\x\\y\\z/w|12", L"...\\z/w", "'/' is literal in an extended name"},
            {L"\\\\srv\\share\\a\\file.txt|16", L"...\\file.txt", "never half a root"}},
           [](const std::wstring& s) {
             const std::size_t max = std::stoul(split(s).second);
             std::wstring out = abbreviateFilename(split(s).first, max);
             EXPECT_LE(out.size(), max);
             return out;
           },
           [](const std::wstring& s) {
             wchar_t out[MAX_PATH] = {};
             EXPECT_TRUE(PathCompactPathExW(out, split(s).first.c_str(), static_cast<UINT>(std::stoul(split(s).second) + 1), 0));
             return std::wstring(out);
           });
  // clang-format on
}

std::wstring fullPath(const std::wstring& name) {
  wchar_t out[MAX_PATH * 2] = {};
  GetFullPathNameW(name.c_str(), MAX_PATH * 2, out, nullptr);
  return out;
}

TEST(FileNames, AbsoluteFilenameMatchesGetFullPathNameInTheBaseDirectory) {
  qortest::ScratchFolder scratch;
  wchar_t saved[MAX_PATH + 1] = {};
  GetCurrentDirectoryW(MAX_PATH + 1, saved);
  for (const wchar_t* name : {L"..\\a.txt", L".\\x\\..\\y", L"\\top.txt", L"C:\\a\\..\\..\\b", L"\\\\srv\\share\\..\\x",
                              L"\\\\?\\C:\\a\\..\\b", L"trailing\\", L"dots...", L"C:x.txt", L"\\\\.\\COM1"}) {
    SCOPED_TRACE(utf8(name));
    EXPECT_EQ(absoluteFilename(name), fullPath(name));
    const std::wstring mine = absoluteFilename(name, scratch.path());
    ASSERT_TRUE(SetCurrentDirectoryW(scratch.path().c_str()));
    EXPECT_EQ(mine, fullPath(name));
    SetCurrentDirectoryW(saved);
  }
  EXPECT_EQ(absoluteFilename(L""), L"");
  EXPECT_EQ(absoluteFilename(L"https://x/../y", scratch.path()), L"https://x/../y");
  EXPECT_EQ(absoluteFilename(L"C:\\" + std::wstring(400, L'd') + L"\\..\\e.txt"), L"C:\\e.txt");  // beyond MAX_PATH
  EXPECT_EQ(absoluteFilename(L"C:\\" + std::wstring(32763, L'a')).size(), 32766u);  // the longest name taken
}

TEST(FileNames, AbsoluteFilenameReportsItsOwnError) {
  const auto failure = [](DWORD error) { return formatMessage(error, nullptr) + L" calling GetFullPathNameW"; };
  // clang-format off
  const std::pair<std::wstring, DWORD> cases[] = {
      {L"   ", ERROR_INVALID_NAME},  // Wine refuses blanks without an error code
      {std::wstring(L"C:\\a\0b", 6), ERROR_INVALID_NAME},
      {L"C:\\" + std::wstring(32764, L'a'), ERROR_FILENAME_EXCED_RANGE},
  };
  // clang-format on
  for (const auto& c : cases) {
    const std::wstring& name = c.first;  // named: clang 14 cannot capture a structured binding
    const auto error = c.second;
    SCOPED_TRACE(name.size());
    SetLastError(ERROR_FILE_NOT_FOUND);  // an earlier, unrelated failure
    EXPECT_EQ(qortest::errorText([&] { (void)absoluteFilename(name); }), failure(error));
    EXPECT_EQ(qortest::errorText([&] { (void)absoluteFilename(L"x", name); }), failure(error));
  }
}

std::wstring shortPath(const std::wstring& name) {
  wchar_t out[MAX_PATH] = {};
  EXPECT_GT(GetShortPathNameW(name.c_str(), out, MAX_PATH), 0u);
  return out;
}

TEST(FileNames, GetLongFilenameExpandsShortNamesOfExistingFiles) {
  qortest::ScratchFolder scratch;
  const std::wstring longName = scratch.file(L"A rather long file name.text");
  qortest::writeBytes(longName, "x");
  const std::wstring shortName = shortPath(longName);
  EXPECT_NE(shortName, longName);
  wchar_t platform[MAX_PATH] = {};
  GetLongPathNameW(shortName.c_str(), platform, MAX_PATH);
  EXPECT_EQ(getLongFilename(shortName), platform);
  EXPECT_EQ(getLongFilename(shortName), longName);
  EXPECT_EQ(getLongFilename(scratch.file(L"NOSUCH~1.TXT")), scratch.file(L"NOSUCH~1.TXT"));

  // The longest component a file can have, reached through its short name;
  // the answer is longer than MAX_PATH.
  const std::wstring longest = scratch.file(std::wstring(254, L'n') + L"1");
  qortest::writeBytes(L"\\\\?\\" + longest, "x");
  EXPECT_EQ(getLongFilename(shortPath(L"\\\\?\\" + longest).substr(4)), longest);

  // Five short names could stand for 1275 units, more than the system's
  // answer may hold: they are resolved in steps, with the same answer.
  std::wstring nested = scratch.path();
  for (int level = 1; level <= 5; ++level) {
    nested += L"\\long directory name " + std::to_wstring(level);
    ASSERT_TRUE(CreateDirectoryW(nested.c_str(), nullptr));
  }
  const std::wstring nestedShort = shortPath(nested);
  GetLongPathNameW(nestedShort.c_str(), platform, MAX_PATH);
  EXPECT_EQ(getLongFilename(nestedShort), platform);
  EXPECT_EQ(getLongFilename(nestedShort), nested);
}

TEST(FileNames, GetLongFilenameKeepsNamesTheSystemCannotTake) {
  for (const std::wstring& name :
       {L"C:\\" + std::wstring(256, L'a'),                             // a component longer than any on disk
        std::wstring(1100, L'a'), L"C:\\" + std::wstring(2000, L'a'),  // Wine's GetLongPathNameW overran on these
        L"C:" + std::wstring(1030, L'\\'), std::wstring(L"C:\\\0x", 5)}) {
    SCOPED_TRACE(name.size());
    EXPECT_EQ(getLongFilename(name), name);
  }
}

TEST(FileNames, IsFileCharRefusesExactlyControlsSeparatorsWildcardsAndReservedPunctuation) {
  const std::wstring refused = L"<>:\"/\\|?*";
  for (unsigned c = 0; c < 0x10000; ++c) {
    const wchar_t ch = static_cast<wchar_t>(c);
    ASSERT_EQ(isFileChar(ch), c >= 0x20 && refused.find(ch) == std::wstring::npos) << "U+" << std::hex << c;
    if (c < 0x20 || c >= 0x80) continue;
    const UINT type = PathGetCharTypeW(ch);  // the shell agrees for ASCII
    EXPECT_EQ(isFileChar(ch), (type & GCT_LFNCHAR) != 0 && (type & (GCT_SEPARATOR | GCT_WILD)) == 0) << c;
  }
}

const std::wstring kNotUrl = L"\" is not a valid URL.";

TEST(Urls, IsURLNeedsASchemeOfTwoOrMoreCharacters) {
  // clang-format off
  runTable({{L"x-my.app+v2:thing", L"url"}, {L"ab:", L"url"}, {L"c:", L""}, {L"", L""}, {L"http", L""},
            {L":x", L""}, {L" http://x", L""}, {L"ht tp://x", L""}, {L"\\\\srv\\share", L""},
            {L"1ab:x", L"", "ParseURLW takes a digit first"}},
           [](const std::wstring& s) { return std::wstring(isURL(s) ? L"url" : L""); },
           [](const std::wstring& s) {
             PARSEDURLW parsed{};
             parsed.cbSize = sizeof parsed;
             return std::wstring(SUCCEEDED(ParseURLW(s.c_str(), &parsed)) ? L"url" : L"");
           });
  // clang-format on
}

TEST(Urls, UnescapeUrlDecodesUtf8AndKeepsWhatIsMalformed) {
  const char* perByte = "UrlUnescapeW (on Wine) decodes each byte alone";
  // clang-format off
  runTable({{L"a+b", L"a+b"}, {L"100%", L"100%"}, {L"%4", L"%4"}, {L"%G1x", L"%G1x"}, {L"%%41", L"%A"},
            {L"a?b=%41#%42", L"a?b=A#B"}, {L"\u00e9%20", L"\u00e9 "},
            {L"%F0%9F%98%80", L"\U0001F600", perByte},
            {L"caf%E9", L"caf%E9", "Latin-1 is no UTF-8: kept"},
            {L"%C3", L"%C3", "cut short"},
            {L"%C0%AF", L"%C0%AF", "overlong '/'"},
            {L"%ED%A0%80", L"%ED%A0%80", "a surrogate in UTF-8"},
            {L"%E9%C3%A9", L"%E9\u00e9", "the bad byte alone is kept"}},
           [](const std::wstring& s) { return unescapeUrl(s); },
           [](const std::wstring& s) {
             std::wstring in = s, out(s.size() + 8, L'\0');
             DWORD size = static_cast<DWORD>(out.size());
             EXPECT_TRUE(SUCCEEDED(UrlUnescapeW(in.data(), out.data(), &size, 0)));
             return std::wstring(out.c_str());
           });
  // clang-format on
  EXPECT_EQ(qortest::errorText([] { (void)unescapeUrl(L"a%00b"); }), L"\"a%00b" + kNotUrl);
}

TEST(Urls, CanonicalizeUrlLowersSchemeAndHostAndRemovesDotSegments) {
  const char* hostCase = "UrlCanonicalizeW keeps the host's case";
  const char* latin1 = "UrlCanonicalizeW escapes as Latin-1 or not at all";
  // clang-format off
  runTable({{L"http://x/a/b/../../../../c", L"http://x/c"}, {L"http://x", L"http://x/"},
            {L"http://x/a/..", L"http://x/"}, {L"http://x\\a\\..\\b", L"http://x/b"},
            {L"mailto:Some.One@Example.com", L"mailto:Some.One@Example.com"},
            {L"HTTP://Example.COM/a/./b/../c", L"http://example.com/a/c", hostCase},
            {L"http://[FE80::1]:8080", L"http://[fe80::1]:8080/", hostCase},
            {L"http://User:PW@Host/", L"http://User:PW@host/", hostCase},
            {L"http://x/a b", L"http://x/a%20b", "Wine leaves the blank"},
            {L"http://x/a/.", L"http://x/a/", "Wine keeps a final '.'"},
            {L"http://x/%7euser/%2f", L"http://x/~user/%2F", "UrlCanonicalizeW leaves escapes"},
            {L"http://x/caf\u00e9", L"http://x/caf%C3%A9", latin1},
            {L"http://x/\U0001F600", L"http://x/%F0%9F%98%80", latin1},
            {L"http://x/100%", L"http://x/100%25", "UrlCanonicalizeW keeps a stray '%'"},
            {L"http://x/a?b=c d#e f", L"http://x/a?b=c%20d#e%20f", "UrlCanonicalizeW leaves blanks after '?'"},
            {L"http://x/a?p=./../q", L"http://x/a?p=./../q", "Wine resolves dots in the query"},
            {L"file:///C:/a/../b.txt", L"file:///C:/b.txt", "UrlCanonicalizeW makes file names"},
            {L"urn:a/./b", L"urn:a/./b", "no root, no dot removal"},
            {L"file:/.//C:/a", L"file:/.//C:/a"},  // "//C:" would read back as a host
            {L"http://%C3%A9X%4A/", L"http://%C3%A9xj/", hostCase},  // escapes stay upper case
            {L"x-app:{id}", L"x-app:%7Bid%7D", "UrlCanonicalizeW leaves braces"}},
           [](const std::wstring& s) {
             const std::wstring out = canonicalizeUrl(s);
             EXPECT_EQ(canonicalizeUrl(out), out) << "a fixed point";
             return out;
           },
           [](const std::wstring& s) {
             wchar_t out[512] = {};
             DWORD size = 512;
             EXPECT_EQ(UrlCanonicalizeW(s.c_str(), out, &size, 0), S_OK);
             return std::wstring(out);
           });
  // clang-format on
  EXPECT_EQ(qortest::errorText([] { (void)canonicalizeUrl(L"C:\\a\\b"); }), L"\"C:\\a\\b" + kNotUrl);
}

TEST(Urls, RandomTextsSurviveEscapingAndCanonicalFormsAreFixedPoints) {
  // clang-format off
  const std::wstring pieces[] = {L"a", L"/", L".", L"..", L"%", L" ", L"?", L"#", L"\\", L"\u00e9",
                                 L"\u4e2d", L"\U0001F600", L"~", L"+", L"{", L"@", L":", L"[", L"\u0001"};
  std::mt19937 random(15);
  for (int round = 0; round < 2000; ++round) {
    std::wstring text, escaped;
    for (int n = std::uniform_int_distribution<int>(0, 12)(random); n > 0; --n) {
      const std::wstring& piece = pieces[random() % std::size(pieces)];
      text += piece;
      if (random() % 2 && piece != L"%") {
        escaped += piece;
        continue;
      }
      char bytes[16];  // percent-escape the piece's UTF-8 bytes, by the system's converter
      const int count = WideCharToMultiByte(CP_UTF8, 0, piece.data(), static_cast<int>(piece.size()), bytes, 16, nullptr, nullptr);
      for (int b = 0; b < count; ++b) {
        wchar_t hex[4];
        swprintf(hex, 4, L"%%%02X", static_cast<unsigned char>(bytes[b]));
        escaped += hex;
      }
    }
    SCOPED_TRACE(utf8(text));
    EXPECT_EQ(unescapeUrl(escaped), text);
    const std::wstring canonical = canonicalizeUrl(L"http://H/" + text);
    EXPECT_EQ(canonicalizeUrl(canonical), canonical);
    for (wchar_t c : canonical) ASSERT_TRUE(c > 0x20 && c < 0x7F && std::wstring_view(L"\"<>\\^`{|} ").find(c) == std::wstring_view::npos);
  }
}

TEST(Urls, CleanupUrlStripsWhatSurroundsAPastedUrl) {
  // clang-format off
  runTable({{L"  https://example.com/a \r\n", L"https://example.com/a"}, {L"'http://x/a'", L"http://x/a"},
            {L"< URL:http://x/ >", L"http://x/"}, {L"<\"http://x/\">", L"http://x/"},
            {L"http://x/a-\r\n   long/path", L"http://x/a-long/path"}, {L"http://x/a b", L"http://x/a b"},
            {L"\t\u3000http://x/\u00a0", L"http://x/"}, {L"<http://x/", L"\"<http://x/" + kNotUrl},
            {L"\"\"", L"\"\"\"" + kNotUrl}, {L"", L"\"" + kNotUrl}},
           [](const std::wstring& s) {
             try {
               return cleanupUrl(s);
             } catch (const QOR::QorError& e) {
               return std::wstring(e.wWhat());
             }
           });
  // clang-format on
}

TEST(Urls, DownloadUrlToCacheCopiesAFileUrlAndNamesTheUrlOnFailure) {
  qortest::ScratchFolder scratch;
  const std::string bytes = "x,y\r\n1,2\r\n";
  qortest::writeBytes(scratch.file(L"points 1.csv"), bytes);  // Wine finds no non-ASCII names here
  std::wstring url = L"file:///" + scratch.file(L"points 1.csv");
  for (wchar_t& c : url)
    if (c == L'\\') c = L'/';
  EXPECT_EQ(qortest::readBytes(downloadUrlToCache(url)), bytes);
  const std::wstring missing = L"file:///" + scratch.file(L"missing.csv");
  EXPECT_EQ(qortest::errorText([&] { (void)downloadUrlToCache(missing); }),
            L"Cannot download \"" + missing + L"\" to the cache.");
  EXPECT_EQ(qortest::errorText([] { (void)downloadUrlToCache(L"no url"); }), L"\"no url" + kNotUrl);
  EXPECT_EQ(qortest::errorText([] { (void)downloadUrlToCache(std::wstring(L"file:///a\0b", 11)); }),
            L"\"file:///a" + kNotUrl);
  // Longer than the system takes (Wine's download overran a buffer on each);
  // "http://h:9/x.eee" has the extension ".eee", "file:///C:/aaa" none.
  for (const std::wstring& url :
       {L"http://localhost:9/x." + std::wstring(300, L'e'), L"file:///C:/" + std::wstring(2200, L'a')}) {
    SCOPED_TRACE(url.size());
    EXPECT_EQ(qortest::errorText([&] { (void)downloadUrlToCache(url); }),
              L"Cannot download \"" + url + L"\" to the cache.");
  }
}
// clang-format on

}  // namespace
