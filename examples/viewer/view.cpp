// The view transform and the steps that change it.
#include "view.h"

#include <qorcor14/text.h>

#include <algorithm>
#include <cmath>

namespace viewer {

namespace {

UniformTransform<2> translation(double x, double y) { return UniformTransform<2>::translation(Vector<2>(x, y)); }

// About the window point p: take p to the origin, apply t, take it back.
UniformTransform<2> about(const Point<2>& p, const UniformTransform<2>& t) {
  UniformTransform<2> r = translation(-p[0], -p[1]);
  r *= t;
  r *= translation(p[0], p[1]);
  return r;
}

// Reflection in the line through `at` along `direction`.
UniformTransform<2> reflection(const Point<2>& at, const Vector<2>& direction) {
  return UniformTransform<2>::mirror(QOR::Line<2>(direction, at));
}

}  // namespace

View View::fit(const Extent<2>& extent, int width, int height) {
  View v;
  double centreX = 0, centreY = 0, scale = 1;
  if (!extent.degenerate()) {
    // Halves first: the full width of an extent spanning most of the double
    // range would overflow.
    const double halfW = extent.hi(0) * 0.5 - extent.lo(0) * 0.5;
    const double halfH = extent.hi(1) * 0.5 - extent.lo(1) * 0.5;
    centreX = extent.lo(0) * 0.5 + extent.hi(0) * 0.5;
    centreY = extent.lo(1) * 0.5 + extent.hi(1) * 0.5;
    const double margin = 0.05 * std::min(width, height);
    const double room[2] = {(width - 2 * margin) * 0.5, (height - 2 * margin) * 0.5};
    // A flat extent is fitted along its other axis; a single point keeps scale 1.
    double fitted = HUGE_VAL;
    if (halfW > 0) fitted = room[0] / halfW;
    if (halfH > 0) fitted = std::min(fitted, room[1] / halfH);
    if (fitted != HUGE_VAL && fitted > 0 && std::isfinite(fitted)) scale = fitted;
  }
  v.m_toWindow = translation(-centreX, -centreY);
  v.m_toWindow *= UniformTransform<2>::scale(scale);
  // Window rows run downwards.
  v.m_toWindow *= reflection(Point<2>(0, 0), Vector<2>(1, 0));
  v.m_toWindow *= translation(width * 0.5, height * 0.5);
  return v;
}

void View::zoom(double notches, const Point<2>& at) {
  m_toWindow *= about(at, UniformTransform<2>::scale(std::pow(kNotchZoom, notches)));
}

void View::pan(const Vector<2>& by) { m_toWindow *= UniformTransform<2>::translation(by); }

void View::rotate(int quarters, const Point<2>& at) {
  // With rows running down, a counter-clockwise turn on screen is a clockwise
  // one in the window's own axes. Exact cosines and sines, so that four
  // quarters give back the transform up to the rounding of the translation.
  // clang-format off
  static const double kCosSin[4][2] = {{1, 0}, {0, -1}, {-1, 0}, {0, 1}};
  // clang-format on
  const int q = ((quarters % 4) + 4) % 4;
  m_toWindow *= about(at, UniformTransform<2>::rotation(Angle::cosSin(kCosSin[q][0], kCosSin[q][1])));
}

void View::mirror(const Point<2>& at) { m_toWindow *= reflection(at, Vector<2>(0, 1)); }

Point<2> View::toDrawing(const Point<2>& window) const { return window * m_toWindow.inverse(); }

double View::unitsPerPixel() const { return 1 / (Vector<2>(1, 0) * m_toWindow).length(); }

void apply(View& view, const std::vector<ViewStep>& steps) {
  for (const ViewStep& s : steps) {
    switch (s.kind) {
    case ViewStep::zoom: view.zoom(s.a, Point<2>(s.b, s.c)); break;
    case ViewStep::pan: view.pan(Vector<2>(s.a, s.b)); break;
    case ViewStep::rotate: view.rotate(static_cast<int>(s.a), Point<2>(s.b, s.c)); break;
    case ViewStep::mirror: view.mirror(Point<2>(s.a, 0)); break;
    }
  }
}

namespace {

std::vector<std::wstring> split(const std::wstring& text, wchar_t separator) {
  std::vector<std::wstring> parts;
  std::size_t from = 0;
  for (;;) {
    const std::size_t at = text.find(separator, from);
    parts.push_back(trimwhitespace(text.substr(from, at == std::wstring::npos ? std::wstring::npos : at - from)));
    if (at == std::wstring::npos) return parts;
    from = at + 1;
  }
}

bool parseStep(const std::wstring& text, ViewStep& step) {
  // clang-format off
  static const struct { const wchar_t* name; ViewStep::Kind kind; std::size_t numbers; } kSteps[] = {
      {L"zoom",   ViewStep::zoom,   3},
      {L"pan",    ViewStep::pan,    2},
      {L"rotate", ViewStep::rotate, 3},
      {L"mirror", ViewStep::mirror, 1},
  };
  // clang-format on
  const std::vector<std::wstring> parts = split(text, L',');
  for (const auto& s : kSteps) {
    if (parts[0] != s.name) continue;
    if (parts.size() != s.numbers + 1) return false;
    double v[3] = {};
    for (std::size_t k = 0; k < s.numbers; ++k)
      if (!isDouble(&v[k], parts[k + 1].data(), parts[k + 1].size()) || !std::isfinite(v[k])) return false;
    // A zoom beyond 1.25^1000 (about 1e97) only makes infinities; quarter
    // turns are whole.
    if (s.kind == ViewStep::zoom && std::fabs(v[0]) > 1000) return false;
    if (s.kind == ViewStep::rotate && (v[0] != std::floor(v[0]) || std::fabs(v[0]) > 1e6)) return false;
    step = ViewStep{s.kind, v[0], v[1], v[2]};
    return true;
  }
  return false;
}

}  // namespace

bool parseViewSteps(const std::wstring& text, std::vector<ViewStep>& steps) {
  std::vector<ViewStep> parsed;
  if (!trimwhitespace(text).empty()) {
    for (const std::wstring& part : split(text, L';')) {
      ViewStep step{};
      if (!parseStep(part, step)) return false;
      parsed.push_back(step);
    }
  }
  steps = std::move(parsed);
  return true;
}

}  // namespace viewer
