// The units of CSV text that matter: white space, and the commas, quotes and
// line ends of a chunk, found 64 units at a time into a bit mask. Private to
// the library.
#pragma once

#include <qorcor14/text/codepoint.h>

#include <bit>
#include <cstddef>
#include <cstdint>

namespace QOR::internal {

// White space for trimming: isUspace, with ASCII and the ranges that hold no
// white space (U+00A1..U+167F, U+3001..U+FFFF but U+FEFF, surrogates and so
// every pair among them) decided without the class table. Line ends count
// too, where they are not read as line ends first.
[[nodiscard]] inline bool isCSVWhite(unsigned int c) {
  if (c < 0x80) return c == 0x20 || c - 0x09 <= 0x0D - 0x09;
  if (c - 0xA1 <= 0x167F - 0xA1 || (c - 0x3001 <= 0xFFFF - 0x3001 && c != 0xFEFF)) return false;
  return isUspace(CodePoint::codePoint(c));
}

// A stop is a unit that ends, opens or closes a field or a record: the comma,
// the quote, LF and CR, and the other line ends (FF, U+0085, U+2028, U+2029).
// Every other unit only extends the field it is in.
[[nodiscard]] constexpr bool isCSVStop(unsigned int c) {
  return c == L',' || c == L'"' || c == 0x0A || c == 0x0D || c == 0x0C || c == 0x85 || c == 0x2028 || c == 0x2029;
}

// Finds the stops of one text, in order, one block of 64 units at a time. The
// block last scanned is kept, so that finding the next stop after one costs a
// shift and a count of zeros; a scanner stays valid as long as its text. A
// plain value: a copy in a local stays in registers while strings are written.
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
      from = m_base + m_units;
    }
    for (;;) {
      if (from == end) return end;
      m_base = from;
      m_units = end - from >= 64 ? 64 : static_cast<std::size_t>(end - from);
      m_mask = stopMask(from, m_units);
      if (m_mask != 0) return from + std::countr_zero(m_mask);
      from += m_units;
    }
  }

private:
  // Bit i set where from[i] is a stop, for i < units <= 64 (in
  // csv_plain_record.cpp).
  static std::uint64_t stopMask(const wchar_t* from, std::size_t units);

  const wchar_t* m_base = nullptr;
  std::size_t m_units = 0;   // the block's length; 0 when there is none
  std::uint64_t m_mask = 0;  // bit i: m_base[i] is a stop
};

}  // namespace QOR::internal
