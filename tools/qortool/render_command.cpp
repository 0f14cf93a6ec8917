// qortool render: a picture drawn with the library's own pieces into a 24-bit
// DIBitmap and written as a .bmp file.
//
// The picture: an HSV colour wheel (hue around, saturation outwards), four
// arcs of different bulges traced over it with QOR::Arc<2>::measureOff, and under
// the wheel two ramps: hue at full HLS saturation, and the same hues with HLS
// lightness rising from black to white.
#include "command.h"

#include <qorcor14/arc.h>
#include <qorcor14/colour.h>
#include <qorcor14/errors.h>
#include <qorcor14/text/strings.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>

namespace qortool {
namespace {

class Canvas {
public:
  // bmp is top-down, width by height pixels.
  Canvas(DIBitmap& bmp, unsigned width, unsigned height)
      : m_bmp(bmp), m_width(width), m_height(height), m_stride(bmp.bitsSize() / height) {}

  // y grows downwards: the bitmap is top-down.
  void put(int x, int y, const Colour& c) {
    if (x < 0 || y < 0 || unsigned(x) >= m_width || unsigned(y) >= m_height) return;
    c.getDib24(static_cast<unsigned char*>(m_bmp.bits()) + std::size_t(y) * m_stride + 3 * std::size_t(x));
  }

  void trace(const QOR::Arc<2>& arc, const Colour& c, double thickness) {
    const double length = arc.length();
    Point<2> p;
    Vector<2> d;
    for (double s = 0; s <= length; s += 0.5) {
      arc.measureOff(s, p, d);
      const int r = int(thickness);
      for (int dy = -r; dy <= r; ++dy)
        for (int dx = -r; dx <= r; ++dx)
          if (dx * dx + dy * dy <= thickness * thickness)
            put(int(std::lround(p[0])) + dx, int(std::lround(p[1])) + dy, c);
    }
  }

  unsigned width() const { return m_width; }
  unsigned height() const { return m_height; }

private:
  DIBitmap& m_bmp;
  unsigned m_width, m_height, m_stride;
};

void draw(Canvas& canvas) {
  const unsigned w = canvas.width(), h = canvas.height();
  const unsigned rampHeight = std::max(1u, h / 10);
  const unsigned wheelHeight = h > 2 * rampHeight ? h - 2 * rampHeight : 1;
  const double cx = w / 2.0, cy = wheelHeight / 2.0;
  const double radius = std::max(1.0, std::min(cx, cy) - 4);
  const Colour background = Colour::hls(Angle(), 0.12, 0);
  for (unsigned y = 0; y < wheelHeight; ++y) {
    for (unsigned x = 0; x < w; ++x) {
      const double dx = x + 0.5 - cx, dy = cy - (y + 0.5);
      const double r = std::sqrt(dx * dx + dy * dy) / radius;
      canvas.put(int(x), int(y), r <= 1 ? Colour::hsv(Angle::cosSin(dx, dy), r, 1) : background);
    }
  }
  // Half circles and flatter arcs across the wheel, from left to right.
  const Point<2> left(cx - radius, cy), right(cx + radius, cy);
  const double bulges[] = {1, 0.5, -0.5, -1};
  for (double b : bulges) canvas.trace(QOR::Arc<2>(left, b, right), Colour::hls(Angle(), b > 0 ? 0.05 : 0.95, 0), 1.2);
  for (unsigned x = 0; x < w; ++x) {
    const Angle hue = Angle::degrees(360.0 * x / w - 180);
    for (unsigned y = wheelHeight; y < h; ++y) {
      const bool hueRamp = y < wheelHeight + rampHeight;
      canvas.put(int(x), int(y), Colour::hls(hue, hueRamp ? 0.5 : (x + 0.5) / w, 1));
    }
  }
}

unsigned parseSize(const std::string& text) {
  const double v = parseDouble(text, "--size");
  if (v < 16 || v > 8192 || v != std::floor(v)) throw UsageError("--size takes whole numbers from 16 to 8192");
  return unsigned(v);
}

}  // namespace

int runRender(const Args& args) {
  std::vector<std::wstring> wide = wideArguments(args);
  std::wstring out;
  unsigned width = 320, height = 240;
  for (std::size_t i = 0; i < args.size(); ++i) {
    if (args[i] == "--size") {
      if (i + 2 >= args.size()) throw UsageError("--size needs a width and a height");
      width = parseSize(args[i + 1]);
      height = parseSize(args[i + 2]);
      i += 2;
    } else if (out.empty()) {
      out = wide[i];
    } else {
      throw UsageError("takes one output file: render OUT.bmp [--size W H]");
    }
  }
  if (out.empty()) throw UsageError("needs an output file: render OUT.bmp [--size W H]");
  DIBitmap bmp(width, -int(height), 24, 0);
  std::memset(bmp.bits(), 0, bmp.bitsSize());
  Canvas canvas(bmp, width, height);
  draw(canvas);
  saveBitmapFile(bmp, out);
  print(stringPrintf(L"wrote %s: %u x %u, 24 bits, %u bytes\n", out.c_str(), width, height, bmp.fileSize()));
  return 0;
}

}  // namespace qortool
