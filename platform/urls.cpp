// URLs: recognition, percent-decoding, canonical forms, pasted-text cleanup
// and downloads to the internet cache.
#include <qorcor14/errors.h>
#include <qorcor14/platform/urls.h>
#include <qorcor14/text/strings.h>

#include "common/messages.h"

#include <windows.h>
#include <shlwapi.h>
#include <urlmon.h>

#include <algorithm>
#include <string>
#include <string_view>

namespace {

[[noreturn]] void throwNotAUrl(const std::wstring& url) { throw QOR::QorError(QOR::internal::invalidUrlMessage(url)); }

bool isAsciiLetter(wchar_t c) { return (c >= L'A' && c <= L'Z') || (c >= L'a' && c <= L'z'); }
bool isAsciiDigit(wchar_t c) { return c >= L'0' && c <= L'9'; }

int hexValue(wchar_t c) {
  if (isAsciiDigit(c)) return c - L'0';
  if (c >= L'A' && c <= L'F') return c - L'A' + 10;
  if (c >= L'a' && c <= L'f') return c - L'a' + 10;
  return -1;
}

// The byte of the escape at s[at] ('%' and two hex digits), or -1.
int escapeAt(const std::wstring& s, std::size_t at) {
  if (at + 2 >= s.size() || s[at] != L'%') return -1;
  const int hi = hexValue(s[at + 1]), lo = hexValue(s[at + 2]);
  return hi < 0 || lo < 0 ? -1 : hi * 16 + lo;
}

// The length of the well-formed UTF-8 sequence at bytes[at] (no overlong
// forms, no surrogates, nothing above U+10FFFF) and its value, or 0.
std::size_t decodeUtf8(const std::string& bytes, std::size_t at, unsigned int& value) {
  const auto b = [&](std::size_t i) { return static_cast<unsigned char>(bytes[i]); };
  const unsigned int lead = b(at);
  std::size_t n;
  unsigned int min;
  if (lead < 0x80) {
    value = lead;
    return 1;
  }
  if (lead >= 0xC2 && lead <= 0xDF) {
    n = 2;
    min = 0x80;
    value = lead & 0x1F;
  } else if (lead >= 0xE0 && lead <= 0xEF) {
    n = 3;
    min = 0x800;
    value = lead & 0x0F;
  } else if (lead >= 0xF0 && lead <= 0xF4) {
    n = 4;
    min = 0x10000;
    value = lead & 0x07;
  } else return 0;
  if (at + n > bytes.size()) return 0;
  for (std::size_t i = 1; i < n; ++i) {
    if ((b(at + i) & 0xC0) != 0x80) return 0;
    value = value << 6 | (b(at + i) & 0x3F);
  }
  if (value < min || value > 0x10FFFF || (value >= 0xD800 && value <= 0xDFFF)) return 0;
  return n;
}

void appendCodePoint(std::wstring& out, unsigned int value) {
  if (value < 0x10000) {
    out += static_cast<wchar_t>(value);
  } else {
    value -= 0x10000;
    out += static_cast<wchar_t>(0xD800 + (value >> 10));
    out += static_cast<wchar_t>(0xDC00 + (value & 0x3FF));
  }
}

bool isUnreserved(unsigned int c) {
  return c < 0x80 && (isAsciiLetter(static_cast<wchar_t>(c)) || isAsciiDigit(static_cast<wchar_t>(c)) || c == '-' ||
                      c == '.' || c == '_' || c == '~');
}

void appendEscape(std::wstring& out, unsigned int byte) {
  static const wchar_t digits[] = L"0123456789ABCDEF";
  out += L'%';
  out += digits[byte >> 4];
  out += digits[byte & 15];
}

// s with its escapes normalised (upper-case hex, unreserved characters
// decoded, a stray '%' escaped) and every character a URL cannot hold
// escaped as UTF-8.
std::wstring escapeUnsafe(const std::wstring& s) {
  std::wstring out;
  out.reserve(s.size());
  for (std::size_t i = 0; i < s.size(); ++i) {
    const wchar_t c = s[i];
    if (c == L'%') {
      const int byte = escapeAt(s, i);
      if (byte < 0) {
        out += L"%25";
      } else if (isUnreserved(static_cast<unsigned int>(byte))) {
        out += static_cast<wchar_t>(byte);
        i += 2;
      } else {
        appendEscape(out, static_cast<unsigned int>(byte));
        i += 2;
      }
    } else if (c > 0x7E) {
      std::wstring unit(1, c);
      if (IS_HIGH_SURROGATE(c) && i + 1 < s.size() && IS_LOW_SURROGATE(s[i + 1])) unit += s[++i];
      for (unsigned char byte : utf8(unit)) appendEscape(out, byte);
    } else if (c <= 0x20 || std::wstring_view(L"\"<>\\^`{|}").find(c) != std::wstring_view::npos) {
      appendEscape(out, static_cast<unsigned int>(c));
    } else {
      out += c;
    }
  }
  return out;
}

// Removes "." and ".." segments from a path, as RFC 3986 section 5.2.4 does.
// The input is consumed from the front through a view, so that a long run of
// segments costs no more than its length.
std::wstring removeDotSegments(std::wstring_view in) {
  std::wstring out;
  const auto dropLastSegment = [&out] {
    const std::size_t slash = out.rfind(L'/');
    out.erase(slash == std::wstring::npos ? 0 : slash);
  };
  while (!in.empty()) {
    if (in.starts_with(L"../")) {
      in.remove_prefix(3);
    } else if (in.starts_with(L"./") || in.starts_with(L"/./")) {
      in.remove_prefix(2);
    } else if (in == L"/.") {
      out += L'/';
      in = {};
    } else if (in.starts_with(L"/../")) {
      in.remove_prefix(3);
      dropLastSegment();
    } else if (in == L"/..") {
      dropLastSegment();
      out += L'/';
      in = {};
    } else if (in == L"." || in == L"..") {
      in = {};
    } else {
      const std::size_t end = std::min(in.find(L'/', 1), in.size());
      out += in.substr(0, end);
      in.remove_prefix(end);
    }
  }
  return out;
}

std::wstring asciiLower(std::wstring s) {
  for (wchar_t& c : s)
    if (c >= L'A' && c <= L'Z') c = static_cast<wchar_t>(c - L'A' + L'a');
  return s;
}

// s in lower case but for the hex digits of its escapes, which stay upper
// case; every '%' in s starts an escape (see escapeUnsafe).
std::wstring lowerOutsideEscapes(std::wstring s) {
  for (std::size_t i = 0; i < s.size(); ++i) {
    if (s[i] == L'%') i += 2;
    else if (s[i] >= L'A' && s[i] <= L'Z') s[i] = static_cast<wchar_t>(s[i] - L'A' + L'a');
  }
  return s;
}

bool isBlank(wchar_t c) { return c == L' ' || c == L'\t' || c == L'\r' || c == L'\n' || c == L'\f' || c == L'\v'; }

// White space as Unicode has it, and the byte-order mark that pasted text
// sometimes starts with; the C runtime's iswspace depends on the locale.
bool isWhite(wchar_t c) {
  return isBlank(c) || c == 0x85 || c == 0xA0 || c == 0x1680 || (c >= 0x2000 && c <= 0x200B) || c == 0x2028 ||
         c == 0x2029 || c == 0x202F || c == 0x205F || c == 0x3000 || c == 0xFEFF;
}

std::wstring_view trimmed(std::wstring_view s) {
  while (!s.empty() && isWhite(s.front())) s.remove_prefix(1);
  while (!s.empty() && isWhite(s.back())) s.remove_suffix(1);
  return s;
}

// Whether text starts with a scheme of two or more characters and ':'.
bool startsWithScheme(std::wstring_view text) {
  if (text.empty() || !isAsciiLetter(text[0])) return false;
  std::size_t i = 1;
  while (i < text.size() &&
         (isAsciiLetter(text[i]) || isAsciiDigit(text[i]) || text[i] == L'+' || text[i] == L'-' || text[i] == L'.'))
    ++i;
  return i >= 2 && i < text.size() && text[i] == L':';
}

// The longest URL the system's download functions take, NUL included
// (INTERNET_MAX_URL_LENGTH); Wine's overran a buffer on longer file URLs.
constexpr std::size_t kLongestUrl = 2084;

// The cache names its file after the URL's extension as PathFindExtensionW
// finds it (everything after the last '.' that no '\' or blank follows, so
// "http://example.com/a/b" has ".com/a/b"), in UTF-8, in a MAX_PATH buffer
// with "[n]" or eight characters and a NUL beside it; Wine's overran that
// buffer on longer ones.
constexpr std::size_t kLongestExtension = MAX_PATH - 10;

bool downloadTakes(const std::wstring& url) {
  return url.size() < kLongestUrl && utf8(std::wstring(PathFindExtensionW(url.c_str()))).size() <= kLongestExtension;
}

}  // namespace

