// The AVX2 kernels of utf8(), 32 bytes a vector: the steps of
// utf8_kernel_steps.h twice as wide (see utf8_kernels.h).
#include "text/internal/utf8_kernel_steps.h"
#include "text/internal/utf8_length_steps.h"

namespace QOR::internal {
namespace {

inline __m256i load32(const void* p) { return _mm256_loadu_si256(static_cast<const __m256i*>(p)); }
inline __m256i splat16x(unsigned v) { return _mm256_set1_epi16(static_cast<short>(v)); }

inline __m256i lanesEqual(__m256i x, unsigned mask, unsigned value) {
  return _mm256_cmpeq_epi16(_mm256_and_si256(x, splat16x(mask)), splat16x(value));
}

// The units before those of x: x moved up by one 16-bit lane, across the
// halves, with the last unit of prev in lane 0.
inline __m256i previousUnits(__m256i x, __m256i prev) {
  return _mm256_alignr_epi8(x, _mm256_permute2x128_si256(prev, x, 0x21), 14);
}

// encode8 (utf8_kernel_steps.h) for the 16 units at p; writes 16 bytes at
// each of four places.
QOR_KERNEL_INLINE void encode16(const wchar_t* p, char*& out, __m256i& units, __m256i& leads) {
  const __m256i x = load32(p);
  const __m256i ascii = lanesEqual(x, 0xFF80, 0);
  const __m256i below800 = lanesEqual(x, 0xF800, 0);
  __m256i v = x, twoBytes = below800, notThree = below800, lead = _mm256_setzero_si256();
  if (_mm256_movemask_epi8(lanesEqual(x, 0xF800, 0xD800)) != 0) {
    const __m256i y = load32(p + 1);
    lead = _mm256_and_si256(lanesEqual(x, 0xFC00, 0xD800), lanesEqual(y, 0xFC00, 0xDC00));
    const __m256i trail = previousUnits(lead, leads);
    const __m256i payload = _mm256_and_si256(x, splat16x(0x3FF));
    const __m256i high =
        _mm256_add_epi16(_mm256_srli_epi16(_mm256_add_epi16(payload, splat16x(0x40)), 2), splat16x(0xC00));
    const __m256i low =
        _mm256_or_si256(_mm256_slli_epi16(_mm256_and_si256(previousUnits(x, units), splat16x(3)), 10), payload);
    v = _mm256_or_si256(_mm256_andnot_si256(_mm256_or_si256(lead, trail), x),
                        _mm256_or_si256(_mm256_and_si256(lead, high), _mm256_and_si256(trail, low)));
    twoBytes = _mm256_or_si256(below800, lead);
    notThree = _mm256_or_si256(twoBytes, trail);
  }
  units = x;
  leads = lead;
  const __m256i dupLow = _mm256_setr_epi8(0, 0, 2, 2, 4, 4, 6, 6, 8, 8, 10, 10, 12, 12, 14, 14,  //
                                          0, 0, 2, 2, 4, 4, 6, 6, 8, 8, 10, 10, 12, 12, 14, 14);
  const __m256i first =
      _mm256_or_si256(_mm256_and_si256(_mm256_shuffle_epi8(v, dupLow), splat16x(0x3F7F)), splat16x(0x8000));
  const __m256i second = _mm256_or_si256(
      _mm256_or_si256(_mm256_srli_epi16(v, 12), _mm256_and_si256(_mm256_slli_epi16(v, 2), splat16x(0x3F00))),
      _mm256_or_si256(splat16x(0x80E0), _mm256_and_si256(twoBytes, splat16x(0x4000))));
  const unsigned rows = ~((static_cast<unsigned>(_mm256_movemask_epi8(ascii)) & 0x55555555u) |
                          (static_cast<unsigned>(_mm256_movemask_epi8(notThree)) & 0xAAAAAAAAu));
  const Utf8PackTable& t = kUtf8PackTable;
  const unsigned r0 = rows & 0xFF, r1 = rows >> 8 & 0xFF, r2 = rows >> 16 & 0xFF, r3 = rows >> 24;
  // The halves hold units 0-3 and 8-11 (lo), 4-7 and 12-15 (hi).
  const __m256i lo = _mm256_shuffle_epi8(_mm256_unpacklo_epi16(first, second),
                                         _mm256_loadu2_m128i(reinterpret_cast<const __m128i*>(t.shuffle[r2]),
                                                             reinterpret_cast<const __m128i*>(t.shuffle[r0])));
  const __m256i hi = _mm256_shuffle_epi8(_mm256_unpackhi_epi16(first, second),
                                         _mm256_loadu2_m128i(reinterpret_cast<const __m128i*>(t.shuffle[r3]),
                                                             reinterpret_cast<const __m128i*>(t.shuffle[r1])));
  store16(out, _mm256_castsi256_si128(lo));
  out += t.length[r0];
  store16(out, _mm256_castsi256_si128(hi));
  out += t.length[r1];
  store16(out, _mm256_extracti128_si256(lo, 1));
  out += t.length[r2];
  store16(out, _mm256_extracti128_si256(hi, 1));
  out += t.length[r3];
}

// Adds the classes of the 32 bytes x as bits `shift` on (see classify16).
QOR_KERNEL_INLINE void classify32(__m256i x, unsigned shift, ByteClasses& c) {
  const __m256i l2 = _mm256_and_si256(x, _mm256_slli_epi16(x, 1));
  const __m256i l3 = _mm256_and_si256(l2, _mm256_slli_epi16(x, 2));
  const __m256i l4 = _mm256_and_si256(l3, _mm256_slli_epi16(x, 3));
  const __m256i l5 = _mm256_and_si256(l4, _mm256_slli_epi16(x, 4));
  auto bits = [shift](__m256i m) { return std::uint64_t(static_cast<unsigned>(_mm256_movemask_epi8(m))) << shift; };
  c.high |= bits(x);
  c.lead |= bits(l2);
  c.lead3 |= bits(l3);
  c.lead4 |= bits(l4);
  c.lead5 |= bits(l5);
}

inline __m256i table32(const unsigned char* row) { return _mm256_broadcastsi128_si256(load16(row)); }

// The 32 bytes before x moved up by k bytes into x: bytes j - k.
template <int k>
inline __m256i bytesBefore(__m256i x, __m256i prev) {
  return _mm256_alignr_epi8(x, _mm256_permute2x128_si256(prev, x, 0x21), 16 - k);
}

// convert16 (utf8_kernel_steps.h) for 32 positions. The 16-bit lanes of lo
// hold positions 0-7 and 16-23, those of hi 8-15 and 24-31.
template <bool Fours>
QOR_KERNEL_INLINE __m256i convert32(__m256i x, __m256i prev, __m256i classPrev, unsigned keep, __m256i& outside,
                                    wchar_t*& out) {
  const __m256i before1 = bytesBefore<1>(x, prev), before2 = bytesBefore<2>(x, prev);
  const __m256i cls =
      _mm256_shuffle_epi8(table32(kLeadClass), _mm256_and_si256(_mm256_srli_epi16(x, 4), _mm256_set1_epi8(0x0F)));
  const __m256i c1 = bytesBefore<1>(cls, classPrev), c2 = bytesBefore<2>(cls, classPrev);
  __m256i type = _mm256_or_si256(_mm256_and_si256(c1, _mm256_set1_epi8(1)), _mm256_and_si256(c2, _mm256_set1_epi8(6)));
  if constexpr (Fours) {
    const __m256i c3 = bytesBefore<3>(cls, classPrev);
    type = _mm256_or_si256(type, _mm256_and_si256(_mm256_slli_epi16(c3, 1), _mm256_set1_epi8(8)));
  }
  const __m256i a = _mm256_and_si256(x, _mm256_shuffle_epi8(table32(kKeepA), type));
  __m256i b = _mm256_and_si256(before1, _mm256_shuffle_epi8(table32(kKeepB), type));
  __m256i c = _mm256_and_si256(before2, _mm256_shuffle_epi8(table32(kKeepC), type));
  if constexpr (Fours) {
    b = _mm256_or_si256(b, _mm256_shuffle_epi8(table32(kAddB), type));
    c = _mm256_or_si256(c, _mm256_shuffle_epi8(table32(kAddC), type));
  }
  const __m256i weights = splat16x(0x4001), zero = _mm256_setzero_si256();
  __m256i lo = _mm256_add_epi16(_mm256_maddubs_epi16(_mm256_unpacklo_epi8(a, b), weights),
                                _mm256_slli_epi16(_mm256_unpacklo_epi8(zero, c), 4));
  __m256i hi = _mm256_add_epi16(_mm256_maddubs_epi16(_mm256_unpackhi_epi8(a, b), weights),
                                _mm256_slli_epi16(_mm256_unpackhi_epi8(zero, c), 4));
  if constexpr (Fours) {
    const __m256i third = _mm256_cmpeq_epi8(type, _mm256_set1_epi8(4));
    const __m256i tlo = _mm256_unpacklo_epi8(third, third), thi = _mm256_unpackhi_epi8(third, third);
    auto outsideRange = [](__m256i v) {
      return _mm256_or_si256(_mm256_cmpgt_epi16(v, splat16x(0x43FF)), _mm256_cmpgt_epi16(splat16x(0x400), v));
    };
    outside = _mm256_or_si256(
        outside, _mm256_or_si256(_mm256_and_si256(tlo, outsideRange(lo)), _mm256_and_si256(thi, outsideRange(hi))));
    lo = _mm256_blendv_epi8(lo, _mm256_add_epi16(_mm256_srli_epi16(lo, 4), splat16x(0xD7C0)), tlo);
    hi = _mm256_blendv_epi8(hi, _mm256_add_epi16(_mm256_srli_epi16(hi, 4), splat16x(0xD7C0)), thi);
  }
  const Utf8KeepTable& t = kUtf8KeepTable;
  const unsigned k0 = keep & 0xFF, k1 = keep >> 8 & 0xFF, k2 = keep >> 16 & 0xFF, k3 = keep >> 24 & 0xFF;
  auto rows = [](unsigned high, unsigned low) {
    return _mm256_loadu2_m128i(reinterpret_cast<const __m128i*>(kUtf8KeepTable.shuffle[high]),
                               reinterpret_cast<const __m128i*>(kUtf8KeepTable.shuffle[low]));
  };
  const __m256i kept02 = _mm256_shuffle_epi8(lo, rows(k2, k0)), kept13 = _mm256_shuffle_epi8(hi, rows(k3, k1));
  store16(out, _mm256_castsi256_si128(kept02));
  out += t.count[k0];
  store16(out, _mm256_castsi256_si128(kept13));
  out += t.count[k1];
  store16(out, _mm256_extracti128_si256(kept02, 1));
  out += t.count[k2];
  store16(out, _mm256_extracti128_si256(kept13, 1));
  out += t.count[k3];
  return cls;
}

// stops16 (utf8_kernel_steps.h) for the 32 bytes at p.
QOR_KERNEL_INLINE unsigned stops32(const unsigned char* p) {
  const __m256i x = load32(p), next = load32(p + 1), after = load32(p + 2);
  const __m256i nibble = _mm256_set1_epi8(0x0F);
  const __m256i high = _mm256_shuffle_epi8(table32(kStopHigh), _mm256_and_si256(_mm256_srli_epi16(x, 4), nibble));
  const __m256i low = _mm256_shuffle_epi8(table32(kStopLow), _mm256_and_si256(x, nibble));
  const __m256i completed =
      _mm256_shuffle_epi8(table32(kStopNext), _mm256_and_si256(_mm256_srli_epi16(next, 4), nibble));
  const __m256i classes = _mm256_and_si256(_mm256_and_si256(high, low), completed);
  const __m256i separator = _mm256_and_si256(
      _mm256_and_si256(_mm256_cmpeq_epi8(x, _mm256_set1_epi8(static_cast<char>(0xE2))),
                       _mm256_cmpeq_epi8(next, _mm256_set1_epi8(static_cast<char>(0x80)))),
      _mm256_cmpeq_epi8(_mm256_or_si256(after, _mm256_set1_epi8(1)), _mm256_set1_epi8(static_cast<char>(0xA9))));
  return ~static_cast<unsigned>(_mm256_movemask_epi8(_mm256_cmpeq_epi8(classes, _mm256_setzero_si256()))) |
         static_cast<unsigned>(_mm256_movemask_epi8(separator));
}

// Blocks16 (utf8_kernel_steps.h) in 32-byte vectors.
struct Blocks32 {
  __m256i prev = _mm256_setzero_si256(), classes = _mm256_setzero_si256();

