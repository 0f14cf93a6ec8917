// Rendering, checked against the geometry: points of each shape mapped
// through the view land on pixels of its colour, pixels away from every shape
// stay white, and a stopped job resumes to the same picture.
#include "render.h"

#include <qorcor14/colour.h>

#include <gtest/gtest.h>
#include <windows.h>

#include <chrono>
#include <cmath>
#include <cstring>
#include <future>

namespace {

using viewer::Drawing;
using viewer::RenderJob;
using viewer::Shape;
using viewer::View;

constexpr double kPi = 3.141592653589793;
constexpr std::uint32_t kWhite = 0xFFFFFF, kRed = 0xFF0000, kBlue = 0x0000FF, kGreen = 0x008000;

Drawing drawingOf(std::vector<Shape> shapes) {
  Drawing d;
  d.shapes = std::move(shapes);
  for (const Shape& s : d.shapes)
    for (const QOR::Arc<2>& a : s.segments) {
      d.extent |= a.extent();
      ++d.segmentCount;
    }
  return d;
}

// A horizontal and a vertical line meeting at a corner, and the upper half of
// the circle about (50,40) of radius 30.
Drawing testDrawing() {
  return drawingOf({{L"h", Colour::rgb(1, 0, 0), {QOR::Arc<2>(Point<2>(0, 0), Point<2>(100, 0))}},
                    {L"v", Colour::rgb(0, 0, 1), {QOR::Arc<2>(Point<2>(100, 0), Point<2>(100, 60))}},
                    {L"arc", Colour::rgb(0, 128 / 255.0, 0), {QOR::Arc<2>(Point<2>(20, 40), -1, Point<2>(80, 40))}}});
}

struct Picture {
  std::unique_ptr<DIBitmap> bitmap;
  int w, h;
  std::uint32_t at(int i, int j) const { return static_cast<const std::uint32_t*>(bitmap->bits())[j * w + i]; }
  // Whether (i, j) or one of its eight neighbours has `pixel`.
  bool around(int i, int j, std::uint32_t pixel) const {
    for (int dj = -1; dj <= 1; ++dj)
      for (int di = -1; di <= 1; ++di)
        if (i + di >= 0 && i + di < w && j + dj >= 0 && j + dj < h && at(i + di, j + dj) == pixel) return true;
    return false;
  }
};

Picture render(const Drawing& d, const View& v, int w, int h) {
  Picture p{viewer::whiteBitmap(w, h), w, h};
  RenderJob(d, v, viewer::shapePixels(d, nullptr), *p.bitmap).runToEnd();
  return p;
}

double distanceToSegment(const Point<2>& q, const Point<2>& a, const Point<2>& b) {
  const Vector<2> ab = b - a, aq = q - a;
  const double t = std::clamp((aq[0] * ab[0] + aq[1] * ab[1]) / ab.lengthSquared(), 0.0, 1.0);
  return (q - (a + ab * t)).length();
}

TEST(ViewerRender, PixelsFollowTheGeometryUnderEveryView) {
  const Drawing d = testDrawing();
  const int w = 320, h = 240;
  const View fitted = View::fit(d.extent, w, h);
  const Point<2> arcTop = Point<2>(50, 70) * fitted.toWindow();
  // clang-format off
  const struct { const char* name; std::vector<viewer::ViewStep> steps; } views[] = {
      {"fitted",      {}},
      {"turned",      {{viewer::ViewStep::rotate, 1, 160, 120}}},
      {"mirrored",    {{viewer::ViewStep::mirror, 100}}},
      {"zoomed",      {{viewer::ViewStep::zoom, 4, 200, 180}}},
      {"deep in arc", {{viewer::ViewStep::zoom, 100, arcTop[0], arcTop[1]}}},
      {"far off",     {{viewer::ViewStep::pan, 1e13, -1e13}}},
  };
  // clang-format on
  for (const auto& view : views) {
    SCOPED_TRACE(view.name);
    View v = fitted;
    viewer::apply(v, view.steps);
    const Picture pic = render(d, v, w, h);
    const auto& t = v.toWindow();
    const Point<2> centre = Point<2>(50, 40) * t;
    const double radius = 30 / v.unitsPerPixel();
    const auto checkOn = [&](const Point<2>& p, std::uint32_t pixel) {
      const Point<2> q = p * t;
      if (q[0] < 1 || q[0] >= w - 1 || q[1] < 1 || q[1] >= h - 1) return;
      EXPECT_TRUE(pic.around(static_cast<int>(q[0]), static_cast<int>(q[1]), pixel)) << q[0] << "," << q[1];
    };
    for (int k = 1; k < 400; ++k) {
      checkOn(Point<2>(100.0 * k / 400, 0), kRed);
      checkOn(Point<2>(100, 60.0 * k / 400), kBlue);
      checkOn(Point<2>(50 + 30 * std::cos(kPi * k / 400), 40 + 30 * std::sin(kPi * k / 400)), kGreen);
    }
    // Far from every shape (the arc's whole circle counts), nothing is drawn.
    const Point<2> o = Point<2>(0, 0) * t, x = Point<2>(100, 0) * t, y = Point<2>(100, 60) * t;
    for (int j = 0; j < h; j += 3)
      for (int i = 0; i < w; i += 3) {
        const Point<2> q(i + 0.5, j + 0.5);
        if (distanceToSegment(q, o, x) > 2 && distanceToSegment(q, x, y) > 2 &&
            std::fabs((q - centre).length() - radius) > 2) {
          ASSERT_EQ(pic.at(i, j), kWhite) << i << "," << j;
        }
      }
  }
}

TEST(ViewerRender, FittedDrawingFillsTheImageWithinItsMargin) {
  const Drawing d = testDrawing();
  for (const auto& [w, h] : {std::pair{320, 240}, {100, 300}, {1000, 50}}) {
    SCOPED_TRACE(w);
    const Picture pic = render(d, View::fit(d.extent, w, h), w, h);
    int lo[2] = {w, h}, hi[2] = {-1, -1};
    for (int j = 0; j < h; ++j)
      for (int i = 0; i < w; ++i)
        if (pic.at(i, j) != kWhite) {
          lo[0] = std::min(lo[0], i), hi[0] = std::max(hi[0], i);
          lo[1] = std::min(lo[1], j), hi[1] = std::max(hi[1], j);
        }
    const double m = 0.05 * std::min(w, h);
    EXPECT_GE(lo[0], m - 1);
    EXPECT_LE(hi[0], w - m + 1);
    EXPECT_GE(lo[1], m - 1);
    EXPECT_LE(hi[1], h - m + 1);
    // The limiting axis reaches both margins.
    const bool byWidth = 100.0 / (w - 2 * m) >= 70.0 / (h - 2 * m);
    const int k = byWidth ? 0 : 1, size = byWidth ? w : h;
    EXPECT_LE(lo[k], m + 1);
    EXPECT_GE(hi[k], size - m - 2);
  }
}

TEST(ViewerRender, PixelsAreBlueGreenRedZeroAndTakeTheDisplayProfile) {
  const Drawing d = drawingOf({{L"red", Colour::rgb(1, 0, 0), {}}, {L"grey", Colour::rgb(0.5, 0.5, 0.5), {}}});
  const std::vector<std::uint32_t> plain = viewer::shapePixels(d, nullptr);
  EXPECT_EQ(plain, (std::vector<std::uint32_t>{kRed, 0x808080}));
  const Drawing one = drawingOf({{L"r", Colour::rgb(1, 0, 0), {QOR::Arc<2>(Point<2>(0, 0), Point<2>(0, 0))}}});
  const Picture pic = render(one, View::fit(one.extent, 3, 3), 3, 3);
  const unsigned char* bytes = static_cast<const unsigned char*>(pic.bitmap->bits());
  EXPECT_EQ(std::memcmp(bytes + 4 * 4, "\x00\x00\xFF\x00", 4), 0);  // the middle pixel
  EXPECT_EQ(std::memcmp(bytes, "\xFF\xFF\xFF\x00", 4), 0);

  const std::wstring adobe = L"Z:\\usr\\share\\color\\icc\\colord\\AdobeRGB1998.icc";
  if (GetFileAttributesW(adobe.c_str()) == INVALID_FILE_ATTRIBUTES) GTEST_SKIP() << "colord-data is not installed";
  const auto srgb = QOR::ColourProfile::create(QOR::ColourProfileId::sRGB);
  const auto target = QOR::ColourProfile::createFromFile(adobe);
  const auto toAdobe = QOR::ColourTransform::create(QOR::RenderingIntent::relativeColorimetric, *srgb, *target);
  const std::vector<std::uint32_t> managed = viewer::shapePixels(d, toAdobe.get());
  // Adobe RGB's wider gamut pulls sRGB's red in.
  EXPECT_NEAR(static_cast<int>(managed[0] >> 16), 219, 3);
  EXPECT_LE(managed[0] & 0xFFFF, 0x0303u);
}

// 100,000 segments in 1,000 shapes, lines and arcs, across a 1920 x 1080 view.
Drawing largeDrawing() {
  std::vector<Shape> shapes(1000);
  std::uint32_t seed = 14;
  const auto next = [&] { return (seed = seed * 1664525u + 1013904223u) >> 8; };
  for (std::size_t s = 0; s < shapes.size(); ++s) {
    shapes[s].colour = Colour::argb(next());
    Point<2> p(next() % 1920, next() % 1080);
    for (int k = 0; k < 100; ++k) {
      const Point<2> q(static_cast<double>(next() % 1920), static_cast<double>(next() % 1080));
      shapes[s].segments.emplace_back(p, k % 2 ? (next() % 200) / 100.0 - 1 : 0, q);
      p = q;
    }
  }
  return drawingOf(std::move(shapes));
}

TEST(ViewerRender, StoppedJobResumesToTheSamePicture) {
  const Drawing d = largeDrawing();
  ASSERT_EQ(d.segmentCount, 100000u);
  const View v = View::fit(d.extent, 1920, 1080);
  const std::vector<std::uint32_t> pixels = viewer::shapePixels(d, nullptr);
  const auto whole = viewer::whiteBitmap(1920, 1080);
  RenderJob(d, v, pixels, *whole).runToEnd();
  const auto same = [&](const DIBitmap& b) { return std::memcmp(b.bits(), whole->bits(), whole->bitsSize()) == 0; };

  // Stopped before the first batch: nothing is drawn.
  {
    const auto bmp = viewer::whiteBitmap(1920, 1080);
    RenderJob job(d, v, pixels, *bmp);
    std::atomic<bool> stop{true};
    EXPECT_FALSE(job.run(stop));
    EXPECT_EQ(job.segmentsDrawn(), 0u);
    const auto white = viewer::whiteBitmap(1920, 1080);
    EXPECT_EQ(std::memcmp(bmp->bits(), white->bits(), white->bitsSize()), 0);
    stop = false;
    EXPECT_TRUE(job.run(stop));
    EXPECT_EQ(job.segmentsDrawn(), 100000u);
    EXPECT_TRUE(same(*bmp));
  }
  // Stopped by another thread while drawing: it stops between two batches
  // and the next call draws the rest.
  for (int round = 0; round < 3; ++round) {
    SCOPED_TRACE(round);
    const auto bmp = viewer::whiteBitmap(1920, 1080);
    RenderJob job(d, v, pixels, *bmp);
    std::atomic<bool> stop{false};
    auto running = std::async(std::launch::async, [&] { return job.run(stop); });
    stop = true;
    ASSERT_EQ(running.wait_for(std::chrono::seconds(60)), std::future_status::ready);
    if (!running.get()) {
      EXPECT_EQ(job.segmentsDrawn() % RenderJob::kBatch, 0u);
      EXPECT_LT(job.segmentsDrawn(), 100000u);
    }
    stop = false;
    EXPECT_TRUE(job.run(stop));
    EXPECT_TRUE(same(*bmp));
  }
}

TEST(ViewerRender, NonFiniteAndHugeCoordinatesDrawNothingOrClip) {
  const double big = 1e11;  // about 6e11 pixels off
  const Drawing d = drawingOf(
      {{L"across",
        Colour::rgb(1, 0, 0),
        {QOR::Arc<2>(Point<2>(-big, 5), Point<2>(big, 5)), QOR::Arc<2>(Point<2>(-big, 0), 1e-300, Point<2>(big, 0)),
         QOR::Arc<2>(Point<2>(0, 0), NAN, Point<2>(1, 1)), QOR::Arc<2>(Point<2>(INFINITY, 0), Point<2>(0, 0))}}});
  View v = View::fit(Extent<2>(Point<2>(0, 0), Point<2>(10, 10)), 64, 64);
  const Picture pic = render(d, v, 64, 64);
  // The line y = 5 crosses the whole picture, one pixel per column.
  const int row = static_cast<int>((Point<2>(0, 5) * v.toWindow())[1]);
  for (int i = 0; i < 64; ++i) EXPECT_EQ(pic.at(i, row), kRed) << i;
}

}  // namespace
