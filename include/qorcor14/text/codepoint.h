// qorcor14/text/codepoint.h - Unicode code points: the CodePoint value with its
// UTF-16 and UTF-8 encoders and line-break role, the walk over a wide string by
// code point, and classification by Unicode 5.0 general category.
//
// Everything a text routine does per character lives here and is inline: the
// surrogate tests, the enumerator, the encoders and the class lookup, which is
// two indexed loads into a constant table compiled into the DLL.
#pragma once

#include <qorcor14/config.h>

#include <cstddef>
#include <memory>
#include <string>

// c is a surrogate, 0xD800..0xDFFF.
[[nodiscard]] constexpr bool isSurrogate(unsigned int c) { return (c & 0xFFFFF800u) == 0xD800; }
// c is a leading (high) surrogate, 0xD800..0xDBFF.
[[nodiscard]] constexpr bool isSurrogateA(unsigned int c) { return (c & 0xFFFFFC00u) == 0xD800; }
// c is a trailing (low) surrogate, 0xDC00..0xDFFF.
[[nodiscard]] constexpr bool isSurrogateB(unsigned int c) { return (c & 0xFFFFFC00u) == 0xDC00; }

// The code point of the pair a, b, where isSurrogateA(a) and isSurrogateB(b).
//
// Example: combineSurrogates(0xD83D, 0xDE00) is 0x1F600.
[[nodiscard]] constexpr unsigned int combineSurrogates(unsigned int a, unsigned int b) {
  return ((a - 0xD800u) << 10 | (b - 0xDC00u)) + 0x10000u;
}
// The two units of v, 0x10000..0x10FFFF, as a surrogate pair.
[[nodiscard]] constexpr wchar_t leadingSurrogateOf(unsigned int v) {
  return static_cast<wchar_t>(0xD800u | ((v - 0x10000u) >> 10));
}
[[nodiscard]] constexpr wchar_t trailingSurrogateOf(unsigned int v) {
  return static_cast<wchar_t>(0xDC00u | (v & 0x3FFu));
}

// c ends a line: LF, FF, CR, U+0085, U+2028 or U+2029 (CodePoint::eolCode is
// not eolNone). A CR with an LF right after it is one line end; U+000B is none.
[[nodiscard]] constexpr bool isLineEnd(unsigned int c) {
  return c == 0x0A || c == 0x0C || c == 0x0D || c == 0x85 || c == 0x2028 || c == 0x2029;
}

// A Unicode character value: any 32-bit unsigned number, unchecked.
//
// Example:
//   CodePoint c = CodePoint::codePoint(0x1F600);
//   wchar_t w[2];
//   c.wchars(w, 2);          // 2: D83D DE00
//   std::wstring s = c;      // the same pair
//   char b[6];
//   c.utf8(b, sizeof b);     // 4: F0 9F 98 80
//
// Note: nothing is validated. Surrogate values and values beyond U+10FFFF are
// held as they are; each encoder says what it makes of them.
class QORCOR14_API CodePoint {
public:
  // The line-break role of a code point.
  enum EOLCode {
    eolNone = 0,   // not a line break
    eolBreak = 1,  // a complete line break
    eolCR = 2      // carriage return: a line feed right after it belongs to it
  };

  // Wraps v unchanged.
  [[nodiscard]] static CodePoint codePoint(unsigned int v) { return CodePoint(v); }

  // The value.
  [[nodiscard]] unsigned int codePoint() const { return m_value; }

  // The UTF-16 form: one unit for a value up to 0xFFFF (a surrogate value is
  // passed through as a lone unit), a surrogate pair up to 0x10FFFF, and an
  // empty string above.
  [[nodiscard]] operator std::wstring() const;

