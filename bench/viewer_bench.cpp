// The viewer example's rendering beside bare GDI (a DIB section in a memory
// DC, MoveToEx and LineTo or ArcTo per segment) on a drawing of 100,000
// segments, half of them arcs, at 1920x1080 under the fitted view.
//
// "first full picture": a new white target and every segment drawn. "zoom to
// first pixel": a zoom of one notch about the centre, then a new target and
// the first batch of segments drawn; ours goes through a DrawThread as the
// viewer's window does (the request on this thread, the drawing on the
// worker), the peer draws on the calling thread.
#include "harness.h"

#include <qorcor14/threading.h>

#include "drawing.h"
#include "render.h"
#include "view.h"

#include <windows.h>

#include <atomic>
#include <cmath>
#include <memory>

namespace bench {
namespace {

constexpr int kWidth = 1920, kHeight = 1080;

// 1000 shapes of 100 segments, bulges alternating 0 and 0.5.
std::shared_ptr<const viewer::Drawing> largeDrawing() {
  auto drawing = std::make_shared<viewer::Drawing>();
  for (int s = 0; s < 1000; ++s) {
    viewer::Shape shape;
    shape.colour = Colour::rgb((s % 7) / 7.0, (s % 11) / 11.0, 0.5);
    for (int v = 0; v < 100; ++v) {
      const QOR::Arc<2> arc(Point<2>(v, s * 0.5), v % 2 ? 0.5 : 0.0, Point<2>(v + 1, s * 0.5 + (v % 3) - 1));
      drawing->extent |= arc.extent();
      shape.segments.push_back(arc);
    }
    drawing->segmentCount += shape.segments.size();
    drawing->shapes.push_back(std::move(shape));
  }
  return drawing;
}

// The first `segments` segments of `drawing`, as a drawing of their own.
std::shared_ptr<const viewer::Drawing> firstSegments(const viewer::Drawing& drawing, std::size_t segments) {
  auto part = std::make_shared<viewer::Drawing>();
  part->extent = drawing.extent;
  for (const viewer::Shape& shape : drawing.shapes) {
    if (part->segmentCount == segments) break;
    viewer::Shape piece = shape;
    piece.segments.resize(std::min(piece.segments.size(), segments - part->segmentCount));
    part->segmentCount += piece.segments.size();
    part->shapes.push_back(std::move(piece));
  }
  return part;
}

// A 32-bit top-down DIB section selected into a memory DC, filled white.
class GdiTarget {
public:
  GdiTarget() {
    BITMAPINFO info{};
    info.bmiHeader = {sizeof(BITMAPINFOHEADER), kWidth, -kHeight, 1, 32, BI_RGB, 0, 0, 0, 0, 0};
    m_dc = CreateCompatibleDC(nullptr);
    m_bitmap = CreateDIBSection(m_dc, &info, DIB_RGB_COLORS, &m_bits, nullptr, 0);
    m_old = SelectObject(m_dc, m_bitmap);
    const RECT all{0, 0, kWidth, kHeight};
    FillRect(m_dc, &all, static_cast<HBRUSH>(GetStockObject(WHITE_BRUSH)));
  }
  ~GdiTarget() {
    SelectObject(m_dc, m_old);
    DeleteObject(m_bitmap);
    DeleteDC(m_dc);
  }
  GdiTarget(const GdiTarget&) = delete;
  GdiTarget& operator=(const GdiTarget&) = delete;
  [[nodiscard]] HDC dc() const { return m_dc; }

private:
  HDC m_dc;
  HBITMAP m_bitmap;
  HGDIOBJ m_old;
  void* m_bits = nullptr;
};

// Draws up to `limit` segments with GDI in device coordinates from `view`.
void gdiDraw(const viewer::Drawing& drawing, const viewer::View& view, const std::vector<std::uint32_t>& pixels, HDC dc,
             std::size_t limit) {
  const UniformTransform<2>& t = view.toWindow();
  const double scale = view.unitsPerPixel() > 0 ? 1 / view.unitsPerPixel() : 0;
  // A mirroring view turns counter-clockwise arcs clockwise on screen, and
  // the window's y axis points down: one more turn of the sense.
  const Vector<2> ex = Vector<2>(1, 0) * t, ey = Vector<2>(0, 1) * t;
  const bool flips = ex[0] * ey[1] - ex[1] * ey[0] < 0;
  std::size_t drawn = 0;
  for (std::size_t s = 0; s < drawing.shapes.size() && drawn < limit; ++s) {
    const viewer::Shape& shape = drawing.shapes[s];
    const std::uint32_t p = pixels[s];
    HPEN pen = CreatePen(PS_SOLID, 1, RGB(p >> 16 & 0xFF, p >> 8 & 0xFF, p & 0xFF));
    HGDIOBJ old = SelectObject(dc, pen);
    bool first = true;
    for (const QOR::Arc<2>& arc : shape.segments) {
      if (drawn++ == limit) break;
      const Point<2> a = arc.start() * t, b = arc.end() * t;
      if (first) MoveToEx(dc, std::lround(a[0]), std::lround(a[1]), nullptr);
      first = false;
      if (arc.bulge() == 0) {
        LineTo(dc, std::lround(b[0]), std::lround(b[1]));
        continue;
      }
      const Point<2> c = arc.centre() * t;
      const double r = arc.radius() * scale;
      SetArcDirection(dc, (arc.bulge() > 0) != flips ? AD_COUNTERCLOCKWISE : AD_CLOCKWISE);
      ArcTo(dc, std::lround(c[0] - r), std::lround(c[1] - r), std::lround(c[0] + r), std::lround(c[1] + r),
            std::lround(a[0]), std::lround(a[1]), std::lround(b[0]), std::lround(b[1]));
    }
    SelectObject(dc, old);
    DeleteObject(pen);
  }
}

// The viewer's draw task, reduced to what the zoom row needs: a new target
// and the job drawn, then an event set.
class FirstPixels : public QOR::Threading::DrawTask {
public:
  FirstPixels(HWND window, const viewer::Drawing& part, const std::vector<std::uint32_t>& pixels)
      : m_window(window), m_part(part), m_pixels(pixels), m_done(CreateEventW(nullptr, FALSE, FALSE, nullptr)) {}
  ~FirstPixels() { CloseHandle(m_done); }
  FirstPixels(const FirstPixels&) = delete;
  FirstPixels& operator=(const FirstPixels&) = delete;

