// The exact length of utf8(std::string)'s output, counted before it is
// allocated: text of two- and three-byte sequences needs well under one unit
// per byte, and allocating (and zero-filling) one per byte costs about as much
// as decoding. Well-formed blocks are counted 64 bytes at a time from their
// byte classes; anything else by the decoder's own rules, sequence by
// sequence, so the count is exact for any input.
#include "text/internal/utf8_kernels.h"
#include "text/internal/utf8_length_steps.h"

#include <emmintrin.h>

namespace QOR::internal {
namespace {

// What the accumulated value of a sequence with t trailing bytes must lose.
constexpr std::uint32_t kOffsets[6] = {0x00000000u, 0x00003080u, 0x000E2080u, 0x03C82080u, 0xFA082080u, 0x82082080u};

// The units the decoder writes for the sequences that start before `stop`,
// from p (a sequence start) on; p moves to the first sequence start at or
// after stop. A sequence cut off by the end gives its U+FFFD and ends the
// input (p = end).
std::size_t countSequences(const unsigned char*& p, const unsigned char* stop, const unsigned char* end) {
  std::size_t units = 0;
  while (p < stop) {
    const unsigned b = *p;
    if (b < 0xC0) {
      ++units;
      ++p;
      continue;
    }
    const unsigned t = b < 0xE0 ? 1 : b < 0xF0 ? 2 : b < 0xF8 ? 3 : b < 0xFC ? 4 : 5;
    if (static_cast<std::size_t>(end - p) <= t) {
      p = end;
      return units + 1;
    }
    std::uint32_t v = b;
    for (unsigned i = 1; i <= t; ++i) v = (v << 6) + p[i];
    v -= kOffsets[t];
    units += v < 0x10000u ? 1 : v < 0x110000u ? 2 : 0;
    p += t + 1;
  }
  return units;
}

inline __m128i load16(const unsigned char* p) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p)); }

struct LengthSse2 {
  static bool ascii(const unsigned char* p) {
    const __m128i any =
        _mm_or_si128(_mm_or_si128(load16(p), load16(p + 16)), _mm_or_si128(load16(p + 32), load16(p + 48)));
    return _mm_movemask_epi8(any) == 0;
  }

  // Bit 7 of a byte shifted left by k within its 16-bit lane is its own bit
  // 7 - k, so x & x << 1 has bit 7 set for bytes 0xC0 and above, and so on.
  static void classify(const unsigned char* p, LengthClasses& c) {
    // Per byte: 4, +1 for 0x80..0xBF, -1 for 0xF0 and above, over the four
    // vectors; the sum of all 16 lanes is then 64 + (continuations - pairs).
    __m128i acc = _mm_set1_epi8(4);
    for (unsigned i = 0; i < 64; i += 16) {
      const __m128i x = load16(p + i);
      const __m128i l2 = _mm_and_si128(x, _mm_slli_epi16(x, 1));
      const __m128i l3 = _mm_and_si128(l2, _mm_slli_epi16(x, 2));
      const __m128i l4 = _mm_and_si128(l3, _mm_slli_epi16(x, 3));
      auto bits = [i](__m128i m) { return std::uint64_t(static_cast<unsigned>(_mm_movemask_epi8(m))) << i; };
      c.high |= bits(x);
      c.lead |= bits(l2);
      c.lead3 |= bits(l3);
      c.lead4 |= bits(l4);
      const __m128i continuation = _mm_cmplt_epi8(x, _mm_set1_epi8(-64));
      const __m128i four = _mm_cmplt_epi8(l4, _mm_setzero_si128());
      acc = _mm_add_epi8(acc, _mm_sub_epi8(four, continuation));
    }
    const __m128i sums = _mm_sad_epu8(acc, _mm_setzero_si128());
    c.units = 128u - static_cast<unsigned>(_mm_cvtsi128_si32(sums) + _mm_cvtsi128_si32(_mm_unpackhi_epi64(sums, sums)));
  }

  static bool foursInRange(const unsigned char* p) {
    __m128i bad = _mm_setzero_si128();
    for (unsigned i = 0; i < 64; i += 16) {
      const __m128i x = load16(p + i), next = load16(p + i + 1);
      // F5 and above; F0 then 80..8F; F4 then 90 and above (as signed bytes,
      // 0x90 is -112; bytes below 0x80 there fail the block anyway).
      bad = _mm_or_si128(bad, _mm_cmpeq_epi8(_mm_max_epu8(x, _mm_set1_epi8(-11)), x));
      bad = _mm_or_si128(
          bad, _mm_and_si128(_mm_cmpeq_epi8(x, _mm_set1_epi8(-16)), _mm_cmplt_epi8(next, _mm_set1_epi8(-112))));
      bad = _mm_or_si128(
          bad, _mm_and_si128(_mm_cmpeq_epi8(x, _mm_set1_epi8(-12)), _mm_cmpgt_epi8(next, _mm_set1_epi8(-113))));
    }
    return _mm_movemask_epi8(bad) == 0;
  }
};

}  // namespace

std::size_t decodedLength(const unsigned char* p, const unsigned char* end, CpuLevel level) noexcept {
  std::size_t units = 0;
  while (p != end) {
    units += level == CpuLevel::avx2 ? decodedLengthAvx2(p, end) : countWellFormedBlocks<LengthSse2>(p, end);
    // What the blocks could not vouch for: the next 64 bytes by the decoder's
    // rules, or all the rest near the end.
    units += countSequences(p, end - p >= 144 ? p + 64 : end, end);
  }
  return units;
}

}  // namespace QOR::internal
