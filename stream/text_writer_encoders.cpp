// The encoders of the four writer kinds, and the factory on a raw stream.
#include "internal/text_writer_imp.h"

#include <qorcor14/text/codepoint.h>

#include <windows.h>

#include <algorithm>

namespace QOR {

TextWriter::TextWriter() = default;
TextWriter::~TextWriter() = default;

TextWriter* TextWriter::create(RawWriter& raw, TextEncoding enc, bool bom) {
  return internal::makeWriter(raw, enc, bom);
}

namespace internal {

TextWriter* makeWriter(RawWriter& raw, TextEncoding enc, bool bom) {
  TextWriterImp* writer = nullptr;
  switch (enc) {
  case Multibyte: return new MultibyteWriterImp(raw);
  case UTF8: writer = new UTF8WriterImp(raw); break;
  case UTF16:
  case UTF16le: writer = new UTF16leWriterImp(raw); break;
  case UTF16be: writer = new UTF16beWriterImp(raw); break;
  default: return nullptr;
  }
  // Only buffered here: the mark reaches the file with the first flush.
  if (bom) writer->put(0xFEFF);
  return writer;
}

namespace {

// The UTF-16 form of cp (at most U+10FFFF, no surrogate) into units; returns
// the number of units.
int toUnits(unsigned int cp, wchar_t units[2]) {
  if (cp <= 0xFFFF) {
    units[0] = static_cast<wchar_t>(cp);
    return 1;
  }
  units[0] = leadingSurrogateOf(cp);
  units[1] = trailingSurrogateOf(cp);
  return 2;
}

}  // namespace

// The ANSI code page, refusing any character that would need the default
// character or a best-fit substitute.
std::size_t MultibyteWriterImp::encode(unsigned int cp, unsigned char* out, std::size_t room) {
  wchar_t units[2];
  const int n = toUnits(cp, units);
  const int size = static_cast<int>(std::min<std::size_t>(room, 10));
  char* const bytes = reinterpret_cast<char*>(out);
  const UINT codePage = GetACP();
  int k;
  if (codePage == CP_UTF8) {
    // UTF-8 as the ANSI code page holds every character; the system refuses
    // the best-fit flag and the default-character question for it.
    k = WideCharToMultiByte(CP_ACP, 0, units, n, bytes, size, nullptr, nullptr);
  } else {
    BOOL usedDefault = FALSE;
    k = WideCharToMultiByte(CP_ACP, WC_NO_BEST_FIT_CHARS, units, n, bytes, size, nullptr, &usedDefault);
    if (usedDefault) return 0;
  }
  return k > 0 ? static_cast<std::size_t>(k) : 0;
}

std::size_t UTF8WriterImp::encode(unsigned int cp, unsigned char* out, std::size_t room) {
  if (cp < 0x80) {
    if (room < 1) return 0;
    out[0] = static_cast<unsigned char>(cp);
    return 1;
  }
  if (cp < 0x800) {
    if (room < 2) return 0;
    out[0] = static_cast<unsigned char>(0xC0 | (cp >> 6));
    out[1] = static_cast<unsigned char>(0x80 | (cp & 0x3F));
    return 2;
  }
  if (cp < 0x10000) {
    if (room < 3) return 0;
    out[0] = static_cast<unsigned char>(0xE0 | (cp >> 12));
    out[1] = static_cast<unsigned char>(0x80 | ((cp >> 6) & 0x3F));
    out[2] = static_cast<unsigned char>(0x80 | (cp & 0x3F));
    return 3;
  }
  if (room < 4) return 0;
  out[0] = static_cast<unsigned char>(0xF0 | (cp >> 18));
  out[1] = static_cast<unsigned char>(0x80 | ((cp >> 12) & 0x3F));
  out[2] = static_cast<unsigned char>(0x80 | ((cp >> 6) & 0x3F));
  out[3] = static_cast<unsigned char>(0x80 | (cp & 0x3F));
  return 4;
}

namespace {

std::size_t encodeUTF16(unsigned int cp, unsigned char* out, std::size_t room, bool bigEndian) {
  wchar_t units[2];
  const int n = toUnits(cp, units);
  if (room < static_cast<std::size_t>(n) * 2) return 0;
  for (int i = 0; i < n; ++i) {
    const unsigned int u = static_cast<unsigned short>(units[i]);
    out[2 * i + (bigEndian ? 1 : 0)] = static_cast<unsigned char>(u & 0xFF);
    out[2 * i + (bigEndian ? 0 : 1)] = static_cast<unsigned char>(u >> 8);
  }
  return static_cast<std::size_t>(n) * 2;
}

}  // namespace

std::size_t UTF16leWriterImp::encode(unsigned int cp, unsigned char* out, std::size_t room) {
  return encodeUTF16(cp, out, room, false);
}

std::size_t UTF16beWriterImp::encode(unsigned int cp, unsigned char* out, std::size_t room) {
  return encodeUTF16(cp, out, room, true);
}

}  // namespace internal
}  // namespace QOR
