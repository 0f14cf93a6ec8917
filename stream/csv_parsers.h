// The two CSV parsers behind QOR::CSVParser. Private to the library.
#pragma once

#include <qorcor14/stream/csv.h>

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace QOR::detail {

// Every field of every record, in order.
class RawCSVParser final : public CSVParser {
public:
  // Where the last record ended (m_lineEnd).
  enum LineEnd : unsigned {
    textUsedUp = 0,      // the next call takes new text
    afterLineEnd = 1,    // text remains after the record's line end
    afterCarriageReturn = 2  // a CR ended it; an LF starting the next chunk is skipped
  };
  // Where the current record is (m_fieldState).
  enum FieldState : unsigned {
    recordStart = 0,     // no field of the record has begun
    afterSeparator = 1,  // a comma was read; the next field has not begun
    unquoted = 2,        // inside a field that did not begin with a quote
    quoted = 3,          // inside a field that began with a quote
    quoteInQuoted = 4,   // a quote was read inside a quoted field
    afterClosingQuote = 5  // white space after what may be the closing quote
  };

  RawCSVParser() = default;

  void missingColumns(std::vector<bool>& missing) override;
  bool parse(std::vector<std::wstring>& fields, const std::wstring& text) override;

  // The field state of a record that the text used up so far has left open,
  // or recordStart when none is open.
  [[nodiscard]] FieldState openRecordState() const {
    return m_lineEnd == textUsedUp ? static_cast<FieldState>(m_fieldState) : recordStart;
  }

  // The fields of the record left open, as they stand.
  [[nodiscard]] std::vector<std::wstring> openRecord() const {
    return {m_record.begin(), m_record.begin() + static_cast<std::ptrdiff_t>(m_used)};
  }

private:
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
};

// The input's first record is its header line; every later record comes back
// as the requested columns, in the requested order.
class HeadedCSVParser final : public CSVParser {
public:
  explicit HeadedCSVParser(std::vector<std::wstring> names);

  void missingColumns(std::vector<bool>& missing) override;
  bool parse(std::vector<std::wstring>& fields, const std::wstring& text) override;

  [[nodiscard]] const RawCSVParser& rawParser() const { return *m_raw; }

private:
  std::unique_ptr<RawCSVParser> m_raw;
  bool m_headerPending = true;
  std::vector<std::wstring> m_names;
  std::vector<std::size_t> m_columnMap;
  std::vector<std::wstring> m_rawFields;
};

}  // namespace QOR::detail
