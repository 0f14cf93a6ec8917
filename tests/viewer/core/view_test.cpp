// The view: fitting, and the steps a user takes, checked on the points they
// move rather than on the transform's formulas.
#include "view.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace {

using viewer::View;
using viewer::ViewStep;

void expectNear(const Point<2>& got, const Point<2>& want, double tolerance) {
  EXPECT_NEAR(got[0], want[0], tolerance);
  EXPECT_NEAR(got[1], want[1], tolerance);
}

void expectSameTransform(const View& a, const View& b) {
  double ra[3][2], rb[3][2];
  a.toWindow().packToPod(ra);
  b.toWindow().packToPod(rb);
  for (int i = 0; i < 3; ++i)
    for (int k = 0; k < 2; ++k) EXPECT_NEAR(ra[i][k], rb[i][k], 1e-9 * std::max(1.0, std::fabs(rb[i][k])));
}

TEST(ViewerView, FitCentresTheExtentWithinTheMargin) {
  // clang-format off
  const struct { const char* name; Point<2> lo, hi; int w, h; bool fillsX, fillsY; } cases[] = {
      {"wide",          {0, 0},     {200, 100},  320, 240, true,  false},
      {"tall",          {-5, -50},  {5, 50},     320, 240, false, true},
      {"square window", {1, 1},     {3, 3},      100, 100, true,  true},
      {"one pixel",     {0, 0},     {7, 3},      1,   1,   true,  false},
      {"flat",          {0, 5},     {10, 5},     320, 240, true,  false},
      {"far and huge",  {-1e308, -1e308}, {1.5e308, 1e308}, 640, 480, false, true},
  };
  // clang-format on
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const View v = View::fit(Extent<2>(c.lo, c.hi), c.w, c.h);
    const double m = 0.05 * std::min(c.w, c.h), eps = 1e-9 * std::max(c.w, c.h);
    const Point<2> a = c.lo * v.toWindow(), b = c.hi * v.toWindow();
    // y turns up: the low corner lies below (a larger row) the high one.
    EXPECT_LE(a[0], b[0]);
    EXPECT_GE(a[1], b[1]);
    for (const Point<2>& p : {a, b}) {
      EXPECT_GE(p[0], m - eps);
      EXPECT_LE(p[0], c.w - m + eps);
      EXPECT_GE(p[1], m - eps);
      EXPECT_LE(p[1], c.h - m + eps);
    }
    EXPECT_NEAR((a[0] + b[0]) / 2, c.w / 2.0, eps);
    EXPECT_NEAR((a[1] + b[1]) / 2, c.h / 2.0, eps);
    if (c.fillsX) {
      EXPECT_NEAR(b[0] - a[0], c.w - 2 * m, eps);
    }
    if (c.fillsY) {
      EXPECT_NEAR(a[1] - b[1], c.h - 2 * m, eps);
    }
  }
}

TEST(ViewerView, FitOfNothingOrAPointKeepsScaleOne) {
  const View empty = View::fit(Extent<2>(), 200, 100);
  expectNear(Point<2>(0, 0) * empty.toWindow(), Point<2>(100, 50), 0);
  expectNear(Point<2>(1, 1) * empty.toWindow(), Point<2>(101, 49), 0);
  const View point = View::fit(Extent<2>(Point<2>(7, 8), Point<2>(7, 8)), 200, 100);
  expectNear(Point<2>(7, 8) * point.toWindow(), Point<2>(100, 50), 0);
  EXPECT_EQ(point.unitsPerPixel(), 1);
}

TEST(ViewerView, StepsMoveThePointsTheyShould) {
  const View fitted = View::fit(Extent<2>(Point<2>(-3, 2), Point<2>(40, 17)), 640, 480);
  const Point<2> at(123.5, 77.25), drawingPoints[] = {{0, 0}, {-3, 17}, {40, 2}, {1e3, -1e3}};

  View zoomed = fitted;
  zoomed.zoom(3, at);
  expectNear(zoomed.toDrawing(at), fitted.toDrawing(at), 1e-9);
  EXPECT_NEAR(zoomed.unitsPerPixel(), fitted.unitsPerPixel() / std::pow(1.25, 3), 1e-15);
  zoomed.zoom(-3, at);
  expectSameTransform(zoomed, fitted);

  View panned = fitted;
  panned.pan(Vector<2>(-30.5, 12));
  for (const Point<2>& p : drawingPoints)
    expectNear(p * panned.toWindow(), p * fitted.toWindow() + Vector<2>(-30.5, 12), 1e-9);

  // A quarter turn counter-clockwise on screen, rows running down: right of
  // the pivot goes above it.
  View turned = fitted;
  const Point<2> right = fitted.toDrawing(at + Vector<2>(10, 0));
  turned.rotate(1, at);
  expectNear(right * turned.toWindow(), at + Vector<2>(0, -10), 1e-9);
  turned.rotate(-2, at);
  expectNear(right * turned.toWindow(), at + Vector<2>(0, 10), 1e-9);
  turned.rotate(5, at);
  expectSameTransform(turned, fitted);

  View mirrored = fitted;
  mirrored.mirror(at);
  expectNear(right * mirrored.toWindow(), at + Vector<2>(-10, 0), 1e-9);
  EXPECT_FALSE(mirrored.toWindow().mirroring());  // the fit's own reflection undone
  mirrored.mirror(at);
  expectSameTransform(mirrored, fitted);
}

TEST(ViewerView, ParsesStepsAndRejectsGarbage) {
  std::vector<ViewStep> steps;
  ASSERT_TRUE(viewer::parseViewSteps(L"zoom,2,400,300;pan,-30,12; rotate , -1 , 4e2, 3E2 ;mirror,400", steps));
  ASSERT_EQ(steps.size(), 4u);
  EXPECT_EQ(steps[0].kind, ViewStep::zoom);
  EXPECT_EQ(steps[1].kind, ViewStep::pan);
  EXPECT_EQ(steps[1].a, -30);
  EXPECT_EQ(steps[2].kind, ViewStep::rotate);
  EXPECT_EQ(steps[2].a, -1);
  EXPECT_EQ(steps[2].c, 300);
  EXPECT_EQ(steps[3].kind, ViewStep::mirror);
  EXPECT_EQ(steps[3].a, 400);
  ASSERT_TRUE(viewer::parseViewSteps(L"zoom,1000,0,0;zoom,-1000,0,0", steps));
  EXPECT_EQ(steps.size(), 2u);
  ASSERT_TRUE(viewer::parseViewSteps(L" ", steps));
  EXPECT_TRUE(steps.empty());

  const std::vector<ViewStep> before{{ViewStep::pan, 1, 2, 0}};
  for (const wchar_t* bad :
       {L"zoom,1,2", L"zoom,1,2,3,4", L"pan,1", L"rotate,0.5,1,1", L"spin,1", L"zoom,1,2,3;", L";", L"zoom,1e999,0,0",
        L"zoom,1000.5,0,0", L"mirror,x", L"mirror,1,2", L"mirror,", L"Zoom,1,0,0", L"pan,1,2;pan,3"}) {
    SCOPED_TRACE(std::wstring(bad).size());
    steps = before;
    EXPECT_FALSE(viewer::parseViewSteps(bad, steps));
    ASSERT_EQ(steps.size(), 1u);
    EXPECT_EQ(steps[0].a, 1);
  }
}

}  // namespace
