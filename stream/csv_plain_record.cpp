// The raw CSV parser's fast path: a whole record at a time, from stop to stop,
// each field written once into the string at its place.
#include "csv_parsers.h"

#include <emmintrin.h>

#include <cstdint>
#include <cstring>

namespace QOR::detail {
namespace {

// Copies n units from the text into a string. Fields are short: the C
// runtime's memcpy, a call into another module, costs more than the copy.
inline void copyUnits(wchar_t* to, const wchar_t* from, std::size_t n) {
  if (n >= 8) {
    for (std::size_t i = 0; i + 8 < n; i += 8)
      _mm_storeu_si128(reinterpret_cast<__m128i*>(to + i), _mm_loadu_si128(reinterpret_cast<const __m128i*>(from + i)));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(to + n - 8),
                     _mm_loadu_si128(reinterpret_cast<const __m128i*>(from + n - 8)));
  } else if (n >= 4) {
    std::uint64_t head, tail;
    std::memcpy(&head, from, 8);
    std::memcpy(&tail, from + n - 4, 8);
    std::memcpy(to, &head, 8);
    std::memcpy(to + n - 4, &tail, 8);
  } else if (n >= 2) {
    std::uint32_t head, tail;
    std::memcpy(&head, from, 4);
    std::memcpy(&tail, from + n - 2, 4);
    std::memcpy(to, &head, 4);
    std::memcpy(to + n - 2, &tail, 4);
  } else if (n == 1) {
    to[0] = from[0];
  }
}

// `s` made n units long, its old units left anywhere in it; returns its data.
// Within its capacity this is inline work on the string's length only.
inline wchar_t* resized(std::wstring& s, std::size_t n) {
  if (n > s.capacity()) {
    s.clear();
    s.resize(n);
  } else if (n <= s.size()) {
    s.erase(n);
  } else {
    do s.push_back(L'\0');
    while (s.size() < n);
  }
  return s.data();
}

// White space that may stand before a field or after its closing quote
// without ending the record: not a line end.
inline const wchar_t* skipLeadingWhite(const wchar_t* p, const wchar_t* end) {
  for (; p != end; ++p) {
    const unsigned int c = static_cast<unsigned int>(*p);
    if (c == L' ' || c == L'\t' || c == 0x0B) continue;
    if (c < 0x80 || isLineEnd(c) || !isCSVWhite(c)) break;
  }
  return p;
}

inline bool endsPlainField(wchar_t c) { return c == L',' || c == L'\n' || c == L'\r'; }

// Keeps the scanner in a local while a record is read (the compiler cannot
// tell it from the strings written) and puts it back on every way out.
struct LocalScanner {
  CSVStopScanner& home;
  CSVStopScanner scanner;
  explicit LocalScanner(CSVStopScanner& s) : home(s), scanner(s) {}
  ~LocalScanner() { home = scanner; }
  LocalScanner(const LocalScanner&) = delete;
  LocalScanner& operator=(const LocalScanner&) = delete;
};

}  // namespace

const wchar_t* CSVStopScanner::nextBlock(const wchar_t* from, const wchar_t* end) {
  const std::uintptr_t offset =
      (reinterpret_cast<std::uintptr_t>(from) - reinterpret_cast<std::uintptr_t>(m_base)) / sizeof(wchar_t);
  if (offset < m_units) from = m_base + m_units;
  for (;;) {
    if (from == end) return end;
    scan(from, end);
    if (m_mask != 0) return from + std::countr_zero(m_mask);
    from += m_units;
  }
}

void CSVStopScanner::scan(const wchar_t* from, const wchar_t* end) {
  m_base = from;
  if (end - from >= 64) {
    m_units = 64;
    m_mask = stops16(from) | stops16(from + 16) << 16 | stops16(from + 32) << 32 | stops16(from + 48) << 48;
    return;
  }
  m_units = static_cast<std::size_t>(end - from);
  m_mask = 0;
  for (std::size_t i = 0; i < m_units; ++i)
    m_mask |= static_cast<std::uint64_t>(isCSVStop(static_cast<unsigned int>(from[i]))) << i;
}

