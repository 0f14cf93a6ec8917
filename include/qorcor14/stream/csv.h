// qorcor14/stream/csv.h - comma-separated text split into records of fields,
// fed in chunks of any size, and a reader that feeds a whole text or a whole
// text file through a parser safely.
//
// The format: the separator is the comma and the quote the double quote, and
// neither is configurable. Leading white space of every field is dropped, and
// trailing white space of an unquoted field; a quoted field keeps everything
// between its quotes, line ends and commas included, with a doubled quote
// standing for one quote. Text after a closing quote other than white space or
// a comma makes that quote literal and the field goes on as quoted; a quote
// inside an unquoted field is literal. Empty fields, also after a trailing
// comma, are empty strings; a blank line is a record with no fields. Line ends
// are LF, FF, CR (with an LF right after it: one end), U+0085, U+2028 and
// U+2029. White space is what isUspace (qorcor14/text/codepoint.h) accepts.
// Nothing is ever an error: malformed quoting is resolved by these rules.
#pragma once

#include <qorcor14/config.h>

#include <cstddef>
#include <exception>
#include <string>
#include <vector>

namespace QOR {

class TextReader;

// A CSV parser: either raw (every field of every record, in order) or headed
// (the first record is the input's header line, and every later record comes
// back as the caller's list of columns, found by name).
//
// Most callers want CSVRecordReader below, which drives parse correctly over a
// whole input. Driving parse directly:
//
// Example:
//   std::unique_ptr<QOR::CSVParser> p(QOR::CSVParser::create(L"Name,Id"));
//   std::vector<std::wstring> fields;
//   for (const std::wstring& chunk : {L"Id,Name\n"s, L"1,Bob\n"s, L"2,Ann"s, L"\n"s})
//     while (p->parse(fields, chunk)) use(fields);   // (Bob, 1), then (Ann, 2)
//
// A parser holds state between calls and is for one thread at a time.
class QORCOR14_API CSVParser {
public:
  // A raw parser. The caller owns it and deletes it through this class.
  [[nodiscard]] static CSVParser* create();

  // A headed parser returning the columns named by `columns`, in that order.
  // `columns` is itself one CSV line, split by the raw rules (quoting and
  // trimming apply to the names as to data). Column names match the header
  // line's fields exactly (case-sensitive). The caller owns the result.
  //
  // Note: name each column once. A record's fields are moved out of it, so a
  // second request for the same column gets what the first one left behind.
  [[nodiscard]] static CSVParser* create(const std::wstring& columns);

  CSVParser() = default;
  // Parsers hold their state in the derived classes; these copy nothing.
  CSVParser(const CSVParser&) = default;
  CSVParser& operator=(const CSVParser&) = default;
  virtual ~CSVParser();

  // Empties `missing`; a headed parser then appends one flag per requested
  // column, in the caller's order: true where the input's header line has no
  // column of that name (such a column always comes back empty). Meaningful
  // once the header line has been read; before that every column is missing.
  virtual void missingColumns(std::vector<bool>& missing) = 0;

  // Consumes text and delivers at most one record: true when `fields` holds a
  // complete record, false (with `fields` emptied) when the text held has been
  // used up without completing one. An unfinished record carries over to the
  // next chunk inside the parser, not in `fields`: each call may be given any
  // vector (the same one, a new one, a cleared one), with the same records as
  // a result. What `fields` held before a call is replaced.
  //
  // The chunk protocol: the parser does not copy the text but works in the
  // caller's string, which must stay alive and unchanged until parse returns
  // false. After a true return the parser normally goes on in the chunk it
  // holds and IGNORES the argument, so the caller repeats the call with the
  // same chunk until it returns false, and only then passes the next chunk.
  // The last record of an input that does not end with a line end is only
  // delivered when a line end is fed (a chunk holding just "\n", say).
  //
  // Note: the carriage-return trap. A record that ends at a CR not followed by
  // an LF in the same chunk leaves the parser waiting for the NEXT chunk (to
  // skip an LF at its start): the call after that true return takes its
  // argument as new text and drops the rest of the chunk it held. A caller
  // who repeats the same chunk then gets the same record again, for ever
  // ("a\rb\n" gives (a), (a), (a)...). Feed text in which every CR that can
  // end a record either has its LF in the same chunk or is the chunk's last
  // character, and after a true return pass an empty string first: it is
  // ignored when the parser goes on in its chunk, and returns false when the
  // parser waits for the next chunk. CSVRecordReader does exactly this.
  // Note: for the same reason a headed parser whose header line ends at such
  // a CR reads its chunk again and returns the header line as a record.
  virtual bool parse(std::vector<std::wstring>& fields, const std::wstring& text) = 0;
};

// Reads all the records of one input through a parser, handling the chunk
// protocol: every record comes out once, the last one even without a final
// line end (an unterminated quoted field included), and it never loops.
//
// Example:
//   std::unique_ptr<QOR::CSVParser> parser(QOR::CSVParser::create());
//   const std::wstring text = L"a,\"b\r\nc\"\rd";
//   QOR::CSVRecordReader records(*parser, text);
//   std::vector<std::wstring> fields;
//   while (records.next(fields)) use(fields);   // (a, b CR LF c), then (d)
//
// The parser and the text or reader stay the caller's and must outlive the
// record reader; the parser should be fresh (a headed parser then reads the
// header line first). A reader of the library's own parsers closes a last
// record exactly; with a parser of another kind the end of input is marked
// by one "\n".
class QORCOR14_API CSVRecordReader {
public:
  // The records of `text`, which is not copied.
  //
  // Note: the text is fed in one chunk, cut after every CR that has no LF
  // after it, so every character reaches the parser as it stands.
  CSVRecordReader(CSVParser& parser, const std::wstring& text);
  // The text is not copied, so a temporary one would be gone at once.
  CSVRecordReader(CSVParser& parser, std::wstring&& text) = delete;

  // The records of the lines of `reader`, each fed with one LF after it
  // (many lines to a chunk).
  //
  // Note: a text reader hands out lines without their breaks, so a line
  // break inside a quoted field arrives as one LF, whatever break the file
  // has there (and a quoted field left open at the end of the file ends with
  // that LF). A decoding error of the reader (entry 248) comes out of next
  // after every record before the bad line; the record reader can be asked
  // again afterwards only if the text reader can.
  CSVRecordReader(CSVParser& parser, TextReader& reader);

  ~CSVRecordReader();
  CSVRecordReader(const CSVRecordReader&) = delete;
  CSVRecordReader& operator=(const CSVRecordReader&) = delete;

  // The next record into `fields`: true, or false once the input is used up
  // (and on every later call).
  bool next(std::vector<std::wstring>& fields);

private:
  // Points m_current at the next chunk; false at the end of the input.
  bool nextChunk();

  CSVParser& m_parser;
  const std::wstring* m_text = nullptr;  // the whole text, or
  std::size_t m_textPos = 0;
  TextReader* m_reader = nullptr;  // the reader of the lines
  std::wstring m_chunk;
  std::wstring m_line;
  std::exception_ptr m_readError;
  const std::wstring* m_current = nullptr;
  bool m_afterRecord = false;
  bool m_done = false;
};

}  // namespace QOR
