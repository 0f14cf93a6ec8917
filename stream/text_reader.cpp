// The line reader shared by every encoding: the buffer refill, the code point
// checks, line breaks, and the copying of plain runs.
#include "internal/text_reader_imp.h"

#include <qorcor14/errors.h>
#include <qorcor14/text/codepoint.h>
#include <qorcor14/text/strings.h>

#include "common/cpu_level.h"
#include "common/messages.h"
#include "text/internal/utf8_kernels.h"

#include <emmintrin.h>

#include <bit>
#include <cstring>

namespace QOR::internal {
namespace {

// Units that end a line on their own; CR (which may take a LF with it) aside.
constexpr bool isBreak(unsigned int cp) { return isLineEnd(cp) && cp != 0x0D; }

// Bytes below 0x80 that are not LF, FF or CR.
constexpr bool isPlainByte(unsigned int b) { return b < 0x80 && b != 0x0A && b != 0x0C && b != 0x0D; }

constexpr bool isPlainUnit(unsigned int u) { return !isSurrogate(u) && !isBreak(u) && u != 0x0D; }

// Whether a code point the UTF-8 decoder gave may go into a run: none that
// readLine refuses or that ends a line.
constexpr bool isPlainCodePoint(unsigned int cp) { return cp <= 0x10FFFF && isPlainUnit(cp); }

// Where decodePlainScalar ended: before a byte outside the run, at the end of
// the buffer, or (when asked) after the first multi-byte sequence.
enum class ScalarEnd { stop, end, multiByte };

// Decodes the plain UTF-8 at [p, end) into o by UTF8ReaderImp::decode's
// rule, while it can: stops before a line break, a CR, and anything decode or
// readLine refuses or that the end of the buffer cuts off, all of which are
// left to the code point path. With `untilMultiByte`, returns after the
// first multi-byte sequence. o must have room for 16 units beyond one per
// byte.
ScalarEnd decodePlainScalar(const unsigned char*& p, const unsigned char* end, wchar_t*& o, bool untilMultiByte) {
  const __m128i zero = _mm_setzero_si128();
  while (p != end) {
    unsigned int b = *p;
    if (b < 0x80) {
      if (end - p < 16) {
        if (!isPlainByte(b)) return ScalarEnd::stop;
        *o++ = static_cast<wchar_t>(b);
        ++p;
        continue;
      }
      // 16 bytes at a time, widened whole: the units after the first byte
      // that needs more than widening are overwritten or not counted.
      const __m128i x = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
      const __m128i breaks =
          _mm_or_si128(_mm_cmpeq_epi8(x, _mm_set1_epi8(0x0A)),
                       _mm_or_si128(_mm_cmpeq_epi8(x, _mm_set1_epi8(0x0C)), _mm_cmpeq_epi8(x, _mm_set1_epi8(0x0D))));
      const unsigned mask = static_cast<unsigned>(_mm_movemask_epi8(_mm_or_si128(x, breaks)));
      _mm_storeu_si128(reinterpret_cast<__m128i*>(o), _mm_unpacklo_epi8(x, zero));
      _mm_storeu_si128(reinterpret_cast<__m128i*>(o + 8), _mm_unpackhi_epi8(x, zero));
      if (mask == 0) {
        p += 16;
        o += 16;
        continue;
      }
      const unsigned skip = static_cast<unsigned>(std::countr_zero(mask));
      p += skip;
      o += skip;
      b = *p;
      if (b < 0x80) return ScalarEnd::stop;  // LF, FF or CR
    }
    // A multi-byte sequence (0x80..0xBF lead two bytes, as in decode).
    unsigned int cp;
    std::size_t length;
    if (b < 0xE0) {
      if (end - p < 2 || p[1] > 0xC0) return ScalarEnd::stop;
      cp = (b & 0x1Fu) << 6 | (p[1] & 0x3Fu);
      length = 2;
    } else if (b < 0xF0) {
      if (end - p < 3 || p[1] > 0xC0 || p[2] > 0xC0) return ScalarEnd::stop;
      cp = (b & 0x0Fu) << 12 | (p[1] & 0x3Fu) << 6 | (p[2] & 0x3Fu);
      length = 3;
    } else if (b < 0xF8) {
      if (end - p < 4 || p[1] > 0xC0 || p[2] > 0xC0 || p[3] > 0xC0) return ScalarEnd::stop;
      cp = (b & 0x07u) << 18 | (p[1] & 0x3Fu) << 12 | (p[2] & 0x3Fu) << 6 | (p[3] & 0x3Fu);
      length = 4;
    } else {
      return ScalarEnd::stop;
    }
    if (!isPlainCodePoint(cp)) return ScalarEnd::stop;
    if (cp <= 0xFFFF) {
      *o++ = static_cast<wchar_t>(cp);
    } else {
      *o++ = leadingSurrogateOf(cp);
      *o++ = trailingSurrogateOf(cp);
    }
    p += length;
    if (untilMultiByte) return ScalarEnd::multiByte;
  }
  return ScalarEnd::end;
}

using RunKernel = void (*)(internal::Utf8DecodeCursor&, const unsigned char*) noexcept;

// The vector kernel for runs of plain UTF-8 at the processor's level, or none.
RunKernel runKernel() {
  switch (internal::cpuLevel()) {
  case internal::CpuLevel::avx2: return &internal::decodeUtf8RunAvx2;
  case internal::CpuLevel::ssse3: return &internal::decodeUtf8RunSsse3;
  default: return nullptr;
  }
}

// Runs `kernel` from p: on the buffer itself where it holds the kernel's
// margin of 80 bytes, else on a copy of what is left padded with LFs, at
// which the kernel stops. Moves p and o past what it took.
void takeKernelRun(RunKernel kernel, const unsigned char*& p, const unsigned char* end, wchar_t*& o) {
  const std::size_t left = static_cast<std::size_t>(end - p);
  if (left >= 80) {
    internal::Utf8DecodeCursor c{p, o};
    kernel(c, end);
    p = c.in;
    o = c.out;
    return;
  }
  unsigned char padded[80 + 64];
  std::memcpy(padded, p, left);
  std::memset(padded + left, 0x0A, sizeof padded - left);
  internal::Utf8DecodeCursor c{padded, o};
  kernel(c, padded + sizeof padded);
  p += c.in - padded;
  o = c.out;
}

// Decodes the run of plain UTF-8 at [p, end) into out, which has room for
// end - p units and internal::kDecodeSlack more, and returns the number of
// bytes it took; `units` receives the number of units written. The run stops
// where decodePlainScalar stops. ASCII goes through decodePlainScalar; from
// its first multi-byte sequence on, the vector kernel (if any) takes the run
// until it stops, and decodePlainScalar goes on from there. (A line of ASCII
// thus never pays for the kernel's call, which costs about as much as
// converting 64 bytes.)
std::size_t decodePlainUTF8(const unsigned char* p, const unsigned char* end, wchar_t* out, std::size_t& units) {
  const unsigned char* const start = p;
  wchar_t* o = out;
  const RunKernel kernel = runKernel();
  while (decodePlainScalar(p, end, o, kernel != nullptr) == ScalarEnd::multiByte) takeKernelRun(kernel, p, end, o);
  units = static_cast<std::size_t>(o - out);
  return static_cast<std::size_t>(p - start);
}

// The 16-bit lanes of x swapped to the other byte order.
inline __m128i swapBytes(__m128i x) { return _mm_or_si128(_mm_slli_epi16(x, 8), _mm_srli_epi16(x, 8)); }

// The number of plain units in the run at [p, end), read in the given order.
std::size_t plainUnits(const unsigned char* p, const unsigned char* end, bool bigEndian) {
  const unsigned char* q = p;
  for (; end - q >= 16; q += 16) {
    __m128i x = _mm_loadu_si128(reinterpret_cast<const __m128i*>(q));
    if (bigEndian) x = swapBytes(x);
    const __m128i surrogate = _mm_cmpeq_epi16(_mm_and_si128(x, _mm_set1_epi16(static_cast<short>(0xF800))),
                                              _mm_set1_epi16(static_cast<short>(0xD800)));
    __m128i stop = _mm_or_si128(surrogate, _mm_cmpeq_epi16(x, _mm_set1_epi16(0x0A)));
    stop = _mm_or_si128(stop, _mm_cmpeq_epi16(x, _mm_set1_epi16(0x0C)));
    stop = _mm_or_si128(stop, _mm_cmpeq_epi16(x, _mm_set1_epi16(0x0D)));
    stop = _mm_or_si128(stop, _mm_cmpeq_epi16(x, _mm_set1_epi16(0x85)));
    stop = _mm_or_si128(stop, _mm_cmpeq_epi16(x, _mm_set1_epi16(0x2028)));
    stop = _mm_or_si128(stop, _mm_cmpeq_epi16(x, _mm_set1_epi16(0x2029)));
    const unsigned mask = static_cast<unsigned>(_mm_movemask_epi8(stop));
    if (mask) return (static_cast<std::size_t>(q - p) + static_cast<unsigned>(std::countr_zero(mask))) / 2;
  }
  for (; end - q >= 2; q += 2) {
    const unsigned u = bigEndian ? (q[0] << 8 | q[1]) : (q[1] << 8 | q[0]);
    if (!isPlainUnit(u)) break;
  }
  return static_cast<std::size_t>(q - p) / 2;
}

// Copies n units stored big-endian.
void copySwapped(const unsigned char* p, std::size_t n, wchar_t* out) {
  for (; n >= 8; n -= 8, p += 16, out += 8)
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out), swapBytes(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p))));
  for (; n; --n, p += 2) *out++ = static_cast<wchar_t>(p[0] << 8 | p[1]);
}

}  // namespace

