// Reading a drawing: the records of a CSV file, one vertex each, grouped into
// shapes, with every fault named by file and line.
#include "drawing.h"

#include <qorcor14/errors.h>
#include <qorcor14/stream.h>
#include <qorcor14/text.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <memory>
#include <optional>

namespace viewer {

DrawingError::DrawingError(const std::wstring& text) : std::runtime_error(utf8(text)), m_text(text) {}

namespace {

// The lines of a file as its text reader splits them, watched for CSV quoting
// on the way to the record reader. The record reader closes a quoted field
// left open at the end of the file as if it ended there, so that case is told
// apart here: the same quoting rules, run over the same lines, end inside a
// quote.
class WatchedLines : public QOR::TextReader {
public:
  explicit WatchedLines(QOR::TextReader& inner) : m_inner(inner) {}

  bool readLine(std::wstring& line) override {
    try {
      if (!m_inner.readLine(line)) return false;
    } catch (...) {
      m_failedLine = m_lines + 1;
      throw;
    }
    ++m_lines;
    for (const wchar_t c : line) step(c);
    endLine();
    return true;
  }
  void close() override { m_inner.close(); }

  // The line whose text could not be decoded, or 0.
  [[nodiscard]] std::size_t failedLine() const { return m_failedLine; }
  // Where the quoted field still open after the last line read began, or 0.
  [[nodiscard]] std::size_t openQuoteLine() const { return m_state == quoted ? m_quoteLine : 0; }

private:
  enum State { fieldStart, unquoted, quoted, quoteInQuoted, afterClosingQuote };

  static bool isBlank(wchar_t c) { return isUspace(CodePoint::codePoint(static_cast<unsigned int>(c))); }

  void step(wchar_t c) {
    switch (m_state) {
    case fieldStart:
      if (c == L'"') {
        m_state = quoted;
        m_quoteLine = m_lines;
      } else if (c != L',' && !isBlank(c)) {
        m_state = unquoted;
      }
      break;
    case unquoted:
      if (c == L',') m_state = fieldStart;
      break;
    case quoted:
      if (c == L'"') m_state = quoteInQuoted;
      break;
    case quoteInQuoted:
    case afterClosingQuote:
      if (c == L'"') m_state = m_state == quoteInQuoted ? quoted : quoteInQuoted;
      else if (c == L',') m_state = fieldStart;
      else if (isBlank(c)) m_state = afterClosingQuote;
      else m_state = quoted;
      break;
    }
  }
  // The line break the text reader took off: data inside a quoted field,
  // the end of the record anywhere else.
  void endLine() {
    if (m_state != quoted) m_state = fieldStart;
  }

  QOR::TextReader& m_inner;
  State m_state = fieldStart;
  std::size_t m_lines = 0, m_quoteLine = 0, m_failedLine = 0;
};

constexpr std::size_t kAbsent = SIZE_MAX;

struct Columns {
  std::size_t shape = kAbsent, x = kAbsent, y = kAbsent, bulge = kAbsent, colour = kAbsent;
};

// A vertex waiting for the next one of its shape, which ends its segment.
struct Vertex {
  Point<2> at;
  double bulge;
};

bool isFiniteExtent(const Extent<2>& e) {
  return std::isfinite(e.lo(0)) && std::isfinite(e.lo(1)) && std::isfinite(e.hi(0)) && std::isfinite(e.hi(1));
}

class DrawingBuilder {
public:
  explicit DrawingBuilder(const std::wstring& file) { m_drawing.file = file; }

  [[nodiscard]] DrawingError error(std::size_t line, const std::wstring& what) const {
    return DrawingError(m_drawing.file + L", line " + std::to_wstring(line) + L": " + what);
  }

  void header(const std::vector<std::wstring>& fields, std::size_t line) {
    const auto find = [&](const wchar_t* name) {
      const auto it = std::find(fields.begin(), fields.end(), name);
      return it == fields.end() ? kAbsent : static_cast<std::size_t>(it - fields.begin());
    };
    m_columns.shape = find(L"Shape");
    m_columns.x = find(L"X");
    m_columns.y = find(L"Y");
    m_columns.bulge = find(L"Bulge");
    m_columns.colour = find(L"Colour");
    const std::pair<std::size_t, const wchar_t*> required[] = {
        {m_columns.shape, L"Shape"}, {m_columns.x, L"X"}, {m_columns.y, L"Y"}};
    for (const auto& [index, name] : required)
      if (index == kAbsent) throw error(line, L"the header line has no column \"" + std::wstring(name) + L"\"");
  }

