// TextWriterImp and its encoders: the writer of one encoding over a raw byte
// sink, with its 1024-byte buffer.
#pragma once

#include <qorcor14/stream/raw.h>
#include <qorcor14/stream/text_file.h>

#include <cstddef>
#include <string>

namespace QOR::internal {

class TextWriterImp : public TextWriter {
public:
  void write(const std::wstring& text) override;
  void writeLine(const std::wstring& text) override;
  void flush() override;
  // A writer on a raw stream does not own it: closing only flushes.
  void close() override { flush(); }

  // Encodes cp into the room bytes at out and returns the number written, or
  // 0 when it does not fit or cannot be represented.
  virtual std::size_t encode(unsigned int cp, unsigned char* out, std::size_t room) = 0;

  // Writes one code point: U+FEFF for a byte-order mark, and everything
  // write() produces.
  void put(unsigned int cp);

protected:
  explicit TextWriterImp(RawWriter& raw) : m_raw(raw) {}

private:
  static constexpr std::size_t kBufferSize = 1024;

  // Entry 254 with the "U+XXXX" code of cp and the sink's name.
  [[noreturn]] void fail(unsigned int cp) const;

  RawWriter& m_raw;
  unsigned char m_buffer[kBufferSize];
  std::size_t m_count = 0;  // bytes in m_buffer
};

class MultibyteWriterImp final : public TextWriterImp {
public:
  explicit MultibyteWriterImp(RawWriter& raw) : TextWriterImp(raw) {}
  std::size_t encode(unsigned int cp, unsigned char* out, std::size_t room) override;
};

class UTF8WriterImp final : public TextWriterImp {
public:
  explicit UTF8WriterImp(RawWriter& raw) : TextWriterImp(raw) {}
  std::size_t encode(unsigned int cp, unsigned char* out, std::size_t room) override;
};

class UTF16leWriterImp final : public TextWriterImp {
public:
  explicit UTF16leWriterImp(RawWriter& raw) : TextWriterImp(raw) {}
  std::size_t encode(unsigned int cp, unsigned char* out, std::size_t room) override;
};

class UTF16beWriterImp final : public TextWriterImp {
public:
  explicit UTF16beWriterImp(RawWriter& raw) : TextWriterImp(raw) {}
  std::size_t encode(unsigned int cp, unsigned char* out, std::size_t room) override;
};

// The writer of enc on raw, with U+FEFF first when bom is true and enc is not
// Multibyte; null for an encoding outside 0..4.
TextWriter* makeWriter(RawWriter& raw, TextEncoding enc, bool bom);

}  // namespace QOR::internal
