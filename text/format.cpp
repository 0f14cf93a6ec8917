// printf-style formatting into strings, and the scoped locale switch.
#include <qorcor14/text/strings.h>

#include <clocale>
#include <cstdio>
#include <cwchar>
#include <locale.h>
#include <memory>

// The formatting must be the C runtime's own bounded wide printf, with its
// legacy conversions (%s wide, %hs narrow, -1 when the output does not fit).
// MinGW's C99 replacement, which __USE_MINGW_ANSI_STDIO swaps in for the
// unprefixed names, reads %s as a narrow string; _vsnwprintf stays the
// runtime's import.

namespace {

// The first attempt formats into this many characters on the stack; retries
// use the heap, doubling from twice this size.
constexpr std::size_t kStackChars = 1024;

// One bounded attempt; a negative result means the output did not fit.
int formatInto(wchar_t* buf, std::size_t size, const wchar_t* format, va_list args) {
  va_list copy;
  va_copy(copy, args);
  const int r = _vsnwprintf(buf, size, format, copy);
  va_end(copy);
  return r;
}

}  // namespace

std::wstring vStringPrintf(const wchar_t* format, va_list args) {
  wchar_t stack[kStackChars];
  int r = formatInto(stack, kStackChars, format, args);
  if (r >= 0) return std::wstring(stack, static_cast<std::size_t>(r));
  for (std::size_t size = 2 * kStackChars;; size *= 2) {
    std::unique_ptr<wchar_t[]> heap(new wchar_t[size]);
    r = formatInto(heap.get(), size, format, args);
    if (r >= 0) return std::wstring(heap.get(), static_cast<std::size_t>(r));
  }
}

std::wstring stringPrintf(const wchar_t* format, ...) {
  va_list args;
  va_start(args, format);
  std::wstring result = vStringPrintf(format, args);
  va_end(args);
  return result;
}

std::string vStringPrintf(const char* format, va_list args) {
  return getMBS(vStringPrintf(getWCS(format).c_str(), args));
}

std::string stringPrintf(const char* format, ...) {
  va_list args;
  va_start(args, format);
  std::string result = vStringPrintf(format, args);
  va_end(args);
  return result;
}

AutoLocale::AutoLocale(int category) : m_category(category), m_previousMode(_configthreadlocale(0)) {
  // An unknown category has no name; setlocale then fails on both the switch
  // and the restore, and nothing changes.
  const char* name = std::setlocale(category, nullptr);
  if (name) m_previousLocale = name;
  _configthreadlocale(_ENABLE_PER_THREAD_LOCALE);
  std::setlocale(category, "");
}

AutoLocale::~AutoLocale() {
  std::setlocale(m_category, m_previousLocale.c_str());
  _configthreadlocale(m_previousMode);
}
