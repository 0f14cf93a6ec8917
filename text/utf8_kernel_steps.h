// The 128-bit steps that the SSSE3 and AVX2 kernels of utf8() share. Included
// only by those translation units, each of which compiles these functions for
// its own instruction set: everything here has internal linkage, so that no
// copy is shared between them (see utf8_kernels.h).
#pragma once

#include "text/utf8_kernels.h"

#include <immintrin.h>

#include <cstdint>

namespace QOR::internal {
namespace {

inline __m128i load16(const void* p) { return _mm_loadu_si128(static_cast<const __m128i*>(p)); }
inline void store16(void* p, __m128i x) { _mm_storeu_si128(static_cast<__m128i*>(p), x); }
inline __m128i splat16(unsigned v) { return _mm_set1_epi16(static_cast<short>(v)); }
inline __m128i splat32(std::uint32_t v) { return _mm_set1_epi32(static_cast<int>(v)); }

// -1 in each 16-bit lane where (x & mask) == value.
inline __m128i lanesEqual(__m128i x, unsigned mask, unsigned value) {
  return _mm_cmpeq_epi16(_mm_and_si128(x, splat16(mask)), splat16(value));
}

// --- encoding ------------------------------------------------------------------

// Encodes the eight units at p, reading the ninth for a pair, writes 16 bytes
// at each of two places from out on, and returns how many units it took: 8,
// or 7 when the eighth leads a pair (which the next step takes whole).
//
// Each unit becomes a four-byte slot [v & 0x7F, 0x80 | v & 0x3F,
// 0xE0 | v >> 12, 0xC0 | (v >> 6) & 0x3F], whose last byte loses 0x40 when it
// is the middle byte of three; kUtf8PackTable then keeps 1, 2 or 3 bytes of
// each slot. A pair is given two slots of two bytes: the leading half stands
// for (c >> 12) + 0xC00, whose two-byte form is F0 | c >> 18, 80 | c >> 12 &
// 3F, and the trailing half for c & 0xFFF with the middle byte's form, 80 |
// c >> 6 & 3F, 80 | c & 3F (c being the code point).
inline unsigned encode8(const wchar_t* p, char*& out) {
  const __m128i x = load16(p);
  const __m128i ascii = lanesEqual(x, 0xFF80, 0);
  const __m128i from800 = _mm_xor_si128(lanesEqual(x, 0xF800, 0), _mm_set1_epi32(-1));
  __m128i v = x, middle = from800, three = from800;
  unsigned taken = 8;
  if (_mm_movemask_epi8(lanesEqual(x, 0xF800, 0xD800)) != 0) {
    const __m128i y = load16(p + 1);
    const __m128i lead = _mm_and_si128(lanesEqual(x, 0xFC00, 0xD800), lanesEqual(y, 0xFC00, 0xDC00));
    const __m128i trail = _mm_slli_si128(lead, 2);
    const __m128i payload = _mm_and_si128(x, splat16(0x3FF));
    const __m128i high = _mm_add_epi16(_mm_srli_epi16(_mm_add_epi16(payload, splat16(0x40)), 2), splat16(0xC00));
    const __m128i low = _mm_or_si128(_mm_slli_epi16(_mm_and_si128(_mm_slli_si128(x, 2), splat16(3)), 10), payload);
    v = _mm_or_si128(_mm_andnot_si128(_mm_or_si128(lead, trail), x),
                     _mm_or_si128(_mm_and_si128(lead, high), _mm_and_si128(trail, low)));
    middle = _mm_andnot_si128(lead, from800);
    three = _mm_andnot_si128(trail, middle);
    if (_mm_movemask_epi8(lead) & 0x8000) taken = 7;
  }
  const __m128i dupLow = _mm_setr_epi8(0, 0, 2, 2, 4, 4, 6, 6, 8, 8, 10, 10, 12, 12, 14, 14);
  const __m128i first = _mm_or_si128(_mm_and_si128(_mm_shuffle_epi8(v, dupLow), splat16(0x3F7F)), splat16(0x8000));
  const __m128i second =
      _mm_xor_si128(_mm_or_si128(_mm_or_si128(_mm_srli_epi16(v, 12), _mm_and_si128(_mm_slli_epi16(v, 2), splat16(0x3F00))),
                                 splat16(0xC0E0)),
                    _mm_and_si128(middle, splat16(0x4000)));
  const unsigned rows = (~static_cast<unsigned>(_mm_movemask_epi8(ascii)) & 0x5555u) |
                        (static_cast<unsigned>(_mm_movemask_epi8(three)) & 0xAAAAu);
  const Utf8PackTable& t = kUtf8PackTable;
  const unsigned r0 = rows & 0xFF, r1 = rows >> 8;
  store16(out, _mm_shuffle_epi8(_mm_unpacklo_epi16(first, second), load16(t.shuffle[r0])));
  out += t.length[r0];
  store16(out, _mm_shuffle_epi8(_mm_unpackhi_epi16(first, second), load16(t.shuffle[r1])));
  out += t.length[r1] - (taken == 7 ? 2 : 0);
  return taken;
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
inline void classify16(__m128i x, unsigned shift, ByteClasses& c) {
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

// The sequences of a window whose gather row takes 32-bit lanes (see
// makeUtf8WindowTable), written at out. Each lane's bytes, last first, sum to
// the accumulated value of the decoder's rules, v = ((lead << 6) + b1) << 6
// ..., from which the offset for its length is taken; a four-byte value
// becomes a surrogate pair. Returns false, having written nothing that
// counts, when a four-byte sequence lies outside U+10000..U+10FFFF.
inline bool decodeLanes32(__m128i in, const Utf8WindowEntry& e, wchar_t*& out) {
  const Utf8WindowTable& t = kUtf8WindowTable;
  const __m128i g = _mm_shuffle_epi8(in, load16(t.gather32[e.shape]));
  const __m128i r = _mm_madd_epi16(_mm_maddubs_epi16(g, splat16(0x4001)), splat32(0x10000001));
  // Lengths by the lead's place: two bytes from 0x3080, three from 0xE2080,
  // four from 0x3C82080; one byte is below 0xC0.
  const __m128i two = _mm_cmpgt_epi32(r, splat32(0x2FFF));
  const __m128i three = _mm_cmpgt_epi32(r, splat32(0xDFFFF));
  const __m128i four = _mm_cmpgt_epi32(r, splat32(0x3BFFFFF));
  const __m128i v = _mm_sub_epi32(
      r, _mm_add_epi32(_mm_and_si128(two, splat32(0x3080)),
                       _mm_add_epi32(_mm_and_si128(three, splat32(0xDF000)), _mm_and_si128(four, splat32(0x3BA0000)))));
  const unsigned taken = (1u << e.sequences) - 1;
  const unsigned fours = static_cast<unsigned>(_mm_movemask_ps(_mm_castsi128_ps(four))) & taken;
  if (fours == 0) {
    const __m128i low16 = _mm_setr_epi8(0, 1, 4, 5, 8, 9, 12, 13, -1, -1, -1, -1, -1, -1, -1, -1);
    _mm_storel_epi64(reinterpret_cast<__m128i*>(out), _mm_shuffle_epi8(v, low16));
    out += e.sequences;
    return true;
  }
  const __m128i s = _mm_sub_epi32(v, splat32(0x10000));
  const __m128i outside = _mm_or_si128(_mm_cmplt_epi32(s, _mm_setzero_si128()), _mm_cmpgt_epi32(s, splat32(0xFFFFF)));
  if (static_cast<unsigned>(_mm_movemask_ps(_mm_castsi128_ps(outside))) & fours) return false;
  const __m128i pair = _mm_or_si128(_mm_add_epi32(_mm_srli_epi32(s, 10), splat32(0xD800)),
                                    _mm_slli_epi32(_mm_or_si128(_mm_and_si128(s, splat32(0x3FF)), splat32(0xDC00)), 16));
  const __m128i lanes = _mm_or_si128(_mm_and_si128(four, pair), _mm_andnot_si128(four, v));
  store16(out, _mm_shuffle_epi8(lanes, load16(t.packPairs[fours])));
  out += e.sequences + t.pairCount[fours];
  return true;
}

// Decodes the window of 16 bytes at p, whose sequence ends are the low 12
// bits of `ends` (bit j: byte j ends a sequence) and all of whose sequences
// have the form that the kernels convert: a byte below 0xC0 alone, or a lead
// of two to four bytes followed by that many bytes 0x80..0xBF. Writes up to 8
// units from out on and returns the bytes taken (1 to 12).
inline unsigned decodeWindow(const unsigned char* p, unsigned ends, wchar_t*& out) {
  const Utf8WindowTable& t = kUtf8WindowTable;
  const Utf8WindowEntry& e = t.entry[ends & 0xFFF];
  const __m128i in = load16(p);
  if (e.byLanes16) {
    // Lanes of two bytes have their lead, 0xC0 or above, in the high byte.
    const __m128i g = _mm_shuffle_epi8(in, load16(t.gather16[e.shape]));
    store16(out, _mm_sub_epi16(_mm_maddubs_epi16(g, splat16(0x4001)),
                               _mm_and_si128(_mm_srai_epi16(g, 15), splat16(0x3080))));
    out += e.sequences;
  } else if (!decodeLanes32(in, e, out)) {
    for (const unsigned char* q = p; q != p + e.consumed;) q = decodeOne(q, out);
  }
  return e.consumed;
}

// When the 64 bytes at p hold no lead byte (0xC0 or above), so that each byte
// is a unit of its own: widens them to out and returns true.
inline bool widenUnlessLead64(const unsigned char* p, wchar_t* out) {
  const __m128i a = load16(p), b = load16(p + 16), c = load16(p + 32), d = load16(p + 48);
  const __m128i any = _mm_or_si128(_mm_or_si128(a, b), _mm_or_si128(c, d));
  if (_mm_movemask_epi8(any) != 0) {
    const __m128i leads = _mm_or_si128(_mm_or_si128(_mm_and_si128(a, _mm_slli_epi16(a, 1)), _mm_and_si128(b, _mm_slli_epi16(b, 1))),
                                       _mm_or_si128(_mm_and_si128(c, _mm_slli_epi16(c, 1)), _mm_and_si128(d, _mm_slli_epi16(d, 1))));
    if (_mm_movemask_epi8(leads) != 0) return false;
  }
  widen16(a, out);
  widen16(b, out + 16);
  widen16(c, out + 32);
  widen16(d, out + 48);
  return true;
}

// Decodes from c.in while `end` is at least 96 bytes away, in blocks of 64
// bytes, which `widenAll` (p, out) takes when they hold no lead byte and
// `classify` (p, ByteClasses&) classifies otherwise.
template <class WidenAll, class Classify>
inline void decodeBlocks(Utf8DecodeCursor& c, const unsigned char* end, WidenAll widenAll, Classify classify) {
  const unsigned char* p = c.in;
  wchar_t* out = c.out;
  // A block reads 16 bytes past its 64 and writes at most 16 units beyond
  // what it decodes; units never outnumber the bytes they come from.
  while (end - p >= 96) {
    if (widenAll(p, out)) {
      p += 64;
      out += 64;
      continue;
    }
    ByteClasses m;
    classify(p, m);
    // The bytes that a lead takes after it; the kernels convert them only
    // when they are all 0x80..0xBF, with no lead of five or six bytes.
    const std::uint64_t taken = m.lead << 1 | m.lead3 << 2 | m.lead4 << 3;
    if ((taken & ~(m.high & ~m.lead)) != 0 || m.lead5 != 0) {
      for (const unsigned char* stop = p + 16; p < stop;) p = decodeOne(p, out);
      continue;
    }
    // Byte j ends a sequence when byte j + 1 starts one. Bit 63 stays 0, as
    // byte 64 is not known: windows take only sequences that end by byte 62.
    const std::uint64_t ends = ~taken >> 1;
    unsigned pos = 0;
    while (pos <= 51) {
      const std::uint64_t w = ends >> pos;
      if (pos <= 47 && (w & 0xFFFF) == 0xFFFF) {
        widen16(load16(p + pos), out);
        out += 16;
        pos += 16;
        continue;
      }
      pos += decodeWindow(p + pos, static_cast<unsigned>(w), out);
    }
    p += pos;
  }
  c = {p, out};
}

}  // namespace
}  // namespace QOR::internal
