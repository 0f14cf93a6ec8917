// A drawing: shapes made of straight and arc segments, read from a CSV file
// of polyline vertices with bulges (the format is in README.md).
#pragma once

#include <qorcor14/arc.h>
#include <qorcor14/colour.h>
#include <qorcor14/geometry.h>

#include <cstddef>
#include <stdexcept>
#include <string>
#include <vector>

namespace viewer {

// One polyline: its segments in file order, each an arc from one vertex to
// the next with the first vertex's bulge (0: a straight segment).
struct Shape {
  std::wstring name;
  Colour colour;  // as the file gives it, in sRGB
  std::vector<QOR::Arc<2>> segments;
};

struct Drawing {
  std::wstring file;  // the name it was read from
  std::vector<Shape> shapes;
  std::size_t segmentCount = 0;
  // The union of every segment's Arc<2>::extent, and of lone vertices.
  Extent<2> extent = Extent<2>::nothing();
};

// Why a file could not be read: what() is the whole message for the user,
// naming the file and, where the fault is in one record, its line
// ("C:\\d\\a.csv, line 7: X is not a number: \"abc\"").
class DrawingError : public std::runtime_error {
public:
  // what() gives the text in UTF-8.
  explicit DrawingError(const std::wstring& text);
  [[nodiscard]] const std::wstring& text() const noexcept { return m_text; }

private:
  std::wstring m_text;
};

// Reads `file` in any encoding TextReader reads. Throws DrawingError for a
// file that cannot be opened or decoded, lacks a required column, holds a
// value that is not a number or not a colour, or ends inside a quoted field.
[[nodiscard]] Drawing readDrawing(const std::wstring& file);

// Parses a Colour column: "#RRGGBB", "#RGB", "rgb(R,G,B)" with R, G, B in
// 0..255, "hsv(H,S,V)" with H in degrees and S, V in 0..1, or a few names
// ("black", "white", "red", "green", "blue"). Case and blanks around the
// parts do not matter. False for anything else.
[[nodiscard]] bool parseColour(const std::wstring& text, Colour& colour);

}  // namespace viewer
