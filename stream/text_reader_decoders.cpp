// The decoders of the four reader kinds, and the factory on a raw stream.
#include "internal/text_reader_imp.h"

#include <qorcor14/text/codepoint.h>

#include <cstdlib>

namespace QOR {

TextReader::TextReader() = default;
TextReader::~TextReader() = default;

TextReader* TextReader::create(RawReader& raw, TextEncoding enc) { return internal::makeReader(raw, enc); }

namespace internal {

TextReader* makeReader(RawReader& raw, TextEncoding enc) {
  switch (enc) {
  case Multibyte: return new MultibyteReaderImp(raw);
  case UTF8: return new UTF8ReaderImp(raw);
  case UTF16:
  case UTF16le: return new UTF16leReaderImp(raw);
  case UTF16be: return new UTF16beReaderImp(raw);
  }
  return nullptr;
}

// mbtowc in the runtime's current locale: -1 (invalid or incomplete) gives 0,
// a NUL byte gives U+0000 in one byte. A lead byte without its second byte is
// incomplete whatever mbtowc makes of it: Wine's runtime decodes it alone, to
// the code page's default character, which would split a double-byte
// character that straddles the end of the buffer.
std::size_t MultibyteReaderImp::decode(unsigned int& cp, const unsigned char* bytes, std::size_t n) {
  if (std::mblen(reinterpret_cast<const char*>(bytes), n) < 0) return 0;
  wchar_t wc = 0;
  const int k = std::mbtowc(&wc, reinterpret_cast<const char*>(bytes), n);
  if (k < 0) return 0;
  cp = static_cast<unsigned short>(wc);
  return k == 0 ? 1 : static_cast<std::size_t>(k);
}

// Lenient: the length comes from the lead byte alone (0x80..0xDF all lead two
// bytes), overlong forms pass, and a following byte is refused only when it is
// above 0xC0; any other contributes its low six bits.
std::size_t UTF8ReaderImp::decode(unsigned int& cp, const unsigned char* bytes, std::size_t n) {
  const unsigned int b = bytes[0];
  if (b < 0x80) {
    cp = b;
    return 1;
  }
  std::size_t length;
  unsigned int value;
  if (b < 0xE0) {
    length = 2;
    value = b & 0x1F;
  } else if (b < 0xF0) {
    length = 3;
    value = b & 0x0F;
  } else if (b < 0xF8) {
    length = 4;
    value = b & 0x07;
  } else {
    return 0;
  }
  if (n < length) return 0;
  for (std::size_t i = 1; i < length; ++i) {
    if (bytes[i] > 0xC0) return 0;
    value = value << 6 | (bytes[i] & 0x3Fu);
  }
  cp = value;
  return length;
}

namespace {

// One unit, or a leading and a trailing surrogate; anything else gives 0.
std::size_t decodeUTF16(unsigned int& cp, const unsigned char* bytes, std::size_t n, bool bigEndian) {
  auto unit = [&](std::size_t i) {
    return bigEndian ? (unsigned(bytes[i]) << 8 | bytes[i + 1]) : (unsigned(bytes[i + 1]) << 8 | bytes[i]);
  };
  if (n < 2) return 0;
  const unsigned int a = unit(0);
  if (!isSurrogate(a)) {
    cp = a;
    return 2;
  }
  if (n < 4) return 0;
  const unsigned int b = unit(2);
  if (!isSurrogateA(a) || !isSurrogateB(b)) return 0;
  cp = combineSurrogates(a, b);
  return 4;
}

}  // namespace

std::size_t UTF16leReaderImp::decode(unsigned int& cp, const unsigned char* bytes, std::size_t n) {
  return decodeUTF16(cp, bytes, n, false);
}

std::size_t UTF16beReaderImp::decode(unsigned int& cp, const unsigned char* bytes, std::size_t n) {
  return decodeUTF16(cp, bytes, n, true);
}

}  // namespace internal
}  // namespace QOR
