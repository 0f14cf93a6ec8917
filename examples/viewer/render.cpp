// Drawing segments into a 32-bit top-down bitmap: lines clipped to the
// bitmap before they are stepped, arcs flattened into chords that stay
// within a quarter pixel of the circle.
#include "render.h"

#include <qorcor14/errors.h>
#include <qorcor14/text.h>

#include <windows.h>
#include <icm.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <stdexcept>

namespace viewer {

namespace {

constexpr std::uint32_t kWhite = 0x00FFFFFF;
// Chords are at most this far from their arc, in pixels.
constexpr double kTolerance = 0.25;
// No arc is cut into more chords than this, however large its radius.
constexpr double kMaxChords = 65536;

int bitmapWidth(const DIBitmap& b) { return static_cast<int>(b.header()->bmiHeader.biWidth); }
int bitmapHeight(const DIBitmap& b) { return std::abs(static_cast<int>(b.header()->bmiHeader.biHeight)); }

// Pixels of one bitmap, and the 1-pixel lines drawn into it.
class Canvas {
public:
  explicit Canvas(DIBitmap& target)
      : m_bits(static_cast<std::uint32_t*>(target.bits())), m_width(bitmapWidth(target)),
        m_height(bitmapHeight(target)) {}

  [[nodiscard]] int width() const { return m_width; }
  [[nodiscard]] int height() const { return m_height; }

  // The line between two window points, as the pixels whose centres lie
  // nearest to it along its major axis, one per column (or row).
  void line(double x0, double y0, double x1, double y1, std::uint32_t pixel) {
    // Pixel (i, j) covers [i, i+1) x [j, j+1): with centres at whole numbers
    // rounding picks the pixel.
    x0 -= 0.5, y0 -= 0.5, x1 -= 0.5, y1 -= 0.5;
    if (!clip(x0, y0, x1, y1)) return;
    const double dx = x1 - x0, dy = y1 - y0;
    if (std::fabs(dx) >= std::fabs(dy)) {
      const int from = toIndex(x0, m_width), to = toIndex(x1, m_width);
      const double slope = dx != 0 ? dy / dx : 0;
      const int step = from <= to ? 1 : -1;
      for (int i = from;; i += step) {
        set(i, toIndex(y0 + (i - x0) * slope, m_height), pixel);
        if (i == to) break;
      }
    } else {
      const int from = toIndex(y0, m_height), to = toIndex(y1, m_height);
      const double slope = dx / dy;
      const int step = from <= to ? 1 : -1;
      for (int j = from;; j += step) {
        set(toIndex(x0 + (j - y0) * slope, m_width), j, pixel);
        if (j == to) break;
      }
    }
  }

private:
  // The nearest whole number within 0..size-1; clipping has already put the
  // value within half a pixel of that range.
  static int toIndex(double v, int size) {
    const double r = std::floor(v + 0.5);
    return r <= 0 ? 0 : r >= size - 1 ? size - 1 : static_cast<int>(r);
  }

  void set(int i, int j, std::uint32_t pixel) {
    m_bits[static_cast<std::size_t>(j) * static_cast<std::size_t>(m_width) + static_cast<std::size_t>(i)] = pixel;
  }

  // Liang-Barsky against the pixels' area in centre coordinates: false when
  // nothing of the line is left (or it is not finite).
  bool clip(double& x0, double& y0, double& x1, double& y1) const {
    if (!(std::isfinite(x0) && std::isfinite(y0) && std::isfinite(x1) && std::isfinite(y1))) return false;
    const double dx = x1 - x0, dy = y1 - y0;
    if (!std::isfinite(dx) || !std::isfinite(dy)) return false;
    double t0 = 0, t1 = 1;
    const auto edge = [&](double p, double q) {
      if (p == 0) return q >= 0;
      const double t = q / p;
      if (p < 0) {
        if (t > t1) return false;
        t0 = std::max(t0, t);
      } else {
        if (t < t0) return false;
        t1 = std::min(t1, t);
      }
      return true;
    };
    const double lo = -0.5, hiX = m_width - 0.5, hiY = m_height - 0.5;
    if (!edge(-dx, x0 - lo) || !edge(dx, hiX - x0) || !edge(-dy, y0 - lo) || !edge(dy, hiY - y0)) return false;
    if (t1 < 1) x1 = x0 + t1 * dx, y1 = y0 + t1 * dy;
    if (t0 > 0) x0 += t0 * dx, y0 += t0 * dy;
    return true;
  }

