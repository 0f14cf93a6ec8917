// qorcor14/text/strings.h - conversions between wide strings and UTF-8 or the
// ANSI code page, truncating copies into fixed buffers, case mapping,
// collation, trimming, printf-style formatting into strings, a scoped locale
// switch, and strict parsers of integers and decimal numbers.
//
// Wide strings hold UTF-16. Narrow strings are either UTF-8 (utf8) or the
// process's ANSI code page (getWCS, getMBS); nothing converts implicitly.
// Every function is reentrant; the case mapping, the collation and AutoLocale
// read or change the C runtime's locale.
#pragma once

#include <qorcor14/config.h>

#include <cstdarg>
#include <cstddef>
#include <string>

// The UTF-8 form of a wide string. Surrogate pairs become one four-byte
// sequence; a lone surrogate becomes a three-byte sequence of its own value, so
// that any wide string survives utf8(utf8(s)) unchanged.
//
// Example:
//   utf8(std::wstring(L"\u00e9"));         // "\xC3\xA9"
//   utf8(std::wstring(1, wchar_t(0xDC00))); // "\xED\xB0\x80"
[[nodiscard]] QORCOR14_API std::string utf8(const std::wstring& s);

// The wide form of a UTF-8 string. Lenient, and never fails.
//
// Note: bytes 0x80..0xBF that do not follow a lead byte come out as
// U+0080..U+00BF. The bytes after a lead byte are taken as they are, without a
// check for the 10xxxxxx form (C3 41 gives U+0081), and overlong forms are
// accepted. A sequence above U+10FFFF gives nothing. A sequence cut short by the
// end of the input gives one U+FFFD, and decoding stops there.
[[nodiscard]] QORCOR14_API std::wstring utf8(const std::string& s);

// Combines a leading surrogate a and a trailing surrogate b into out and
// returns true; returns false and leaves out alone for any other pair.
QORCOR14_API bool fromUTF16(unsigned int& out, unsigned int a, unsigned int b);

// The ANSI code page text s up to its terminating NUL, converted to wide.
// A null pointer, or input the system refuses, yields an empty string.
[[nodiscard]] QORCOR14_API std::wstring getWCS(const char* s);
// Exactly n bytes at s, embedded NULs included, converted to wide.
[[nodiscard]] QORCOR14_API std::wstring getWCS(const char* s, std::size_t n);
// All of s, embedded NULs included, converted to wide.
[[nodiscard]] QORCOR14_API std::wstring getWCS(const std::string& s);

// The wide text s up to its terminating NUL, converted to the ANSI code page.
// Characters the code page lacks become whatever the system substitutes
// (usually '?'). A null pointer yields an empty string.
[[nodiscard]] QORCOR14_API std::string getMBS(const wchar_t* s);
// Exactly n units at s, embedded NULs included, converted to the code page.
[[nodiscard]] QORCOR14_API std::string getMBS(const wchar_t* s, std::size_t n);
// All of s, embedded NULs included, converted to the code page.
[[nodiscard]] QORCOR14_API std::string getMBS(const std::wstring& s);

// Copies as much of s as fits into buf (size bytes, NUL included), converted to
// the ANSI code page, never splitting a code point or a double-byte character,
// and returns the number of bytes before the NUL.
// Throws std::logic_error("illegal buffer to pack wstring") when size is 0, and
// WinError ("WideCharToMultiByte in packTo") when the conversion fails for any
// reason but a short buffer.
//
// Note: when not even the first code point fits (a double-byte character into a
// two-byte buffer), the last attempt converts the empty prefix, which the
// system rejects as an invalid parameter: that WinError is what comes out. A
// one-byte buffer only ever receives the NUL.
QORCOR14_API unsigned int packTo3(const std::wstring& s, char* buf, int size);

// Copies as much of s as fits into buf (size units, NUL included) and returns
// the number of units copied. Throws std::logic_error("illegal buffer to pack
// wstring") when size is 0.
//
// Note: only the first unit that does NOT fit is looked at: when it is a
// leading surrogate the copy is one unit shorter still. A pair cut in half by
// the end of the buffer is therefore left split, while a buffer that would end
// right before a pair loses the unit before the pair as well.
// Example: packTo3(L"ab\U0001F600", buf, 3) copies "a"; with size 4, "ab" and
// the leading surrogate.
QORCOR14_API std::size_t packTo3(const std::wstring& s, wchar_t* buf, std::size_t size);

