// Conversions between wide strings and the ANSI code page, and the truncating
// copies into fixed buffers.
#include <qorcor14/text/strings.h>

#include <qorcor14/errors.h>
#include <qorcor14/text/codepoint.h>

#include <windows.h>

#include <climits>
#include <memory>
#include <stdexcept>
#include <vector>

namespace {

// Short strings convert through a stack buffer of this many wide characters
// (getWCS) or bytes (getMBS); longer ones through the heap.
constexpr std::size_t kStackWide = 64;
constexpr std::size_t kStackBytes = 128;

// The most bytes one wide unit can become in any ANSI code page is two; five
// leaves room for whatever a system might substitute.
constexpr std::size_t kBytesPerUnit = 5;

int checkedInt(std::size_t n) {
  if (n > static_cast<std::size_t>(INT_MAX)) throwIntCast();
  return static_cast<int>(n);
}

// Converts into out (capacity bytes). Returns the number of bytes written, or
// 0 with the system's error in `error`.
// Note: the system reads a zero capacity as a request to measure, which would
// "succeed" without writing; nothing fits into zero bytes, so that case is
// answered here as a short buffer.
int toAnsiInto(const wchar_t* s, int n, char* out, int capacity, DWORD& error) {
  if (capacity == 0) {
    error = ERROR_INSUFFICIENT_BUFFER;
    return 0;
  }
  const int r = WideCharToMultiByte(CP_ACP, 0, s, n, out, capacity, nullptr, nullptr);
  if (r == 0) error = GetLastError();
  return r;
}

[[noreturn]] void throwPackError(DWORD error) { throw WinError(L"WideCharToMultiByte in packTo", error); }

const char* const kIllegalBuffer = "illegal buffer to pack wstring";

}  // namespace

std::wstring getWCS(const char* s, std::size_t n) {
  std::wstring result;
  if (n == 0 || n > static_cast<std::size_t>(INT_MAX) - 1) return result;
  const int in = static_cast<int>(n);
  const int room = static_cast<int>(n + 1);
  if (n + 1 <= kStackWide) {
    wchar_t buf[kStackWide];
    const int r = MultiByteToWideChar(CP_ACP, 0, s, in, buf, room);
    if (r > 0) result.assign(buf, static_cast<std::size_t>(r));
    return result;
  }
  // The heap buffer is the result itself, trimmed to what was written.
  result.resize(n + 1);
  const int r = MultiByteToWideChar(CP_ACP, 0, s, in, result.data(), room);
  result.resize(r > 0 ? static_cast<std::size_t>(r) : 0);
  return result;
}

std::wstring getWCS(const char* s) { return s ? getWCS(s, std::char_traits<char>::length(s)) : std::wstring(); }

std::wstring getWCS(const std::string& s) { return getWCS(s.data(), s.size()); }

std::string getMBS(const wchar_t* s, std::size_t n) {
  std::string result;
  if (n == 0 || n > static_cast<std::size_t>(INT_MAX)) return result;
  const int in = static_cast<int>(n);
  const std::size_t bytes = kBytesPerUnit * n + 1;
  if (bytes <= kStackBytes) {
    char buf[kStackBytes];
    const int r = WideCharToMultiByte(CP_ACP, 0, s, in, buf, static_cast<int>(bytes), nullptr, nullptr);
    if (r > 0) result.assign(buf, static_cast<std::size_t>(r));
    return result;
  }
  const int room = bytes > static_cast<std::size_t>(INT_MAX) ? INT_MAX : static_cast<int>(bytes);
  std::unique_ptr<char[]> buf(new char[static_cast<std::size_t>(room)]);
  const int r = WideCharToMultiByte(CP_ACP, 0, s, in, buf.get(), room, nullptr, nullptr);
  if (r > 0) result.assign(buf.get(), static_cast<std::size_t>(r));
  return result;
}

std::string getMBS(const wchar_t* s) { return s ? getMBS(s, std::char_traits<wchar_t>::length(s)) : std::string(); }

std::string getMBS(const std::wstring& s) { return getMBS(s.data(), s.size()); }

unsigned int packTo3(const std::wstring& s, char* buf, int size) {
  if (size == 0) throw std::logic_error(kIllegalBuffer);
  buf[0] = 0;
  if (s.empty()) return 0;
  // A negative size is passed on as a negative capacity, which the system
  // rejects: that error is thrown below.
  const int capacity = size > 0 ? size - 1 : -1;
  const int length = checkedInt(s.size());
  DWORD error = 0;
  int r = toAnsiInto(s.data(), length, buf, capacity, error);
  if (r > 0) {
    buf[r] = 0;
    return static_cast<unsigned int>(r);
  }
  if (error != ERROR_INSUFFICIENT_BUFFER) throwPackError(error);

  // The start of every code point: the only places a prefix may end.
  int stackStarts[kStackWide];
  std::vector<int> heapStarts;
  int* starts = stackStarts;
  if (s.size() > kStackWide) {
    heapStarts.resize(s.size());
    starts = heapStarts.data();
  }
  // Pairs are found as CodePointEnumerator finds them.
  std::size_t count = 0;
  for (std::size_t i = 0; i < s.size(); ++count) {
    starts[count] = checkedInt(i);
    const unsigned int a = static_cast<unsigned int>(s[i++]);
    if (isSurrogateA(a) && i < s.size() && isSurrogateB(static_cast<unsigned int>(s[i]))) ++i;
  }

  // Longest prefix first. The last one tried is empty, which the system
  // refuses as an invalid parameter rather than a short buffer.
  while (count > 0) {
    r = toAnsiInto(s.data(), starts[--count], buf, capacity, error);
    if (r > 0) {
      buf[r] = 0;
      return static_cast<unsigned int>(r);
    }
    if (error != ERROR_INSUFFICIENT_BUFFER) throwPackError(error);
  }
  // A failed attempt may have left partial output behind.
  buf[0] = 0;
  return 0;
}

std::size_t packTo3(const std::wstring& s, wchar_t* buf, std::size_t size) {
  if (size == 0) throw std::logic_error(kIllegalBuffer);
  const std::size_t length = s.size();
  std::size_t m = size;
  // Only the first unit that does not fit decides whether a pair is cut.
  if (size > 1 && size - 1 < length && isSurrogateA(static_cast<unsigned int>(s[size - 1]))) m = size - 1;
  const std::size_t copied = length < m - 1 ? length : m - 1;
  s.copy(buf, copied);
  buf[copied] = 0;
  return copied;
}
