// Drawing into a bitmap: every segment of a drawing under a view, in its
// shape's colour, 1 pixel wide, without anti-aliasing, on white. The same
// code draws the window's picture on the draw thread and the headless
// --render image.
#pragma once

#include "drawing.h"
#include "view.h"

#include <qorcor14/colour.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace viewer {

// A 32-bit top-down DIBitmap of width x height, filled white.
[[nodiscard]] std::unique_ptr<DIBitmap> whiteBitmap(int width, int height);

// The largest width or height of a picture, and of a window's position.
inline constexpr long kMaxSide = 16384;

// A whole number from `lowest` to kMaxSide in `text`, as a command line gives
// a size or a position; false for anything else.
[[nodiscard]] bool parsePixels(const std::wstring& text, long lowest, long& out);

// The transform from sRGB to the colour profile in `file`, relative
// colorimetric: the window's display and --render --profile use the same.
// Throws QOR::QorError when the profile cannot be read.
[[nodiscard]] QOR::Handle<QOR::ColourTransform> transformToProfile(const std::wstring& file);

// The colour each shape is drawn in: its sRGB colour through `toDisplay`
// when there is one, as 0x00RRGGBB (the byte order of a 32-bit DIB pixel).
// Computed once per drawing and display, not per pixel.
[[nodiscard]] std::vector<std::uint32_t> shapePixels(const Drawing& drawing, const QOR::ColourTransform* toDisplay);

// One picture being drawn: resumable, so that a draw task that stops early
// goes on where it stopped.
class RenderJob {
public:
  // Segments drawn between two looks at the stop flag.
  static constexpr std::size_t kBatch = 256;

  // The drawing, the pixels and the target must outlive the job; the target
  // is 32 bits per pixel and top-down (as whiteBitmap makes it).
  RenderJob(const Drawing& drawing, const View& view, const std::vector<std::uint32_t>& pixels, DIBitmap& target);

  // Draws on from where it stopped. Looks at `stop` before each batch and
  // returns false, with the next batch not begun, once it is set; true when
  // every segment is drawn.
  bool run(const std::atomic<bool>& stop);
  // Draws everything at once.
  void runToEnd();

  [[nodiscard]] std::size_t segmentsDrawn() const { return m_done; }

private:
  const Drawing& m_drawing;
  View m_view;
  const std::vector<std::uint32_t>& m_pixels;
  DIBitmap& m_target;
  std::size_t m_shape = 0, m_segment = 0, m_done = 0;
};

// The headless mode: viewer --render FILE.csv OUT.bmp --size W H
// [--view STEPS] [--profile FILE.icc]. Returns the process's exit code:
// 0, or 1 with the reason on stderr.
// `args` are the program's arguments after its name, "--render" first.
int renderHeadless(const std::vector<std::wstring>& args);

}  // namespace viewer