TextReaderImp::Next TextReaderImp::next(unsigned int& cp, bool consume) {
  if (m_pos < m_count) {
    if (const std::size_t k = decode(cp, m_buffer + m_pos, m_count - m_pos)) {
      if (cp > 0x10FFFF || isSurrogate(cp)) return Next::bad;
      if (consume) m_pos += k;
      return Next::ok;
    }
  }
  // The buffer is empty or ends in an incomplete sequence: keep the unread
  // bytes, move them to the front and fill up behind them.
  const std::size_t rest = m_count - m_pos;
  std::memmove(m_buffer, m_buffer + m_pos, rest);
  m_pos = 0;
  m_count = rest;
  m_count += m_raw.read(m_buffer + rest, kBufferSize - rest);
  if (m_count == 0) return Next::end;
  const std::size_t k = decode(cp, m_buffer, m_count);
  if (k == 0 || cp > 0x10FFFF || isSurrogate(cp)) return Next::bad;
  if (consume) m_pos = k;
  return Next::ok;
}

void TextReaderImp::copyRun(std::wstring& line) {
  const unsigned char* const p = m_buffer + m_pos;
  const unsigned char* const end = m_buffer + m_count;
  if (m_runs == PlainRuns::bytes) {
    // Decoded into a buffer on the stack and appended at once: a run yields
    // at most one unit per byte.
    wchar_t units[kBufferSize + internal::kDecodeSlack];
    std::size_t n = 0;
    m_pos += decodePlainUTF8(p, end, units, n);
    line.append(units, n);
    return;
  }
  const std::size_t units = plainUnits(p, end, m_runs == PlainRuns::unitsBE);
  if (units == 0) return;
  const std::size_t old = line.size();
  line.resize(old + units);
  wchar_t* const out = line.data() + old;
  if (m_runs == PlainRuns::unitsLE) std::memcpy(out, p, units * 2);
  else copySwapped(p, units, out);
  m_pos += units * 2;
}

