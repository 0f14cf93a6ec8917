#include <qorcor14/platform/filenames.h>
#include <qorcor14/text/strings.h>

#include "support/files.h"

#include <gtest/gtest.h>

#include <windows.h>
#include <shlwapi.h>

#include <string>

namespace {

std::string show(const std::wstring& s) { return utf8(s); }

TEST(FileNames, AnalyzeFileTypeClassifiesEveryForm) {
  const struct {
    const wchar_t* name;
    FileType type;
  } cases[] = {
      {L"", FileType::Empty},
      {L"a.txt", FileType::Relative},
      {L"..\\a", FileType::Relative},
      {L"\\a", FileType::Rooted},
      {L"/a/b", FileType::Rooted},
      {L"C:a", FileType::DriveRelative},
      {L"c:", FileType::DriveRelative},
      {L"C:\\a", FileType::DriveAbsolute},
      {L"C:/a", FileType::DriveAbsolute},
      {L"\\\\srv\\share\\a", FileType::UNC},
      {L"//srv/share", FileType::UNC},
      {L"\\/srv", FileType::UNC},  // mixed separators
      {L"\\\\", FileType::UNC},
      {L"\\\\.\\COM1", FileType::Device},
      {L"//./pipe/x", FileType::Device},
      {L"\\\\?\\C:\\a", FileType::Extended},
      {L"\\\\?\\UNC\\srv\\share", FileType::Extended},
      {L"//?/C:/a", FileType::UNC},  // only "\\?\" is extended; "//?/" is a server named "?"
      {L"http://x/", FileType::URL},
      {L"file:///C:/a", FileType::URL},
      {L"ab:c", FileType::URL},
      {L"1a:b", FileType::Relative},  // a scheme starts with a letter
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(show(c.name));
    EXPECT_EQ(analyzeFileType(c.name), c.type);
  }
}

TEST(FileNames, GetDirectoryStopsAtTheRoot) {
  const struct {
    const wchar_t* name;
    const wchar_t* directory;
  } cases[] = {
      {L"C:\\a\\b.txt", L"C:\\a"},
      {L"C:\\b.txt", L"C:\\"},
      {L"C:\\", L"C:\\"},
      {L"C:b.txt", L"C:"},
      {L"C:/a/b", L"C:/a"},
      {L"C:\\a\\\\b", L"C:\\a"},  // doubled separator
      {L"a\\b\\", L"a\\b"},       // trailing separator
      {L"a/b\\c", L"a/b"},        // mixed separators
      {L"b.txt", L""},
      {L"", L""},
      {L"\\b", L"\\"},
      {L"\\\\srv\\share\\b.txt", L"\\\\srv\\share"},
      {L"\\\\srv\\share", L"\\\\srv\\share"},
      {L"\\\\srv\\share\\", L"\\\\srv\\share"},
      {L"\\\\?\\C:\\a\\b", L"\\\\?\\C:\\a"},
      {L"\\\\?\\C:\\b", L"\\\\?\\C:\\"},
      {L"\\\\?\\C:\\a/b", L"\\\\?\\C:\\"},  // '/' is literal in an extended name
      {L"\\\\?\\UNC\\srv\\share\\b", L"\\\\?\\UNC\\srv\\share"},
      {L"\\\\.\\pipe\\x", L"\\\\.\\pipe"},
      {L"a\\..", L"a"},  // nothing is resolved
      {L"http://host/a/b", L"http://host/a"},
      {L"http://host", L"http://host"},  // the scheme and host are its root
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(show(c.name));
    EXPECT_EQ(getDirectory(c.name), c.directory);
  }
}

TEST(FileNames, JoinDirectoryAgreesWithPathCombineExceptWhereItResolvesNothing) {
  const struct {
    const wchar_t* dir;
    const wchar_t* name;
    const wchar_t* joined;
    const char* differs;  // why PathCombineW gives something else, or null
  } cases[] = {
      {L"C:\\a", L"b.txt", L"C:\\a\\b.txt", nullptr},
      {L"C:\\a\\", L"b.txt", L"C:\\a\\b.txt", nullptr},
      {L"C:\\", L"b.txt", L"C:\\b.txt", nullptr},
      {L"C:\\a", L"D:\\b.txt", L"D:\\b.txt", nullptr},
      {L"C:\\a\\b", L"\\c", L"C:\\c", nullptr},
      {L"\\\\srv\\share\\a", L"b", L"\\\\srv\\share\\a\\b", nullptr},
      {L"\\\\srv\\share\\a", L"\\b", L"\\\\srv\\share\\b", nullptr},
      {L"C:\\a", L"\\\\srv\\share\\b", L"\\\\srv\\share\\b", nullptr},
      {L"C:\\a\\\\", L"b.txt", L"C:\\a\\b.txt", "PathCombineW keeps one of the doubled separators"},
      {L"C:\\a", L"..\\b", L"C:\\a\\..\\b", "PathCombineW resolves '..'; joining resolves nothing"},
      {L"C:\\a", L".\\b", L"C:\\a\\.\\b", "PathCombineW resolves '.'"},
      {L"C:/a", L"b", L"C:/a\\b", "PathCombineW does not take '/' as a separator"},
      {L"C:", L"b", L"C:b", "PathCombineW makes it absolute (C:\\b), changing the meaning"},
      {L"a", L"b", L"a\\b", nullptr},
      {L"", L"b", L"b", nullptr},
      {L"C:\\a", L"", L"C:\\a", "PathCombineW adds a trailing separator"},
      {L"\\\\?\\C:\\a", L"b/c", L"\\\\?\\C:\\a\\b/c", "PathCombineW turns nothing into '\\' but checks the length"},
      {L"http://x/a", L"b", L"http://x/a/b", "PathCombineW knows no URLs"},
      {L"C:\\a", L"http://x/", L"http://x/", "PathCombineW knows no URLs"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(show(std::wstring(c.dir) + L" + " + c.name));
    EXPECT_EQ(joinDirectory(c.dir, c.name), c.joined);
    if (c.differs) continue;
    wchar_t combined[MAX_PATH] = {};
    ASSERT_TRUE(PathCombineW(combined, c.dir, c.name));
    EXPECT_EQ(joinDirectory(c.dir, c.name), combined) << "PathCombineW";
  }
  EXPECT_EQ(joinDirectory(std::wstring(300, L'a'), L"b").size(), 302u);  // no MAX_PATH limit
}

TEST(FileNames, AbsoluteFilenameMatchesGetFullPathNameInTheBaseDirectory) {
  qortest::ScratchFolder scratch;
  const std::wstring base = scratch.path();
  wchar_t saved[MAX_PATH + 1] = {};
  GetCurrentDirectoryW(MAX_PATH + 1, saved);
  const wchar_t* names[] = {L"a.txt",         L"..\\a.txt",      L".\\x\\..\\y",     L"a/b\\c",
                            L"\\top.txt",     L"C:\\a\\..\\..\\b", L"C:/x/./y",       L"\\\\srv\\share\\..\\x",
                            L"\\\\?\\C:\\a\\..\\b", L"trailing\\",   L"dots...",        L"C:x.txt",
                            L"\\\\.\\COM1"};
  for (const wchar_t* name : names) {
    SCOPED_TRACE(show(name));
    const std::wstring mine = absoluteFilename(name, base);
    ASSERT_TRUE(SetCurrentDirectoryW(base.c_str()));
    wchar_t platform[MAX_PATH * 2] = {};
    GetFullPathNameW(name, MAX_PATH * 2, platform, nullptr);
    SetCurrentDirectoryW(saved);
    EXPECT_EQ(mine, platform);
    EXPECT_EQ(absoluteFilename(name), [&] {
      wchar_t here[MAX_PATH * 2] = {};
      GetFullPathNameW(name, MAX_PATH * 2, here, nullptr);
      return std::wstring(here);
    }());
  }
  EXPECT_EQ(absoluteFilename(L""), L"");
  EXPECT_EQ(absoluteFilename(L"https://x/../y", base), L"https://x/../y");  // URLs are not file names
  // Beyond MAX_PATH: the system's limit, not the old one.
  const std::wstring deep = L"C:\\" + std::wstring(400, L'd') + L"\\..\\e.txt";
  EXPECT_EQ(absoluteFilename(deep), L"C:\\e.txt");
}

TEST(FileNames, AbbreviateFilenameKeepsTheFileName) {
  const std::wstring path = L"C:\\very\\long\\path\\file.txt";  // 26 units
  const struct {
    std::wstring name;
    std::size_t max;
    std::wstring shortened;
    const char* differs;  // why PathCompactPathExW gives something else, or null
  } cases[] = {
      {path, 26, path, "Wine's PathCompactPathExW shortens a name that fits exactly"},
      {path, 40, path, nullptr},
      {path, 20, L"C:\\very\\...\\file.txt", "PathCompactPathExW keeps only the root"},
      {path, 25, L"C:\\very\\long\\...\\file.txt", "PathCompactPathExW keeps only the root"},
      {path, 14, L"...\\file.txt", "PathCompactPathExW keeps a cut-off start (\"C:...\\file.txt\")"},
      {path, 12, L"...\\file.txt", nullptr},
      {path, 11, L"file.txt...", "PathCompactPathExW cuts the name differently"},
      {path, 4, L"f...", "PathCompactPathExW cuts the name differently"},
      {path, 3, L"fil", "PathCompactPathExW gives dots"},
      {path, 0, L"", nullptr},
      {L"C:\\a\\b\\c\\d\\", 8, L"...\\d\\", "PathCompactPathExW drops the trailing separator"},
      {L"C:\\aaaa\\\U0001F600\U0001F600", 6, L"\U0001F600...", "the pair is kept whole: one unit short"},
      {L"C:\\aaaa\\b\U0001F600c", 5, L"b...", "the pair is kept whole: one unit short"},
      {L"\\\\?\\C:\\x\\y\\z/w", 12, L"...\\z/w", "'/' is literal in an extended name"},
      {L"\\\\srv\\share\\a\\file.txt", 16, L"...\\file.txt", "never half a root: PathCompactPathExW keeps \\\\"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(show(c.name) + " to " + std::to_string(c.max));
    const std::wstring mine = abbreviateFilename(c.name, c.max);
    EXPECT_EQ(mine, c.shortened);
    EXPECT_LE(mine.size(), c.max);
    if (c.differs || c.max == 0) continue;
    wchar_t compact[MAX_PATH] = {};
    ASSERT_TRUE(PathCompactPathExW(compact, c.name.c_str(), static_cast<UINT>(c.max + 1), 0));
    EXPECT_EQ(mine, compact) << "PathCompactPathExW";
  }
}

TEST(FileNames, GetLongFilenameExpandsShortNamesOfExistingFiles) {
  qortest::ScratchFolder scratch;
  const std::wstring longName = scratch.file(L"A rather long file name.text");
  qortest::writeBytes(longName, "x");
  wchar_t shortName[MAX_PATH] = {};
  ASSERT_GT(GetShortPathNameW(longName.c_str(), shortName, MAX_PATH), 0u);
  EXPECT_NE(std::wstring(shortName), longName);
  wchar_t platform[MAX_PATH] = {};
  GetLongPathNameW(shortName, platform, MAX_PATH);
  EXPECT_EQ(getLongFilename(shortName), platform);
  EXPECT_EQ(getLongFilename(shortName), longName);
  const std::wstring missing = scratch.file(L"NOSUCH~1.TXT");
  EXPECT_EQ(getLongFilename(missing), missing);  // not there: unchanged
  EXPECT_EQ(getLongFilename(L""), L"");
}

TEST(FileNames, IsFileCharRefusesExactlyControlsSeparatorsWildcardsAndReservedPunctuation) {
  const std::wstring refused = L"<>:\"/\\|?*";
  for (unsigned c = 0; c < 0x10000; ++c) {
    const wchar_t ch = static_cast<wchar_t>(c);
    const bool expected = c >= 0x20 && refused.find(ch) == std::wstring::npos;
    ASSERT_EQ(isFileChar(ch), expected) << "U+" << std::hex << c;
  }
  // The shell agrees on what a long name may hold, for the ASCII range.
  for (wchar_t c = 0x20; c < 0x80; ++c) {
    SCOPED_TRACE(static_cast<int>(c));
    const UINT type = PathGetCharTypeW(c);
    EXPECT_EQ(isFileChar(c), (type & GCT_LFNCHAR) != 0 && (type & (GCT_SEPARATOR | GCT_WILD)) == 0);
  }
}

}  // namespace
