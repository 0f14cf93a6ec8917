// The 128-bit steps that the SSSE3 and AVX2 kernels of utf8() share. Included
// only by those translation units, each of which compiles these functions for
// its own instruction set: everything here has internal linkage, so that no
// copy is shared between them (see utf8_kernels.h).
#pragma once

#include "text/internal/utf8_kernels.h"

#include <immintrin.h>

#include <cstdint>

// The steps are forced inline: a vector argument of a function that is not
// inlined goes through memory under the Windows x64 convention.
#if defined(_MSC_VER)
#define QOR_KERNEL_INLINE __forceinline
#include <intrin.h>
#else
#define QOR_KERNEL_INLINE inline __attribute__((always_inline))
#endif

namespace QOR::internal {
namespace {

// The index of the lowest and of the highest set bit of m (m != 0).
inline unsigned lowestBit(std::uint64_t m) {
#if defined(_MSC_VER)
  unsigned long i;
  _BitScanForward64(&i, m);
  return i;
#else
  return static_cast<unsigned>(__builtin_ctzll(m));
#endif
}
inline unsigned highestBit(std::uint64_t m) {
#if defined(_MSC_VER)
  unsigned long i;
  _BitScanReverse64(&i, m);
  return i;
#else
  return 63u - static_cast<unsigned>(__builtin_clzll(m));
#endif
}

inline __m128i load16(const void* p) { return _mm_loadu_si128(static_cast<const __m128i*>(p)); }
inline void store16(void* p, __m128i x) { _mm_storeu_si128(static_cast<__m128i*>(p), x); }
inline __m128i splat16(unsigned v) { return _mm_set1_epi16(static_cast<short>(v)); }
inline __m128i splat32(std::uint32_t v) { return _mm_set1_epi32(static_cast<int>(v)); }

// -1 in each 16-bit lane where (x & mask) == value.
inline __m128i lanesEqual(__m128i x, unsigned mask, unsigned value) {
  return _mm_cmpeq_epi16(_mm_and_si128(x, splat16(mask)), splat16(value));
}

// --- encoding ------------------------------------------------------------------

// Encodes the eight units at p, reading the ninth for a pair, and writes 16
// bytes at each of two places from out on. `units` and `leads` carry the
// previous step's units and its leads of pairs (zero before the first step):
// a pair across two steps is written half by each, so that every step takes
// eight units and the next load never waits for this one.
//
// Each unit becomes a four-byte slot [v & 0x7F, 0x80 | v & 0x3F,
// 0xE0 | v >> 12, 0x80 | (v >> 6) & 0x3F], whose last byte gains 0x40 when it
// leads a sequence of two; kUtf8PackTable then keeps 1, 2 or 3 bytes of each
// slot. A pair is given two slots of two bytes: the leading half stands
// for (c >> 12) + 0xC00, whose two-byte form is F0 | c >> 18, 80 | c >> 12 &
// 3F, and the trailing half for c & 0xFFF with the middle byte's form, 80 |
// c >> 6 & 3F, 80 | c & 3F (c being the code point).
QOR_KERNEL_INLINE void encode8(const wchar_t* p, char*& out, __m128i& units, __m128i& leads) {
  const __m128i x = load16(p);
  const __m128i ascii = lanesEqual(x, 0xFF80, 0);
  const __m128i below800 = lanesEqual(x, 0xF800, 0);
  __m128i v = x, twoBytes = below800, notThree = below800, lead = _mm_setzero_si128();
  if (_mm_movemask_epi8(lanesEqual(x, 0xF800, 0xD800)) != 0) {
    const __m128i y = load16(p + 1);
    lead = _mm_and_si128(lanesEqual(x, 0xFC00, 0xD800), lanesEqual(y, 0xFC00, 0xDC00));
    const __m128i trail = _mm_alignr_epi8(lead, leads, 14);
    const __m128i payload = _mm_and_si128(x, splat16(0x3FF));
    const __m128i high = _mm_add_epi16(_mm_srli_epi16(_mm_add_epi16(payload, splat16(0x40)), 2), splat16(0xC00));
    const __m128i low =
        _mm_or_si128(_mm_slli_epi16(_mm_and_si128(_mm_alignr_epi8(x, units, 14), splat16(3)), 10), payload);
    v = _mm_or_si128(_mm_andnot_si128(_mm_or_si128(lead, trail), x),
                     _mm_or_si128(_mm_and_si128(lead, high), _mm_and_si128(trail, low)));
    twoBytes = _mm_or_si128(below800, lead);
    notThree = _mm_or_si128(twoBytes, trail);
  }
  units = x;
  leads = lead;
  const __m128i dupLow = _mm_setr_epi8(0, 0, 2, 2, 4, 4, 6, 6, 8, 8, 10, 10, 12, 12, 14, 14);
  const __m128i first = _mm_or_si128(_mm_and_si128(_mm_shuffle_epi8(v, dupLow), splat16(0x3F7F)), splat16(0x8000));
  const __m128i second =
      _mm_or_si128(_mm_or_si128(_mm_srli_epi16(v, 12), _mm_and_si128(_mm_slli_epi16(v, 2), splat16(0x3F00))),
                   _mm_or_si128(splat16(0x80E0), _mm_and_si128(twoBytes, splat16(0x4000))));
  const unsigned rows =
      ~static_cast<unsigned>((_mm_movemask_epi8(ascii) & 0x5555) | (_mm_movemask_epi8(notThree) & 0xAAAA)) & 0xFFFFu;
  const Utf8PackTable& t = kUtf8PackTable;
  const unsigned r0 = rows & 0xFF, r1 = rows >> 8;
  store16(out, _mm_shuffle_epi8(_mm_unpacklo_epi16(first, second), load16(t.shuffle[r0])));
  out += t.length[r0];
  store16(out, _mm_shuffle_epi8(_mm_unpackhi_epi16(first, second), load16(t.shuffle[r1])));
  out += t.length[r1];
}

// When the last step's last unit led a pair (`pending`), writes the second
// half of that pair, whose trailing unit is at p, and moves past it.
inline void finishPair(bool pending, const wchar_t*& p, char*& out) {
  if (!pending) return;
  const unsigned c = (static_cast<std::uint16_t>(p[-1]) & 3u) << 10 | (static_cast<std::uint16_t>(p[0]) & 0x3FFu);
  out[0] = static_cast<char>(0x80 | c >> 6);
  out[1] = static_cast<char>(0x80 | (c & 0x3F));
  out += 2;
  ++p;
}

// --- decoding ------------------------------------------------------------------

// What the accumulated value of a sequence with t trailing bytes must lose.
constexpr std::uint32_t kDecodeOffsets[6] = {0x00000000u, 0x00003080u, 0x000E2080u,
                                             0x03C82080u, 0xFA082080u, 0x82082080u};

// The sequence at p by the decoder's rules, for whatever the bytes are; p
// must have six bytes after it. Returns the byte after the sequence.
inline const unsigned char* decodeOne(const unsigned char* p, wchar_t*& out) {
  const unsigned b = *p;
  if (b < 0xC0) {
    *out++ = static_cast<wchar_t>(b);
    return p + 1;
  }
  const unsigned t = b < 0xE0 ? 1 : b < 0xF0 ? 2 : b < 0xF8 ? 3 : b < 0xFC ? 4 : 5;
  std::uint32_t v = b;
  for (unsigned i = 1; i <= t; ++i) v = (v << 6) + p[i];
  v -= kDecodeOffsets[t];
  if (v < 0x10000u) {
    *out++ = static_cast<wchar_t>(v);
  } else if (v < 0x110000u) {
    v -= 0x10000u;
    *out++ = static_cast<wchar_t>(0xD800u | v >> 10);
    *out++ = static_cast<wchar_t>(0xDC00u | (v & 0x3FFu));
  }
  return p + t + 1;
}

// Widens 16 bytes to 16 units.
inline void widen16(__m128i x, wchar_t* out) {
  store16(out, _mm_unpacklo_epi8(x, _mm_setzero_si128()));
  store16(out + 8, _mm_unpackhi_epi8(x, _mm_setzero_si128()));
}

// Bit masks over up to 64 bytes, bit i for byte i.
struct ByteClasses {
  std::uint64_t high = 0;   // 0x80 and above
  std::uint64_t lead = 0;   // 0xC0 and above: a sequence of two or more
  std::uint64_t lead3 = 0;  // 0xE0 and above
  std::uint64_t lead4 = 0;  // 0xF0 and above
  std::uint64_t lead5 = 0;  // 0xF8 and above
};

// Adds the classes of the 16 bytes x, as bits `shift` on. Bit 7 of a byte
// shifted left by k within its 16-bit lane is its own bit 7 - k.
QOR_KERNEL_INLINE void classify16(__m128i x, unsigned shift, ByteClasses& c) {
  const __m128i l2 = _mm_and_si128(x, _mm_slli_epi16(x, 1));
  const __m128i l3 = _mm_and_si128(l2, _mm_slli_epi16(x, 2));
  const __m128i l4 = _mm_and_si128(l3, _mm_slli_epi16(x, 3));
  const __m128i l5 = _mm_and_si128(l4, _mm_slli_epi16(x, 4));
  auto bits = [shift](__m128i m) { return std::uint64_t(static_cast<unsigned>(_mm_movemask_epi8(m))) << shift; };
  c.high |= bits(x);
  c.lead |= bits(l2);
  c.lead3 |= bits(l3);
  c.lead4 |= bits(l4);
  c.lead5 |= bits(l5);
}

// --- decoding a block ------------------------------------------------------------
//
// In a block whose sequences all have the form the kernels convert (a byte
// below 0xC0 alone, or a lead of two to four bytes followed by that many
// bytes 0x80..0xBF), the unit at byte j follows from the lead classes of the
// bytes before it. Lane types: 0 a byte alone, 1 the end of two, 2 the end
// of three, 4 the third byte of four (the leading surrogate), 8 the end of
// four. Each lane computes a + 64 b + 4096 c (16 bits) from its byte (a), the
// byte before (b) and the one before that (c), each masked and offset by its
// type:
//   alone       a = byte
//   end of two  a = byte & 3F, b = lead & 1F
//   end of 3    a = byte & 3F, b = byte before & 3F, c = lead & 0F
//   end of 4    a = byte & 3F, b = (byte before & 0F) + 30, c = D: DC00 + ...
//   third of 4  a = byte & 3F, b = byte before & 3F, c = lead & 07, whose
//               sum shifted right by 4 is (code point >> 10); the lane then
//               becomes that + D7C0, and is in range when the sum lies in
//               400..43FF.
// The other lanes (leads, and the second bytes of three and four) are junk,
// and kUtf8KeepTable drops them.
alignas(16) constexpr unsigned char kKeepA[16] = {0xFF, 0x3F, 0x3F, 0, 0x3F, 0, 0, 0, 0x3F};
alignas(16) constexpr unsigned char kKeepB[16] = {0, 0x3F, 0x3F, 0, 0x3F, 0, 0, 0, 0x0F};
alignas(16) constexpr unsigned char kAddB[16] = {0, 0, 0, 0, 0, 0, 0, 0, 0x30};
alignas(16) constexpr unsigned char kKeepC[16] = {0, 0, 0x0F, 0, 0x0F};
alignas(16) constexpr unsigned char kAddC[16] = {0, 0, 0, 0, 0, 0, 0, 0, 0x0D};
// Lead class by a byte's high nibble: 1 for C and D, 2 for E, 4 for F.
alignas(16) constexpr unsigned char kLeadClass[16] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 1, 2, 4};

// Converts the 16 positions x (prev: the 16 bytes before, classPrev their
// lead classes; zero at a block's start) and keeps those whose bits are set
// in `keep`. With Fours (else the block has no four-byte sequence), marks in
// `outside` the third bytes of four whose value lies outside
// U+10000..U+10FFFF. Returns the lead classes of x.
template <bool Fours>
QOR_KERNEL_INLINE __m128i convert16(__m128i x, __m128i prev, __m128i classPrev, unsigned keep, __m128i& outside,
                                    wchar_t*& out) {
  const __m128i before1 = _mm_alignr_epi8(x, prev, 15), before2 = _mm_alignr_epi8(x, prev, 14);
  const __m128i cls = _mm_shuffle_epi8(load16(kLeadClass), _mm_and_si128(_mm_srli_epi16(x, 4), _mm_set1_epi8(0x0F)));
  const __m128i c1 = _mm_alignr_epi8(cls, classPrev, 15), c2 = _mm_alignr_epi8(cls, classPrev, 14);
  __m128i type = _mm_or_si128(_mm_and_si128(c1, _mm_set1_epi8(1)), _mm_and_si128(c2, _mm_set1_epi8(6)));
  if constexpr (Fours) {
    const __m128i c3 = _mm_alignr_epi8(cls, classPrev, 13);
    type = _mm_or_si128(type, _mm_and_si128(_mm_slli_epi16(c3, 1), _mm_set1_epi8(8)));
  }
  const __m128i a = _mm_and_si128(x, _mm_shuffle_epi8(load16(kKeepA), type));
  __m128i b = _mm_and_si128(before1, _mm_shuffle_epi8(load16(kKeepB), type));
  __m128i c = _mm_and_si128(before2, _mm_shuffle_epi8(load16(kKeepC), type));
  if constexpr (Fours) {
    b = _mm_or_si128(b, _mm_shuffle_epi8(load16(kAddB), type));
    c = _mm_or_si128(c, _mm_shuffle_epi8(load16(kAddC), type));
  }
  const __m128i weights = splat16(0x4001), zero = _mm_setzero_si128();
  __m128i lo =
      _mm_add_epi16(_mm_maddubs_epi16(_mm_unpacklo_epi8(a, b), weights), _mm_slli_epi16(_mm_unpacklo_epi8(zero, c), 4));
  __m128i hi =
      _mm_add_epi16(_mm_maddubs_epi16(_mm_unpackhi_epi8(a, b), weights), _mm_slli_epi16(_mm_unpackhi_epi8(zero, c), 4));
  if constexpr (Fours) {
    const __m128i third = _mm_cmpeq_epi8(type, _mm_set1_epi8(4));
    const __m128i tlo = _mm_unpacklo_epi8(third, third), thi = _mm_unpackhi_epi8(third, third);
    auto outsideRange = [](__m128i v) {
      return _mm_or_si128(_mm_cmpgt_epi16(v, splat16(0x43FF)), _mm_cmpgt_epi16(splat16(0x400), v));
    };
    outside =
        _mm_or_si128(outside, _mm_or_si128(_mm_and_si128(tlo, outsideRange(lo)), _mm_and_si128(thi, outsideRange(hi))));
    lo = _mm_or_si128(_mm_andnot_si128(tlo, lo),
                      _mm_and_si128(tlo, _mm_add_epi16(_mm_srli_epi16(lo, 4), splat16(0xD7C0))));
    hi = _mm_or_si128(_mm_andnot_si128(thi, hi),
                      _mm_and_si128(thi, _mm_add_epi16(_mm_srli_epi16(hi, 4), splat16(0xD7C0))));
  }
  const Utf8KeepTable& t = kUtf8KeepTable;
  const unsigned k0 = keep & 0xFF, k1 = keep >> 8 & 0xFF;
  store16(out, _mm_shuffle_epi8(lo, load16(t.shuffle[k0])));
  out += t.count[k0];
  store16(out, _mm_shuffle_epi8(hi, load16(t.shuffle[k1])));
  out += t.count[k1];
  return cls;
}

// The sequence that a block leaves unfinished, which the next block (at the
// next 64 bytes) finishes: the bits of that block it takes (0 to 2), bit 0
// when the first of them is its second byte, whether it has four bytes, how
// many of its bytes the block held, and the units written for it (the leading
// surrogate, where its third byte was in the block). Blocks thus always
// advance by 64 bytes, and the next load never waits for this block's masks.
struct Unfinished {
  std::uint64_t taken = 0, second = 0;
  bool four = false;
  unsigned held = 0, units = 0;
};

// The sequence left unfinished by a block of classes m that passed the test
// in decodeBlocks: led from byte 61 (four bytes), 62 (three or four) or 63,
// and from at most one of them.
inline Unfinished unfinishedBy(const ByteClasses& m) {
  const unsigned at61 = m.lead4 >> 61 & 1u, at62 = m.lead3 >> 62 & 1u, at63 = static_cast<unsigned>(m.lead >> 63);
  return {m.lead >> 63 | m.lead3 >> 62 | m.lead4 >> 61, m.lead3 >> 63, (m.lead4 >> 61) != 0, 3 * at61 + 2 * at62 + at63,
          at61};
}

// --- the run of a line -----------------------------------------------------------
//
// A text reader's run (decodeRunBlocks) stops at the start of a sequence that
// ends the line, or that the kernels would convert to something other than
// the reader's decoder gives, or that the reader refuses. The bytes that start
// such a sequence, found by classes of the byte's high nibble (kStopHigh) and
// low nibble (kStopLow) that the high nibble of the byte after it completes
// (kStopNext):
//   bit 0  0A, 0C, 0D   LF, FF, CR
//   bit 1  C0, C1       overlong, any value below 0x80 (LF among them)
//   bit 2  C2 8x        U+0080..U+008F, U+0085 among them
//   bit 3  E0 8x, 9x    overlong
//   bit 4  ED Ax, Bx    surrogates
//   bit 5  F0 8x        overlong
//   bit 6  F4 9x..Bx    above U+10FFFF
//   bit 7  F5..FF       above U+10FFFF, or no lead the reader takes
// and, compared whole, E2 80 A8 and E2 80 A9 (U+2028, U+2029). The byte after
// a lead that is no trailing byte fails the block's form test anyway.
alignas(16) constexpr unsigned char kStopHigh[16] = {0x01, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0x06, 0, 0x18, 0xE0};
alignas(16) constexpr unsigned char kStopLow[16] = {0x2A, 0x02, 0x04, 0,    0x40, 0x80, 0x80, 0x80,
                                                    0x80, 0x80, 0x81, 0x80, 0x81, 0x91, 0x80, 0x80};
alignas(16) constexpr unsigned char kStopNext[16] = {0x83, 0x83, 0x83, 0x83, 0x83, 0x83, 0x83, 0x83,
                                                     0xAF, 0xCB, 0xD3, 0xD3, 0x83, 0x83, 0x83, 0x83};

// Bit i set where the run must stop before byte i of the 16 at p (reads p[17]).
QOR_KERNEL_INLINE unsigned stops16(const unsigned char* p) {
  const __m128i x = load16(p), next = load16(p + 1), after = load16(p + 2);
  const __m128i nibble = _mm_set1_epi8(0x0F);
  const __m128i high = _mm_shuffle_epi8(load16(kStopHigh), _mm_and_si128(_mm_srli_epi16(x, 4), nibble));
  const __m128i low = _mm_shuffle_epi8(load16(kStopLow), _mm_and_si128(x, nibble));
  const __m128i completed = _mm_shuffle_epi8(load16(kStopNext), _mm_and_si128(_mm_srli_epi16(next, 4), nibble));
  const __m128i classes = _mm_and_si128(_mm_and_si128(high, low), completed);
  const __m128i separator =
      _mm_and_si128(_mm_and_si128(_mm_cmpeq_epi8(x, _mm_set1_epi8(static_cast<char>(0xE2))),
                                  _mm_cmpeq_epi8(next, _mm_set1_epi8(static_cast<char>(0x80)))),
                    _mm_cmpeq_epi8(_mm_or_si128(after, _mm_set1_epi8(1)), _mm_set1_epi8(static_cast<char>(0xA9))));
  return (~static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(classes, _mm_setzero_si128()))) & 0xFFFFu) |
         static_cast<unsigned>(_mm_movemask_epi8(separator));
}

