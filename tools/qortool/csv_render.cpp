// qortool csv's output formats.
#include "csv_render.h"

#include <qorcor14/text/codepoint.h>

#include <algorithm>
#include <cwchar>

namespace qortool {
namespace {

bool isWide(unsigned int c) {
  return (c >= 0x1100 && c <= 0x115F) || c == 0x2329 || c == 0x232A || (c >= 0x2E80 && c <= 0xA4CF && c != 0x303F) ||
         (c >= 0xAC00 && c <= 0xD7A3) || (c >= 0xF900 && c <= 0xFAFF) || (c >= 0xFE10 && c <= 0xFE19) ||
         (c >= 0xFE30 && c <= 0xFE6F) || (c >= 0xFF00 && c <= 0xFF60) || (c >= 0xFFE0 && c <= 0xFFE6) ||
         (c >= 0x1F300 && c <= 0x1F64F) || (c >= 0x1F900 && c <= 0x1F9FF) || (c >= 0x20000 && c <= 0x3FFFD);
}

bool isZeroWidth(CodePoint c) {
  const unsigned char k = unicodeClass(c);
  const unsigned int v = c.codePoint();
  return k == 4 || k == 6 || (k == 14 && v != 0xAD) || (v >= 0x1160 && v <= 0x11FF) || v == 0x200B;
}

// The lines of a field as a table shows them: split at every line break (CR
// LF is one), tabs as spaces, other control characters as their pictures.
std::vector<std::wstring> cellLines(const std::wstring& field) {
  std::vector<std::wstring> lines(1);
  for (std::size_t i = 0; i < field.size(); ++i) {
    const wchar_t c = field[i];
    if (isLineEnd(static_cast<unsigned int>(c))) {
      if (c == L'\r' && i + 1 < field.size() && field[i + 1] == L'\n') ++i;
      lines.emplace_back();
    } else if (c == L'\t') {
      lines.back() += L' ';
    } else if (c < 0x20 || c == 0x7F) {
      lines.back() += static_cast<wchar_t>(c == 0x7F ? 0x2421 : 0x2400 + c);
    } else {
      lines.back() += c;
    }
  }
  return lines;
}

class TableRenderer : public RecordRenderer {
public:
  TableRenderer(const std::vector<std::wstring>* names, TextSink out) : m_out(std::move(out)) {
    if (names != nullptr) {
      m_hasHeader = true;
      m_rows.push_back(*names);
    }
  }

  void record(const std::vector<std::wstring>& fields) override {
    if (m_rows.empty()) m_hasHeader = true;  // a raw parser's first record heads the table
    m_rows.push_back(fields);
  }

  void finish() override {
    const std::size_t records = m_rows.size() - (m_hasHeader ? 1 : 0);
    std::size_t columns = 0;
    for (const auto& row : m_rows) columns = std::max(columns, row.size());
    std::vector<std::vector<std::vector<std::wstring>>> cells;
    std::vector<std::size_t> widths(columns, 0);
    for (const auto& row : m_rows) {
      cells.emplace_back();
      for (std::size_t c = 0; c < columns; ++c) {
        cells.back().push_back(cellLines(c < row.size() ? row[c] : std::wstring()));
        for (const std::wstring& line : cells.back().back()) widths[c] = std::max(widths[c], displayWidth(line));
      }
    }
    std::wstring text;
    for (std::size_t r = 0; r < cells.size(); ++r) {
      std::size_t height = 1;
      for (const auto& cell : cells[r]) height = std::max(height, cell.size());
      for (std::size_t k = 0; k < height; ++k) {
        std::wstring line;
        for (std::size_t c = 0; c < columns; ++c) {
          if (c > 0) line += L" \x2502 ";
          const auto& cell = cells[r][c];
          const std::wstring part = k < cell.size() ? cell[k] : std::wstring();
          line += part;
          line.append(widths[c] - displayWidth(part), L' ');
        }
        line.erase(line.find_last_not_of(L' ') + 1);
        text += line + L'\n';
      }
      if (r == 0 && m_hasHeader) {
        for (std::size_t c = 0; c < columns; ++c) {
          if (c > 0) text += L"\x2500\x253C\x2500";
          text.append(widths[c], L'\x2500');
        }
        text += L'\n';
      }
    }
    text += L"(" + std::to_wstring(records) + (records == 1 ? L" record" : L" records") + L")\n";
    m_out(text);
  }

private:
  TextSink m_out;
  bool m_hasHeader = false;
  std::vector<std::vector<std::wstring>> m_rows;
};

// Tab-separated values: a backslash, tab, line feed and carriage return in a
// field are written \\, \t, \n and \r.
class TsvRenderer : public RecordRenderer {
public:
  TsvRenderer(const std::vector<std::wstring>* names, TextSink out) : m_out(std::move(out)) {
    if (names != nullptr) record(*names);
  }