  void reset() { prev = classes = _mm256_setzero_si256(); }

  static bool widenAll(const unsigned char* p, wchar_t* out) {
    if (!_mm256_testz_si256(_mm256_or_si256(load32(p), load32(p + 32)), _mm256_set1_epi8(static_cast<char>(0x80)))) {
      return false;
    }
    for (unsigned i = 0; i < 64; i += 16) {
      _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + i), _mm256_cvtepu8_epi16(load16(p + i)));
    }
    return true;
  }

  static void classify(const unsigned char* p, ByteClasses& m) {
    classify32(load32(p), 0, m);
    classify32(load32(p + 32), 32, m);
  }

  // stops16 and breaks16 (utf8_kernel_steps.h) over the 64 bytes at p.
  static std::uint64_t stops(const unsigned char* p) { return stops32(p) | std::uint64_t(stops32(p + 32)) << 32; }
  static std::uint64_t breaks(const unsigned char* p) {
    auto bits = [](__m256i x) {
      const __m256i lf = _mm256_cmpeq_epi8(x, _mm256_set1_epi8(0x0A));
      const __m256i ff = _mm256_cmpeq_epi8(x, _mm256_set1_epi8(0x0C));
      const __m256i cr = _mm256_cmpeq_epi8(x, _mm256_set1_epi8(0x0D));
      return std::uint64_t(static_cast<unsigned>(_mm256_movemask_epi8(_mm256_or_si256(_mm256_or_si256(lf, ff), cr))));
    };
    return bits(load32(p)) | bits(load32(p + 32)) << 32;
  }

