// The block loop of the length pass that sizes utf8(std::string)'s output,
// shared by the SSE2 code (utf8_length.cpp) and the AVX2 kernel
// (utf8_avx2.cpp). Internal linkage only, for the reason utf8_kernels.h gives.
#pragma once

#include <cstddef>
#include <cstdint>

namespace QOR::internal {
namespace {

// The classes of 64 bytes, bit i for byte i, and the units they give if every
// sequence in them is well formed: 64, less one for each byte 0x80..0xBF,
// plus one for each byte 0xF0 and above (a pair).
struct LengthClasses {
  std::uint64_t high = 0;   // 0x80 and above
  std::uint64_t lead = 0;   // 0xC0 and above
  std::uint64_t lead3 = 0;  // 0xE0 and above
  std::uint64_t lead4 = 0;  // 0xF0 and above
  unsigned units = 0;
};

// Counts the units of the sequences from p on while at least 80 bytes
// remain, 64 bytes a block, and moves p to the first sequence start it has
// not counted. A block is counted only where every sequence that starts in it
// is well formed: a lead of two to four bytes followed by that many bytes
// 0x80..0xBF (those of a sequence that runs into the next block included), no
// byte 0x80..0xBF of its own, and four-byte values within U+10000..U+10FFFF.
// The decoder gives such a sequence one unit, or two for four bytes; whatever
// else is left to the byte-at-a-time count. `Steps` gives:
//   bool ascii(p)          - the 64 bytes at p are all below 0x80
//   void classify(p, c)    - their LengthClasses
//   bool foursInRange(p)   - no lead at p..p+63 of F5 and above, F0 followed
//                            by 80..8F, or F4 followed by 90 and above
template <class Steps>
std::size_t countWellFormedBlocks(const unsigned char*& p, const unsigned char* end) {
  std::size_t units = 0;
  // The trailing bytes of the last block's unfinished sequence, as bits of
  // the next block (checked and counted with their lead).
  std::uint64_t carried = 0;
  while (end - p >= 80) {
    if (carried == 0 && Steps::ascii(p)) {
      // A run of ASCII, 128 bytes a step while there is room.
      const unsigned char* const from = p;
      for (p += 64; end - p >= 208 && Steps::ascii(p) && Steps::ascii(p + 64);) p += 128;
      units += static_cast<std::size_t>(p - from);
      continue;
    }
    LengthClasses c;
    Steps::classify(p, c);
    const std::uint64_t continuation = c.high & ~c.lead;
    if ((c.lead << 1 | c.lead3 << 2 | c.lead4 << 3 | carried) != continuation) break;
    // Bits 0 to 2 of the next block that a lead at 61..63 takes.
    const std::uint64_t next = c.lead >> 63 | c.lead3 >> 62 | c.lead4 >> 61;
    if (next != 0) {
      const std::uint64_t nextContinuation = std::uint64_t((p[64] & 0xC0) == 0x80) |
                                             std::uint64_t((p[65] & 0xC0) == 0x80) << 1 |
                                             std::uint64_t((p[66] & 0xC0) == 0x80) << 2;
      if ((next & ~nextContinuation) != 0) break;
    }
    if (c.lead4 != 0 && !Steps::foursInRange(p)) break;
    units += c.units;
    carried = next;
    p += 64;
  }
  // Past the trailing bytes already counted with their lead: carried holds
  // the low 0 to 3 bits.
  p += carried == 7 ? 3 : carried == 3 ? 2 : carried;
  return units;
}

}  // namespace
}  // namespace QOR::internal