// Bit i set for each LF, FF and CR among the 16 bytes x.
QOR_KERNEL_INLINE unsigned breaks16(__m128i x) {
  const __m128i lf = _mm_cmpeq_epi8(x, _mm_set1_epi8(0x0A));
  const __m128i ff = _mm_cmpeq_epi8(x, _mm_set1_epi8(0x0C));
  const __m128i cr = _mm_cmpeq_epi8(x, _mm_set1_epi8(0x0D));
  return static_cast<unsigned>(_mm_movemask_epi8(_mm_or_si128(_mm_or_si128(lf, ff), cr)));
}

// The number of positions set in `keep` below position s.
inline unsigned keptBelow(std::uint64_t keep, unsigned s) {
  const std::uint64_t below = s == 0 ? 0 : keep & (~std::uint64_t(0) >> (64 - s));
  unsigned n = 0;
  for (unsigned i = 0; i < 64; i += 8) n += kUtf8KeepTable.count[below >> i & 0xFF];
  return n;
}

// The SSSE3 steps for decodeBlocks: the last 16 bytes of the previous block
// and their lead classes carry over.
struct Blocks16 {
  __m128i prev = _mm_setzero_si128(), classes = _mm_setzero_si128();

  void reset() { prev = classes = _mm_setzero_si128(); }