  template <bool Fours>
  QOR_KERNEL_INLINE bool run(const unsigned char* p, std::uint64_t keep, wchar_t*& out) {
    const __m256i x0 = load32(p), x1 = load32(p + 32);
    __m256i outside = _mm256_setzero_si256();
    const __m256i classes0 = convert32<Fours>(x0, prev, classes, static_cast<unsigned>(keep), outside, out);
    classes = convert32<Fours>(x1, x0, classes0, static_cast<unsigned>(keep >> 32), outside, out);
    prev = x1;
    return _mm256_testz_si256(outside, outside) != 0;
  }

  QOR_KERNEL_INLINE bool convert(const unsigned char* p, std::uint64_t keep, bool fours, wchar_t*& out) {
    return fours ? run<true>(p, keep, out) : run<false>(p, keep, out);
  }
};

// The steps of countWellFormedBlocks (utf8_length_steps.h) in 32-byte vectors.
struct LengthAvx2 {
  static bool ascii(const unsigned char* p) {
    return _mm256_testz_si256(_mm256_or_si256(load32(p), load32(p + 32)), _mm256_set1_epi8(static_cast<char>(0x80)));
  }

  static void classify(const unsigned char* p, LengthClasses& c) {
    // Per byte: 2, +1 for 0x80..0xBF, -1 for 0xF0 and above, over the two
    // vectors (see LengthSse2 in utf8_length.cpp).
    __m256i acc = _mm256_set1_epi8(2);
    for (unsigned i = 0; i < 64; i += 32) {
      const __m256i x = load32(p + i);
      const __m256i l2 = _mm256_and_si256(x, _mm256_slli_epi16(x, 1));
      const __m256i l3 = _mm256_and_si256(l2, _mm256_slli_epi16(x, 2));
      const __m256i l4 = _mm256_and_si256(l3, _mm256_slli_epi16(x, 3));
      auto bits = [i](__m256i m) { return std::uint64_t(static_cast<unsigned>(_mm256_movemask_epi8(m))) << i; };
      c.high |= bits(x);
      c.lead |= bits(l2);
      c.lead3 |= bits(l3);
      c.lead4 |= bits(l4);
      const __m256i continuation = _mm256_cmpgt_epi8(_mm256_set1_epi8(-64), x);
      const __m256i four = _mm256_cmpgt_epi8(_mm256_setzero_si256(), l4);
      acc = _mm256_add_epi8(acc, _mm256_sub_epi8(four, continuation));
    }
    const __m256i sums = _mm256_sad_epu8(acc, _mm256_setzero_si256());
    const __m128i half = _mm_add_epi64(_mm256_castsi256_si128(sums), _mm256_extracti128_si256(sums, 1));
    c.units = 128u - static_cast<unsigned>(_mm_cvtsi128_si32(_mm_add_epi64(half, _mm_unpackhi_epi64(half, half))));
  }