  void record(const std::vector<std::wstring>& fields) override {
    std::wstring line;
    for (std::size_t i = 0; i < fields.size(); ++i) {
      if (i > 0) line += L'\t';
      for (const wchar_t c : fields[i]) {
        switch (c) {
        case L'\\': line += L"\\\\"; break;
        case L'\t': line += L"\\t"; break;
        case L'\n': line += L"\\n"; break;
        case L'\r': line += L"\\r"; break;
        default: line += c;
        }
      }
    }
    m_out(line + L'\n');
  }

  void finish() override {}

private:
  TextSink m_out;
};

std::wstring jsonString(const std::wstring& s) {
  std::wstring out = L"\"";
  for (std::size_t i = 0; i < s.size(); ++i) {
    const wchar_t c = s[i];
    const unsigned int u = static_cast<unsigned int>(c);
    const bool pair = isSurrogateA(u) && i + 1 < s.size() && isSurrogateB(static_cast<unsigned int>(s[i + 1]));
    if (pair) {
      out += c;
      out += s[++i];
    } else if (c == L'"' || c == L'\\') {
      out += L'\\';
      out += c;
    } else if (c == L'\n') {
      out += L"\\n";
    } else if (c == L'\r') {
      out += L"\\r";
    } else if (c == L'\t') {
      out += L"\\t";
    } else if (u < 0x20 || u == 0x2028 || u == 0x2029 || isSurrogate(u)) {
      wchar_t buf[8];
      std::swprintf(buf, 8, L"\\u%04x", u);
      out += buf;
    } else {
      out += c;
    }
  }
  return out + L'"';
}

// An array of arrays (raw), or of objects keyed by the requested columns.
class JsonRenderer : public RecordRenderer {
public:
  JsonRenderer(const std::vector<std::wstring>* names, TextSink out) : m_out(std::move(out)) {
    if (names != nullptr) {
      m_keyed = true;
      for (const std::wstring& n : *names) m_keys.push_back(jsonString(n) + L": ");
    }
  }

  void record(const std::vector<std::wstring>& fields) override {
    std::wstring line = m_count++ == 0 ? L"[\n  " : L",\n  ";
    line += m_keyed ? L'{' : L'[';
    for (std::size_t i = 0; i < fields.size(); ++i) {
      if (i > 0) line += L", ";
      if (m_keyed) line += m_keys[i];
      line += jsonString(fields[i]);
    }
    line += m_keyed ? L'}' : L']';
    m_out(line);
  }

  void finish() override { m_out(m_count == 0 ? L"[]\n" : L"\n]\n"); }

private:
  TextSink m_out;
  bool m_keyed = false;
  std::vector<std::wstring> m_keys;
  std::size_t m_count = 0;
};

// CSV that the library's parser reads back to the same records: a field is
// quoted when it holds a comma, a quote, a line break, or white space at
// either end (which the parser would trim), and a record of one empty field
// is written "" so that it does not read back as a blank line.
class CsvRenderer : public RecordRenderer {
public:
  CsvRenderer(const std::vector<std::wstring>* names, TextSink out) : m_out(std::move(out)) {
    if (names != nullptr) record(*names);
  }

  void record(const std::vector<std::wstring>& fields) override {
    std::wstring line;
    for (std::size_t i = 0; i < fields.size(); ++i) {
      if (i > 0) line += L',';
      line += quoted(fields[i], fields.size() == 1);
    }
    m_out(line + L'\n');
  }

  void finish() override {}

private:
  static std::wstring quoted(const std::wstring& f, bool alone) {
    bool quote = alone && f.empty();
    for (CodePointEnumerator e(f); e && !quote; ++e) {
      const unsigned int c = (*e).codePoint();
      quote = c == L',' || c == L'"' || isLineEnd(static_cast<unsigned int>(c));
    }
    if (!f.empty()) {
      CodePointEnumerator first(f);
      quote = quote || isUspace(*first) || isUspace(CodePoint::codePoint(static_cast<unsigned int>(f.back())));
    }
    if (!quote) return f;
    std::wstring out = L"\"";
    for (const wchar_t c : f) {
      if (c == L'"') out += L'"';
      out += c;
    }
    return out + L'"';
  }

  TextSink m_out;
};

}  // namespace

std::size_t displayWidth(const std::wstring& text) {
  std::size_t width = 0;
  for (CodePointEnumerator e(text); e; ++e) {
    const CodePoint c = *e;
    width += isZeroWidth(c) ? 0 : isWide(c.codePoint()) ? 2 : 1;
  }
  return width;
}

std::unique_ptr<RecordRenderer> makeRenderer(const std::string& format, const std::vector<std::wstring>* names,
                                             TextSink out) {
  if (format == "table") return std::make_unique<TableRenderer>(names, std::move(out));
  if (format == "tsv") return std::make_unique<TsvRenderer>(names, std::move(out));
  if (format == "json") return std::make_unique<JsonRenderer>(names, std::move(out));
  if (format == "csv") return std::make_unique<CsvRenderer>(names, std::move(out));
  return nullptr;
}

}  // namespace qortool
