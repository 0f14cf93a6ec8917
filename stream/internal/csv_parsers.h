// The two CSV parsers behind QOR::CSVParser. Private to the library.
#pragma once

#include "csv_stops.h"

#include <qorcor14/stream/csv.h>

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace QOR::internal {

// The library's own parsers: the record reader asks them how the input's last
// record stands, to close it exactly.
class LibraryCSVParser : public CSVParser {
public:
  // Where the current record is (RawCSVParser's field state).
  enum FieldState : unsigned {
    recordStart = 0,       // no field of the record has begun
    afterSeparator = 1,    // a comma was read; the next field has not begun
    unquoted = 2,          // inside a field that did not begin with a quote
    quoted = 3,            // inside a field that began with a quote
    quoteInQuoted = 4,     // a quote was read inside a quoted field
    afterClosingQuote = 5  // white space after what may be the closing quote
  };

  // The field state of a record that the text used up so far has left open,
  // or recordStart when none is open.
  [[nodiscard]] virtual FieldState openRecordState() const = 0;
};

// Every field of every record, in order.
class RawCSVParser final : public LibraryCSVParser {
public:
  // Where the last record ended (m_lineEnd).
  enum LineEnd : unsigned {
    textUsedUp = 0,          // the next call takes new text
    afterLineEnd = 1,        // text remains after the record's line end
    afterCarriageReturn = 2  // a CR ended it; an LF starting the next chunk is skipped
  };

  // Where read put a record.
  enum class Got {
    nothing,   // the text is used up, no record is complete
    inRecord,  // a record is complete in the parser (takeRecord)
    direct     // the fast path wrote the record into the requested strings
  };

  // Where the fast path writes a record's fields instead of into the parser:
  // column k (of the input) goes to (*out)[target[k]] when k < count and
  // target[k] is not SIZE_MAX, and nowhere otherwise.
  struct Targets {
    std::vector<std::wstring>* out;
    const std::size_t* target;
    std::size_t count;
  };

  RawCSVParser() = default;

  void missingColumns(std::vector<bool>& missing) override;
  bool parse(std::vector<std::wstring>& fields, const std::wstring& text) override;
  [[nodiscard]] FieldState openRecordState() const override {
    return m_lineEnd == textUsedUp ? static_cast<FieldState>(m_fieldState) : recordStart;
  }

  // parse without handing the record out: with `targets`, a record that the
  // fast path reads goes there (Got::direct, with its number of fields in
  // `columns`); any other record stays in the parser (Got::inRecord).
  Got read(const std::wstring& text, const Targets* targets, std::size_t& columns);
  // The record read swapped into `fields` (whose strings become storage).
  void takeRecord(std::vector<std::wstring>& fields);

  // The fields of the record left open, as they stand.
  [[nodiscard]] std::vector<std::wstring> openRecord() const {
    return {m_record.begin(), m_record.begin() + static_cast<std::ptrdiff_t>(m_used)};
  }

private:
  // The fast path, at a record's start: reads a whole record of plain fields
  // (quoted ones included) that ends in LF or CR inside the text held. On
  // Got::nothing it has changed nothing but the strings it wrote to, and the
  // state machine reads the record instead.
  Got readPlainRecord(const Targets* targets, std::size_t& columns);

  // The state machine: reads on from m_pos until a record is complete.
  Got readByCodePoint();
  // Handles c (the units [from, m_pos)) by field state; the record is not
  // complete afterwards.
  void take(unsigned int c, const wchar_t* from);
  // The field being read; the states inside a field imply m_used >= 1.
  std::wstring& lastField() { return m_record[m_used - 1]; }
  // Takes the longest run from m_pos that only extends the current unquoted
  // (or quoted) field; false when there is none.
  bool takeUnquotedRun(std::wstring& field);
  bool takeQuotedRun(std::wstring& field);
  // The quoted-field handling of c, shared by the states that fall back to it.
  void takeQuoted(std::wstring& field, unsigned int c, const wchar_t* from);

  unsigned m_lineEnd = textUsedUp;
  const wchar_t* m_pos = nullptr;
  const wchar_t* m_end = nullptr;
  unsigned m_fieldState = recordStart;
  std::size_t m_keptLength = 0;
  // The record being read: its first m_used strings (the others are spare
  // storage). Kept here, so that the caller may pass any vector to any call.
  std::vector<std::wstring> m_record;
  std::size_t m_used = 0;
  CSVStopScanner m_stops;  // over the text held
};

// The input's first record is its header line; every later record comes back
// as the requested columns, in the requested order.
class HeadedCSVParser final : public LibraryCSVParser {
public:
  explicit HeadedCSVParser(std::vector<std::wstring> names);

  void missingColumns(std::vector<bool>& missing) override;
  bool parse(std::vector<std::wstring>& fields, const std::wstring& text) override;
  [[nodiscard]] FieldState openRecordState() const override { return m_raw->openRecordState(); }

private:
  // Maps the columns of the header line in m_rawFields.
  void readHeader();

  std::unique_ptr<RawCSVParser> m_raw;
  bool m_headerPending = true;
  std::vector<std::wstring> m_names;
  std::vector<std::size_t> m_columnMap;
  std::vector<std::wstring> m_rawFields;
  // When no column is requested twice, the fast path writes the requested
  // columns straight into the caller's strings and skips the others:
  // m_targets holds the requested place of each column of the input up to
  // the last one requested (SIZE_MAX: not requested).
  bool m_direct = false;
  std::vector<std::size_t> m_targets;
};

}  // namespace QOR::internal
