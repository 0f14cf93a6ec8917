// qorcor14/platform/urls.h - URLs: recognising them, percent-decoding,
// canonical forms, cleaning up pasted text, and downloading to the cache.
//
// URLs are wide strings; a percent-escape stands for one byte of UTF-8, so
// "%C3%A9" is U+00E9. Failures throw QOR::QorError with the catalogue's
// texts 278 ("... is not a valid URL.") and 280 ("Cannot download ... to the
// cache."), each naming the URL.
#pragma once

#include <qorcor14/config.h>

#include <string>

// Whether `text` starts with a URL scheme: a letter, then letters, digits,
// '+', '-' or '.', then ':'. A one-letter scheme is a drive ("C:\x"), not a
// URL. Nothing after the ':' is checked.
//
// Example:
//   isURL(L"https://example.com/");   // true
//   isURL(L"mailto:someone@x.org");   // true
//   isURL(L"C:\\a.txt");              // false (a drive)
//   isURL(L"1http://x");              // false (a scheme starts with a letter)
//   isURL(L" http://x");              // false (see cleanupUrl)
[[nodiscard]] QORCOR14_API bool isURL(const std::wstring& text);

// `url` with each "%XX" escape decoded: runs of escaped bytes are read as
// UTF-8. An escape that is malformed ("%G1", "%4" at the end), or whose byte
// does not belong to a valid UTF-8 sequence ("%E9" alone, overlong forms,
// surrogates), is kept literally. '+' stays '+'. Throws QOR::QorError (text
// 278) when an escape decodes to NUL ("%00"), which no name may hold.
//
// Example:
//   unescapeUrl(L"a%20b");              // "a b"
//   unescapeUrl(L"caf%C3%A9");          // "café"
//   unescapeUrl(L"%F0%9F%98%80");       // U+1F600 (a surrogate pair)
//   unescapeUrl(L"100%");               // "100%"
//   unescapeUrl(L"caf%E9");             // "caf%E9" (Latin-1, not UTF-8)
//
// Note: the whole text is decoded, query and fragment included; the result
// is for display or for a file name, no longer a URL.
[[nodiscard]] QORCOR14_API std::wstring unescapeUrl(const std::wstring& url);

// The canonical form of `url`: scheme and host in lower case (user name and
// password kept), "." and ".." segments of the path removed (".." never
// climbs above the root), the hex digits of escapes in upper case, escapes of
// unreserved characters (letters, digits, - . _ ~) decoded, and the
// characters a URL cannot hold escaped as UTF-8 ("%XX"): controls, blank,
// " < > \ ^ ` { | } and everything above U+007F. For http, https, ftp and
// file URLs '\' counts as '/' and an empty path becomes "/". A '%' not
// followed by two hex digits becomes "%25". Query and fragment are escaped
// but not otherwise changed. Throws QOR::QorError (text 278) when url is not
// a URL (isURL).
//
// Example:
//   canonicalizeUrl(L"HTTP://Example.COM/a/./b/../c");   // "http://example.com/a/c"
//   canonicalizeUrl(L"http://x/a b?q=é");                // "http://x/a%20b?q=%C3%A9"
//   canonicalizeUrl(L"http://[FE80::1]:8080");           // "http://[fe80::1]:8080/"
//   canonicalizeUrl(L"file:///C:/a/../b.txt");           // "file:///C:/b.txt"
//   canonicalizeUrl(L"http://x/%7euser/%2f");            // "http://x/~user/%2F"
//
// Note: a URL without "//" (mailto:, urn:) keeps its path as it is, apart
// from escaping. Ports are kept, even the scheme's default one. A path that
// would start with "//" without an authority ("file:/.//C:/a") keeps "/."
// before it, so that it does not read back as one: the canonical form of a
// canonical form is itself.
[[nodiscard]] QORCOR14_API std::wstring canonicalizeUrl(const std::wstring& url);

// A URL as a user pasted it, cleaned up: white space (and line breaks inside
// it, as mail programs wrap long URLs) removed from both ends and around line
// breaks, then one pair of surrounding double quotes, single quotes or angle
// brackets removed, and a "URL:" prefix inside angle brackets
// ("<URL:http://x/>"), repeatedly. Throws QOR::QorError (text 278, naming the
// text as given) when what is left is not a URL (isURL).
//
// Example:
//   cleanupUrl(L"  <https://example.com/a>\r\n");   // "https://example.com/a"
//   cleanupUrl(L"\"http://x/a\r\n  b\"");           // "http://x/ab"
//   cleanupUrl(L"<URL:http://x/>");                 // "http://x/"
//   cleanupUrl(L"not a url");                       // throws QOR::QorError
//
// Note: blanks inside the URL that are not next to a line break are kept;
// canonicalizeUrl escapes them.
[[nodiscard]] QORCOR14_API std::wstring cleanupUrl(const std::wstring& text);

// Downloads `url` into the internet cache with URLDownloadToCacheFileW and
// returns the name of the cache file. Throws QOR::QorError with text 278 when
// url is not a URL (or holds a NUL), and with text 280 when the download
// fails (a missing file, no network, a refused request) or the system cannot
// take the URL: 2084 units or more (INTERNET_MAX_URL_LENGTH), or an extension
// as PathFindExtensionW finds it, which names the cache file, of more than
// 250 bytes in UTF-8. Such URLs are never handed to the system.
//
// Example:
//   std::wstring local = downloadUrlToCache(L"file:///C:/data/points.csv");
//   // a file under the cache folder holding the same bytes
//
// Note: the call blocks until the download ends. The cache may serve an
// earlier copy of the same URL.
[[nodiscard]] QORCOR14_API std::wstring downloadUrlToCache(const std::wstring& url);
