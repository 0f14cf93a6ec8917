// CSVRecordReader: a whole input through a CSVParser, chunk by chunk.
//
// Two rules keep the chunk protocol from looping or dropping text:
// - a chunk ends after every CR that has no LF after it, so a record that ends
//   at such a CR has always used up its chunk;
// - after a true return the parser is called with an empty string before it
//   gets new text. A parser that goes on in its chunk ignores the argument; one
//   waiting for the chunk after a CR takes the empty string and returns false.
#include "internal/csv_parsers.h"
#include "internal/text_reader_imp.h"

#include <qorcor14/stream/text_file.h>

#include <emmintrin.h>

#include <bit>
#include <utility>

namespace QOR {

CSVRecordReader::CSVRecordReader(CSVParser& parser, const std::wstring& text) : m_parser(parser), m_text(&text) {}

CSVRecordReader::CSVRecordReader(CSVParser& parser, TextReader& reader) : m_parser(parser), m_reader(&reader) {}

CSVRecordReader::~CSVRecordReader() = default;

namespace {

// Just past the first CR at or after `from` that has no LF after it, or the
// end of the text. Eight units a step: CR LF ends most lines of most files.
std::size_t afterLoneCarriageReturn(const std::wstring& text, std::size_t from) {
  const wchar_t* const begin = text.data();
  const wchar_t* const end = begin + text.size();
  const wchar_t* p = begin + from;
  for (; end - p > 8; p += 8) {
    const __m128i x = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
    const __m128i next = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 1));
    const __m128i lone =
        _mm_andnot_si128(_mm_cmpeq_epi16(next, _mm_set1_epi16(L'\n')), _mm_cmpeq_epi16(x, _mm_set1_epi16(L'\r')));
    if (const unsigned mask = static_cast<unsigned>(_mm_movemask_epi8(lone)))
      return static_cast<std::size_t>(p - begin) + std::countr_zero(mask) / 2 + 1;
  }
  for (; p != end; ++p)
    if (*p == L'\r' && (p + 1 == end || p[1] != L'\n')) return static_cast<std::size_t>(p - begin) + 1;
  return text.size();
}

}  // namespace

// Lines from a text reader hold no CR, so many of them go into one chunk. A
// reading error is kept until the lines before it have been parsed.
bool CSVRecordReader::nextChunk() {
  if (m_reader != nullptr) {
    constexpr std::size_t kChunkUnits = 32 * 1024;
    if (m_readError) std::rethrow_exception(std::exchange(m_readError, nullptr));
    m_chunk.clear();
    try {
      if (internal::TextReaderImp* decoder = internal::decodingReader(*m_reader)) {
        // The library's own reader appends the lines straight into the chunk.
        decoder->readLines(m_chunk, kChunkUnits);
      } else {
        while (m_chunk.size() < kChunkUnits && m_reader->readLine(m_line)) {
          m_chunk += m_line;
          m_chunk += L'\n';
        }
      }
    } catch (...) {
      if (m_chunk.empty()) throw;
      m_readError = std::current_exception();
    }
    m_current = &m_chunk;
    return !m_chunk.empty();
  }
  const std::wstring& text = *m_text;
  const std::size_t size = text.size();
  if (m_textPos >= size) return false;
  const std::size_t cut = afterLoneCarriageReturn(text, m_textPos);
  if (m_textPos == 0 && cut == size) {
    m_current = &text;
  } else {
    m_chunk.assign(text, m_textPos, cut - m_textPos);
    m_current = &m_chunk;
  }
  m_textPos = cut;
  return true;
}

bool CSVRecordReader::next(std::vector<std::wstring>& fields) {
  static const std::wstring nothing;
  if (m_done) return false;
  if (m_afterRecord) {
    m_afterRecord = false;
    if (m_parser.parse(fields, nothing)) {
      m_afterRecord = true;
      return true;
    }
  }
  while (nextChunk()) {
    if (m_parser.parse(fields, *m_current)) {
      m_afterRecord = true;
      return true;
    }
  }

  // The input has ended: close the record it left open, if any. An
  // unterminated quoted field is closed with a quote first, which the line
  // end then cuts off again, so the field keeps exactly what it had.
  m_done = true;
  // The one question that tells the library's parsers from others.
  if (const auto* library = dynamic_cast<const internal::LibraryCSVParser*>(&m_parser)) {
    const auto state = library->openRecordState();
    if (state == internal::LibraryCSVParser::recordStart) return false;
    m_chunk = state == internal::LibraryCSVParser::quoted ? L"\"\n" : L"\n";
  } else {
    m_chunk = L"\n";
  }
  m_current = &m_chunk;
  return m_parser.parse(fields, m_chunk);
}

}  // namespace QOR
