// TextReaderImp and its decoders: the reader of one encoding over a raw byte
// source, with its 1024-byte buffer.
#pragma once

#include <qorcor14/stream/raw.h>
#include <qorcor14/stream/text_file.h>

#include <cstddef>
#include <string>

namespace QOR::internal {

class TextReaderImp : public TextReader {
public:
  bool readLine(std::wstring& line) override;
  // A reader on a raw stream does not own it: nothing to close.
  void close() override {}

  // Decodes one code point from the n bytes at bytes (n >= 1) and returns the
  // number of bytes it takes, or 0 when they are incomplete or invalid.
  virtual std::size_t decode(unsigned int& cp, const unsigned char* bytes, std::size_t n) = 0;

  // Appends whole lines to `text`, each with one LF for its break (the last
  // line of the input too), until `text` holds at least `atLeast` units or
  // the input ends. The same as readLine
  // called in turn, without a call and a copy per line: on bytes that cannot
  // be decoded, `text` is cut back to the end of the last whole line and the
  // error is thrown, with the reader where readLine would have left it.
  void readLines(std::wstring& text, std::size_t atLeast);

protected:
  // Which runs the line reader may take without calling decode for each code
  // point: UTF-8 sequences, decoded inline by UTF8ReaderImp::decode's rule,
  // or UTF-16 units that are no surrogates, in either byte order. Line
  // breaks, and whatever decode or readLine refuses, never belong to a run.
  // Each unit of a run is exactly what decode gives for it, so the lines and
  // the position of an error are the same.
  enum class PlainRuns { none, bytes, unitsLE, unitsBE };

  TextReaderImp(RawReader& raw, PlainRuns runs) : m_raw(raw), m_runs(runs) {}

private:
  static constexpr std::size_t kBufferSize = 1024;

  enum class Next { ok, end, bad };
  // Decodes the next code point; on ok, advances past it when consume is true.
  // Refills the buffer as needed; end and bad leave the position as it is.
  Next next(unsigned int& cp, bool consume);
  // readLines for PlainRuns::bytes.
  void readUTF8Lines(std::wstring& text, std::size_t atLeast);
  // Appends the next line to `line`; readLine without clearing it first.
  bool appendLine(std::wstring& line);
  // Appends the code point just read to text, or, when it ends a line, reads
  // the LF that belongs to a CR and returns true with nothing appended.
  bool takeCodePoint(std::wstring& text, unsigned int cp);
  // Appends the run of plain units at the read position to line.
  void copyRun(std::wstring& line);
  // Entry 248 with the source's name.
  [[noreturn]] void fail() const;

  RawReader& m_raw;
  unsigned char m_buffer[kBufferSize];
  std::size_t m_count = 0;  // valid bytes in m_buffer
  std::size_t m_pos = 0;    // read position in m_buffer
  PlainRuns m_runs;
};

class MultibyteReaderImp final : public TextReaderImp {
public:
  explicit MultibyteReaderImp(RawReader& raw) : TextReaderImp(raw, PlainRuns::none) {}
  std::size_t decode(unsigned int& cp, const unsigned char* bytes, std::size_t n) override;
};

class UTF8ReaderImp final : public TextReaderImp {
public:
  explicit UTF8ReaderImp(RawReader& raw) : TextReaderImp(raw, PlainRuns::bytes) {}
  std::size_t decode(unsigned int& cp, const unsigned char* bytes, std::size_t n) override;
};

class UTF16leReaderImp final : public TextReaderImp {
public:
  explicit UTF16leReaderImp(RawReader& raw) : TextReaderImp(raw, PlainRuns::unitsLE) {}
  std::size_t decode(unsigned int& cp, const unsigned char* bytes, std::size_t n) override;
};

class UTF16beReaderImp final : public TextReaderImp {
public:
  explicit UTF16beReaderImp(RawReader& raw) : TextReaderImp(raw, PlainRuns::unitsBE) {}
  std::size_t decode(unsigned int& cp, const unsigned char* bytes, std::size_t n) override;
};

// The reader of enc on raw, or null for an encoding outside 0..4.
TextReader* makeReader(RawReader& raw, TextEncoding enc);

// The library's own decoding reader behind `reader` (itself, or the one a
// reader opened by name owns), or null for a reader of another kind.
TextReaderImp* decodingReader(TextReader& reader);

}  // namespace QOR::internal