// s mapped to upper / lower case by the C runtime's current locale
// (_wcsupr / _wcslwr).
// Note: the result ends at the first embedded NUL of s.
[[nodiscard]] QORCOR14_API std::wstring uppercase(const std::wstring& s);
[[nodiscard]] QORCOR14_API std::wstring lowercase(const std::wstring& s);

// c + 32 for 'A'..'Z', any other unit unchanged (no locale: L'\u00c4' stays).
[[nodiscard]] QORCOR14_API wchar_t simpleLowercase(wchar_t c);
// simpleLowercase applied to every unit; the length is kept.
[[nodiscard]] QORCOR14_API std::wstring simpleLowercase(const std::wstring& s);

// wcscoll of a and b under the C runtime's current locale: negative, zero or
// positive. A comparison that sets errno counts as equal (0).
[[nodiscard]] QORCOR14_API int collateStrings(const std::wstring& a, const std::wstring& b);
[[nodiscard]] QORCOR14_API int collateStrings(const wchar_t* a, const wchar_t* b);

// s without the white-space code points (isUspace: space separators, line and
// paragraph separators, U+0009..U+000D and U+FEFF) at either end.
[[nodiscard]] QORCOR14_API std::wstring trimwhitespace(const std::wstring& s);

// printf-style formatting into a wide string, of any length, with the C
// runtime's legacy wide conversions: %s takes a wide string, %hs a narrow one,
// %c a wide character.
//
// Example:
//   stringPrintf(L"%s has %d bytes (%hs)", L"file.txt", 42, "ok");
[[nodiscard]] QORCOR14_API std::wstring stringPrintf(const wchar_t* format, ...);
[[nodiscard]] QORCOR14_API std::wstring vStringPrintf(const wchar_t* format, va_list args);

// The narrow forms: the format is converted from the ANSI code page, formatted
// by the wide form and the result converted back.
// Note: the arguments therefore follow the WIDE rules: %s expects a wchar_t
// string, %hs a char string.
[[nodiscard]] QORCOR14_API std::string stringPrintf(const char* format, ...);
[[nodiscard]] QORCOR14_API std::string vStringPrintf(const char* format, va_list args);

// Switches one locale category of the calling thread to the user's default
// locale for the lifetime of the object, and restores the previous locale name
// and per-thread-locale mode when it is destroyed.
//
// Example:
//   { AutoLocale guard(LC_NUMERIC); std::printf("%.1f", 1.5); }  // "1,5" in German
//
// Note: the C runtime must support per-thread locales for other threads to be
// unaffected; the system msvcrt.dll does not, and there the switch is global.
class QORCOR14_API AutoLocale {
public:
  explicit AutoLocale(int category);
  ~AutoLocale();

  AutoLocale(const AutoLocale&) = delete;
  AutoLocale& operator=(const AutoLocale&) = delete;

private:
  int m_category;
  int m_previousMode;
  std::string m_previousLocale;
};

// Parses exactly the n units at s (no NUL needed) as a 32-bit integer: spaces
// and tabs, an optional sign, then ASCII digits up to the very end. Stores the
// value and returns true, or returns false and leaves *out unchanged.
//
// Example: isLong(&v, L" -2147483648", 12) is true; L"12 " and L"+" are not.
QORCOR14_API bool isLong(long* out, const wchar_t* s, std::size_t n);

// Parses exactly the n units at s as a decimal number: spaces and tabs, an
// optional sign, digits with an optional point, then optionally an exponent
// letter (E, e, D or d) followed by anything isLong accepts. Stores the value
// and returns true, or returns false and leaves *out unchanged. Values beyond
// the double range are rejected.
//
// Example: "1.5D3" gives 1500, ".5" gives 0.5, "1e 5" gives 100000.
//
// Note: the arithmetic keeps 17 significant digits and scales by powers of ten
// in double arithmetic, so the last bit can differ from a correctly rounded
// conversion. Exponents below -308 give +0.0 whatever the sign.
QORCOR14_API bool isDouble(double* out, const wchar_t* s, std::size_t n);
