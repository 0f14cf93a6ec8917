// The raw and the headed CSV parser.
#include "internal/csv_parsers.h"

#include <qorcor14/text/codepoint.h>

#include <emmintrin.h>

#include <bit>
#include <cstdint>
#include <utility>

namespace QOR {

CSVParser::~CSVParser() = default;

CSVParser* CSVParser::create() { return new internal::RawCSVParser(); }

CSVParser* CSVParser::create(const std::wstring& columns) {
  // The names are one CSV line: split by a raw parser of their own, so that
  // quoting and trimming apply to them as to data. A quote left open takes
  // the rest, line feed included, as the last name.
  std::vector<std::wstring> names;
  internal::RawCSVParser split;
  const std::wstring line = columns + L'\n';
  if (!split.parse(names, line)) names = split.openRecord();
  return new internal::HeadedCSVParser(std::move(names));
}

namespace internal {
namespace {

// Two mask bits per 16-bit lane, set where the lane is set.
inline unsigned laneMask(__m128i lanes) { return static_cast<unsigned>(_mm_movemask_epi8(lanes)); }

inline __m128i lanesEqual(__m128i x, unsigned int value) {
  return _mm_cmpeq_epi16(x, _mm_set1_epi16(static_cast<short>(value)));
}

// Lanes in [low, high], read as unsigned.
inline __m128i lanesWithin(__m128i x, unsigned int low, unsigned int high) {
  const __m128i offset = _mm_sub_epi16(x, _mm_set1_epi16(static_cast<short>(low)));
  return _mm_cmpeq_epi16(_mm_subs_epu16(offset, _mm_set1_epi16(static_cast<short>(high - low))), _mm_setzero_si128());
}

// The line ends of one unit: LF, FF and CR, U+0085, U+2028 and U+2029.
inline __m128i lineEndLanes(__m128i x) {
  const __m128i odd = _mm_or_si128(x, _mm_set1_epi16(1));  // FF and CR, U+2028 and U+2029 pairwise
  return _mm_or_si128(_mm_or_si128(lanesEqual(x, 0x0A), lanesEqual(odd, 0x0D)),
                      _mm_or_si128(lanesEqual(x, 0x85), lanesEqual(odd, 0x2029)));
}

// The white space of ASCII: tab to CR, and the space (LF, FF and CR are
// stops before they count).
inline __m128i asciiWhiteLanes(__m128i x) { return _mm_or_si128(lanesWithin(x, 0x09, 0x0D), lanesEqual(x, 0x20)); }

// Lanes that are surely not white space (and no line end but U+0085): the
// visible ASCII and C1 range, U+00A1..U+167F, and U+3001..U+FFFF without
// U+FEFF (CJK and the surrogates among them). Other units are classified one
// by one.
inline __m128i plainLanes(__m128i x) {
  const __m128i low = _mm_or_si128(lanesWithin(x, 0x21, 0x9F), lanesWithin(x, 0xA1, 0x167F));
  const __m128i high = _mm_andnot_si128(lanesEqual(x, 0xFEFF), lanesWithin(x, 0x3001, 0xFFFF));
  return _mm_or_si128(low, high);
}

// The next field of a record of `used` fields, empty: the string already at
// that place in `record`, cleared, or a new one.
std::wstring& newField(std::vector<std::wstring>& record, std::size_t& used) {
  if (used < record.size()) record[used].clear();
  else record.emplace_back();
  return record[used++];
}

// One unit of an unquoted run, as takeUnquotedRun reads it: false when it
// ends the run; otherwise `kept` moves past it unless it is white space.
// Surrogates are never white space nor line ends, so they go unit by unit.
inline bool extendsUnquoted(const wchar_t* at, const wchar_t*& kept) {
  const unsigned int c = static_cast<unsigned int>(*at);
  if (c == L',' || isLineEnd(c)) return false;
  if (!isCSVWhite(c)) kept = at + 1;
  return true;
}

}  // namespace

void RawCSVParser::missingColumns(std::vector<bool>& missing) { missing.clear(); }

// The record is read into m_record, never into the caller's vector, so that a
// record left open at the end of a chunk goes on whatever vector the next call
// is given. Its fields reuse the strings already there: clearing the record
// only sets m_used to 0, and a new field clears and fills the next string
// (keeping its storage). A finished record is swapped out to the caller, whose
// old vector becomes the storage of the next one: no allocation per field and
// record once the strings have grown.
bool RawCSVParser::parse(std::vector<std::wstring>& fields, const std::wstring& text) {
  std::size_t columns = 0;
  if (read(text, nullptr, columns) == Got::nothing) {
    fields.clear();
    return false;
  }
  takeRecord(fields);
  return true;
}

void RawCSVParser::takeRecord(std::vector<std::wstring>& fields) {
  m_record.resize(m_used);
  fields.swap(m_record);
  m_used = 0;
}

RawCSVParser::Got RawCSVParser::read(const std::wstring& text, const Targets* targets, std::size_t& columns) {
  switch (m_lineEnd) {
  case textUsedUp:
    m_pos = text.data();
    m_end = m_pos + text.size();
    m_stops.reset();
    break;
  case afterLineEnd: m_fieldState = recordStart; break;
  default:  // afterCarriageReturn
    m_pos = text.data();
    m_end = m_pos + text.size();
    m_stops.reset();
    if (m_pos == m_end) return Got::nothing;
    if (*m_pos == L'\n') ++m_pos;
    m_fieldState = recordStart;
    break;
  }
  if (m_fieldState == recordStart) {
    m_used = 0;
    // Most records go through the fast path; the state machine takes those
    // it leaves, and records begun in an earlier chunk.
    if (m_pos != m_end) {
      const Got got = readPlainRecord(targets, columns);
      if (got != Got::nothing) return got;
    }
  }
  return readByCodePoint();
}

RawCSVParser::Got RawCSVParser::readByCodePoint() {
  for (;;) {
    if (m_pos == m_end) {
      m_lineEnd = textUsedUp;
      return Got::nothing;
    }

    // A run is tried only where one can start: a run ends at the unit that
    // stopped it, most often a comma, a line end or a quote, which the code
    // point path below then takes.
    const wchar_t unit = *m_pos;
    if ((m_fieldState == unquoted && unit != L',' && unit != L'\r' && unit != L'\n' && takeUnquotedRun(lastField())) ||
        (m_fieldState == quoted && unit != L'"' && takeQuotedRun(lastField()))) {
      m_lineEnd = textUsedUp;
      continue;
    }

    // One code point: a pair combined, any other unit as it stands.
    const wchar_t* from = m_pos;
    unsigned int c = static_cast<unsigned int>(*m_pos++);
    if (isSurrogateA(c) && m_pos != m_end && isSurrogateB(static_cast<unsigned int>(*m_pos)))
      c = combineSurrogates(c, static_cast<unsigned int>(*m_pos++));

    if (!isLineEnd(c)) {
      m_lineEnd = textUsedUp;
    } else {
      m_lineEnd = c == 0x0D ? afterCarriageReturn : afterLineEnd;
      if (m_fieldState != quoted) {
        if (m_fieldState == afterSeparator) newField(m_record, m_used);
        else if (m_fieldState != recordStart) lastField().resize(m_keptLength);
        if (m_lineEnd == afterCarriageReturn && m_pos != m_end && *m_pos == L'\n') {
          ++m_pos;
          m_lineEnd = afterLineEnd;
        }
        m_fieldState = recordStart;
        return Got::inRecord;
      }
    }
    take(c, from);
  }
}

bool RawCSVParser::takeUnquotedRun(std::wstring& field) {
  // Everything but a comma and a line end extends an unquoted field; the kept
  // length follows the last character that is not white space. Eight units a
  // step: a block whose units before its first stop are all plain (surely no
  // white space) or ASCII white space is taken whole; any other goes unit by
  // unit.
  const wchar_t* run = m_pos;
  const wchar_t* kept = nullptr;
  for (;;) {
    if (m_end - run >= 8) {
      const __m128i x = _mm_loadu_si128(reinterpret_cast<const __m128i*>(run));
      const unsigned stops = laneMask(_mm_or_si128(lanesEqual(x, L','), lineEndLanes(x)));
      const int taken = stops != 0 ? std::countr_zero(stops) / 2 : 8;  // the units before the first stop
      const unsigned before = (1u << (2 * taken)) - 1;
      const unsigned plain = laneMask(plainLanes(x)) & before;
      if ((plain | (laneMask(asciiWhiteLanes(x)) & before)) == before) {
        // Two mask bits a lane: the highest plain lane ends at bit_width / 2.
        if (plain != 0) kept = run + std::bit_width(plain) / 2;
        run += taken;
        if (stops != 0) break;
        continue;
      }
      const wchar_t* const block = run + 8;
      while (run != block && extendsUnquoted(run, kept)) ++run;
      if (run != block) break;
      continue;
    }
    while (run != m_end && extendsUnquoted(run, kept)) ++run;
    break;
  }
  if (run == m_pos) return false;
  const std::size_t before = field.size();
  field.append(m_pos, run);
  if (kept != nullptr) m_keptLength = before + static_cast<std::size_t>(kept - m_pos);
  m_pos = run;
  return true;
}

bool RawCSVParser::takeQuotedRun(std::wstring& field) {
  // Everything but a quote extends a quoted field, line ends included: inside
  // a quoted field they are data, and the line-end state they would set is
  // set again before the chunk is left.
  const wchar_t* run = m_pos;
  bool found = false;
  while (!found && m_end - run >= 8) {
    const unsigned quotes = laneMask(lanesEqual(_mm_loadu_si128(reinterpret_cast<const __m128i*>(run)), L'"'));
    found = quotes != 0;
    run += found ? std::countr_zero(quotes) / 2 : 8;
  }
  if (!found)
    while (run != m_end && *run != L'"') ++run;
  if (run == m_pos) return false;
  field.append(m_pos, run);
  m_keptLength = field.size();
  m_pos = run;
  return true;
}

void RawCSVParser::take(unsigned int c, const wchar_t* from) {
  switch (m_fieldState) {
  case recordStart:
  case afterSeparator:
    if (isCSVWhite(c)) return;
    if (c == L',') {
      newField(m_record, m_used);
      m_fieldState = afterSeparator;
    } else if (c == L'"') {
      newField(m_record, m_used);
      m_keptLength = 0;
      m_fieldState = quoted;
    } else {
      // c starts an unquoted field; the run takes it and what follows.
      std::wstring& field = newField(m_record, m_used);
      m_fieldState = unquoted;
      m_pos = from;
      takeUnquotedRun(field);
    }
    return;
  case unquoted: {
    std::wstring& field = lastField();
    if (c == L',') {
      field.resize(m_keptLength);
      m_fieldState = afterSeparator;
      return;
    }
    field.append(from, m_pos);
    if (!isCSVWhite(c)) m_keptLength = field.size();
    return;
  }
  case quoted: takeQuoted(lastField(), c, from); return;
  case quoteInQuoted:
    if (c == L'"') {
      // A doubled quote: the provisional one stays as data, this one goes.
      m_keptLength = lastField().size();
      m_fieldState = quoted;
      return;
    }
    break;
  default:  // afterClosingQuote
    break;
  }

  // After what may have been the closing quote.
  std::wstring& field = lastField();
  if (isCSVWhite(c)) {
    field.append(from, m_pos);
    m_fieldState = afterClosingQuote;
  } else if (c == L',') {
    field.resize(m_keptLength);
    m_fieldState = afterSeparator;
  } else {
    // It was no closing quote: it and the white space after it are data.
    m_keptLength = field.size();
    takeQuoted(field, c, from);
  }
}

void RawCSVParser::takeQuoted(std::wstring& field, unsigned int c, const wchar_t* from) {
  if (c == L'"') {
    // Provisional: kept only if data follows or the quote is doubled.
    field.push_back(L'"');
    m_fieldState = quoteInQuoted;
    return;
  }
  field.append(from, m_pos);
  m_keptLength = field.size();
  m_fieldState = quoted;
}

HeadedCSVParser::HeadedCSVParser(std::vector<std::wstring> names)
    : m_raw(std::make_unique<RawCSVParser>()), m_names(std::move(names)), m_columnMap(m_names.size(), SIZE_MAX) {}

void HeadedCSVParser::missingColumns(std::vector<bool>& missing) {
  missing.clear();
  for (const std::size_t column : m_columnMap) missing.push_back(column == SIZE_MAX);
}

void HeadedCSVParser::readHeader() {
  // Find each requested name in the header line.
  for (std::size_t j = 0; j < m_names.size(); ++j) {
    m_columnMap[j] = SIZE_MAX;
    for (std::size_t k = 0; k < m_rawFields.size(); ++k) {
      if (m_rawFields[k] == m_names[j]) {
        m_columnMap[j] = k;
        break;
      }
    }
  }
  // The fast path may write each column straight to its place only when no
  // column goes to two: the second would get the string the first left
  // behind.
  m_targets.clear();
  m_direct = true;
  for (std::size_t j = 0; j < m_names.size() && m_direct; ++j) {
    const std::size_t column = m_columnMap[j];
    if (column == SIZE_MAX) continue;
    if (column >= m_targets.size()) m_targets.resize(column + 1, SIZE_MAX);
    m_direct = m_targets[column] == SIZE_MAX;
    m_targets[column] = j;
  }
  m_headerPending = false;
}

bool HeadedCSVParser::parse(std::vector<std::wstring>& fields, const std::wstring& text) {
  const std::size_t n = m_names.size();
  for (;;) {
    std::size_t columns = 0;
    RawCSVParser::Got got = RawCSVParser::Got::nothing;
    if (m_direct) {
      fields.resize(n);
      const RawCSVParser::Targets targets{&fields, m_targets.data(), m_targets.size()};
      got = m_raw->read(text, &targets, columns);
    } else {
      got = m_raw->read(text, nullptr, columns);
    }
    if (got == RawCSVParser::Got::nothing) {
      fields.clear();
      return false;
    }
    if (got == RawCSVParser::Got::direct) {
      // The columns the record lacks, and those the header line lacks.
      for (std::size_t j = 0; j < n; ++j)
        if (m_columnMap[j] >= columns) fields[j].clear();
      return true;
    }
    m_raw->takeRecord(m_rawFields);
    if (!m_headerPending) break;
    readHeader();  // the header line itself is never returned
  }
  fields.resize(n);
  for (std::size_t j = 0; j < n; ++j) {
    const std::size_t column = m_columnMap[j];
    if (column != SIZE_MAX && column < m_rawFields.size()) fields[j].swap(m_rawFields[column]);
    else fields[j].clear();
  }
  return true;
}

}  // namespace internal
}  // namespace QOR
