// UTF-16 <-> UTF-8: the round-tripping encoder, the lenient decoder and
// fromUTF16.
//
// Both directions run an SSE2 block loop over 16 bytes / 16 units at a time
// while the block needs no decoding, and drop to the scalar coder for a run of
// sequences when it does. The output is sized once and written through a
// pointer: the encoder counts its exact length first (a cheap SIMD pass that
// saves allocating three bytes per unit), the decoder takes one unit per byte
// and trims at the end.
#include <qorcor14/text/strings.h>

#include <qorcor14/text/codepoint.h>

#include <emmintrin.h>

#include <bit>
#include <cstdint>

namespace {

// --- decoding ------------------------------------------------------------------

// What the accumulated value of a sequence with t trailing bytes must lose:
// the lead byte's marker bits and 0x80 for every trailing byte, modulo 2^32.
constexpr std::uint32_t kOffsets[6] = {0x00000000u, 0x00003080u, 0x000E2080u,
                                       0x03C82080u, 0xFA082080u, 0x82082080u};

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

// True when all 16 units are below 0x80.
inline bool ascii16(__m128i a, __m128i b) {
  const __m128i high = _mm_set1_epi16(static_cast<short>(0xFF80));
  const __m128i any = _mm_and_si128(_mm_or_si128(a, b), high);
  return _mm_movemask_epi8(_mm_cmpeq_epi16(any, _mm_setzero_si128())) == 0xFFFF;
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
std::size_t encodedLength(const wchar_t* p, std::size_t n) {
  const wchar_t* const end = p + n;
  std::size_t total = n;
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

} // namespace

std::string utf8(const std::wstring& s) {
  std::string result;
  const std::size_t n = s.size();
  if (n == 0) return result;
  result.resize(encodedLength(s.data(), n));
  char* out = result.data();
  const wchar_t* p = s.data();
  const wchar_t* const end = p + n;
  while (p != end) {
    // Every remaining unit takes at least one byte, so a block of 16 units
    // always has room for its 16 bytes.
    const wchar_t* const stop = end - p > 16 ? p + 16 : end;
    if (end - p >= 16) {
      const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
      const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 8));
      if (ascii16(a, b)) {
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out), _mm_packus_epi16(a, b));
        p += 16;
        out += 16;
        continue;
      }
    }
    // Scalar run over the rest of the block that failed the test (or the
    // tail), so that mixed text does not bounce between the paths unit by
    // unit. The forms are CodePoint::utf8's six-byte scheme restricted to what
    // UTF-16 can hold (up to four bytes), spelled out per length instead of
    // going through the generic encoder's length search and loop.
    do {
      std::uint32_t v = static_cast<std::uint16_t>(*p++);
      if (v < 0x80) {
        *out++ = static_cast<char>(v);
      } else if (v < 0x800) {
        out[0] = static_cast<char>(0xC0 | (v >> 6));
        out[1] = static_cast<char>(0x80 | (v & 0x3F));
        out += 2;
      } else if (!isSurrogate(v)) {
        out[0] = static_cast<char>(0xE0 | (v >> 12));
        out[1] = static_cast<char>(0x80 | ((v >> 6) & 0x3F));
        out[2] = static_cast<char>(0x80 | (v & 0x3F));
        out += 3;
      } else if (isSurrogateA(v) && p != end && isSurrogateB(static_cast<std::uint16_t>(*p))) {
        // A pair, combined exactly as CodePointEnumerator combines it.
        v = ((v - 0xD800u) << 10 | (static_cast<std::uint16_t>(*p++) - 0xDC00u)) + 0x10000u;
        out[0] = static_cast<char>(0xF0 | (v >> 18));
        out[1] = static_cast<char>(0x80 | ((v >> 12) & 0x3F));
        out[2] = static_cast<char>(0x80 | ((v >> 6) & 0x3F));
        out[3] = static_cast<char>(0x80 | (v & 0x3F));
        out += 4;
      } else {
        // A lone surrogate of either kind: the three-byte form of its value.
        out[0] = static_cast<char>(0xE0 | (v >> 12));
        out[1] = static_cast<char>(0x80 | ((v >> 6) & 0x3F));
        out[2] = static_cast<char>(0x80 | (v & 0x3F));
        out += 3;
      }
    } while (p < stop);
  }
  return result;
}

std::wstring utf8(const std::string& s) {
  std::wstring result;
  const std::size_t n = s.size();
  if (n == 0) return result;
  // One unit per byte bounds every case: a four-byte sequence gives two.
  result.resize(n);
  wchar_t* const begin = result.data();
  wchar_t* out = begin;
  const unsigned char* p = reinterpret_cast<const unsigned char*>(s.data());
  const unsigned char* const end = p + n;
  while (p != end) {
    const unsigned char* stop = end;
    if (end - p >= 16) {
      stop = p + 16;
      const __m128i x = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
      const unsigned mask = leadMask(x);
      // Widen the whole block even when it holds a lead byte: the units before
      // the lead are right, and the ones after it are overwritten next.
      widen16(x, out);
      if (mask == 0) {
        p += 16;
        out += 16;
        continue;
      }
      const unsigned skip = static_cast<unsigned>(std::countr_zero(mask));
      p += skip;
      out += skip;
    }
    // Scalar run from the first lead byte to the end of the block (or of the
    // tail): bytes below 0xC0 stand for themselves; a lead byte starts a
    // sequence, which may reach past the block.
    do {
      const unsigned b = *p++;
      if (b < 0xC0) {
        *out++ = static_cast<wchar_t>(b);
        continue;
      }
      const unsigned t = trailingFor(b);
      if (static_cast<std::size_t>(end - p) < t) {
        *out++ = static_cast<wchar_t>(0xFFFD);
        p = end;
        break;
      }
      // v = b, then v = (v << 6) + byte for each trailing byte, modulo 2^32;
      // the common lengths unrolled.
      std::uint32_t v;
      if (t == 1) {
        v = (std::uint32_t(b) << 6) + p[0];
      } else if (t == 2) {
        v = (std::uint32_t(b) << 12) + (std::uint32_t(p[0]) << 6) + p[1];
      } else if (t == 3) {
        v = (std::uint32_t(b) << 18) + (std::uint32_t(p[0]) << 12) + (std::uint32_t(p[1]) << 6) + p[2];
      } else {
        v = b;
        for (unsigned i = 0; i < t; ++i) v = (v << 6) + p[i];
      }
      p += t;
      v -= kOffsets[t];
      if (v < 0x10000u) {
        *out++ = static_cast<wchar_t>(v);
      } else if (v < 0x110000u) {
        v -= 0x10000u;
        *out++ = static_cast<wchar_t>((v >> 10) | 0xD800u);
        *out++ = static_cast<wchar_t>((v & 0x3FFu) | 0xDC00u);
      }
    } while (p < stop);
  }
  result.resize(static_cast<std::size_t>(out - begin));
  return result;
}

bool fromUTF16(unsigned int& out, unsigned int a, unsigned int b) {
  if ((a & 0xFFFFFC00u) != 0xD800u || (b & 0xFFFFFC00u) != 0xDC00u) return false;
  out = ((a - 0xD800u) << 10 | (b - 0xDC00u)) + 0x10000u;
  return true;
}
