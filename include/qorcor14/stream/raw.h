// qorcor14/stream/raw.h - byte sources and sinks, and the file-backed ones
// over the C runtime's buffered wide stdio streams.
//
// The text readers and writers (qorcor14/stream/text_file.h) sit on top of
// these. Files are named by wide strings and always opened in binary mode.
// Every failure of the runtime becomes a QOR::QorError whose text comes from
// the message catalogue and names the file and the runtime's error text
// (strerror of errno):
//
//   249  opening for reading failed          (rawOpen)
//   250  creating or opening to append failed (rawCreate, rawAppend)
//   251  reading or positioning failed       (read, seek)
//   252  writing or flushing failed          (write, flush)
//   253  closing failed                      (close)
//
// Each object is for one thread at a time.
#pragma once

#include <qorcor14/config.h>

#include <cstddef>
#include <cstdio>
#include <string>

namespace QOR {

// Where a seek offset counts from. Any value other than seekBegin and
// seekCurrent counts as seekEnd.
enum SeekOrigin : int { seekBegin = 0, seekCurrent = 1, seekEnd = 2 };

// An abstract source of bytes.
//
// Example:
//   char buf[512];
//   while (std::size_t n = reader.read(buf, sizeof buf)) consume(buf, n);
class QORCOR14_API RawReader {
public:
  RawReader() = default;
  RawReader(const RawReader&) = default;
  RawReader(RawReader&&) = default;
  RawReader& operator=(const RawReader&) = default;
  RawReader& operator=(RawReader&&) = default;
  virtual ~RawReader();

  // The source's name (a file's name as it was given when it was opened); used
  // in error messages.
  [[nodiscard]] virtual std::wstring name() const = 0;
  // Reads up to n bytes into buf and returns how many were read: fewer than n
  // (possibly 0) only at the end of the source.
  virtual std::size_t read(void* buf, std::size_t n) = 0;
};

// A byte source that is a file: it can also be positioned and closed.
class QORCOR14_API RawFileReader : public RawReader {
public:
  RawFileReader() = default;
  RawFileReader(const RawFileReader&) = default;
  RawFileReader(RawFileReader&&) = default;
  RawFileReader& operator=(const RawFileReader&) = default;
  RawFileReader& operator=(RawFileReader&&) = default;

  // Moves to offset from origin and returns the new position from the start
  // of the file. seek(0, seekCurrent) only asks for the position and moves
  // nothing; seek(0, seekEnd) returns the file's size.
  virtual long long seek(long long offset, SeekOrigin origin) = 0;
  // Closes the file. Closing a closed file does nothing.
  // Note: after a failed close the file counts as closed all the same.
  virtual void close() = 0;
};

// An abstract sink of bytes.
class QORCOR14_API RawWriter {
public:
  RawWriter() = default;
  RawWriter(const RawWriter&) = default;
  RawWriter(RawWriter&&) = default;
  RawWriter& operator=(const RawWriter&) = default;
  RawWriter& operator=(RawWriter&&) = default;
  virtual ~RawWriter();

  // The sink's name; used in error messages.
  [[nodiscard]] virtual std::wstring name() const = 0;
  // Writes the n bytes at buf (a short write that the sink does not report as
  // an error goes unnoticed).
  virtual void write(const void* buf, std::size_t n) = 0;
  // Passes buffered bytes on to the operating system.
  virtual void flush() = 0;
};

// A file open for writing, which can also be read from, positioned and
// closed through its RawFileReader side.
//
// Example:
//   std::unique_ptr<QOR::RawFileWriter> f(QOR::rawCreate(L"out.bin"));
//   f->write("abc", 3);
//   f->seek(0, QOR::seekBegin);
//   char back[3];
//   f->read(back, 3);   // "abc"
//   f->close();
class QORCOR14_API RawFileWriter : public RawFileReader, public RawWriter {
public:
  RawFileWriter() = default;
  RawFileWriter(const RawFileWriter&) = default;
  RawFileWriter(RawFileWriter&&) = default;
  RawFileWriter& operator=(const RawFileWriter&) = default;
  RawFileWriter& operator=(RawFileWriter&&) = default;

  // The one name of both sides (also settles which base's name() is meant).
  [[nodiscard]] std::wstring name() const override = 0;
};

// Opens the file `name` for reading (mode "rb"). The caller owns the result
// and deletes it. Throws QOR::QorError (entry 249, naming the file) when the
// file cannot be opened.
[[nodiscard]] QORCOR14_API RawFileReader* rawOpen(const std::wstring& name);

// Creates the file `name`, or truncates it when it exists (mode "w+b"); it can
// be read back through the reader side. Throws QOR::QorError (entry 250).
[[nodiscard]] QORCOR14_API RawFileWriter* rawCreate(const std::wstring& name);

// Opens the file `name` for appending, creating it when it is missing (mode
// "a+b"): every write goes to the end, whatever the position; reads and seeks
// work anywhere. Throws QOR::QorError (entry 250).
[[nodiscard]] QORCOR14_API RawFileWriter* rawAppend(const std::wstring& name);

// _wfopen(name, mode) as it stands: the open stream, or null on failure (errno
// tells why). Throws nothing.
[[nodiscard]] QORCOR14_API std::FILE* fileOpen(const std::wstring& name, const std::wstring& mode);

}  // namespace QOR
