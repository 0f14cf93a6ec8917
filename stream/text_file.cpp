// Text files opened by name: byte-order-mark detection, the append rules, and
// the wrappers that own the file and forward to the reader or writer on it.
#include "internal/text_reader_imp.h"
#include "internal/text_writer_imp.h"

#include <memory>

namespace QOR::internal {
namespace {

// The encoding named by the byte-order mark at the start of the n bytes (up
// to 4) at b, and the mark's length; no mark means Multibyte. UTF-32 marks are
// not recognised: FF FE 00 00 is a UTF-16LE mark.
TextEncoding detectEncoding(const unsigned char* b, std::size_t n, std::size_t& markLength) {
  markLength = 0;
  if (n >= 3 && b[0] == 0xEF && b[1] == 0xBB && b[2] == 0xBF) {
    markLength = 3;
    return UTF8;
  }
  if (n >= 2) {
    if (b[0] == 0xFF && b[1] == 0xFE) {
      markLength = 2;
      return UTF16le;
    }
    if (b[0] == 0xFE && b[1] == 0xFF) {
      markLength = 2;
      return UTF16be;
    }
  }
  return Multibyte;
}

constexpr bool isEncoding(TextEncoding enc) { return enc >= Multibyte && enc <= UTF16be; }

// Owns the file and the reader on it; the reader goes first.
class TextFileReaderImp final : public TextReader {
public:
  TextFileReaderImp(std::unique_ptr<RawFileReader> file, std::unique_ptr<TextReader> inner)
      : m_file(std::move(file)), m_inner(std::move(inner)) {}

  bool readLine(std::wstring& line) override { return m_inner->readLine(line); }
  [[nodiscard]] TextReader& inner() const { return *m_inner; }
  void close() override {
    m_inner->close();
    m_file->close();
  }

private:
  std::unique_ptr<RawFileReader> m_file;
  std::unique_ptr<TextReader> m_inner;
};

// Owns the file and the writer on it. Deleting it does not flush the writer's
// buffer; the file itself is closed by its own destructor.
class TextFileWriterImp final : public TextWriter {
public:
  TextFileWriterImp(std::unique_ptr<RawFileWriter> file, std::unique_ptr<TextWriter> inner)
      : m_file(std::move(file)), m_inner(std::move(inner)) {}

  void write(const std::wstring& text) override { m_inner->write(text); }
  void writeLine(const std::wstring& text) override { m_inner->writeLine(text); }
  void flush() override { m_inner->flush(); }
  void close() override {
    m_inner->close();
    m_file->close();
  }

private:
  std::unique_ptr<RawFileWriter> m_file;
  std::unique_ptr<TextWriter> m_inner;
};

}  // namespace

TextReaderImp* decodingReader(TextReader& reader) {
  if (auto* file = dynamic_cast<TextFileReaderImp*>(&reader)) return dynamic_cast<TextReaderImp*>(&file->inner());
  return dynamic_cast<TextReaderImp*>(&reader);
}

}  // namespace QOR::internal

namespace QOR {

TextReader* TextReader::create(const std::wstring& name) {
  std::unique_ptr<RawFileReader> file(rawOpen(name));
  unsigned char head[4];
  const std::size_t n = file->read(head, sizeof head);
  std::size_t markLength = 0;
  const TextEncoding enc = internal::detectEncoding(head, n, markLength);
  file->seek(static_cast<long long>(markLength), seekBegin);
  std::unique_ptr<TextReader> inner(internal::makeReader(*file, enc));
  return new internal::TextFileReaderImp(std::move(file), std::move(inner));
}

TextWriter* TextWriter::create(const std::wstring& name, TextOpenMode mode, TextEncoding enc) {
  // Refused before the file is touched, so that an existing file is neither
  // truncated nor created for nothing.
  if (!internal::isEncoding(enc)) return nullptr;
  std::unique_ptr<RawFileWriter> file;
  bool bom = true;
  if (mode == Append) {
    file.reset(rawAppend(name));
    file->seek(0, seekBegin);
    unsigned char head[4];
    const std::size_t n = file->read(head, sizeof head);
    if (n > 0) {
      // Continue the existing text in its own encoding, without a new mark.
      file->seek(0, seekEnd);
      std::size_t markLength = 0;
      enc = internal::detectEncoding(head, n, markLength);
      bom = false;
    }
  } else {
    file.reset(rawCreate(name));
  }
  std::unique_ptr<TextWriter> inner(internal::makeWriter(*file, enc, bom));
  return new internal::TextFileWriterImp(std::move(file), std::move(inner));
}

}  // namespace QOR
