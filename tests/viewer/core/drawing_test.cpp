// Reading drawings from real files: shapes, segments, extents and colours in
// every encoding the text reader knows, and every fault named by its line.
#include "drawing.h"

#include "support/files.h"

#include <qorcor14/text.h>

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

namespace {

using qortest::ScratchFolder;
using viewer::Drawing;
using viewer::DrawingError;
using viewer::readDrawing;

enum class Encoding { utf8, utf8Mark, utf16leMark, utf16beMark, utf16leBare };

std::string encode(const std::wstring& text, Encoding e) {
  if (e == Encoding::utf8) return utf8(text);
  if (e == Encoding::utf8Mark) return "\xEF\xBB\xBF" + utf8(text);
  const bool big = e == Encoding::utf16beMark;
  std::string bytes = e == Encoding::utf16leBare ? "" : big ? "\xFE\xFF" : "\xFF\xFE";
  for (const wchar_t c : text) {
    const char lo = static_cast<char>(c & 0xFF), hi = static_cast<char>(c >> 8);
    bytes += big ? hi : lo;
    bytes += big ? lo : hi;
  }
  return bytes;
}

// The DrawingError text readDrawing throws for `bytes` in a file, or "".
std::wstring errorFor(const ScratchFolder& folder, const std::string& bytes, std::wstring* file = nullptr) {
  const std::wstring name = folder.file(L"d.csv");
  if (file) *file = name;
  qortest::writeBytes(name, bytes);
  try {
    (void)readDrawing(name);
  } catch (const DrawingError& e) {
    return e.text();
  }
  return {};
}

TEST(ViewerDrawing, SampleHasEveryColourNotation) {
  const Drawing d = readDrawing(VIEWER_SAMPLES L"/shapes.csv");
  ASSERT_EQ(d.shapes.size(), 5u);
  EXPECT_EQ(d.segmentCount, 11u);
  // clang-format off
  const struct { const wchar_t* name; std::size_t segments; unsigned long colorref; } want[] = {
      {L"frame",       4, 0x000000},
      {L"half circle", 1, 0x0000CC},  // #C00
      {L"waves",       3, 0xFF8000},  // rgb(0, 128, 255)
      {L"tick",        2, 0x009900},  // hsv(120, 1, 0.6)
      {L"dot",         1, 0x008000},  // green
  };
  // clang-format on
  for (std::size_t i = 0; i < 5; ++i) {
    SCOPED_TRACE(want[i].name);
    EXPECT_EQ(d.shapes[i].name, want[i].name);
    EXPECT_EQ(d.shapes[i].segments.size(), want[i].segments);
    EXPECT_EQ(d.shapes[i].colour.colorref(), want[i].colorref);
  }
  EXPECT_EQ(d.extent, Extent<2>(Point<2>(0, 0), Point<2>(200, 100)));
}

TEST(ViewerDrawing, LoadsInEveryEncodingWithMark) {
  // An arc sticking out of its ends' box, a dot far off, a last bulge that
  // must be ignored, a quoted name, and a line break closed inside a quoted
  // field on the last line.
  const std::wstring text =
      L"Note,Y,Shape,X,Bulge\r\n"
      L"a,0,\"\u5186 arc\",0,1\r\n"
      L"b,0,\"\u5186 arc\",2,7\r\n"
      L"\r\n"
      L"c,5,dot,5,\r\n"
      L"\"closed\n\",1,end,1,0\r\n";
  for (Encoding e : {Encoding::utf8Mark, Encoding::utf16leMark, Encoding::utf16beMark}) {
    SCOPED_TRACE(static_cast<int>(e));
    ScratchFolder folder;
    qortest::writeBytes(folder.file(L"d.csv"), encode(text, e));
    const Drawing d = readDrawing(folder.file(L"d.csv"));
    ASSERT_EQ(d.shapes.size(), 3u);
    EXPECT_EQ(d.shapes[0].name, L"\u5186 arc");
    ASSERT_EQ(d.shapes[0].segments.size(), 1u);
    const QOR::Arc<2>& half = d.shapes[0].segments[0];
    EXPECT_EQ(half.start(), Point<2>(0, 0));
    EXPECT_EQ(half.end(), Point<2>(2, 0));
    EXPECT_EQ(half.bulge(), 1);
    EXPECT_EQ(d.shapes[1].segments[0].start(), d.shapes[1].segments[0].end());
    EXPECT_EQ(d.segmentCount, 3u);
    EXPECT_EQ(d.extent, Extent<2>(Point<2>(0, -1), Point<2>(5, 5)));
    EXPECT_EQ(d.shapes[2].colour.colorref(), 0u);
  }
}

TEST(ViewerDrawing, EmptyFilesAreEmptyDrawings) {
  for (const char* bytes : {"", "\xEF\xBB\xBF", "Shape,X,Y\r\n", "\n\nShape,Y,X,Colour\n\n"}) {
    SCOPED_TRACE(bytes);
    ScratchFolder folder;
    qortest::writeBytes(folder.file(L"d.csv"), bytes);
    const Drawing d = readDrawing(folder.file(L"d.csv"));
    EXPECT_TRUE(d.shapes.empty());
    EXPECT_EQ(d.segmentCount, 0u);
    EXPECT_TRUE(d.extent.degenerate());
  }
}

TEST(ViewerDrawing, EachFaultNamesFileAndLine) {
  // clang-format off
  const struct { const char* name; std::string bytes; int line; const wchar_t* says; } cases[] = {
      {"missing column",   "Shape,X\na,1\n",                                    1, L"no column \"Y\""},
      {"header after blank lines", "\n \n\"Shape\",Y,Z\n",                    3, L"no column \"X\""},
      {"UTF-16 without mark", encode(L"Shape,X,Y\n", Encoding::utf16leBare), 1, L"no column \"Shape\""},
      {"not a number",     "Shape,X,Y\na,1,2\na,abc,3\n",                       3, L"X is not a number: \"abc\""},
      {"beyond double",    "Shape,X,Y\na,1,1e999\n",                            2, L"Y is not a number: \"1e999\""},
      // The largest text the number parser admits scales to infinity.
      {"largest number text", "Shape,X,Y,Bulge\na,1,2,1.7976931348623157e308\n", 2, L"Bulge is not a number"},
      {"empty coordinate", "Shape,X,Y\na,1,\n",                                 2, L"Y is not a number: \"\""},
      {"nan",              "Shape,X,Y\na,nan,1\n",                              2, L"X is not a number: \"nan\""},
      {"empty shape",      "Shape,X,Y\n,1,2\n",                                 2, L"Shape is empty"},
      {"bad colour",       "Shape,X,Y,Colour\na,1,2,purple\n",                  2, L"Colour \"purple\" is not"},
      {"colour changes",   "Shape,X,Y,Colour\na,1,2,red\na,2,2,#F00\na,3,3,blue\n", 4, L"on line 2"},
      {"breaks in an ignored column", "Shape,X,Y,Note\na,1,2,\"two\r\nlines\"\r\n\r\na,x,3,\n", 5, L"X is not"},
      {"breaks of every kind", "Shape,Note,X,Y\na,\"1\r2\n3\r\n4\",1,2\na,,1,?\n", 6, L"Y is not"},
      {"unclosed quote",   "Shape,X,Y,Note\na,1,2,ok\na,3,4,\"never\nclosed\n",  3, L"not closed"},
      {"unclosed after a closed one", "Shape,X,Y,Note\na,1,2,\"x\ny\"\na,3,\"4\n", 4, L"not closed"},
      {"unclosed in the header", "Shape,X,\"Y\n",                             1, L"not closed"},
      {"quote reopened by text", "Shape,X,Y,Note\na,1,2,\"ab\"cd\n",           2, L"not closed"},
      {"too large an arc", "Shape,X,Y,Bulge\na,0,0,10\na,1e308,0,0\n", 2, L"too large"},
  };
  // clang-format on
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    ScratchFolder folder;
    std::wstring file;
    const std::wstring text = errorFor(folder, c.bytes, &file);
    const std::wstring head = file + L", line " + std::to_wstring(c.line) + L": ";
    EXPECT_EQ(text.substr(0, head.size()), head) << utf8(text);
    EXPECT_NE(text.find(c.says), std::wstring::npos) << utf8(text);
  }
}