bool isURL(const std::wstring& text) { return startsWithScheme(text); }

std::wstring unescapeUrl(const std::wstring& url) {
  std::wstring out;
  out.reserve(url.size());
  for (std::size_t i = 0; i < url.size();) {
    if (escapeAt(url, i) < 0) {
      out += url[i++];
      continue;
    }
    // A run of escapes: their bytes, decoded as UTF-8 together.
    std::string bytes;
    const std::size_t start = i;
    for (int byte; (byte = escapeAt(url, i)) >= 0; i += 3) {
      if (byte == 0) throwNotAUrl(url);
      bytes += static_cast<char>(byte);
    }
    for (std::size_t at = 0; at < bytes.size();) {
      unsigned int value = 0;
      if (const std::size_t n = decodeUtf8(bytes, at, value)) {
        appendCodePoint(out, value);
        at += n;
      } else {
        out += url.substr(start + 3 * at, 3);  // kept as it was written
        ++at;
      }
    }
  }
  return out;
}

std::wstring canonicalizeUrl(const std::wstring& url) {
  if (!isURL(url)) throwNotAUrl(url);
  const std::size_t colon = url.find(L':');
  const std::wstring scheme = asciiLower(url.substr(0, colon));
  const bool special = scheme == L"http" || scheme == L"https" || scheme == L"ftp" || scheme == L"file";

  std::wstring rest = url.substr(colon + 1);
  const std::size_t hash = rest.find(L'#');
  const std::wstring fragment = hash == std::wstring::npos ? L"" : rest.substr(hash);
  rest.erase(std::min(hash, rest.size()));
  const std::size_t question = rest.find(L'?');
  const std::wstring query = question == std::wstring::npos ? L"" : rest.substr(question);
  rest.erase(std::min(question, rest.size()));
  if (special)
    for (wchar_t& c : rest)
      if (c == L'\\') c = L'/';

  std::wstring out = scheme + L':';
  std::wstring path = rest;
  const bool hasAuthority = rest.starts_with(L"//");
  if (hasAuthority) {
    const std::size_t end = std::min(rest.find(L'/', 2), rest.size());
    const std::wstring authority = rest.substr(2, end - 2);
    const std::size_t at = authority.rfind(L'@');
    const std::size_t hostStart = at == std::wstring::npos ? 0 : at + 1;
    out += L"//" + escapeUnsafe(authority.substr(0, hostStart)) +
           lowerOutsideEscapes(escapeUnsafe(authority.substr(hostStart)));
    path = rest.substr(end);
  }
  path = escapeUnsafe(path);
  if (hasAuthority || path.starts_with(L'/')) path = removeDotSegments(path);
  // A path of "//..." without an authority would read back as one.
  if (!hasAuthority && path.starts_with(L"//")) path.insert(0, L"/.");
  if (special && hasAuthority && path.empty()) path = L"/";
  return out + path + escapeUnsafe(query) + escapeUnsafe(fragment);
}