  void interrupt() override { m_stop = true; }
  HWND window() const override { return m_window; }
  bool draw() override {
    m_stop = false;
    std::unique_ptr<DIBitmap> target = viewer::whiteBitmap(kWidth, kHeight);
    viewer::RenderJob job(m_part, view, m_pixels, *target);
    if (!job.run(m_stop)) return false;
    doNotOptimize(target->bits());
    SetEvent(m_done);
    return true;
  }
  [[nodiscard]] HANDLE done() const { return m_done; }

  viewer::View view;  // set before each insert

private:
  HWND m_window;
  const viewer::Drawing& m_part;
  const std::vector<std::uint32_t>& m_pixels;
  std::atomic<bool> m_stop{false};
  HANDLE m_done;
};

class BenchDrawThread : public QOR::Threading::DrawThread {
public:
  ~BenchDrawThread() override { finish(QOR::Threading::BoringWaiter()); }
  void threadStarting() override {}
  void threadEnding() override {}
};

// What the rows share, made on first use.
struct Scene {
  std::shared_ptr<const viewer::Drawing> drawing = largeDrawing();
  std::shared_ptr<const viewer::Drawing> firstBatch = firstSegments(*drawing, viewer::RenderJob::kBatch);
  std::vector<std::uint32_t> pixels = viewer::shapePixels(*drawing, nullptr);
  viewer::View fitted = viewer::View::fit(drawing->extent, kWidth, kHeight);
  HWND window =
      CreateWindowExW(0, L"STATIC", L"viewer bench", WS_POPUP, 0, 0, 10, 10, nullptr, nullptr, nullptr, nullptr);
  std::vector<std::uint32_t> firstPixels{pixels.begin(),
                                         pixels.begin() + static_cast<std::ptrdiff_t>(firstBatch->shapes.size())};
  FirstPixels task{window, *firstBatch, firstPixels};
  BenchDrawThread thread;  // last: finished before the task goes
  ~Scene() {
    thread.finish(QOR::Threading::BoringWaiter());
    DestroyWindow(window);
  }

  [[nodiscard]] viewer::View zoomed(std::size_t i) const {
    viewer::View view = fitted;
    view.zoom(i % 2 ? -1 : 1, Point<2>(kWidth / 2.0, kHeight / 2.0));
    return view;
  }
};

std::shared_ptr<Scene> scene() {
  static std::weak_ptr<Scene> shared;
  std::shared_ptr<Scene> s = shared.lock();
  if (!s) shared = s = std::make_shared<Scene>();
  return s;
}

const char kGdiPeer[] = "GDI LineTo/ArcTo into a DIB section";

// The peer's side of a row: `ops` new GDI targets, each with up to `limit`
// segments drawn under the view viewOf(op) gives.
template <class ViewOf>
std::size_t gdiPictures(std::size_t ops, ViewOf viewOf, std::size_t limit) {
  const auto s = scene();
  for (std::size_t i = 0; i < ops; ++i) {
    GdiTarget target;
    gdiDraw(*s->drawing, viewOf(*s, i), s->pixels, target.dc(), limit);
    GdiFlush();
  }
  return ops;
}

}  // namespace

void addViewerCases(Suite& suite) {
  suite.add({"viewer 100k segments 1920x1080: first full picture", "picture",
             [](std::size_t ops) {
               const auto s = scene();
               for (std::size_t i = 0; i < ops; ++i) {
                 std::unique_ptr<DIBitmap> target = viewer::whiteBitmap(kWidth, kHeight);
                 viewer::RenderJob(*s->drawing, s->fitted, s->pixels, *target).runToEnd();
                 doNotOptimize(target->bits());
               }
               return ops;
             },
             kGdiPeer,
             [](std::size_t ops) {
               return gdiPictures(
                   ops, [](const Scene& s, std::size_t) { return s.fitted; }, SIZE_MAX);
             }});
  suite.add({"viewer zoom to first pixel (draw thread; peer inline)", "zoom",
             [](std::size_t ops) {
               const auto s = scene();
               for (std::size_t i = 0; i < ops; ++i) {
                 s->task.view = s->zoomed(i);
                 s->thread.insert(s->task);
                 if (WaitForSingleObject(s->task.done(), 10000) != WAIT_OBJECT_0) return i;
               }
               return ops;
             },
             kGdiPeer,
             [](std::size_t ops) {
               return gdiPictures(
                   ops, [](const Scene& s, std::size_t i) { return s.zoomed(i); }, viewer::RenderJob::kBatch);
             }});
}

}  // namespace bench
