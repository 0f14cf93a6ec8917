// A CSV reference parser for the tests and the fuzz target: what the
// library's parsers must deliver, without their runs, buffers and chunk
// protocol.
#pragma once

#include <qorcor14/text/codepoint.h>

#include <cstddef>
#include <string>
#include <vector>

namespace qortest {

using Fields = std::vector<std::wstring>;
using Records = std::vector<Fields>;

// The reference: a plain transcription of every field and line-end rule,
// one code point at a time, over a whole text.
class ReferenceParser {
public:
  // Parses the whole of `text`; complete records go to `records`.
  void parse(const std::wstring& text) {
    std::size_t i = 0;
    while (i < text.size()) {
      const std::size_t from = i;
      unsigned int c = static_cast<unsigned short>(text[i++]);
      if (c >= 0xD800 && c < 0xDC00 && i < text.size() && (text[i] & 0xFC00) == 0xDC00)
        c = 0x10000 + ((c - 0xD800) << 10) + (static_cast<unsigned short>(text[i++]) - 0xDC00);
      const std::wstring units = text.substr(from, i - from);
      if (isLineEnd(c) && m_state != quoted) {
        if (m_state == afterSeparator) m_fields.emplace_back();
        else if (m_state != recordStart) m_fields.back().resize(m_kept);
        lineEnds.push_back(from);
        if (c == 0x0D && i < text.size() && text[i] == L'\n') ++i;
        records.push_back(m_fields);
        m_fields.clear();
        m_state = recordStart;
        continue;
      }
      take(c, units);
    }
  }

  // What closes a record left open at the end, as CSVRecordReader does: a
  // line end, after a quote if inside a quoted field; nothing if none is open.
  [[nodiscard]] std::wstring closer() const {
    return m_state == recordStart ? L"" : m_state == quoted ? L"\"\n" : L"\n";
  }
  [[nodiscard]] const Fields& openFields() const { return m_fields; }

  Records records;
  std::vector<std::size_t> lineEnds;  // where each record's line end is

private:
  enum State { recordStart, afterSeparator, unquoted, quoted, quoteInQuoted, afterClosingQuote };

  static bool isLineEnd(unsigned int c) {
    return c == 0x0A || c == 0x0C || c == 0x0D || c == 0x85 || c == 0x2028 || c == 0x2029;
  }
  static bool isWhite(unsigned int c) {
    const unsigned cls = unicodeClass(CodePoint::codePoint(c));
    return cls == 10 || cls == 11 || cls == 12 || (c >= 0x09 && c <= 0x0D) || c == 0xFEFF;
  }

  void take(unsigned int c, const std::wstring& units) {
    switch (m_state) {
    case recordStart:
    case afterSeparator:
      if (isWhite(c)) return;
      if (c == L',') {
        m_fields.emplace_back();
        m_state = afterSeparator;
      } else if (c == L'"') {
        m_fields.emplace_back();
        m_kept = 0;
        m_state = quoted;
      } else {
        m_fields.push_back(units);
        m_kept = units.size();
        m_state = unquoted;
      }
      return;
    case unquoted:
      if (c == L',') {
        m_fields.back().resize(m_kept);
        m_state = afterSeparator;
      } else {
        m_fields.back() += units;
        if (!isWhite(c)) m_kept = m_fields.back().size();
      }
      return;
    case quoted: takeQuoted(c, units); return;
    case quoteInQuoted:
      if (c == L'"') {
        m_kept = m_fields.back().size();
        m_state = quoted;
        return;
      }
      break;
    case afterClosingQuote: break;
    }
    if (isWhite(c)) {
      m_fields.back() += units;
      m_state = afterClosingQuote;
    } else if (c == L',') {
      m_fields.back().resize(m_kept);
      m_state = afterSeparator;
    } else {
      m_kept = m_fields.back().size();
      takeQuoted(c, units);
    }
  }

  void takeQuoted(unsigned int c, const std::wstring& units) {
    if (c == L'"') {
      m_fields.back() += L'"';
      m_state = quoteInQuoted;
    } else {
      m_fields.back() += units;
      m_kept = m_fields.back().size();
      m_state = quoted;
    }
  }

  State m_state = recordStart;
  Fields m_fields;
  std::size_t m_kept = 0;
};

}  // namespace qortest