  std::uint32_t* m_bits;
  int m_width, m_height;
};

// The view's matrix and translation, applied inline: p·M + t.
struct Mapping {
  double m[3][2];
  bool mirroring;

  explicit Mapping(const UniformTransform<2>& t) : mirroring(t.mirroring()) { t.packToPod(m); }
  [[nodiscard]] Point<2> operator()(const Point<2>& p) const {
    return Point<2>(p[0] * m[0][0] + p[1] * m[1][0] + m[2][0], p[0] * m[0][1] + p[1] * m[1][1] + m[2][1]);
  }
};

constexpr double kPi = 3.141592653589793;

// The part of an arc that can reach the bitmap, as an interval of its turn
// from the start (0 .. |sweep|). The bitmap lies in the disc of radius
// `reach` about `middle`; the circle meets that disc in one window of
// angles about the direction of `middle`. Up to two intervals, as the
// window may wrap around the start.
int visibleTurns(const Point<2>& centre, double radius, double startAngle, double sweep, const Point<2>& middle,
                 double reach, double (&turns)[2][2]) {
  const double span = std::fabs(sweep);
  const Vector<2> toMiddle = middle - centre;
  const double d = toMiddle.length();
  if (d + radius <= reach) {
    turns[0][0] = 0, turns[0][1] = span;
    return 1;
  }
  const double gap = d - radius;
  if (std::fabs(gap) >= reach) return 0;
  // Half the window's angle, from 1 - cos = (reach^2 - gap^2) / (2 r d)
  // without the cancellation of the law of cosines at large radii.
  const double halfWindow = 2 * std::asin(std::min(1.0, std::sqrt((reach * reach - gap * gap) / (4 * radius * d))));
  const double toward = std::atan2(toMiddle[1], toMiddle[0]);
  double u = std::remainder((sweep < 0 ? -1 : 1) * (toward - startAngle), 2 * kPi);
  if (u < 0) u += 2 * kPi;
  int n = 0;
  for (const double shift : {0.0, -2 * kPi}) {
    const double from = std::max(0.0, u - halfWindow + shift), to = std::min(span, u + halfWindow + shift);
    if (from < to) turns[n][0] = from, turns[n++][1] = to;
  }
  return n;
}

// An arc in window coordinates as chords within kTolerance of it, only
// where it can reach the bitmap: a zoomed-in view may give it a radius of
// 1e12 pixels.
void drawArc(Canvas& canvas, const Point<2>& a, double bulge, const Point<2>& b, std::uint32_t pixel) {
  const QOR::Arc<2> arc(a, bulge, b);
  const Extent<2> e = arc.extent();
  if (!(e.hi(0) >= 0 && e.lo(0) <= canvas.width() && e.hi(1) >= 0 && e.lo(1) <= canvas.height())) return;
  const Point<2> c = arc.centre();
  const double radius = (a - c).length(), sweep = 4 * std::atan(bulge);
  if (!std::isfinite(radius) || !(radius > 0) || !c.isFinite()) {
    canvas.line(a[0], a[1], b[0], b[1], pixel);
    return;
  }
  // The turn of a chord whose middle is kTolerance inside the circle:
  // 1 - cos(step / 2) = kTolerance / radius.
  const double step = 4 * std::asin(std::min(1.0, std::sqrt(kTolerance / (2 * radius))));
  const double startAngle = std::atan2(a[1] - c[1], a[0] - c[0]), direction = sweep < 0 ? -1 : 1;
  const double w = canvas.width(), h = canvas.height();
  double turns[2][2];
  const int n = visibleTurns(c, radius, startAngle, sweep, Point<2>(w / 2, h / 2), std::hypot(w, h) / 2 + 2, turns);
  for (int k = 0; k < n; ++k) {
    const double from = turns[k][0], to = turns[k][1];
    const int pieces = static_cast<int>(std::clamp(std::ceil((to - from) / step), 1.0, kMaxChords));
    // The arc's own ends are exact; the points between come from the circle.
    const auto at = [&](double turn) {
      if (turn == 0) return a;
      if (turn == std::fabs(sweep)) return b;
      const double angle = startAngle + direction * turn;
      return Point<2>(c[0] + radius * std::cos(angle), c[1] + radius * std::sin(angle));
    };
    Point<2> p = at(from);
    for (int i = 1; i <= pieces; ++i) {
      const Point<2> q = at(i == pieces ? to : from + (to - from) * i / pieces);
      canvas.line(p[0], p[1], q[0], q[1], pixel);
      p = q;
    }
  }
}

}  // namespace

std::unique_ptr<DIBitmap> whiteBitmap(int width, int height) {
  if (width < 1 || height < 1) throw std::logic_error("a bitmap needs a width and a height of at least 1");
  auto bitmap = std::make_unique<DIBitmap>(static_cast<unsigned int>(width), -height, 32, 0);
  auto* bits = static_cast<std::uint32_t*>(bitmap->bits());
  std::fill(bits, bits + bitmap->bitsSize() / 4, kWhite);
  return bitmap;
}

bool parsePixels(const std::wstring& text, long lowest, long& out) {
  long v = 0;
  if (!isLong(&v, text.data(), text.size()) || v < lowest || v > kMaxSide) return false;
  out = v;
  return true;
}

QOR::Handle<QOR::ColourTransform> transformToProfile(const std::wstring& file) {
  const auto srgb = QOR::ColourProfile::create(QOR::ColourProfileId::sRGB);
  const auto profile = QOR::ColourProfile::createFromFile(file);
  return QOR::ColourTransform::create(QOR::RenderingIntent::relativeColorimetric, *srgb, *profile);
}

std::vector<std::uint32_t> shapePixels(const Drawing& drawing, const QOR::ColourTransform* toDisplay) {
  const std::size_t n = drawing.shapes.size();
  std::vector<unsigned char> bgr(3 * n);
  for (std::size_t i = 0; i < n; ++i) drawing.shapes[i].colour.getDib24(&bgr[3 * i]);
  if (toDisplay) {
    // One row of pixels per call, short enough for the call's 32-bit sizes.
    constexpr std::size_t kRow = 65536;
    std::vector<unsigned char> out(bgr.size());
    for (std::size_t from = 0; from < n; from += kRow) {
      const DWORD count = static_cast<DWORD>(std::min(kRow, n - from));
      if (!TranslateBitmapBits(toDisplay->handle(), &bgr[3 * from], BM_RGBTRIPLETS, count, 1, 3 * count, &out[3 * from],
                               BM_RGBTRIPLETS, 3 * count, nullptr, 0))
        throw WinError(L"TranslateBitmapBits", GetLastError());
    }
    bgr.swap(out);
  }
  std::vector<std::uint32_t> pixels(n);
  for (std::size_t i = 0; i < n; ++i)
    pixels[i] =
        static_cast<std::uint32_t>(bgr[3 * i + 2]) << 16 | static_cast<std::uint32_t>(bgr[3 * i + 1]) << 8 | bgr[3 * i];
  return pixels;
}

RenderJob::RenderJob(const Drawing& drawing, const View& view, const std::vector<std::uint32_t>& pixels,
                     DIBitmap& target)
    : m_drawing(drawing), m_view(view), m_pixels(pixels), m_target(target) {
  if (pixels.size() != drawing.shapes.size()) throw std::logic_error("one pixel value per shape is needed");
  const BITMAPINFOHEADER& h = target.header()->bmiHeader;
  if (h.biBitCount != 32 || h.biHeight >= 0 || h.biWidth < 1)
    throw std::logic_error("the target must be a 32-bit top-down bitmap");
}

bool RenderJob::run(const std::atomic<bool>& stop) {
  Canvas canvas(m_target);
  const Mapping map(m_view.toWindow());
  const std::vector<Shape>& shapes = m_drawing.shapes;
  while (m_shape < shapes.size()) {
    if (stop.load(std::memory_order_relaxed)) return false;
    for (std::size_t budget = kBatch; budget > 0 && m_shape < shapes.size();) {
      const Shape& shape = shapes[m_shape];
      const std::uint32_t pixel = m_pixels[m_shape];
      const std::size_t first = m_segment, end = std::min(shape.segments.size(), first + budget);
      for (; m_segment < end; ++m_segment) {
        const QOR::Arc<2>& s = shape.segments[m_segment];
        const Point<2> a = map(s.start()), b = map(s.end());
        // A mirroring view turns every arc the other way round.
        const double bulge = map.mirroring ? -s.bulge() : s.bulge();
        if (bulge == 0) canvas.line(a[0], a[1], b[0], b[1], pixel);
        else drawArc(canvas, a, bulge, b, pixel);
      }
      budget -= end - first;
      m_done += end - first;
      if (m_segment == shape.segments.size()) {
        ++m_shape;
        m_segment = 0;
      }
    }
  }
  return true;
}

void RenderJob::runToEnd() {
  const std::atomic<bool> never{false};
  run(never);
}

}  // namespace viewer