  static bool foursInRange(const unsigned char* p) {
    __m256i bad = _mm256_setzero_si256();
    for (unsigned i = 0; i < 64; i += 32) {
      const __m256i x = load32(p + i), next = load32(p + i + 1);
      bad = _mm256_or_si256(bad, _mm256_cmpeq_epi8(_mm256_max_epu8(x, _mm256_set1_epi8(-11)), x));
      bad = _mm256_or_si256(bad, _mm256_and_si256(_mm256_cmpeq_epi8(x, _mm256_set1_epi8(-16)),
                                                  _mm256_cmpgt_epi8(_mm256_set1_epi8(-112), next)));
      bad = _mm256_or_si256(bad, _mm256_and_si256(_mm256_cmpeq_epi8(x, _mm256_set1_epi8(-12)),
                                                  _mm256_cmpgt_epi8(next, _mm256_set1_epi8(-113))));
    }
    return _mm256_testz_si256(bad, bad) != 0;
  }
};

}  // namespace

std::size_t decodedLengthAvx2(const unsigned char*& p, const unsigned char* end) noexcept {
  return countWellFormedBlocks<LengthAvx2>(p, end);
}

std::size_t encodedExtraAvx2(const wchar_t*& p, const wchar_t* end) noexcept {
  std::size_t total = 0;
  // 16 units a step, with the unit after each for the pair test; lanes count
  // at most 2 a step and are summed every 8192 steps.
  while (end - p >= 17) {
    __m256i acc = _mm256_setzero_si256();
    for (int step = 0; step < 8192 && end - p >= 17; ++step, p += 16) {
      const __m256i x = load32(p), y = load32(p + 1);
      const __m256i pair = _mm256_and_si256(lanesEqual(x, 0xFC00, 0xD800), lanesEqual(y, 0xFC00, 0xDC00));
      // 2 + (-1 below 0x80) + (-1 below 0x800) + 2 * (-1 for a pair's lead).
      acc = _mm256_add_epi16(acc, _mm256_add_epi16(lanesEqual(x, 0xFF80, 0), lanesEqual(x, 0xF800, 0)));
      acc = _mm256_add_epi16(acc, _mm256_add_epi16(splat16x(2), _mm256_add_epi16(pair, pair)));
    }
    const __m256i sums = _mm256_madd_epi16(acc, splat16x(1));
    const __m128i half = _mm_add_epi32(_mm256_castsi256_si128(sums), _mm256_extracti128_si256(sums, 1));
    const __m128i quarter = _mm_add_epi32(half, _mm_unpackhi_epi64(half, half));
    total += static_cast<std::uint32_t>(_mm_cvtsi128_si32(_mm_add_epi32(quarter, _mm_srli_epi64(quarter, 32))));
  }
  return total;
}

