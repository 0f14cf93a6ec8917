// The vector kernels of utf8() for processors above the x86-64 baseline, each
// in a translation unit compiled for its instruction set (utf8_ssse3.cpp,
// utf8_avx2.cpp) and called only after cpuLevel() has reported that set.
//
// Those units use no inline or template code of the standard library: the
// linker keeps one copy of such a function for the whole DLL, and the copy it
// keeps could be one compiled for a newer processor. So the interface is raw
// pointers, and the shared tables below are built by consteval functions,
// which leave no code behind.
//
// A kernel converts from the front of its input and stops when fewer than its
// margin of units (encoding) or bytes (decoding) remain, leaving the rest to
// the scalar code in utf8.cpp. It gives exactly the scalar code's output for
// every input, and writes only inside the output that the scalar code sizes:
// the exact encoded length, or the exact decoded length and kDecodeSlack
// units more.
#pragma once

#include "common/cpu_level.h"

#include <cstddef>
#include <cstdint>

namespace QOR::internal {

// The units a decoding kernel may write beyond the exact decoded length: a
// block writes up to 72 units past the units of what it has decoded before
// it (64 and the 8 of a last store), counting the leading surrogate of a
// pair that the next block may take back.
inline constexpr std::size_t kDecodeSlack = 80;

// Where a kernel stopped: the first unconverted input, the first unwritten
// output.
struct Utf8EncodeCursor {
  const wchar_t* in;
  char* out;
};
struct Utf8DecodeCursor {
  const unsigned char* in;
  wchar_t* out;
};

// The bytes beyond one per unit that the UTF-8 form of the units from p on
// takes, for all but the last few units; p is moved to the first unit not
// counted. A pair counts as two units.
std::size_t encodedExtraAvx2(const wchar_t*& p, const wchar_t* end) noexcept;

// UTF-16 to UTF-8 from c.in up to `end`; c.in must not be the trailing half
// of a pair whose leading half came before it.
void encodeUtf8Ssse3(Utf8EncodeCursor& c, const wchar_t* end) noexcept;
void encodeUtf8Avx2(Utf8EncodeCursor& c, const wchar_t* end) noexcept;

// UTF-8 to UTF-16 from c.in up to `end`; c.in must start a sequence.
void decodeUtf8Ssse3(Utf8DecodeCursor& c, const unsigned char* end) noexcept;
void decodeUtf8Avx2(Utf8DecodeCursor& c, const unsigned char* end) noexcept;

// The number of units utf8(std::string) gives for the bytes [p, end), by the
// block counts of the processor's level (utf8_length.cpp).
std::size_t decodedLength(const unsigned char* p, const unsigned char* end, CpuLevel level) noexcept;
// The AVX2 block count: the units of the well-formed blocks from p on; p is
// moved to the first sequence start not counted (see utf8_length_steps.h).
std::size_t decodedLengthAvx2(const unsigned char*& p, const unsigned char* end) noexcept;

// The run of a line that a text reader may take whole, from c.in (a sequence
// start) up to `end`: converts while the bytes are sequences of two to four
// bytes in their usual form or bytes below 0x80, and stops at the start of
// the first sequence that is a line break (LF, FF, CR, U+0085, U+2028,
// U+2029), a surrogate, above U+10FFFF, overlong, or not of that form, or
// when fewer than 80 bytes remain. What it converts is what the reader's
// decoder gives. Writes at most kDecodeSlack units beyond the last unit of
// the bytes it takes.
void decodeUtf8RunSsse3(Utf8DecodeCursor& c, const unsigned char* end) noexcept;
void decodeUtf8RunAvx2(Utf8DecodeCursor& c, const unsigned char* end) noexcept;

// --- encoding table ---------------------------------------------------------------
//
// The encoders turn each unit into a four-byte slot that holds every byte its
// sequence could need, [v & 0x7F, last byte, lead byte of three, middle byte],
// and then pack four slots with one byte shuffle. A pair is split over its two
// slots, two bytes each, so that no slot needs more than three.
//
// Row i of the table packs four slots whose lengths are given by two bits per
// slot (slot k: bit 2k set for two bytes or more, bit 2k+1 for three): the
// shuffle and the number of bytes it yields.
struct Utf8PackTable {
  alignas(16) unsigned char shuffle[256][16];
  unsigned char length[256];
};

consteval Utf8PackTable makeUtf8PackTable() {
  Utf8PackTable t{};
  for (unsigned row = 0; row < 256; ++row) {
    unsigned n = 0;
    for (unsigned slot = 0; slot < 4; ++slot) {
      const unsigned bits = row >> (2 * slot) & 3u, base = 4 * slot;
      if (bits == 0) {
        t.shuffle[row][n++] = static_cast<unsigned char>(base);
      } else {
        if (bits & 2u) t.shuffle[row][n++] = static_cast<unsigned char>(base + 2);
        t.shuffle[row][n++] = static_cast<unsigned char>(base + 3);
        t.shuffle[row][n++] = static_cast<unsigned char>(base + 1);
      }
    }
    t.length[row] = static_cast<unsigned char>(n);
    for (unsigned k = n; k < 16; ++k) t.shuffle[row][k] = 0x80;  // zero
  }
  return t;
}

inline constexpr Utf8PackTable kUtf8PackTable = makeUtf8PackTable();

// --- decoding table ---------------------------------------------------------------
//
// The decoders work out a unit at every byte position at once, and then keep
// those of the positions that end a sequence (and the third byte of a
// four-byte one, for the leading surrogate). Row m of the table packs the
// 16-bit lanes of eight positions whose bits are set in m; count is the
// number of them.
struct Utf8KeepTable {
  alignas(16) unsigned char shuffle[256][16];
  unsigned char count[256];
};

consteval Utf8KeepTable makeUtf8KeepTable() {
  Utf8KeepTable t{};
  for (unsigned row = 0; row < 256; ++row) {
    unsigned n = 0;
    for (unsigned lane = 0; lane < 8; ++lane) {
      if (row >> lane & 1u) {
        t.shuffle[row][n++] = static_cast<unsigned char>(2 * lane);
        t.shuffle[row][n++] = static_cast<unsigned char>(2 * lane + 1);
      }
    }
    t.count[row] = static_cast<unsigned char>(n / 2);
    for (unsigned k = n; k < 16; ++k) t.shuffle[row][k] = 0x80;
  }
  return t;
}

inline constexpr Utf8KeepTable kUtf8KeepTable = makeUtf8KeepTable();

}  // namespace QOR::internal