bool TextReaderImp::readLine(std::wstring& line) {
  line.clear();
  return appendLine(line);
}

void TextReaderImp::readLines(std::wstring& text, std::size_t atLeast) {
  if (m_runs == PlainRuns::bytes) {
    readUTF8Lines(text, atLeast);
    return;
  }
  while (text.size() < atLeast) {
    const std::size_t lineStart = text.size();
    try {
      if (!appendLine(text)) break;
    } catch (...) {
      text.resize(lineStart);
      throw;
    }
    text.push_back(L'\n');
  }
}

// readLines for UTF-8 without a call per line: the runs of a buffer and the
// LF, CR LF and lone CR between them are decoded into one block on the stack,
// which is appended to `text` when the buffer is used up, before anything
// else goes to the code point path (which may refill the buffer), and at the
// end. Each LF or CR inside the buffer is read here as next() reads it; a CR
// at the buffer's last byte, whose LF may be in the next fill, or before a
// byte above 0x7F goes to the code point path like everything else.
void TextReaderImp::readUTF8Lines(std::wstring& text, std::size_t atLeast) {
  if (text.size() >= atLeast) return;
  // Units decoded but not yet in text: they come from bytes of one buffer
  // fill, at most one unit per byte.
  wchar_t block[kBufferSize + internal::kDecodeSlack];
  std::size_t held = 0;
  std::size_t lineStart = text.size();  // where the line in progress began
  for (;;) {
    if (m_pos < m_count) {
      std::size_t units = 0;
      m_pos += decodePlainUTF8(m_buffer + m_pos, m_buffer + m_count, block + held, units);
      held += units;
      // The byte after a CR must be ASCII to be read as itself: decode's
      // leniency makes C0 8A, for one, a LF that belongs to the CR.
      const unsigned char* const at = m_buffer + m_pos;
      if (m_pos + 1 < m_count && (at[0] == 0x0A || (at[0] == 0x0D && at[1] < 0x80))) {
        m_pos += at[0] == 0x0D && at[1] == 0x0A ? 2 : 1;
        block[held++] = L'\n';
        lineStart = text.size() + held;
        if (lineStart >= atLeast) break;
        continue;
      }
    }
    text.append(block, held);
    held = 0;
    unsigned int cp = 0;
    const Next got = next(cp, true);
    if (got == Next::end) {
      if (text.size() != lineStart) text.push_back(L'\n');
      return;
    }
    if (got == Next::bad) {
      text.resize(lineStart);
      fail();
    }
    if (takeCodePoint(text, cp)) {
      text.push_back(L'\n');
      lineStart = text.size();
      if (lineStart >= atLeast) return;
    }
  }
  text.append(block, held);
}