std::wstring cleanupUrl(const std::wstring& text) {
  // Line breaks and the blanks around them go: a mail program wrapped the URL.
  std::wstring s;
  s.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != L'\r' && text[i] != L'\n') {
      s += text[i];
      continue;
    }
    while (!s.empty() && (s.back() == L' ' || s.back() == L'\t')) s.pop_back();
    while (i + 1 < text.size() && isBlank(text[i + 1])) ++i;
  }
  // Peeled through a view: thousands of nested quotes cost one pass.
  std::wstring_view v = trimmed(s);
  for (bool changed = true; changed;) {
    changed = false;
    if (v.size() >= 2 && ((v.front() == L'<' && v.back() == L'>') || (v.front() == L'"' && v.back() == L'"') ||
                          (v.front() == L'\'' && v.back() == L'\''))) {
      v = trimmed(v.substr(1, v.size() - 2));
      changed = true;
    }
    if (v.size() > 4 && asciiLower(std::wstring(v.substr(0, 4))) == L"url:" && startsWithScheme(trimmed(v.substr(4)))) {
      v = trimmed(v.substr(4));
      changed = true;
    }
  }
  if (!startsWithScheme(v)) throwNotAUrl(text);
  return std::wstring(v);
}

std::wstring downloadUrlToCache(const std::wstring& url) {
  // The system would read a URL with a NUL inside as the part before it.
  if (!isURL(url) || url.find(L'\0') != std::wstring::npos) throwNotAUrl(url);
  if (!downloadTakes(url)) throw QOR::QorError(QOR::internal::cannotDownloadUrlMessage(url));
  wchar_t file[MAX_PATH + 1] = {};
  const HRESULT hr = URLDownloadToCacheFileW(nullptr, url.c_str(), file, MAX_PATH, 0, nullptr);
  if (FAILED(hr) || file[0] == L'\0') throw QOR::QorError(QOR::internal::cannotDownloadUrlMessage(url));
  return file;
}
