// UTF-16 <-> UTF-8: the round-tripping encoder, the lenient decoder and
// fromUTF16.
//
// Both directions take ASCII 16 bytes / 16 units at a time with SSE2, and
// give every other sequence length a scalar loop of its own that runs while
// the text keeps to that length, so that a branch is mispredicted only where
// the text changes script. The output is sized once and written through a
// pointer: the encoder counts its exact length first (a cheap SIMD pass that
// saves allocating three bytes per unit), and so does the decoder
// (utf8_length.cpp), where one unit per byte would cost as much again as
// the decoding.
//
// This is the reference code and the path of every x86-64 processor. Where
// cpuLevel() reports SSSE3 or AVX2, a vector kernel (utf8_kernels.h) converts
// all but the last few dozen units or bytes first, with the same output.
#include <qorcor14/text/strings.h>

#include <qorcor14/text/codepoint.h>

#include "common/cpu_level.h"
#include "text/internal/utf8_kernels.h"

#include <emmintrin.h>

#include <bit>
#include <cstdint>
#include <cstring>

namespace {

// --- decoding ------------------------------------------------------------------

// What the accumulated value of a sequence with t trailing bytes must lose:
// the lead byte's marker bits and 0x80 for every trailing byte, modulo 2^32.
constexpr std::uint32_t kOffsets[6] = {0x00000000u, 0x00003080u, 0x000E2080u, 0x03C82080u, 0xFA082080u, 0x82082080u};

// Trailing-byte count of a lead byte at or above 0xC0.
constexpr unsigned char trailingFor(unsigned b) {
  return b < 0xE0 ? 1 : b < 0xF0 ? 2 : b < 0xF8 ? 3 : b < 0xFC ? 4 : 5;
}

// Bit i set when byte i of the block is 0xC0 or above, i.e. starts a multi-byte
// sequence. Every other byte decodes to the unit of the same value.
inline unsigned leadMask(__m128i x) {
  return static_cast<unsigned>(_mm_movemask_epi8(_mm_and_si128(x, _mm_slli_epi16(x, 1))));
}

// Widens 16 bytes to 16 units.
inline void widen16(__m128i x, wchar_t* out) {
  const __m128i zero = _mm_setzero_si128();
  _mm_storeu_si128(reinterpret_cast<__m128i*>(out), _mm_unpacklo_epi8(x, zero));
  _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 8), _mm_unpackhi_epi8(x, zero));
}

// --- encoding ------------------------------------------------------------------

// Two bits per unit, set for the units below 0x80.
inline unsigned asciiLanes(__m128i a, __m128i b) {
  const __m128i high = _mm_set1_epi16(static_cast<short>(0xFF80));
  const __m128i zero = _mm_setzero_si128();
  const unsigned lo = static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi16(_mm_and_si128(a, high), zero)));
  const unsigned hi = static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi16(_mm_and_si128(b, high), zero)));
  return lo | hi << 16;
}

// -1 in each lane where (x & mask) == value.
inline __m128i lanesEqual(__m128i x, short mask, short value) {
  return _mm_cmpeq_epi16(_mm_and_si128(x, _mm_set1_epi16(mask)), _mm_set1_epi16(value));
}

// Bytes beyond one per unit that a unit adds: 0 below 0x80, 1 below 0x800,
// else 2; the leading half of a pair adds 2 less, so that the pair totals 4.
inline std::size_t extraBytes(std::uint32_t v, const wchar_t* next, const wchar_t* end) {
  if (v < 0x80) return 0;
  if (v < 0x800) return 1;
  if (isSurrogateA(v) && next != end && isSurrogateB(static_cast<std::uint16_t>(*next))) return 0;
  return 2;
}

// The exact length of the encoding of [p, p + n): the output is then
// allocated once at its final size instead of at three bytes per unit.
std::size_t encodedLength(const wchar_t* p, std::size_t n, QOR::internal::CpuLevel level) {
  const wchar_t* const end = p + n;
  std::size_t total = n;
  if (level == QOR::internal::CpuLevel::avx2) total += QOR::internal::encodedExtraAvx2(p, end);
  // Eight units a time, with the unit after each for the pair test. Lanes
  // count at most 2 per step, so they are summed every 8192 steps.
  while (end - p >= 9) {
    __m128i acc = _mm_setzero_si128();
    for (int step = 0; step < 8192 && end - p >= 9; ++step, p += 8) {
      const __m128i x = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
      const __m128i y = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 1));
      const __m128i below80 = lanesEqual(x, static_cast<short>(0xFF80), 0);
      const __m128i below800 = lanesEqual(x, static_cast<short>(0xF800), 0);
      const __m128i pair = _mm_and_si128(lanesEqual(x, static_cast<short>(0xFC00), static_cast<short>(0xD800)),
                                         lanesEqual(y, static_cast<short>(0xFC00), static_cast<short>(0xDC00)));
      // 2 + (-1 below 0x80) + (-1 below 0x800) + 2 * (-1 for a pair's lead).
      acc = _mm_add_epi16(acc, _mm_add_epi16(_mm_set1_epi16(2), _mm_add_epi16(below80, below800)));
      acc = _mm_add_epi16(acc, _mm_add_epi16(pair, pair));
    }
    const __m128i sums = _mm_madd_epi16(acc, _mm_set1_epi16(1));
    alignas(16) std::uint32_t lanes[4];
    _mm_store_si128(reinterpret_cast<__m128i*>(lanes), sums);
    total += std::size_t(lanes[0]) + lanes[1] + lanes[2] + lanes[3];
  }
  for (; p != end; ++p) total += extraBytes(static_cast<std::uint16_t>(*p), p + 1, end);
  return total;
}

