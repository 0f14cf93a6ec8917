// Case mapping, collation and trimming.
#include <qorcor14/text/strings.h>

#include <qorcor14/text/codepoint.h>

#include <cerrno>
#include <cstring>
#include <cwchar>
#include <memory>

namespace {

// Strings up to this many characters are mapped in a stack buffer.
constexpr std::size_t kStackChars = 63;

// Copies s into a NUL-terminated buffer, maps it in place with the runtime's
// routine and returns the result up to its first NUL.
std::wstring mapInPlace(const std::wstring& s, wchar_t* (*map)(wchar_t*)) {
  const std::size_t n = s.size();
  wchar_t stack[kStackChars + 1];
  std::unique_ptr<wchar_t[]> heap;
  wchar_t* buf = stack;
  if (n > kStackChars) {
    heap.reset(new wchar_t[n + 1]);
    buf = heap.get();
  }
  s.copy(buf, n);
  buf[n] = 0;
  map(buf);
  return std::wstring(buf);
}

}  // namespace

std::wstring uppercase(const std::wstring& s) { return mapInPlace(s, &_wcsupr); }

std::wstring lowercase(const std::wstring& s) { return mapInPlace(s, &_wcslwr); }

wchar_t simpleLowercase(wchar_t c) { return c >= L'A' && c <= L'Z' ? static_cast<wchar_t>(c + 32) : c; }

std::wstring simpleLowercase(const std::wstring& s) {
  std::wstring result(s);
  for (wchar_t& c : result) c = simpleLowercase(c);
  return result;
}

int collateStrings(const wchar_t* a, const wchar_t* b) {
  errno = 0;
  const int r = std::wcscoll(a, b);
  // A locale that cannot compare these strings sets errno: call them equal.
  return errno != 0 ? 0 : r;
}

int collateStrings(const std::wstring& a, const std::wstring& b) { return collateStrings(a.c_str(), b.c_str()); }

std::wstring trimwhitespace(const std::wstring& s) {
  // Walk by code point, as CodePointEnumerator pairs units, keeping the unit
  // range from the first non-space code point to the end of the last one.
  const std::size_t n = s.size();
  std::size_t first = n, last = n;
  for (std::size_t i = 0; i < n;) {
    const std::size_t start = i;
    unsigned int v = static_cast<unsigned int>(s[i++]);
    if (isSurrogateA(v) && i < n) {
      const unsigned int w = static_cast<unsigned int>(s[i]);
      if (isSurrogateB(w)) {
        v = combineSurrogates(v, w);
        ++i;
      }
    }
    if (isUspace(CodePoint::codePoint(v))) continue;
    if (first == n) first = start;
    last = i;
  }
  if (first == n) return std::wstring();
  return s.substr(first, last - first);
}