  // When the 64 bytes at p are all below 0x80: widens them to out and
  // returns true. (A block with bytes 0x80..0xBF alone goes through convert.)
  static bool widenAll(const unsigned char* p, wchar_t* out) {
    const __m128i a = load16(p), b = load16(p + 16), c = load16(p + 32), d = load16(p + 48);
    if (_mm_movemask_epi8(_mm_or_si128(_mm_or_si128(a, b), _mm_or_si128(c, d))) != 0) return false;
    widen16(a, out);
    widen16(b, out + 16);
    widen16(c, out + 32);
    widen16(d, out + 48);
    return true;
  }

  static void classify(const unsigned char* p, ByteClasses& m) {
    for (unsigned i = 0; i < 64; i += 16) classify16(load16(p + i), i, m);
  }

  // stops16 and breaks16 over the 64 bytes at p.
  static std::uint64_t stops(const unsigned char* p) {
    std::uint64_t m = 0;
    for (unsigned i = 0; i < 64; i += 16) m |= std::uint64_t(stops16(p + i)) << i;
    return m;
  }
  static std::uint64_t breaks(const unsigned char* p) {
    std::uint64_t m = 0;
    for (unsigned i = 0; i < 64; i += 16) m |= std::uint64_t(breaks16(load16(p + i))) << i;
    return m;
  }

