// File names and URLs from hostile input: every function of filenames.h and
// urls.h but the download.
//
// Input: byte 0 chooses how the rest becomes text (bit 0 set: UTF-16LE
// units; clear: one unit per byte, bytes from 0x80 up standing for the units
// names and URLs trip over), byte 1 is the length abbreviateFilename gets.
// The text up to its first '|' is the name; what follows is the directory or
// base it is joined to or made absolute in.
#include "fuzz_target.h"

#include <qorcor14/errors.h>
#include <qorcor14/platform/filenames.h>
#include <qorcor14/platform/urls.h>
#include <qorcor14/text/strings.h>

#include <windows.h>

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace {

// What bytes 0x80..0x8F stand for; the bytes above repeat them.
constexpr wchar_t kSpecialUnits[16] = {0x00E9, 0x4E2D, 0xD83D, 0xDE00, 0xD800, 0xDC00, 0xFEFF, 0x3000,
                                       0x00A0, 0x2028, 0xFFFD, 0xFFFF, 0x0000, 0x0085, 0x007F, 0x0080};

std::wstring textOf(const std::uint8_t* data, std::size_t size, bool utf16) {
  std::wstring text;
  if (utf16) {
    for (std::size_t i = 0; i + 1 < size; i += 2) text += static_cast<wchar_t>(data[i] | data[i + 1] << 8);
  } else {
    for (std::size_t i = 0; i < size; ++i)
      text += data[i] < 0x80 ? static_cast<wchar_t>(data[i]) : kSpecialUnits[data[i] & 15];
  }
  return text;
}

std::vector<std::uint8_t> encode(const std::wstring& text, std::uint8_t maxChars) {
  std::vector<std::uint8_t> bytes{1, maxChars};
  for (wchar_t c : text) {
    bytes.push_back(static_cast<std::uint8_t>(c & 0xFF));
    bytes.push_back(static_cast<std::uint8_t>(c >> 8));
  }
  return bytes;
}

qorfuzz::Seed seed(const std::wstring& text, std::uint8_t maxChars = 20) {
  return {utf8(text).substr(0, 40), encode(text, maxChars)};
}

// A scheme as the header describes it: a letter, then letters, digits, '+',
// '-' or '.', at least two in all, then ':'.
bool referenceIsUrl(const std::wstring& s) {
  const auto letter = [](wchar_t c) { return (c >= L'a' && c <= L'z') || (c >= L'A' && c <= L'Z'); };
  std::size_t i = 0;
  while (i < s.size() &&
         (letter(s[i]) || (i > 0 && ((s[i] >= L'0' && s[i] <= L'9') || s[i] == L'+' || s[i] == L'-' || s[i] == L'.'))))
    ++i;
  return i >= 2 && i < s.size() && s[i] == L':';
}

bool isWhite(wchar_t c) { return c == L' ' || (c >= L'\t' && c <= L'\r') || c == 0xA0 || c == 0x3000 || c == 0xFEFF; }

bool validUtf16(const std::wstring& s) {
  for (std::size_t i = 0; i < s.size(); ++i) {
    if (IS_HIGH_SURROGATE(s[i]) && i + 1 < s.size() && IS_LOW_SURROGATE(s[i + 1])) ++i;
    else if (s[i] >= 0xD800 && s[i] <= 0xDFFF) return false;
  }
  return true;
}

std::wstring notAUrl(const std::wstring& text) {
  return L"\"" + text.substr(0, text.find(L'\0')) + L"\" is not a valid URL.";
}

// The text of the QOR::QorError f throws, or nothing when it returns.
template <class F>
std::optional<std::wstring> errorOf(F f) {
  try {
    f();
  } catch (const QOR::QorError& e) {
    return std::wstring(e.wWhat());
  }
  return std::nullopt;
}

void checkNames(const std::wstring& name, const std::wstring& other, std::size_t maxChars) {
  const FileType type = analyzeFileType(name);
  qorfuzz::fuzzCheck((type == FileType::Empty) == name.empty(), "analyzeFileType: Empty for a non-empty name");
  qorfuzz::fuzzCheck(type != FileType::URL || isURL(name), "analyzeFileType: URL for what isURL refuses");

  const std::wstring dir = getDirectory(name);
  qorfuzz::fuzzCheck(name.compare(0, dir.size(), dir) == 0, "getDirectory: not a start of the name");

  const std::wstring joined = joinDirectory(other, name);
  if (other.empty()) qorfuzz::fuzzCheck(joined == name, "joinDirectory: an empty dir changed the name");
  else if (name.empty()) qorfuzz::fuzzCheck(joined == other, "joinDirectory: an empty name changed the dir");
  else if (type == FileType::Relative) {
    const std::wstring bare = name.substr(std::min(name.find_first_not_of(L"\\/"), name.size()));
    qorfuzz::fuzzCheck(
        joined.size() >= bare.size() && joined.compare(joined.size() - bare.size(), bare.size(), bare) == 0,
        "joinDirectory: a relative name is not kept at the end");
  } else if (type != FileType::Rooted) {
    qorfuzz::fuzzCheck(joined == name, "joinDirectory: a name that is not relative did not win");
  }

  const std::wstring shortened = abbreviateFilename(name, maxChars);
  qorfuzz::fuzzCheck(shortened.size() <= maxChars, "abbreviateFilename: longer than its limit");
  if (name.size() <= maxChars) qorfuzz::fuzzCheck(shortened == name, "abbreviateFilename: changed a name that fits");

  for (wchar_t c : name)
    if (c < 0x20) qorfuzz::fuzzCheck(!isFileChar(c), "isFileChar: accepts a control character");

  // The system is asked only for names it can take; the others come back.
  const std::wstring longForm = getLongFilename(name);
  std::size_t longestComponent = 0;
  for (std::size_t at = 0; at <= name.size();) {
    const std::size_t end = std::min(name.find_first_of(L"\\/", at), name.size());
    longestComponent = std::max(longestComponent, end - at);
    at = end + 1;
  }
  const bool extended = name.starts_with(L"\\\\?\\");
  if (longestComponent > 255 || name.size() >= (extended ? 1024u : MAX_PATH) || name.find(L'\0') != std::wstring::npos)
    qorfuzz::fuzzCheck(longForm == name, "getLongFilename: changed a name the system cannot take");
  qorfuzz::fuzzCheck(getLongFilename(longForm) == longForm, "getLongFilename: the long form changes again");

  // A failure names its own error: GetFullPathNameW never looks for a file,
  // so "file not found" can only be left over from before.
  const std::wstring stale = formatMessage(ERROR_FILE_NOT_FOUND, nullptr) + L" calling GetFullPathNameW";
  for (const auto& call : {+[](const std::wstring&n, const std::wstring&) { return absoluteFilename(n); },
                           +[](const std::wstring&n, const std::wstring&b) { return absoluteFilename(n, b); }}) {
    SetLastError(ERROR_FILE_NOT_FOUND);
    try {
      const std::wstring absolute = call(name, other);
      if (type == FileType::Empty || type == FileType::URL)
        qorfuzz::fuzzCheck(absolute == name, "absoluteFilename: changed an empty name or a URL");
    } catch (const WinError& e) {
      const std::wstring text = e.wWhat();
      qorfuzz::fuzzCheck(text.ends_with(L" calling GetFullPathNameW"), "absoluteFilename: an error from another call");
      qorfuzz::fuzzCheck(text != stale, "absoluteFilename: reports an earlier error");
      qorfuzz::fuzzCheck(!text.starts_with(formatMessage(ERROR_SUCCESS, nullptr)), "absoluteFilename: reports success");
    }
  }
}

void checkUrls(const std::wstring& text) {
  qorfuzz::fuzzCheck(isURL(text) == referenceIsUrl(text), "isURL disagrees with the scheme's form");

  const auto unescapeError = errorOf([&] { (void)unescapeUrl(text); });
  qorfuzz::fuzzCheck(unescapeError.has_value() == (text.find(L"%00") != std::wstring::npos),
                     "unescapeUrl: throws exactly for an escaped NUL");
  if (unescapeError) qorfuzz::fuzzCheck(*unescapeError == notAUrl(text), "unescapeUrl: wrong text");
  if (text.find(L'%') == std::wstring::npos)
    qorfuzz::fuzzCheck(unescapeUrl(text) == text, "unescapeUrl: changed text without escapes");
  if (validUtf16(text) && text.find(L'\0') == std::wstring::npos) {
    // Every byte escaped, by the system's own UTF-8 encoder, decodes back.
    std::string bytes(text.size() * 3, '\0');
    bytes.resize(
        static_cast<std::size_t>(WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()),
                                                     bytes.data(), static_cast<int>(bytes.size()), nullptr, nullptr)));
    std::wstring escaped;
    for (unsigned char b : bytes) escaped += stringPrintf(L"%%%02X", b);
    qorfuzz::fuzzCheck(unescapeUrl(escaped) == text, "unescapeUrl: escaped UTF-8 does not decode back");
  }

  if (const auto error = errorOf([&] { (void)canonicalizeUrl(text); })) {
    qorfuzz::fuzzCheck(!isURL(text), "canonicalizeUrl: refused a URL");
    qorfuzz::fuzzCheck(*error == notAUrl(text), "canonicalizeUrl: wrong text");
  } else {
    const std::wstring canonical = canonicalizeUrl(text);
    qorfuzz::fuzzCheck(canonicalizeUrl(canonical) == canonical, "canonicalizeUrl: not a fixed point");
    for (wchar_t c : canonical)
      qorfuzz::fuzzCheck(c > 0x20 && c < 0x7F && std::wstring_view(L"\"<>\\^`{|}").find(c) == std::wstring_view::npos,
                         "canonicalizeUrl: a character a URL cannot hold");
  }

  if (const auto error = errorOf([&] { (void)cleanupUrl(text); })) {
    qorfuzz::fuzzCheck(*error == notAUrl(text), "cleanupUrl: wrong text");
  } else {
    const std::wstring clean = cleanupUrl(text);
    qorfuzz::fuzzCheck(isURL(clean), "cleanupUrl: returned no URL");
    qorfuzz::fuzzCheck(!isWhite(clean.front()) && !isWhite(clean.back()), "cleanupUrl: white space left at an end");
    qorfuzz::fuzzCheck(clean.find_first_of(L"\r\n") == std::wstring::npos, "cleanupUrl: a line break left");
    qorfuzz::fuzzCheck(cleanupUrl(clean) == clean, "cleanupUrl: cleaning again changes it");
  }
}

}  // namespace

