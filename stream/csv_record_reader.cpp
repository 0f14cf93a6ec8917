// CSVRecordReader: a whole input through a CSVParser, chunk by chunk.
//
// Two rules keep the chunk protocol from looping or dropping text:
// - a chunk ends after every CR that has no LF after it, so a record that ends
//   at such a CR has always used up its chunk;
// - after a true return the parser is called with an empty string before it
//   gets new text. A parser that goes on in its chunk ignores the argument; one
//   waiting for the chunk after a CR takes the empty string and returns false.
#include "csv_parsers.h"
#include "text_reader_imp.h"

#include <qorcor14/stream/text_file.h>

#include <utility>

namespace QOR {

CSVRecordReader::CSVRecordReader(CSVParser& parser, const std::wstring& text)
    : m_parser(parser), m_text(&text) {}

CSVRecordReader::CSVRecordReader(CSVParser& parser, TextReader& reader)
    : m_parser(parser), m_reader(&reader) {}

CSVRecordReader::~CSVRecordReader() = default;

// Lines from a text reader hold no CR, so many of them go into one chunk. A
// reading error is kept until the lines before it have been parsed.
bool CSVRecordReader::nextChunk() {
  if (m_reader != nullptr) {
    constexpr std::size_t kChunkUnits = 32 * 1024;
    if (m_readError) std::rethrow_exception(std::exchange(m_readError, nullptr));
    m_chunk.clear();
    try {
      if (detail::TextReaderImp* decoder = detail::decodingReader(*m_reader)) {
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
  std::size_t cut = size;
  for (std::size_t cr = text.find(L'\r', m_textPos); cr != std::wstring::npos; cr = text.find(L'\r', cr + 1)) {
    if (cr + 1 == size || text[cr + 1] != L'\n') {
      cut = cr + 1;
      break;
    }
  }
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
  const detail::RawCSVParser* raw = dynamic_cast<const detail::RawCSVParser*>(&m_parser);
  if (raw == nullptr) {
    if (const auto* headed = dynamic_cast<const detail::HeadedCSVParser*>(&m_parser)) raw = &headed->rawParser();
  }
  if (raw == nullptr) {
    m_chunk = L"\n";
  } else {
    const auto state = raw->openRecordState();
    if (state == detail::RawCSVParser::recordStart) return false;
    m_chunk = state == detail::RawCSVParser::quoted ? L"\"\n" : L"\n";
  }
  m_current = &m_chunk;
  return m_parser.parse(fields, m_chunk);
}

}  // namespace QOR
