// The units of CSV text that matter: white space, and the commas, quotes and
// line ends of a chunk, found 64 units at a time into a bit mask. Private to
// the library.
#pragma once

#include <qorcor14/text/codepoint.h>

#include <emmintrin.h>

#include <bit>
#include <cstddef>
#include <cstdint>

namespace QOR::detail {

// White space for trimming: isUspace, with ASCII decided without the class
// table. Line ends count too, where they are not read as line ends first.
[[nodiscard]] inline bool isCSVWhite(unsigned int c) {
  if (c < 0x80) return c == 0x20 || c - 0x09 <= 0x0D - 0x09;
  return isUspace(CodePoint::codePoint(c));
}

// A stop is a unit that ends, opens or closes a field or a record: the comma,
// the quote, LF and CR, and the other line ends (FF, U+0085, U+2028, U+2029).
// Every other unit only extends the field it is in.
[[nodiscard]] constexpr bool isCSVStop(unsigned int c) {
  return c == L',' || c == L'"' || c == 0x0A || c == 0x0D || c == 0x0C || c == 0x85 || c == 0x2028 ||
         c == 0x2029;
}

// Finds the stops of one text, in order, one block of 64 units at a time. The
// block last scanned is kept, so that finding the next stop after one costs a
// shift and a count of zeros; a scanner stays valid as long as its text.
class CSVStopScanner {
public:
  // Forgets the block: the text has changed.
  void reset() { m_units = 0; }

  // The first stop in [from, end), or end. `from` and `end` lie in the same
  // text on every call until the next reset.
  const wchar_t* next(const wchar_t* from, const wchar_t* end) {
    // Unsigned: a position before the block is outside it too.
    const std::uintptr_t offset =
        (reinterpret_cast<std::uintptr_t>(from) - reinterpret_cast<std::uintptr_t>(m_base)) / sizeof(wchar_t);
    if (offset < m_units) {
      if (const std::uint64_t rest = m_mask >> offset) return from + std::countr_zero(rest);
    }
    return nextBlock(from, end);
  }

private:
  // next, past the block held (in csv_plain_record.cpp).
  const wchar_t* nextBlock(const wchar_t* from, const wchar_t* end);
  void scan(const wchar_t* from, const wchar_t* end);

  // One mask bit per unit of from[0..16). The units are packed to bytes with
  // unsigned saturation, which keeps U+0000..U+00FF as they are and turns any
  // other unit into 0x00 or 0xFF, neither of them a stop: so U+012C is no
  // comma. U+2028 and U+2029 are found among the 16-bit units.
  static std::uint64_t stops16(const wchar_t* from) {
    const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
    const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(from + 8));
    const __m128i bytes = _mm_packus_epi16(a, b);
    auto is = [&bytes](char c) { return _mm_cmpeq_epi8(bytes, _mm_set1_epi8(c)); };
    const __m128i ascii = _mm_or_si128(_mm_or_si128(_mm_or_si128(is(','), is('"')), _mm_or_si128(is('\n'), is('\r'))),
                                       _mm_or_si128(is('\f'), is(static_cast<char>(0x85))));
    const __m128i separator = _mm_set1_epi16(0x2029);
    const __m128i one = _mm_set1_epi16(1);
    const __m128i separators = _mm_packs_epi16(_mm_cmpeq_epi16(_mm_or_si128(a, one), separator),
                                               _mm_cmpeq_epi16(_mm_or_si128(b, one), separator));
    return static_cast<std::uint64_t>(static_cast<unsigned>(_mm_movemask_epi8(_mm_or_si128(ascii, separators))));
  }

  const wchar_t* m_base = nullptr;
  std::size_t m_units = 0;  // the block's length; 0 when there is none
  std::uint64_t m_mask = 0;  // bit i: m_base[i] is a stop
};

}  // namespace QOR::detail