  void row(const std::vector<std::wstring>& fields, std::size_t line) {
    const std::wstring& name = field(fields, m_columns.shape);
    if (name.empty()) throw error(line, L"Shape is empty");
    const Point<2> at(number(fields, m_columns.x, L"X", line), number(fields, m_columns.y, L"Y", line));
    const std::wstring& bulgeText = field(fields, m_columns.bulge);
    const double bulge = bulgeText.empty() ? 0.0 : number(fields, m_columns.bulge, L"Bulge", line);
    std::optional<Colour> colour;
    if (const std::wstring& text = field(fields, m_columns.colour); !text.empty()) {
      Colour c;
      if (!parseColour(text, c))
        throw error(line, L"Colour \"" + text + L"\" is not #RRGGBB, #RGB, rgb(R,G,B), hsv(H,S,V) or a colour name");
      colour = c;
    }

    if (!m_open || name != m_current.name) {
      finishShape();
      m_current = Shape{name, colour.value_or(Colour()), {}};
      m_colourLine = line;
      m_open = true;
    } else {
      if (colour && colour->colorref() != m_current.colour.colorref())
        throw error(line, L"the colour differs from the one of this shape's first row, on line " +
                              std::to_wstring(m_colourLine));
      const QOR::Arc<2> segment(m_last.at, m_last.bulge, at);
      addSegment(segment, m_lastLine);
    }
    m_last = Vertex{at, bulge};
    m_lastLine = line;
  }

  Drawing finish() {
    finishShape();
    return std::move(m_drawing);
  }

private:
  static const std::wstring& field(const std::vector<std::wstring>& fields, std::size_t index) {
    static const std::wstring empty;
    return index < fields.size() ? fields[index] : empty;
  }

  double number(const std::vector<std::wstring>& fields, std::size_t index, const wchar_t* column,
                std::size_t line) const {
    const std::wstring& text = field(fields, index);
    double value = 0;
    if (!isDouble(&value, text.data(), text.size()) || !std::isfinite(value))
      throw error(line, std::wstring(column) + L" is not a number: \"" + text + L"\"");
    return value;
  }

  void addSegment(const QOR::Arc<2>& segment, std::size_t line) {
    const Extent<2> e = segment.extent();
    if (!isFiniteExtent(e)) throw error(line, L"the segment from this vertex is too large to draw");
    m_current.segments.push_back(segment);
    m_drawing.extent |= e;
    ++m_drawing.segmentCount;
  }

  // A shape of one vertex is a dot: a segment of length 0.
  void finishShape() {
    if (!m_open) return;
    if (m_current.segments.empty()) addSegment(QOR::Arc<2>(m_last.at, m_last.at), m_lastLine);
    m_drawing.shapes.push_back(std::move(m_current));
    m_open = false;
  }

  Drawing m_drawing;
  Columns m_columns;
  Shape m_current;
  bool m_open = false;
  Vertex m_last{};
  std::size_t m_lastLine = 0, m_colourLine = 0;
};

std::size_t lineBreaksIn(const std::vector<std::wstring>& fields) {
  std::size_t n = 0;
  for (const std::wstring& f : fields) n += static_cast<std::size_t>(std::count(f.begin(), f.end(), L'\n'));
  return n;
}

}  // namespace

Drawing readDrawing(const std::wstring& file) {
  DrawingBuilder builder(file);
  std::unique_ptr<QOR::TextReader> reader;
  try {
    reader.reset(QOR::TextReader::create(file));
  } catch (const QOR::QorError& e) {
    const std::wstring text = e.wWhat();
    throw DrawingError(text.find(file) == std::wstring::npos ? file + L": " + text : text);
  }
  WatchedLines lines(*reader);
  // Every record is read raw, so that line breaks inside quoted fields of
  // columns the drawing does not use still count.
  std::unique_ptr<QOR::CSVParser> parser(QOR::CSVParser::create());
  QOR::CSVRecordReader records(*parser, lines);
  std::vector<std::wstring> fields;
  std::size_t line = 1;
  bool headerRead = false;
  for (;;) {
    try {
      if (!records.next(fields)) break;
    } catch (const QOR::QorError& e) {
      throw DrawingError(std::wstring(e.wWhat()) + L" (line " + std::to_wstring(lines.failedLine()) + L")");
    }
    const std::size_t recordLine = line;
    line += 1 + lineBreaksIn(fields);
    // A record reaching past the start of a quoted field that the file never
    // closes holds that field cut at the end of the file.
    if (const std::size_t open = lines.openQuoteLine(); open != 0 && open < line)
      throw builder.error(open, L"the quoted field that begins on this line is not closed by the end of the file");
    if (fields.empty()) continue;  // a blank line
    if (!headerRead) {
      builder.header(fields, recordLine);
      headerRead = true;
    } else {
      builder.row(fields, recordLine);
    }
  }
  return builder.finish();
}

}  // namespace viewer
