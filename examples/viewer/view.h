// How a drawing lies in a window: one UniformTransform<2> from drawing
// coordinates (x right, y up) to window pixels (x right, y down, the origin
// at the client area's top left corner, pixel (i, j) covering [i, i+1) x
// [j, j+1)). Every user action composes one more similarity onto it, so the
// window and the headless render reach the same transform from the same
// steps.
#pragma once

#include <qorcor14/geometry.h>
#include <qorcor14/transform.h>

#include <string>
#include <vector>

namespace viewer {

class View {
public:
  // The scale factor of one wheel notch (WHEEL_DELTA).
  static constexpr double kNotchZoom = 1.25;

  // The whole of `extent` centred in a width x height window with a margin
  // of 5% of the smaller side on each side, y turned up. An empty or
  // degenerate extent is shown about its centre at scale 1 (or about the
  // origin when empty).
  static View fit(const Extent<2>& extent, int width, int height);

  // Zooms by kNotchZoom^notches about the window point `at`, which stays
  // where it is (positive notches: closer).
  void zoom(double notches, const Point<2>& at);
  // Moves the picture by `by` window pixels.
  void pan(const Vector<2>& by);
  // Turns the picture a quarter turn counter-clockwise on screen about the
  // window point `about`, `quarters` times (negative: clockwise).
  void rotate(int quarters, const Point<2>& about);
  // Mirrors the picture left to right in the vertical line through `about`.
  void mirror(const Point<2>& about);

  // Drawing to window, and back.
  [[nodiscard]] const UniformTransform<2>& toWindow() const { return m_toWindow; }
  [[nodiscard]] Point<2> toDrawing(const Point<2>& window) const;
  // Drawing units per window pixel.
  [[nodiscard]] double unitsPerPixel() const;

private:
  UniformTransform<2> m_toWindow;
};

// A user action, as the window performs it and as `--view` names it.
struct ViewStep {
  enum Kind { zoom, pan, rotate, mirror } kind;
  double a = 0, b = 0, c = 0;  // zoom: notches, x, y; pan: dx, dy; rotate: quarters, x, y; mirror: x
};

// Applies `steps` in order to `view`.
void apply(View& view, const std::vector<ViewStep>& steps);

// Parses a --view argument: steps separated by ';', each a name and its
// numbers separated by ',': "zoom,2,400,300;pan,-30,12;rotate,1,400,300;
// mirror,400". False, with steps untouched, on anything else.
[[nodiscard]] bool parseViewSteps(const std::wstring& text, std::vector<ViewStep>& steps);

}  // namespace viewer