std::vector<qorfuzz::Seed> fuzzSeeds() {
  std::vector<qorfuzz::Seed> seeds;
  // Names of this machine's Wine prefix, long and short.
  wchar_t buffer[MAX_PATH + 1] = {};
  std::vector<std::wstring> names = {L"C:\\windows\\system32\\kernel32.dll", L"C:\\Program Files\\Common Files",
                                     L"C:\\users\\Public\\Documents\\", L"C:\\windows\\win.ini"};
  if (GetTempPathW(MAX_PATH + 1, buffer)) names.push_back(buffer);
  if (GetModuleFileNameW(nullptr, buffer, MAX_PATH)) names.push_back(buffer);
  for (std::size_t i = 0, n = names.size(); i < n; ++i)
    if (GetShortPathNameW(names[i].c_str(), buffer, MAX_PATH) && names[i] != buffer) names.push_back(buffer);
  for (const auto& name : names) seeds.push_back(seed(name, static_cast<std::uint8_t>(name.size() / 2)));
  // Every kind of name, with something to join it to.
  for (const wchar_t* text :
       {L"..\\a.txt|C:\\x\\y", L"\\b.txt|\\\\srv\\share\\d", L"C:b.txt|C:\\x", L"\\\\?\\C:\\a\\..\\b/c|D:\\",
        L"\\\\?\\UNC\\srv\\share\\x", L"\\\\.\\pipe\\name", L"//srv/share/a/b", L"C:\\PROGRA~1\\x.txt",
        L"a\\b\\c\\d\\e\\f\\g\\h\\file name.txt", L"C:\\aaaa\\b\U0001F600c", L"   ", L"dots...|trailing\\"})
    seeds.push_back(seed(text));
  // URLs, as typed and as pasted.
  for (const wchar_t* text :
       {L"HTTP://User:PW@Example.COM:8080/a/./b/../c?q=%41 %zz#frag", L"file:///C:/a/../b.txt",
        L"mailto:Some.One@x.org", L"http://[FE80::1]/%7euser/%2f/caf%C3%A9/%F0%9F%98%80", L"urn:a/./b", L"x-app:{id}",
        L"  <URL:http://x/a-\r\n   long/path>\r\n", L"\"'http://x/'\"", L"caf%E9%C3%A9%00"})
    seeds.push_back(seed(text));
  seeds.push_back({"bytes", {0, 12, 'C', ':', '\\', 0x82, 0x83, '\\', '%', 'E', '9', 0x8C, '~', '1'}});
  return seeds;
}

void fuzzOne(const std::uint8_t* data, std::size_t size) {
  if (size < 2) return;
  const std::wstring text = textOf(data + 2, size - 2, data[0] & 1);
  const std::size_t bar = text.find(L'|');
  const std::wstring name = text.substr(0, bar);
  const std::wstring other = bar == std::wstring::npos ? std::wstring() : text.substr(bar + 1);
  checkNames(name, other, data[1]);
  checkUrls(text);
}