bool TextReaderImp::appendLine(std::wstring& line) {
  bool any = false;
  for (;;) {
    if (m_runs != PlainRuns::none && m_pos < m_count) {
      const std::size_t before = line.size();
      copyRun(line);
      any = any || line.size() != before;
    }
    unsigned int cp = 0;
    const Next got = next(cp, true);
    if (got == Next::end) return any;
    // The line so far stays in `line`; the position stays before the bytes.
    if (got == Next::bad) fail();
    any = true;
    if (takeCodePoint(line, cp)) return true;
  }
}

bool TextReaderImp::takeCodePoint(std::wstring& text, unsigned int cp) {
  if (isBreak(cp)) return true;
  if (cp == 0x0D) {
    // A LF right after the CR belongs to it; anything else, including bytes
    // that do not decode, is left for the next call.
    unsigned int after = 0;
    if (next(after, false) == Next::ok && after == 0x0A) next(after, true);
    return true;
  }
  if (cp <= 0xFFFF) {
    text.push_back(static_cast<wchar_t>(cp));
  } else {
    text.push_back(leadingSurrogateOf(cp));
    text.push_back(trailingSurrogateOf(cp));
  }
  return false;
}

void TextReaderImp::fail() const { throw QorError(internal::undecodableTextMessage(m_raw.name())); }

}  // namespace QOR::internal