  // Writes the UTF-16 form into buf and returns the number of units written:
  // 1 for a value up to 0xFFFF, 2 for 0x10000..0x10FFFF.
  // Note: returns 0 and writes nothing when the value is above 0x10FFFF or n
  // is too small for the whole form; a pair is never split.
  std::size_t wchars(wchar_t* buf, std::size_t n) const {
    const unsigned int v = m_value;
    if (v <= 0xFFFF) {
      if (n < 1) return 0;
      buf[0] = static_cast<wchar_t>(v);
      return 1;
    }
    if (v > 0x10FFFF || n < 2) return 0;
    buf[0] = leadingSurrogateOf(v);
    buf[1] = trailingSurrogateOf(v);
    return 2;
  }

  // Writes the UTF-8 form in the original six-byte scheme and returns its
  // length: 1 byte below 0x80, 2 below 0x800, 3 below 0x10000, 4 below
  // 0x200000, 5 below 0x4000000, 6 below 0x80000000.
  //
  // Example: codePoint(0x7FFFFFFF).utf8(b, 6) writes FD BF BF BF BF BF.
  //
  // Note: surrogate values become ordinary three-byte sequences (U+D800 is
  // ED A0 80) so that a wide string holding a broken pair survives a round
  // trip through UTF-8; values past U+10FFFF are encoded too. A value of
  // 0x80000000 or more, or a buffer shorter than the form, gives 0 and
  // nothing is written.
  std::size_t utf8(char* buf, std::size_t n) const {
    unsigned int v = m_value;
    if (v < 0x80) {
      if (n < 1) return 0;
      buf[0] = static_cast<char>(v);
      return 1;
    }
    std::size_t len;
    unsigned int lead;
    if (v < 0x800) len = 2, lead = 0xC0;
    else if (v < 0x10000) len = 3, lead = 0xE0;
    else if (v < 0x200000) len = 4, lead = 0xF0;
    else if (v < 0x4000000) len = 5, lead = 0xF8;
    else if (v < 0x80000000u) len = 6, lead = 0xFC;
    else return 0;
    if (n < len) return 0;
    for (std::size_t i = len - 1; i > 0; --i) {
      buf[i] = static_cast<char>(0x80 | (v & 0x3F));
      v >>= 6;
    }
    buf[0] = static_cast<char>(lead | v);
    return len;
  }

  // eolCR for U+000D; eolBreak for U+000A, U+000C, U+0085, U+2028 and U+2029;
  // eolNone for everything else.
  // Note: U+000B (vertical tab) deliberately does not end a line.
  [[nodiscard]] EOLCode eolCode() const {
    if (!isLineEnd(m_value)) return eolNone;
    return m_value == 0x0D ? eolCR : eolBreak;
  }

private:
  explicit CodePoint(unsigned int v) : m_value(v) {}

  unsigned int m_value;
};

// Compare the values.
[[nodiscard]] inline bool operator==(CodePoint a, CodePoint b) { return a.codePoint() == b.codePoint(); }
[[nodiscard]] inline bool operator!=(CodePoint a, CodePoint b) { return a.codePoint() != b.codePoint(); }

// Walks a wide (UTF-16) string by code point, without owning it.
//
// Example:
//   for (CodePointEnumerator e(text); e; ++e)
//     if (isUspace(*e)) ++spaces;
//
// Note: only a leading surrogate directly followed by a trailing one forms a
// pair. Every other unit, including a lone or reversed surrogate, is a code
// point of its own with the unit's value, so nothing is ever lost or
// replaced.
class CodePointEnumerator {
public:
  // Walks the characters of s; s must outlive the enumerator and stay
  // unchanged.
  explicit CodePointEnumerator(const std::wstring& s) : m_pos(s.data()), m_end(s.data() + s.size()) {}
  // Walks [begin, end) of one string.
  CodePointEnumerator(std::wstring::const_iterator begin, std::wstring::const_iterator end)
      : m_pos(std::to_address(begin)), m_end(std::to_address(end)) {}

  // True while code points remain.
  [[nodiscard]] explicit operator bool() const { return m_pos != m_end; }

  // The code point at the position: a pair combined, any other unit as it
  // stands. Must not be called at the end.
  [[nodiscard]] CodePoint operator*() const {
    const unsigned int a = static_cast<unsigned int>(m_pos[0]);
    if (isSurrogateA(a) && m_pos + 1 != m_end) {
      const unsigned int b = static_cast<unsigned int>(m_pos[1]);
      if (isSurrogateB(b)) return CodePoint::codePoint(combineSurrogates(a, b));
    }
    return CodePoint::codePoint(a);
  }

