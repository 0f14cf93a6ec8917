// The writer shared by every encoding: line-break normalisation, surrogate
// pairing, the buffer and its flushing.
#include "internal/text_writer_imp.h"

#include <qorcor14/errors.h>
#include <qorcor14/text/codepoint.h>
#include <qorcor14/text/strings.h>

#include "common/messages.h"

namespace QOR::internal {
namespace {}  // namespace

void TextWriterImp::put(unsigned int cp) {
  if (cp >= 0x110000 || isSurrogate(cp)) fail(cp);
  if (m_count < kBufferSize) {
    if (const std::size_t k = encode(cp, m_buffer + m_count, kBufferSize - m_count)) {
      m_count += k;
      return;
    }
  }
  // Full, or the code point did not fit (or cannot be represented: then the
  // retry fails the same way, after the buffered bytes have gone out).
  if (m_count) {
    m_raw.write(m_buffer, m_count);
    m_count = 0;
  }
  const std::size_t k = encode(cp, m_buffer, kBufferSize);
  if (k == 0) fail(cp);
  m_count = k;
}

void TextWriterImp::write(const std::wstring& text) {
  const std::size_t n = text.size();
  for (std::size_t i = 0; i < n; ++i) {
    const unsigned int u = static_cast<unsigned short>(text[i]);
    switch (u) {
    case 0x0D:
      if (i + 1 < n && text[i + 1] == L'\n') ++i;
      [[fallthrough]];
    case 0x0A:
    case 0x85:
    case 0x2028:
    case 0x2029:
      put(0x0D);
      put(0x0A);
      continue;
    default: break;
    }
    if (!isSurrogate(u)) {
      put(u);
    } else if (isSurrogateA(u) && i + 1 < n && isSurrogateB(static_cast<unsigned short>(text[i + 1]))) {
      put(combineSurrogates(u, static_cast<unsigned short>(text[i + 1])));
      ++i;
    } else {
      fail(u);
    }
  }
}

void TextWriterImp::writeLine(const std::wstring& text) {
  write(text);
  put(0x0D);
  put(0x0A);
}

void TextWriterImp::flush() {
  // The bytes stay buffered should the write fail.
  if (m_count) {
    m_raw.write(m_buffer, m_count);
    m_count = 0;
  }
  m_raw.flush();
}

void TextWriterImp::fail(unsigned int cp) const {
  const std::wstring code = stringPrintf(L"U+%04lX", static_cast<unsigned long>(cp));
  throw QorError(internal::unencodableCharacterMessage(code, m_raw.name()));
}

}  // namespace QOR::internal