  // Converts the 64 bytes at p with convert16, keeping the positions of
  // `keep`; false when a four-byte value lies outside the pair range.
  template <bool Fours>
  QOR_KERNEL_INLINE bool run(const unsigned char* p, std::uint64_t keep, wchar_t*& out) {
    __m128i outside = _mm_setzero_si128();
    for (unsigned i = 0; i < 64; i += 16) {
      const __m128i x = load16(p + i);
      classes = convert16<Fours>(x, prev, classes, static_cast<unsigned>(keep >> i), outside, out);
      prev = x;
    }
    return _mm_movemask_epi8(outside) == 0;
  }

  QOR_KERNEL_INLINE bool convert(const unsigned char* p, std::uint64_t keep, bool fours, wchar_t*& out) {
    return fours ? run<true>(p, keep, out) : run<false>(p, keep, out);
  }
};

// Decodes from c.in while `end` is at least 80 bytes away, in blocks of 64
// bytes, through the steps of `blocks` (Blocks16 or its AVX2 twin): blocks of
// ASCII are widened whole; the others are converted where every sequence has
// the form the kernels convert, and left to the byte-at-a-time rules (16
// bytes of them, from the sequence the last block left unfinished) where not.
template <class Blocks>
QOR_KERNEL_INLINE void decodeBlocks(Utf8DecodeCursor& c, const unsigned char* end, Blocks& blocks) {
  const unsigned char* p = c.in;
  wchar_t* out = c.out;
  Unfinished carry;
  // A block writes at most 8 units beyond what it decodes, and units never
  // outnumber the bytes they come from.
  while (end - p >= 80) {
    if (carry.held == 0 && blocks.widenAll(p, out)) {
      p += 64;
      out += 64;
      blocks.reset();
      continue;
    }
    ByteClasses m;
    blocks.classify(p, m);
    // The bytes that a lead takes after it; the kernels convert them only
    // when they are all 0x80..0xBF, with no lead of five or six bytes.
    const std::uint64_t taken = m.lead << 1 | m.lead3 << 2 | m.lead4 << 3 | carry.taken;
    wchar_t* const blockOut = out;
    if ((taken & ~(m.high & ~m.lead)) == 0 && m.lead5 == 0) {
      // Units come from the bytes that are no lead nor second of three or four.
      const std::uint64_t keep = ~m.lead & ~(m.lead3 << 1) & ~carry.second;
      if (blocks.convert(p, keep, m.lead4 != 0 || carry.four, out)) {
        carry = unfinishedBy(m);
        p += 64;
        continue;
      }
      out = blockOut;
    }
    p -= carry.held;
    out -= carry.units;
    carry = Unfinished();
    blocks.reset();
    for (const unsigned char* stop = p + 16; p < stop;) p = decodeOne(p, out);
  }
  c = {p - carry.held, out - carry.units};
}