  // Steps over the current code point (two units for a pair). Must not be
  // called at the end.
  const CodePointEnumerator& operator++() {
    const unsigned int a = static_cast<unsigned int>(*m_pos++);
    if (isSurrogateA(a) && m_pos != m_end && isSurrogateB(static_cast<unsigned int>(*m_pos))) ++m_pos;
    return *this;
  }

private:
  const wchar_t* m_pos;
  const wchar_t* m_end;
};

namespace QOR::internal {
// The general-category table behind unicodeClass: one pointer per block of 256
// code points (U+0000..U+10FFFF), each to 256 class values. Not an interface;
// use unicodeClass.
extern QORCOR14_API const unsigned char* const unicodeClassPages[0x1100];
}  // namespace QOR::internal

// The Unicode 5.0 general category of c as a number:
//    0 Cn (unassigned, and every value above U+10FFFF)
//    1 Lu   2 Ll   3 Lt   4 Mn   5 Mc   6 Me   7 Nd   8 Nl   9 No
//   10 Zs  11 Zl  12 Zp  13 Cc  14 Cf  15 Cs  16 Co
//   18 Lm  19 Lo  20 Pc  21 Pd  22 Ps  23 Pe  24 Pi  25 Pf  26 Po
//   27 Sm  28 Sc  29 Sk  30 So
// Note: 17 is never returned. Characters first assigned after Unicode 5.0
// (U+0370, U+2C70, U+1F600, ...) are 0.
[[nodiscard]] inline unsigned char unicodeClass(CodePoint c) {
  const unsigned int v = c.codePoint();
  return v < 0x110000 ? QOR::internal::unicodeClassPages[v >> 8][v & 0xFF] : 0;
}

namespace QOR::internal {
[[nodiscard]] inline bool inUnicodeClasses(CodePoint c, unsigned int mask) { return (mask >> unicodeClass(c)) & 1u; }
}  // namespace QOR::internal

// A letter: Lu, Ll, Lt, Lm or Lo.
[[nodiscard]] inline bool isUalpha(CodePoint c) { return QOR::internal::inUnicodeClasses(c, 0xC000E); }
// A number: Nd, Nl or No (so Roman numerals and superscripts count).
[[nodiscard]] inline bool isUdigit(CodePoint c) { return QOR::internal::inUnicodeClasses(c, 0x380); }
// A letter or a number.
[[nodiscard]] inline bool isUalnum(CodePoint c) { return QOR::internal::inUnicodeClasses(c, 0xC038E); }
// A separator (Zs, Zl, Zp), one of U+0009..U+000D, or U+FEFF.
// Note: U+FEFF counts so that a stray byte-order mark is trimmed like space.
[[nodiscard]] inline bool isUspace(CodePoint c) {
  const unsigned int v = c.codePoint();
  return QOR::internal::inUnicodeClasses(c, 0x1C00) || (v - 9) <= 4 || v == 0xFEFF;
}
// U+0000..U+007F; no table lookup.
[[nodiscard]] inline bool isUascii(CodePoint c) { return c.codePoint() <= 0x7F; }
// Anything assigned except controls, formats, surrogates and private use;
// U+FEFF included.
[[nodiscard]] inline bool isUprint(CodePoint c) {
  return QOR::internal::inUnicodeClasses(c, 0x7FFC1FFE) || c.codePoint() == 0xFEFF;
}
// As isUprint without the separators Zs, Zl, Zp; U+FEFF is not graphic.
[[nodiscard]] inline bool isUgraph(CodePoint c) { return QOR::internal::inUnicodeClasses(c, 0x7FFC03FE); }
// Punctuation, Pc..Po; symbols (Sm, Sc, Sk, So) are not punctuation.
[[nodiscard]] inline bool isUpunct(CodePoint c) { return QOR::internal::inUnicodeClasses(c, 0x7F00000); }
