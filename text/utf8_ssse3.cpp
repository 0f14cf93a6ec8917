// The SSSE3 kernels of utf8(), 16 bytes a vector (see utf8_kernels.h).
#include "text/internal/utf8_kernel_steps.h"

namespace QOR::internal {

void encodeUtf8Ssse3(Utf8EncodeCursor& c, const wchar_t* end) noexcept {
  const wchar_t* p = c.in;
  char* out = c.out;
  // A step reads 16 units and writes at most 15 bytes beyond what it encodes;
  // every unit left encodes to a byte or more, so the output has room.
  __m128i units = _mm_setzero_si128(), leads = _mm_setzero_si128();
  while (end - p >= 32) {
    const __m128i a = load16(p), b = load16(p + 8);
    if (_mm_movemask_epi8(lanesEqual(_mm_or_si128(a, b), 0xFF80, 0)) == 0xFFFF) {
      store16(out, _mm_packus_epi16(a, b));
      p += 16;
      out += 16;
      leads = _mm_setzero_si128();
      continue;
    }
    encode8(p, out, units, leads);
    p += 8;
  }
  finishPair((_mm_movemask_epi8(leads) & 0x8000) != 0, p, out);
  c = {p, out};
}

void decodeUtf8Ssse3(Utf8DecodeCursor& c, const unsigned char* end) noexcept {
  Blocks16 blocks;
  decodeBlocks(c, end, blocks);
}

void decodeUtf8RunSsse3(Utf8DecodeCursor& c, const unsigned char* end) noexcept {
  Blocks16 blocks;
  decodeRunBlocks(c, end, blocks);
}

}  // namespace QOR::internal