using QOR::internal::CpuLevel;

// The kernel of `level` for one direction, or none at the baseline.
template <class Kernel>
Kernel kernelFor(CpuLevel level, Kernel ssse3, Kernel avx2) {
  return level == CpuLevel::avx2 ? avx2 : level == CpuLevel::ssse3 ? ssse3 : nullptr;
}

// Runs `kernel`, if there is one, from p and out, and moves both past what it
// converted; the scalar loops go on from there.
template <class Cursor>
void runKernel(void (*kernel)(Cursor&, decltype(Cursor::in)) noexcept, decltype(Cursor::in)& p,
               decltype(Cursor::out)& out, decltype(Cursor::in) end) {
  if (kernel == nullptr) return;
  Cursor c{p, out};
  kernel(c, end);
  p = c.in;
  out = c.out;
}

}  // namespace

std::string utf8(const std::wstring& s) {
  std::string result;
  const std::size_t n = s.size();
  if (n == 0) return result;
  const CpuLevel level = QOR::internal::cpuLevel();
  result.resize(encodedLength(s.data(), n, level));
  char* out = result.data();
  const wchar_t* p = s.data();
  const wchar_t* const end = p + n;
  runKernel(kernelFor(level, &QOR::internal::encodeUtf8Ssse3, &QOR::internal::encodeUtf8Avx2), p, out, end);
  // Runs of one sequence length each get a loop of their own, which stays on
  // its branch while the text does; a unit of another length leaves it. The
  // forms are CodePoint::utf8's six-byte scheme restricted to what UTF-16 can
  // hold (up to four bytes), spelled out per length.
  while (p != end) {
    std::uint32_t v = static_cast<std::uint16_t>(*p);
    if (v < 0x80) {
      if (end - p < 16) {
        *out++ = static_cast<char>(v);
        ++p;
        continue;
      }
      // 16 units at a time. Every remaining unit takes at least one byte, so
      // the 16 bytes always fit; those of units that are no ASCII are
      // garbage that the units' own sequences overwrite.
      do {
        const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
        const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 8));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out), _mm_packus_epi16(a, b));
        const unsigned ascii = asciiLanes(a, b);
        if (ascii != 0xFFFFFFFFu) {
          const unsigned skip = static_cast<unsigned>(std::countr_one(ascii)) / 2;
          p += skip;
          out += skip;
          break;
        }
        p += 16;
        out += 16;
      } while (end - p >= 16);
      continue;
    }
    if (v < 0x800) {
      do {
        out[0] = static_cast<char>(0xC0 | (v >> 6));
        out[1] = static_cast<char>(0x80 | (v & 0x3F));
        out += 2;
        if (++p == end) break;
        v = static_cast<std::uint16_t>(*p);
      } while (v - 0x80u < 0x780u);
      continue;
    }
    if (!isSurrogate(v)) {
      do {
        out[0] = static_cast<char>(0xE0 | (v >> 12));
        out[1] = static_cast<char>(0x80 | ((v >> 6) & 0x3F));
        out[2] = static_cast<char>(0x80 | (v & 0x3F));
        out += 3;
        if (++p == end) break;
        v = static_cast<std::uint16_t>(*p);
      } while (v >= 0x800 && !isSurrogate(v));
      continue;
    }
    if (isSurrogateA(v) && end - p >= 2 && isSurrogateB(static_cast<std::uint16_t>(p[1]))) {
      // Pairs, combined exactly as CodePointEnumerator combines them, and the
      // ASCII between them (text of emoji and spaces), one code point a step
      // through one four-byte store. The store needs four bytes of room: the
      // first step is a pair, and later ones have four units left.
      do {
        const std::uint32_t lead = static_cast<std::uint16_t>(p[0]);
        const std::uint32_t trail = static_cast<std::uint16_t>(p[1]);
        const bool pair = ((lead & 0xFC00u) == 0xD800u) & ((trail & 0xFC00u) == 0xDC00u);
        if (!pair && lead >= 0x80) break;
        const std::uint32_t c = ((lead - 0xD800u) << 10 | (trail - 0xDC00u)) + 0x10000u;
        const std::uint32_t bytes4 = (0xF0u | (c >> 18)) | (0x80u | ((c >> 12) & 0x3Fu)) << 8 |
                                     (0x80u | ((c >> 6) & 0x3Fu)) << 16 | (0x80u | (c & 0x3Fu)) << 24;
        const std::uint32_t word = pair ? bytes4 : lead;
        std::memcpy(out, &word, 4);
        out += pair ? 4 : 1;
        p += pair ? 2 : 1;
      } while (end - p >= 4);
      continue;
    }
    // A lone surrogate of either kind: the three-byte form of its value.
    out[0] = static_cast<char>(0xE0 | (v >> 12));
    out[1] = static_cast<char>(0x80 | ((v >> 6) & 0x3F));
    out[2] = static_cast<char>(0x80 | (v & 0x3F));
    out += 3;
    ++p;
  }
  return result;
}

