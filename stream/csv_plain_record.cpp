// The raw CSV parser's fast path: a whole record at a time, from stop to stop,
// each field written once into the string at its place.
#include "internal/csv_parsers.h"

#include <emmintrin.h>

#include <cstdint>
#include <cstring>

namespace QOR::internal {
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

// One mask bit per unit of from[0..16). The units are packed to bytes with
// unsigned saturation, which keeps U+0000..U+00FF as they are and turns any
// other unit into 0x00 or 0xFF, neither of them a stop: so U+012C is no comma.
// U+2028 and U+2029 are found among the 16-bit units.
std::uint64_t stops16(const wchar_t* from) {
  const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
  const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(from + 8));
  const __m128i bytes = _mm_packus_epi16(a, b);
  auto is = [&bytes](char c) { return _mm_cmpeq_epi8(bytes, _mm_set1_epi8(c)); };
  const __m128i ascii = _mm_or_si128(_mm_or_si128(_mm_or_si128(is(','), is('"')), _mm_or_si128(is('\n'), is('\r'))),
                                     _mm_or_si128(is('\f'), is(static_cast<char>(0x85))));
  const __m128i separator = _mm_set1_epi16(0x2029);
  const __m128i one = _mm_set1_epi16(1);
  const __m128i separators = _mm_packs_epi16(_mm_cmpeq_epi16(_mm_or_si128(a, one), separator),
                                             _mm_cmpeq_epi16(_mm_or_si128(b, one), separator));
  return static_cast<std::uint64_t>(static_cast<unsigned>(_mm_movemask_epi8(_mm_or_si128(ascii, separators))));
}

}  // namespace

std::uint64_t CSVStopScanner::stopMask(const wchar_t* from, std::size_t units) {
  if (units == 64)
    return stops16(from) | stops16(from + 16) << 16 | stops16(from + 32) << 32 | stops16(from + 48) << 48;
  std::uint64_t mask = 0;
  for (std::size_t i = 0; i < units; ++i)
    mask |= static_cast<std::uint64_t>(isCSVStop(static_cast<unsigned int>(from[i]))) << i;
  return mask;
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
  // Where the fields go, in locals that no string written can change.
  std::wstring* const out = targets != nullptr ? targets->out->data() : nullptr;
  const std::size_t* const target = targets != nullptr ? targets->target : nullptr;
  const std::size_t targetCount = targets != nullptr ? targets->count : 0;
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
    // The doubled quotes among them: how many, and where the first few are.
    constexpr std::size_t kPairsKept = 4;
    const wchar_t* pairs[kPairsKept];
    std::size_t doubled = 0;
    if (first == L'"') {
      from = p + 1;
      const wchar_t* quote = stops.next(from, end);
      for (;;) {
        while (quote != end && *quote != L'"') quote = stops.next(quote + 1, end);
        if (end - quote < 2) return Got::nothing;
        if (quote[1] != L'"') break;
        if (doubled < kPairsKept) pairs[doubled] = quote;
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
    } else if (k < targetCount && target[k] != SIZE_MAX) {
      field = &out[target[k]];
    }
    if (field != nullptr) {
      const std::size_t length = static_cast<std::size_t>(to - from) - doubled;
      wchar_t* units = resized(*field, length);
      if (doubled == 0) {
        copyUnits(units, from, length);
      } else if (doubled <= kPairsKept) {
        // Up to each pair's first quote, then on after its second.
        for (std::size_t i = 0; i < doubled; ++i) {
          const std::size_t n = static_cast<std::size_t>(pairs[i] + 1 - from);
          copyUnits(units, from, n);
          units += n;
          from = pairs[i] + 2;
        }
        copyUnits(units, from, static_cast<std::size_t>(to - from));
      } else {
        // The second quote of each pair goes.
        for (const wchar_t* in = from; in != to; ++in) {
          *units++ = *in;
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

}  // namespace QOR::internal