// The record must end in LF or CR inside the text held, and consist of fields
// that are either unquoted (a quote inside is data) or quoted with nothing
// but ASCII white space between the closing quote and the comma or line end.
// Leading white space is skipped and an unquoted field's trailing white space
// cut by looking at its ends alone, which gives what the state machine gives:
// no white space is a stop, and the state machine only keeps white space that
// comes before something else. Anything else (FF, U+0085, U+2028 or U+2029
// outside quotes, text after a closing quote, other white space after it, the
// end of the text) leaves the record to the state machine.
RawCSVParser::Got RawCSVParser::readPlainRecord(const Targets* targets, std::size_t& columns) {
  LocalScanner local(m_stops);
  CSVStopScanner& stops = local.scanner;
  const wchar_t* const end = m_end;
  const wchar_t* p = m_pos;
  std::size_t k = 0;  // fields read
  const wchar_t* lineEnd = nullptr;
  for (;;) {
    p = skipLeadingWhite(p, end);
    if (p == end) return Got::nothing;
    const wchar_t first = *p;
    const wchar_t* stop = p;  // the comma or line end after the field
    const wchar_t* from = p;  // the field's units, in [from, to)
    const wchar_t* to = p;
    std::size_t doubled = 0;  // doubled quotes among them
    if (first == L'"') {
      from = p + 1;
      const wchar_t* quote = stops.next(from, end);
      for (;;) {
        while (quote != end && *quote != L'"') quote = stops.next(quote + 1, end);
        if (end - quote < 2) return Got::nothing;
        if (quote[1] != L'"') break;
        ++doubled;
        quote = stops.next(quote + 2, end);
      }
      to = quote;
      stop = quote + 1;
      while (stop != end && (*stop == L' ' || *stop == L'\t' || *stop == 0x0B)) ++stop;
      if (stop == end || !endsPlainField(*stop)) return Got::nothing;
    } else if (endsPlainField(first)) {
      // An empty field, or at a record's start a blank line.
      if (first != L',' && k == 0) {
        lineEnd = p;
        break;
      }
    } else if (isCSVStop(static_cast<unsigned int>(first))) {
      return Got::nothing;
    } else {
      stop = stops.next(p + 1, end);
      while (stop != end && *stop == L'"') stop = stops.next(stop + 1, end);
      if (stop == end || !endsPlainField(*stop)) return Got::nothing;
      to = stop;
      while (isCSVWhite(static_cast<unsigned int>(to[-1]))) --to;
    }

    std::wstring* field = nullptr;
    if (targets == nullptr) {
      if (k == m_record.size()) m_record.emplace_back();
      field = &m_record[k];
    } else if (k < targets->count && targets->target[k] != SIZE_MAX) {
      field = &(*targets->out)[targets->target[k]];
    }
    if (field != nullptr) {
      const std::size_t length = static_cast<std::size_t>(to - from) - doubled;
      wchar_t* out = resized(*field, length);
      if (doubled == 0) {
        copyUnits(out, from, length);
      } else {
        // The second quote of each pair goes.
        for (const wchar_t* in = from; in != to; ++in) {
          *out++ = *in;
          if (*in == L'"') ++in;
        }
      }
    }
    ++k;
    if (*stop != L',') {
      lineEnd = stop;
      break;
    }
    p = stop + 1;
  }

  // After the record's line end, as the state machine leaves it.
  m_pos = lineEnd + 1;
  m_lineEnd = afterLineEnd;
  if (*lineEnd == L'\r') {
    if (m_pos != end && *m_pos == L'\n') ++m_pos;
    else m_lineEnd = afterCarriageReturn;
  }
  m_fieldState = recordStart;
  if (targets == nullptr) m_used = k;
  columns = k;
  return targets == nullptr ? Got::inRecord : Got::direct;
}

}  // namespace QOR::detail