TEST(ViewerDrawing, FileFaultsPassTheLibrarysText) {
  ScratchFolder folder;
  const std::wstring missing = folder.file(L"missing.csv");
  try {
    (void)readDrawing(missing);
    ADD_FAILURE() << "no error";
  } catch (const DrawingError& e) {
    EXPECT_EQ(e.text().find(L"Cannot open \"" + missing + L"\""), 0u) << e.what();
  }
  // Undecodable UTF-8 after two good lines: the reader's text and the line.
  std::wstring file;
  const std::wstring text = errorFor(folder, "\xEF\xBB\xBFShape,X,Y\na,1,2\na,\xF8\xF8,3\n", &file);
  EXPECT_EQ(text, L"\"" + file + L"\" contains text that is not valid in the file's encoding. (line 3)");
}

// Random CSV-ish bytes: every input reads or fails with one DrawingError
// that names the file; none crashes, hangs or throws anything else.
TEST(ViewerDrawing, RandomInputNeverEscapes) {
  const char* tokens[] = {"Shape", "X", "Y", "Bulge", "Colour", ",", ",",    "\"",       "\"\"", "\n",   "\r",
                          "\r\n",  " ", "1", "-2.5",  "1e308",  "a", "#F00", "\xC3\xA9", "\xFF", "\x00", "rgb(1,2,3)"};
  std::mt19937 rnd(14);
  ScratchFolder folder;
  for (int round = 0; round < 300; ++round) {
    std::string bytes = round % 3 == 0 ? "\xEF\xBB\xBF" : "";
    bytes += round % 2 ? "Shape,X,Y,Bulge,Colour\n" : "";
    const int n = static_cast<int>(rnd() % 60);
    for (int k = 0; k < n; ++k) {
      const char* t = tokens[rnd() % std::size(tokens)];
      bytes.append(t, *t ? std::strlen(t) : 1);
    }
    SCOPED_TRACE(bytes);
    std::wstring file;
    const std::wstring text = errorFor(folder, bytes, &file);
    if (!text.empty()) {
      EXPECT_NE(text.find(file), std::wstring::npos) << utf8(text);
    }
  }
}