void encodeUtf8Avx2(Utf8EncodeCursor& c, const wchar_t* end) noexcept {
  const wchar_t* p = c.in;
  char* out = c.out;
  // As the SSSE3 kernel: a step reads 32 units and writes at most 15 bytes
  // beyond what it encodes.
  __m256i units = _mm256_setzero_si256(), leads = _mm256_setzero_si256();
  while (end - p >= 48) {
    const __m256i a = load32(p), b = load32(p + 16);
    if (_mm256_testz_si256(_mm256_or_si256(a, b), splat16x(0xFF80))) {
      _mm256_storeu_si256(reinterpret_cast<__m256i*>(out), _mm256_permute4x64_epi64(_mm256_packus_epi16(a, b), 0xD8));
      p += 32;
      out += 32;
      leads = _mm256_setzero_si256();
      continue;
    }
    encode16(p, out, units, leads);
    p += 16;
  }
  finishPair((static_cast<unsigned>(_mm256_movemask_epi8(leads)) & 0x80000000u) != 0, p, out);
  c = {p, out};
}

void decodeUtf8Avx2(Utf8DecodeCursor& c, const unsigned char* end) noexcept {
  Blocks32 blocks;
  decodeBlocks(c, end, blocks);
}

void decodeUtf8RunAvx2(Utf8DecodeCursor& c, const unsigned char* end) noexcept {
  Blocks32 blocks;
  decodeRunBlocks(c, end, blocks);
}

}  // namespace QOR::internal