// The run of a line from c.in (see decodeUtf8RunSsse3 in utf8_kernels.h), in
// the blocks of decodeBlocks. A block that holds a stop is converted whole
// all the same: the units before the stop come only from the bytes before
// it, and the run ends at the start of the sequence that holds the stop,
// which for a byte of the wrong form may lie in the block before.
template <class Blocks>
QOR_KERNEL_INLINE void decodeRunBlocks(Utf8DecodeCursor& c, const unsigned char* end, Blocks& blocks) {
  const unsigned char* p = c.in;
  wchar_t* out = c.out;
  Unfinished carry;
  while (end - p >= 80) {
    if (carry.held == 0 && blocks.widenAll(p, out)) {
      if (const std::uint64_t breaks = blocks.breaks(p)) {
        const unsigned at = lowestBit(breaks);
        c = {p + at, out + at};
        return;
      }
      p += 64;
      out += 64;
      blocks.reset();
      continue;
    }
    ByteClasses m;
    blocks.classify(p, m);
    const std::uint64_t taken = m.lead << 1 | m.lead3 << 2 | m.lead4 << 3 | carry.taken;
    const std::uint64_t stop = blocks.stops(p) | (taken ^ (m.high & ~m.lead));
    const std::uint64_t keep = ~m.lead & ~(m.lead3 << 1) & ~carry.second;
    wchar_t* const blockOut = out;
    blocks.convert(p, keep, m.lead4 != 0 || carry.four, out);
    if (stop == 0) {
      carry = unfinishedBy(m);
      p += 64;
      continue;
    }
    const unsigned at = lowestBit(stop);
    const std::uint64_t starts = ~taken & (at == 63 ? ~std::uint64_t(0) : (std::uint64_t(2) << at) - 1);
    if (starts == 0) {
      c = {p - carry.held, blockOut - carry.units};
    } else {
      const unsigned start = highestBit(starts);
      c = {p + start, blockOut + keptBelow(keep, start)};
    }
    return;
  }
  c = {p - carry.held, out - carry.units};
}

}  // namespace
}  // namespace QOR::internal
