#include <qorcor14/platform/urls.h>
#include <qorcor14/text/strings.h>

#include "support/files.h"

#include <gtest/gtest.h>

#include <windows.h>
#include <shlwapi.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <vector>
#include <string>

#ifndef URL_UNESCAPE_AS_UTF8
#  define URL_UNESCAPE_AS_UTF8 0x00040000
#endif

namespace {

std::string show(const std::wstring& s) { return utf8(s); }

TEST(Urls, IsURLNeedsASchemeOfTwoOrMoreCharacters) {
  const struct {
    const wchar_t* text;
    bool url;
    const char* differs;  // why ParseURLW answers otherwise, or null
  } cases[] = {
      {L"http://x", true, nullptr},
      {L"mailto:a@b", true, nullptr},
      {L"x-my.app+v2:thing", true, nullptr},
      {L"ab:", true, nullptr},
      {L"C:\\a", false, nullptr},
      {L"c:", false, nullptr},
      {L"", false, nullptr},
      {L"http", false, nullptr},
      {L":x", false, nullptr},
      {L"1ab:x", false, "a scheme starts with a letter; ParseURLW takes a digit"},
      {L" http://x", false, nullptr},
      {L"ht tp://x", false, nullptr},
      {L"\\\\srv\\share", false, nullptr},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(show(c.text));
    EXPECT_EQ(isURL(c.text), c.url);
    if (c.differs) continue;
    PARSEDURLW parsed{};
    parsed.cbSize = sizeof parsed;
    EXPECT_EQ(SUCCEEDED(ParseURLW(c.text, &parsed)), c.url) << "ParseURLW";
  }
}

TEST(Urls, UnescapeUrlDecodesUtf8AndKeepsWhatIsMalformed) {
  const struct {
    const wchar_t* url;
    const wchar_t* text;
    bool platform;  // whether UrlUnescapeW (as UTF-8 when non-ASCII) agrees
  } cases[] = {
      {L"a%20b", L"a b", true},
      {L"%41%42c", L"ABc", true},
      {L"a+b", L"a+b", true},  // not form encoding
      {L"caf%C3%A9", L"caf\u00e9", true},
      {L"caf%c3%a9", L"caf\u00e9", true},
      {L"%E4%B8%AD%E6%96%87", L"\u4e2d\u6587", true},
      {L"%F0%9F%98%80", L"\U0001F600", true},
      {L"100%", L"100%", true},
      {L"%4", L"%4", true},
      {L"%G1x", L"%G1x", true},
      {L"%%41", L"%A", true},
      {L"caf%E9", L"caf%E9", false},          // a Latin-1 byte is no UTF-8: kept as written
      {L"%C3", L"%C3", false},                // a sequence cut short
      {L"%C0%AF", L"%C0%AF", false},          // overlong '/': a classic traversal trick
      {L"%ED%A0%80", L"%ED%A0%80", false},    // a surrogate in UTF-8
      {L"%E9%C3%A9", L"%E9\u00e9", false},    // the bad byte alone is kept
      {L"\u00e9%20", L"\u00e9 ", true},       // text that is already wide stays as it is
      {L"a?b=%41#%42", L"a?b=A#B", true},     // query and fragment too
  };
  // Older systems (and Wine) ignore URL_UNESCAPE_AS_UTF8 and decode each
  // escape to the character of that number.
  wchar_t probe[] = L"%C3%A9", decoded[8] = {};
  DWORD probeSize = 8;
  const bool platformUnescapesUtf8 =
      SUCCEEDED(UrlUnescapeW(probe, decoded, &probeSize, URL_UNESCAPE_AS_UTF8)) && std::wstring(decoded) == L"\u00e9";
  for (const auto& c : cases) {
    SCOPED_TRACE(show(c.url));
    EXPECT_EQ(unescapeUrl(c.url), c.text);
    if (!c.platform) continue;
    std::wstring buffer(c.url);
    buffer.resize(buffer.size() + 8);
    DWORD size = static_cast<DWORD>(buffer.size());
    std::wstring in(c.url);
    const std::size_t percent = in.find(L'%');
    const bool escapesNonAscii = percent + 1 < in.size() && std::wstring_view(L"89ABCDEFabcdef").find(in[percent + 1]) != std::wstring_view::npos;
    if (escapesNonAscii && !platformUnescapesUtf8) continue;  // it would give one character per byte
    if (FAILED(UrlUnescapeW(in.data(), buffer.data(), &size, escapesNonAscii ? URL_UNESCAPE_AS_UTF8 : 0))) continue;
    EXPECT_EQ(unescapeUrl(c.url), buffer.c_str()) << "UrlUnescapeW";
  }
  const std::wstring nul = qortest::errorText([] { (void)unescapeUrl(L"a%00b"); });
  EXPECT_EQ(nul, L"\"a%00b\" is not a valid URL.");
}

TEST(Urls, CanonicalizeUrlLowersSchemeAndHostAndRemovesDotSegments) {
  const struct {
    const wchar_t* url;
    const wchar_t* canonical;
    const char* differs;  // why UrlCanonicalizeW gives something else, or null
  } cases[] = {
      {L"http://example.com/a/b", L"http://example.com/a/b", nullptr},
      {L"HTTP://Example.COM/a/./b/../c", L"http://example.com/a/c", "UrlCanonicalizeW keeps the host's case"},
      {L"http://x/a/b/../../../../c", L"http://x/c", nullptr},
      {L"http://x", L"http://x/", nullptr},
      {L"http://x/a b", L"http://x/a%20b", "Wine's UrlCanonicalizeW leaves the blank (Windows escapes it)"},
      {L"http://x/a/.", L"http://x/a/", "Wine's UrlCanonicalizeW keeps a final '.' segment"},
      {L"http://x/a/..", L"http://x/", nullptr},
      {L"HTTP://x/", L"http://x/", "Wine's UrlCanonicalizeW keeps the scheme's case"},
      {L"http://x\\a\\..\\b", L"http://x/b", nullptr},
      {L"http://x/%7euser/%2f", L"http://x/~user/%2F", "UrlCanonicalizeW leaves escapes as written"},
      {L"http://x/caf\u00e9", L"http://x/caf%C3%A9", "UrlCanonicalizeW escapes as Latin-1 or not at all"},
      {L"http://x/\U0001F600", L"http://x/%F0%9F%98%80", "UrlCanonicalizeW escapes as Latin-1 or not at all"},
      {L"http://x/100%", L"http://x/100%25", "UrlCanonicalizeW keeps a stray '%'"},
      {L"http://[FE80::1]:8080", L"http://[fe80::1]:8080/", "UrlCanonicalizeW keeps the host's case"},
      {L"http://User:PW@Host/", L"http://User:PW@host/", "UrlCanonicalizeW keeps the host's case"},
      {L"http://x/a?b=c d#e f", L"http://x/a?b=c%20d#e%20f", "UrlCanonicalizeW leaves blanks after '?'"},
      {L"http://x/a?p=./../q", L"http://x/a?p=./../q", "Wine's UrlCanonicalizeW resolves dots inside the query"},
      {L"file:///C:/a/../b.txt", L"file:///C:/b.txt", "UrlCanonicalizeW turns file URLs into file names"},
      {L"mailto:Some.One@Example.com", L"mailto:Some.One@Example.com", nullptr},
      {L"urn:a/./b", L"urn:a/./b", "a path without a root keeps its dots"},
      {L"x-app:{id}", L"x-app:%7Bid%7D", "UrlCanonicalizeW leaves braces"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(show(c.url));
    const std::wstring mine = canonicalizeUrl(c.url);
    EXPECT_EQ(mine, c.canonical);
    EXPECT_EQ(canonicalizeUrl(mine), mine);  // canonical forms are fixed points
    if (c.differs) continue;
    wchar_t platform[512] = {};
    DWORD size = 512;
    ASSERT_EQ(UrlCanonicalizeW(c.url, platform, &size, 0), S_OK);
    EXPECT_EQ(mine, platform) << "UrlCanonicalizeW";
  }
  EXPECT_EQ(qortest::errorText([] { (void)canonicalizeUrl(L"C:\\a\\b"); }), L"\"C:\\a\\b\" is not a valid URL.");
}

// Every character of s as percent-escapes of its UTF-8 bytes, by the
// system's converter, or as it is where `keep` says so.
std::wstring escapeAll(const std::wstring& s, const std::vector<bool>& keep) {
  std::wstring out;
  for (std::size_t i = 0; i < s.size(); ++i) {
    const std::size_t n = IS_HIGH_SURROGATE(s[i]) ? 2 : 1;
    if (keep[i] && s[i] != L'%') {
      out.append(s, i, n);
    } else {
      char bytes[8];
      const int count = WideCharToMultiByte(CP_UTF8, 0, s.data() + i, static_cast<int>(n), bytes, 8, nullptr, nullptr);
      for (int b = 0; b < count; ++b) {
        wchar_t hex[4];
        swprintf(hex, 4, L"%%%02X", static_cast<unsigned char>(bytes[b]));
        out += hex;
      }
    }
    i += n - 1;
  }
  return out;
}

TEST(Urls, RandomTextsSurviveEscapingAndCanonicalFormsAreFixedPoints) {
  const std::wstring pieces[] = {L"a", L"Z", L"0", L"/", L".", L"..", L"%", L" ", L"?", L"#", L"\\", L"\u00e9",
                                 L"\u4e2d", L"\U0001F600", L"~", L"+", L"{", L"@", L":", L"[", L"\u0001"};
  std::mt19937 random(15);
  for (int round = 0; round < 2000; ++round) {
    std::wstring text;
    for (int n = std::uniform_int_distribution<int>(0, 12)(random); n > 0; --n)
      text += pieces[std::uniform_int_distribution<std::size_t>(0, std::size(pieces) - 1)(random)];
    SCOPED_TRACE(show(text));
    std::vector<bool> keep(text.size());
    for (std::size_t i = 0; i < keep.size(); ++i) keep[i] = random() % 2 == 0;
    EXPECT_EQ(unescapeUrl(escapeAll(text, keep)), text);
    const std::wstring canonical = canonicalizeUrl(L"http://H/" + text);
    EXPECT_EQ(canonicalizeUrl(canonical), canonical);
    for (wchar_t c : canonical) ASSERT_TRUE(c > 0x20 && c < 0x7F && std::wstring_view(L"\"<>\\^`{|} ").find(c) == std::wstring_view::npos);
  }
}

TEST(Urls, CleanupUrlStripsWhatSurroundsAPastedUrl) {
  const struct {
    const wchar_t* pasted;
    const wchar_t* url;  // null: not a URL, text 278
  } cases[] = {
      {L"  https://example.com/a \r\n", L"https://example.com/a"},
      {L"<https://example.com/a>", L"https://example.com/a"},
      {L"\"http://x/a\"", L"http://x/a"},
      {L"'http://x/a'", L"http://x/a"},
      {L"< URL:http://x/ >", L"http://x/"},
      {L"<\"http://x/\">", L"http://x/"},
      {L"http://x/a-\r\n   long/path", L"http://x/a-long/path"},
      {L"http://x/a b", L"http://x/a b"},  // an inner blank is kept
      {L"\t\u3000http://x/\u00a0", L"http://x/"},
      {L"<http://x/", nullptr},  // brackets only come off in pairs
      {L"not a url", nullptr},
      {L"\"\"", nullptr},
      {L"", nullptr},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(show(c.pasted));
    if (c.url) {
      EXPECT_EQ(cleanupUrl(c.pasted), c.url);
    } else {
      EXPECT_EQ(qortest::errorText([&] { (void)cleanupUrl(c.pasted); }),
                L"\"" + std::wstring(c.pasted) + L"\" is not a valid URL.");
    }
  }
}

TEST(Urls, DownloadUrlToCacheCopiesAFileUrlAndNamesTheUrlOnFailure) {
  qortest::ScratchFolder scratch;
  // A blank in the name; Wine's file protocol finds no file whose name is
  // not ASCII, escaped or not, so there is none here.
  const std::wstring source = scratch.file(L"points 1.csv");
  const std::string bytes = "x,y\r\n1,2\r\n";
  qortest::writeBytes(source, bytes);
  std::wstring url = L"file:///" + source;
  for (wchar_t& c : url)
    if (c == L'\\') c = L'/';
  const std::wstring cached = downloadUrlToCache(url);
  std::ifstream in(std::filesystem::path(cached), std::ios::binary);
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()), bytes);

  const std::wstring missing = L"file:///" + scratch.file(L"missing.csv");
  EXPECT_EQ(qortest::errorText([&] { (void)downloadUrlToCache(missing); }),
            L"Cannot download \"" + missing + L"\" to the cache.");
  EXPECT_EQ(qortest::errorText([] { (void)downloadUrlToCache(L"no url"); }), L"\"no url\" is not a valid URL.");
}

}  // namespace
