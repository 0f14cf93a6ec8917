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
// the exact encoded length, or one unit per input byte.
#pragma once

#include <cstddef>
#include <cstdint>

namespace QOR::internal {

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

// --- decoding tables --------------------------------------------------------------
//
// The decoders mark the last byte of every sequence in a 64-bit mask and then
// convert windows of 16 input bytes, taking the sequences that end in the
// window's first 12 bytes: the 12 mask bits choose a row that gathers the
// bytes of each sequence into a lane of its own, last byte first.
//   byLanes16: up to 8 sequences of one or two bytes, one 16-bit lane each.
//   otherwise: up to 4 sequences of one to four bytes, one 32-bit lane each.
struct Utf8WindowEntry {
  unsigned char byLanes16;  // 1 for 16-bit lanes
  unsigned char shape;      // the gather row: 1 bit (16-bit lanes) or 2 bits (32-bit) per sequence
  unsigned char consumed;   // bytes taken; 0 when no sequence ends in the window
  unsigned char sequences;  // sequences taken
};

struct Utf8WindowTable {
  Utf8WindowEntry entry[4096];
  // Gathers for 16-bit lanes by the bit pattern "two bytes", and for 32-bit
  // lanes by the pattern of lengths less one; 0x80 yields a zero byte.
  alignas(16) unsigned char gather16[256][16];
  alignas(16) unsigned char gather32[256][16];
  // Packs 32-bit lanes that hold one unit (low half) or a surrogate pair, by
  // the bit pattern "pair"; and the number of pairs in each pattern.
  alignas(16) unsigned char packPairs[16][16];
  unsigned char pairCount[16];
};

consteval Utf8WindowTable makeUtf8WindowTable() {
  Utf8WindowTable t{};
  for (unsigned ends = 0; ends < 4096; ++ends) {
    unsigned length[12] = {}, last[12] = {}, n = 0, start = 0;
    for (unsigned j = 0; j < 12; ++j) {
      if (ends >> j & 1u) {
        length[n] = j + 1 - start;
        last[n++] = j;
        start = j + 1;
      }
    }
    Utf8WindowEntry& e = t.entry[ends];
    const unsigned n16 = n < 8 ? n : 8, n32 = n < 4 ? n : 4;
    bool short16 = n16 > 0, fits32 = n32 > 0;
    for (unsigned k = 0; k < n16; ++k) short16 = short16 && length[k] <= 2;
    for (unsigned k = 0; k < n32; ++k) fits32 = fits32 && length[k] <= 4;
    if (short16) {
      e.byLanes16 = 1;
      for (unsigned k = 0; k < n16; ++k) e.shape = static_cast<unsigned char>(e.shape | (length[k] - 1) << k);
      e.sequences = static_cast<unsigned char>(n16);
      e.consumed = static_cast<unsigned char>(last[n16 - 1] + 1);
    } else if (fits32) {
      for (unsigned k = 0; k < n32; ++k) e.shape = static_cast<unsigned char>(e.shape | (length[k] - 1) << 2 * k);
      e.sequences = static_cast<unsigned char>(n32);
      e.consumed = static_cast<unsigned char>(last[n32 - 1] + 1);
    }
  }
  for (unsigned row = 0; row < 256; ++row) {
    unsigned end16 = 0, end32 = 0;
    for (unsigned k = 0; k < 8; ++k) {
      const unsigned len = 1 + (row >> k & 1u);
      end16 += len;
      for (unsigned i = 0; i < 2; ++i) {
        t.gather16[row][2 * k + i] = static_cast<unsigned char>(i < len && end16 <= 16 ? end16 - 1 - i : 0x80);
      }
    }
    for (unsigned k = 0; k < 4; ++k) {
      const unsigned len = 1 + (row >> 2 * k & 3u);
      end32 += len;
      for (unsigned i = 0; i < 4; ++i) t.gather32[row][4 * k + i] = static_cast<unsigned char>(i < len ? end32 - 1 - i : 0x80);
    }
  }
  for (unsigned pairs = 0; pairs < 16; ++pairs) {
    unsigned n = 0;
    for (unsigned k = 0; k < 4; ++k) {
      const unsigned units = 1 + (pairs >> k & 1u);
      for (unsigned i = 0; i < 2 * units; ++i) t.packPairs[pairs][n++] = static_cast<unsigned char>(4 * k + i);
    }
    t.pairCount[pairs] = static_cast<unsigned char>(n / 2 - 4);
    for (unsigned k = n; k < 16; ++k) t.packPairs[pairs][k] = 0x80;
  }
  return t;
}

inline constexpr Utf8WindowTable kUtf8WindowTable = makeUtf8WindowTable();

}  // namespace QOR::internal