namespace {

// Appends the units of the value a sequence decoded to: one below 0x10000, a
// pair below 0x110000, none above.
inline void putDecoded(std::uint32_t v, wchar_t*& out) {
  if (v < 0x10000u) {
    *out++ = static_cast<wchar_t>(v);
  } else if (v < 0x110000u) {
    v -= 0x10000u;
    *out++ = static_cast<wchar_t>((v >> 10) | 0xD800u);
    *out++ = static_cast<wchar_t>((v & 0x3FFu) | 0xDC00u);
  }
}

}  // namespace

std::wstring utf8(const std::string& s) {
  std::wstring result;
  const std::size_t n = s.size();
  if (n == 0) return result;
  const unsigned char* p = reinterpret_cast<const unsigned char*>(s.data());
  const unsigned char* const end = p + n;
  const CpuLevel level = QOR::internal::cpuLevel();
  // The exact length, with room behind it for the vector stores that run
  // past the last unit (the kernels' slack covers the 16-unit stores below).
  const std::size_t length = QOR::internal::decodedLength(p, end, level);
  result.resize(length + QOR::internal::kDecodeSlack);
  wchar_t* const begin = result.data();
  wchar_t* out = begin;
  runKernel(kernelFor(level, &QOR::internal::decodeUtf8Ssse3, &QOR::internal::decodeUtf8Avx2), p, out, end);
  // The value of a sequence: v = lead, then v = (v << 6) + byte for each
  // trailing byte, modulo 2^32, less kOffsets. Runs of sequences of one
  // length each get a loop of their own, which stays on its branch while the
  // text does.
  while (p != end) {
    if (*p < 0xC0) {
      // Bytes below 0xC0 stand for themselves.
      if (end - p < 16) {
        *out++ = static_cast<wchar_t>(*p++);
        continue;
      }
      // 16 at a time, up to the first lead byte. The whole block is widened
      // even when it holds one: the units before the lead are right, and the
      // ones after it are overwritten next.
      do {
        const __m128i x = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
        const unsigned mask = leadMask(x);
        widen16(x, out);
        if (mask != 0) {
          const unsigned skip = static_cast<unsigned>(std::countr_zero(mask));
          p += skip;
          out += skip;
          break;
        }
        p += 16;
        out += 16;
      } while (end - p >= 16);
      continue;
    }
    const unsigned t = trailingFor(*p);
    if (static_cast<std::size_t>(end - p) <= t) {
      // A sequence cut off by the end of the input.
      *out++ = static_cast<wchar_t>(0xFFFD);
      break;
    }
    if (t == 2) {
      do {
        putDecoded((std::uint32_t(p[0]) << 12) + (std::uint32_t(p[1]) << 6) + p[2] - kOffsets[2], out);
        p += 3;
      } while (end - p >= 3 && (*p & 0xF0) == 0xE0);
    } else if (t == 1) {
      do {
        putDecoded((std::uint32_t(p[0]) << 6) + p[1] - kOffsets[1], out);
        p += 2;
      } while (end - p >= 2 && (*p & 0xE0) == 0xC0);
    } else if (t == 3) {
      do {
        putDecoded(
            (std::uint32_t(p[0]) << 18) + (std::uint32_t(p[1]) << 12) + (std::uint32_t(p[2]) << 6) + p[3] - kOffsets[3],
            out);
        p += 4;
      } while (end - p >= 4 && (*p & 0xF8) == 0xF0);
    } else {
      std::uint32_t v = *p;
      for (unsigned i = 1; i <= t; ++i) v = (v << 6) + p[i];
      putDecoded(v - kOffsets[t], out);
      p += t + 1;
    }
  }
  result.resize(length);
  return result;
}

bool fromUTF16(unsigned int& out, unsigned int a, unsigned int b) {
  if ((a & 0xFFFFFC00u) != 0xD800u || (b & 0xFFFFFC00u) != 0xDC00u) return false;
  out = ((a - 0xD800u) << 10 | (b - 0xDC00u)) + 0x10000u;
  return true;
}
