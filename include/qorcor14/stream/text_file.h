// qorcor14/stream/text_file.h - line-oriented text files in five encodings:
// readers that decode bytes into wide strings (UTF-16) line by line, and
// writers that encode wide strings and end every line with CR LF.
//
// Readers and writers work over the byte streams of qorcor14/stream/raw.h,
// either on a raw stream the caller keeps, or on a file they open by name and
// own. Opening by name detects an existing file's encoding from its
// byte-order mark, and a writer that starts a new Unicode file writes one.
//
// Errors arrive as QOR::QorError with texts from the message catalogue:
//   248  bytes that the reader's encoding cannot decode (names the source)
//   254  a character the writer's encoding cannot hold (its "U+XXXX" code
//        and the destination's name)
// and the raw stream's own errors 249-253 pass through unchanged.
#pragma once

#include <qorcor14/config.h>
#include <qorcor14/stream/raw.h>

#include <string>

namespace QOR {

// The encoding of a text file. Any value outside 0..4 makes the factories
// return null.
enum TextEncoding : int {
  // Reading: the C runtime's current locale (mbtowc). Writing: the process's
  // ANSI code page, without best-fit substitutes.
  Multibyte = 0,
  UTF8 = 1,
  // Little-endian, the same as UTF16le.
  UTF16 = 2,
  UTF16le = 3,
  UTF16be = 4
};

// How TextWriter::create opens a file by name. Any value other than Append
// counts as Create.
enum TextOpenMode : int {
  Create = 0,  // create, or truncate an existing file
  Append = 1   // continue an existing file in its own encoding
};

// Reads text line by line, decoding it to UTF-16.
//
// Example:
//   AutoLocale locale(LC_ALL);   // files without a mark: the ANSI code page
//   std::unique_ptr<QOR::TextReader> in(QOR::TextReader::create(L"data.csv"));
//   std::wstring line;
//   while (in->readLine(line)) handle(line);
//
// Line breaks are LF, FF (U+000C), NEL (U+0085), U+2028, U+2029, and CR with
// an optional LF right after it (the pair is one break). U+000B is not a
// break. Characters above U+FFFF come out as surrogate pairs.
//
// Note: a file without a byte-order mark is read as Multibyte, which decodes
// with mbtowc in the C runtime's CURRENT locale. The runtime starts in the "C"
// locale, which maps each byte to the character of the same value; a program
// that wants such files read in the user's ANSI code page sets the user's
// locale first (AutoLocale of qorcor14/text/strings.h, or setlocale(LC_ALL,
// "")).
// Note: the UTF-8 decoder is lenient: overlong forms are accepted, and bytes
// 0x80..0xBF without a lead byte decode as two-byte leads. Bytes it cannot
// decode at all, truncated sequences, surrogates and values above U+10FFFF
// throw entry 248; the reader then stays before the bad bytes.
class QORCOR14_API TextReader {
public:
  // Opens the file `name` and reads it in the encoding its byte-order mark
  // names (EF BB BF: UTF8, FF FE: UTF16le, FE FF: UTF16be; no mark:
  // Multibyte); the mark itself is skipped. UTF-32 marks are not recognised
  // (FF FE 00 00 reads as UTF16le). The caller owns the result.
  // Throws QOR::QorError (entry 249) when the file cannot be opened.
  [[nodiscard]] static TextReader* create(const std::wstring& name);

  // A reader of `enc` on `raw`, which must outlive it and stays the caller's.
  // No byte-order mark is looked for: a mark at the start is read as U+FEFF.
  // Returns null for an encoding outside 0..4.
  [[nodiscard]] static TextReader* create(RawReader& raw, TextEncoding enc);

  virtual ~TextReader();

  // Clears line and reads the next line into it, without its break. Returns
  // false only when the input had already ended; a last line without a break
  // is returned with true. Throws QOR::QorError (entry 248) on bytes that
  // cannot be decoded.
  virtual bool readLine(std::wstring& line) = 0;

  // On a reader opened by name, closes the file (entry 253 on failure); on a
  // reader made on a raw stream, does nothing.
  virtual void close() = 0;

  TextReader(const TextReader&) = delete;
  TextReader& operator=(const TextReader&) = delete;

protected:
  TextReader();
};

// Writes text, encoding it from UTF-16; every line break becomes CR LF.
//
// Example:
//   std::unique_ptr<QOR::TextWriter> out(
//       QOR::TextWriter::create(L"out.txt", QOR::Create, QOR::UTF8));
//   out->writeLine(L"caf\u00e9");   // EF BB BF 63 61 66 C3 A9 0D 0A
//   out->close();
//
// Bytes are gathered in a 1024-byte buffer and reach the raw stream when it is
// full, on flush and on close.
//
// Note: deleting a writer does not flush it; call flush or close first when
// the last bytes matter.
// Note: a Multibyte writer never writes a best-fit substitute or the code
// page's default character: a character the ANSI code page lacks throws entry
// 254 instead. The bytes before it have been written or stay buffered.
class QORCOR14_API TextWriter {
public:
  // Opens the file `name`.
  // Create (or any mode but Append): creates or truncates the file and writes
  //   in `enc`, starting with a byte-order mark unless enc is Multibyte.
  // Append: an existing non-empty file is continued in the encoding its mark
  //   names (enc is then ignored; no mark means Multibyte) and no mark is
  //   written; a missing or empty file is started as with Create.
  // The caller owns the result. Throws QOR::QorError (entry 250) when the file
  // cannot be opened or created, and returns null for an encoding outside
  // 0..4.
  [[nodiscard]] static TextWriter* create(const std::wstring& name, TextOpenMode mode, TextEncoding enc);

  // A writer of `enc` on `raw`, which must outlive it and stays the caller's.
  // When bom is true and enc is not Multibyte, U+FEFF is written first.
  // Returns null for an encoding outside 0..4.
  [[nodiscard]] static TextWriter* create(RawWriter& raw, TextEncoding enc, bool bom);

  virtual ~TextWriter();

  // Writes text. LF, CR, CR LF, U+0085, U+2028 and U+2029 each become CR LF;
  // U+000C is written as it is. A surrogate pair becomes its code point; any
  // other surrogate (lone, reversed, or last in text) throws entry 254.
  //
  // Example: write(L"x\ny\r\nz\r") writes x CR LF y CR LF z CR LF.
  virtual void write(const std::wstring& text) = 0;
  // write(text), then CR LF.
  virtual void writeLine(const std::wstring& text) = 0;
  // Passes the buffered bytes to the raw stream, then flushes it.
  virtual void flush() = 0;
  // Flushes; on a writer opened by name, then also closes the file.
  virtual void close() = 0;

  TextWriter(const TextWriter&) = delete;
  TextWriter& operator=(const TextWriter&) = delete;

protected:
  TextWriter();
};

}  // namespace QOR