TEST(ViewerColour, Notations) {
  // clang-format off
  const struct { const wchar_t* text; bool ok; unsigned long colorref; } cases[] = {
      {L"#FF8000",               true,  0x0080FF},
      {L"#f80",                  true,  0x0088FF},
      {L" RGB( 0 , 128 , 255 ) ", true, 0xFF8000},
      {L"rgb(255,255,255)",      true,  0xFFFFFF},
      {L"hsv(120,1,0.5)",        true,  0x008000},
      {L"hsv(-240, 1, 1)",       true,  0x00FF00},
      {L"HSV (720,0,1)",         true,  0xFFFFFF},
      {L"Red",                   true,  0x0000FF},
      {L"green",                 true,  0x008000},
      {L"#12345",                false, 0},
      {L"#GGGGGG",               false, 0},
      {L"#",                     false, 0},
      {L"rgb(255.001,0,0)",      false, 0},
      {L"rgb(-1,0,0)",           false, 0},
      {L"rgb(1,2)",              false, 0},
      {L"rgb(1,2,3,4)",          false, 0},
      {L"rgb(1,2,3",             false, 0},
      {L"rgb(1e999,0,0)",        false, 0},
      {L"hsv(0,1.000001,1)",     false, 0},
      {L"hsv(0,1,-0.1)",         false, 0},
      {L"rgbx(1,2,3)",           false, 0},
      {L"purple",                false, 0},
      {L"",                      false, 0},
  };
  // clang-format on
  for (const auto& c : cases) {
    SCOPED_TRACE(utf8(std::wstring(c.text)));
    Colour colour = Colour::rgb(0.25, 0.25, 0.25);
    EXPECT_EQ(viewer::parseColour(c.text, colour), c.ok);
    if (c.ok) {
      EXPECT_EQ(colour.colorref(), c.colorref);
    }
  }
}

}  // namespace
