#include <qorcor14/colour.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <iomanip>
#include <random>
#include <sstream>

namespace {

// The textbook closed forms (chroma and the "k = (n + H/60) mod 6" ramps),
// written independently of the library's sector table.
struct Rgb {
  double r, g, b;
};

double wrap360(double h) { return std::fmod(std::fmod(h, 360.0) + 360.0, 360.0); }

Rgb fromHsv(double h, double s, double v) {
  auto f = [&](double n) {
    const double k = std::fmod(n + wrap360(h) / 60, 6);
    return v - v * s * std::max(0.0, std::min({k, 4 - k, 1.0}));
  };
  return {f(5), f(3), f(1)};
}

Rgb fromHls(double h, double l, double s) {
  const double a = s * std::min(l, 1 - l);
  auto f = [&](double n) {
    const double k = std::fmod(n + wrap360(h) / 30, 12);
    return l - a * std::max(-1.0, std::min({k - 3, 9 - k, 1.0}));
  };
  return {f(0), f(8), f(4)};
}

double hueOf(const Rgb& c) {
  const double mx = std::max({c.r, c.g, c.b}), mn = std::min({c.r, c.g, c.b}), d = mx - mn;
  if (d == 0) return 0;
  if (mx == c.r) return wrap360(60 * std::fmod((c.g - c.b) / d + 6, 6));
  if (mx == c.g) return 60 * ((c.b - c.r) / d + 2);
  return 60 * ((c.r - c.g) / d + 4);
}

double hueDiff(const Angle& a, double deg) {
  const double d = wrap360(a.degrees() - deg);
  return std::min(d, 360 - d);
}

void expectRgb(const Colour& c, const Rgb& want, double tol) {
  EXPECT_NEAR(c.r(), want.r, tol);
  EXPECT_NEAR(c.g(), want.g, tol);
  EXPECT_NEAR(c.b(), want.b, tol);
}

TEST(ColourModels, SpecialColoursHaveTheirHueTiesAndGreys) {
  struct Case {
    Rgb in;
    double hue, sHsv, v, l, sHls;
  };
  const Case cases[] = {
      {{1, 0, 0}, 0, 1, 1, 0.5, 1},
      {{0.5, 0.5, 0.5}, 0, 0, 0.5, 0.5, 0},
      {{0, 0, 0}, 0, 0, 0, 0, 0},
      {{1, 1, 1}, 0, 0, 1, 1, 0},
      {{1, 1, 0}, 60, 1, 1, 0.5, 1},   // red and green tie: red's formula
      {{0, 1, 1}, 180, 1, 1, 0.5, 1},  // green and blue tie: green's formula
      {{1, 0, 1}, -60, 1, 1, 0.5, 1},  // red and blue tie: red's formula, negative
      {{0, 0, 0.25}, -120, 1, 0.25, 0.125, 1},
  };
  for (const Case& k : cases) {
    SCOPED_TRACE(testing::Message() << k.in.r << ' ' << k.in.g << ' ' << k.in.b);
    const Colour c = Colour::rgb(k.in.r, k.in.g, k.in.b);
    EXPECT_NEAR(c.h_hsv().degrees(), k.hue, 1e-12);
    EXPECT_NEAR(c.h_hls().degrees(), k.hue, 1e-12);
    EXPECT_EQ(c.s_hsv(), k.sHsv);
    EXPECT_EQ(c.v_hsv(), k.v);
    EXPECT_EQ(c.l_hls(), k.l);
    EXPECT_EQ(c.s_hls(), k.sHls);
  }
  for (double h : {0.0, 77.0, -150.0, 180.0}) {
    expectRgb(Colour::hsv(Angle::degrees(h), 0, 0.3), {0.3, 0.3, 0.3}, 0);
    expectRgb(Colour::hls(Angle::degrees(h), 0.7, 0), {0.7, 0.7, 0.7}, 0);
    expectRgb(Colour::hls(Angle::degrees(h), 0, 0.4), {0, 0, 0}, 0);
  }
}

TEST(ColourModels, RandomColoursMatchTheClosedFormsBothWays) {
  std::mt19937_64 rng(12);
  std::uniform_real_distribution<double> unit(0, 1), hue(-180, 180);
  for (int i = 0; i < 20000; ++i) {
    const Rgb in{unit(rng), unit(rng), unit(rng)};
    const Colour c = Colour::rgb(in.r, in.g, in.b);
    const double mx = std::max({in.r, in.g, in.b}), mn = std::min({in.r, in.g, in.b});
    const double l = (mx + mn) / 2;
    ASSERT_LT(hueDiff(c.h_hsv(), hueOf(in)), 1e-9) << i;
    ASSERT_NEAR(c.s_hsv(), (mx - mn) / mx, 1e-12);
    ASSERT_NEAR(c.s_hls(), (mx - mn) / (1 - std::fabs(2 * l - 1)), 1e-9);
    ASSERT_EQ(c.h_hls(), c.h_hsv());

    const double h = hue(rng), s = unit(rng), v = unit(rng);
    const Colour hsv = Colour::hsv(Angle::degrees(h), s, v);
    const Rgb want = fromHsv(h, s, v);
    ASSERT_NEAR(hsv.r(), want.r, 1e-12) << h << ' ' << s << ' ' << v;
    ASSERT_NEAR(hsv.g(), want.g, 1e-12);
    ASSERT_NEAR(hsv.b(), want.b, 1e-12);
    // HSV to HLS directly, against L = V(1 - S/2).
    const double wantL = v * (1 - s / 2);
    ASSERT_NEAR(Colour::hsv(Angle::degrees(h), s, v).l_hls(), wantL, 1e-12);

    const Colour hls = Colour::hls(Angle::degrees(h), s, v);
    const Rgb wantHls = fromHls(h, s, v);
    ASSERT_NEAR(hls.r(), wantHls.r, 1e-12) << h << ' ' << s << ' ' << v;
    ASSERT_NEAR(hls.g(), wantHls.g, 1e-12);
    ASSERT_NEAR(hls.b(), wantHls.b, 1e-12);
  }
}

TEST(ColourModels, OutOfRangeComponentsAreKeptAndRoundTrip) {
  const Colour c = Colour::rgb(1.5, 0.25, -0.5);
  EXPECT_EQ(c.v_hsv(), 1.5);
  EXPECT_EQ(c.s_hsv(), 2.0 / 1.5);
  EXPECT_EQ(c.l_hls(), 0.5);
  const Colour back = Colour::hsv(c.h_hsv(), c.s_hsv(), c.v_hsv());
  expectRgb(back, {1.5, 0.25, -0.5}, 1e-12);
  const Colour viaHls = Colour::hls(c.h_hls(), c.l_hls(), c.s_hls());
  expectRgb(viaHls, {1.5, 0.25, -0.5}, 1e-12);
}

TEST(ColourModels, RgbPrefersTheHlsCacheOverHsv) {
  // Saturation 2 drives HLS lightness to 0, which converts to black, while
  // HSV itself would give red 1 and blue -1.
  const Colour direct = Colour::hsv(Angle::degrees(0), 2, 1);
  expectRgb(direct, {1, -1, -1}, 1e-15);
  const Colour viaHls = Colour::hsv(Angle::degrees(0), 2, 1);
  EXPECT_EQ(viaHls.l_hls(), 0);
  expectRgb(viaHls, {0, 0, 0}, 0);
}

TEST(ColourPacking, BytesWordsAndTheirSpill) {
  const Colour a = Colour::argb(2164228096u);  // 0x80FF8000
  EXPECT_EQ(a.a(), 128 / 255.0);
  expectRgb(a, {1, 128 / 255.0, 0}, 0);
  EXPECT_EQ(a.colorref(), 33023u);

  struct Case {
    Rgb in;
    unsigned long ref;
    unsigned dib16;
    unsigned char dib24[3];
  };
  const Case cases[] = {
      {{1, 0, 0}, 0xFF, 0x7C00, {0, 0, 255}},
      {{1, 1, 1}, 0xFFFFFF, 0x7FFF, {255, 255, 255}},
      {{1.002, 0, 0}, 0x100, 0x7C00, {0, 0, 0}},          // 256 spills into green
      {{0, 1.05, 0}, 0x10C00, 0x0420, {0, 12, 0}},        // 268; 33 in 5 bits reaches red
      {{-0.002, 0, 0}, 0xFFFFFFFF, 0x0000, {0, 0, 255}},  // -1 sets every bit
      {{0.5, 0, 0}, 0x80, 0x4000, {0, 0, 128}},           // 127.5 and 15.5 round up
      {{-0.5, 0, 0}, 0xFFFFFF80, 0xC000, {0, 0, 128}},    // -128; -16 & 255 overflows bit 15
  };
  for (const Case& k : cases) {
    SCOPED_TRACE(testing::Message() << k.in.r << ' ' << k.in.g << ' ' << k.in.b);
    const Colour c = Colour::rgb(k.in.r, k.in.g, k.in.b);
    EXPECT_EQ(c.colorref(), k.ref);
    unsigned char w[2], px[3];
    c.getDib16(w);
    EXPECT_EQ(unsigned(w[0] | w[1] << 8), k.dib16);
    c.getDib24(px);
    EXPECT_EQ(px[0], k.dib24[0]);
    EXPECT_EQ(px[1], k.dib24[1]);
    EXPECT_EQ(px[2], k.dib24[2]);
  }
}

TEST(ColourPacking, RoundTripsAndGammaTables) {
  std::mt19937 rng(7);
  for (int i = 0; i < 5000; ++i) {
    const unsigned long v = rng();
    ASSERT_EQ(Colour::colorref(v).colorref(), v & 0xFFFFFFul);
    const unsigned char px[3] = {static_cast<unsigned char>(v), static_cast<unsigned char>(v >> 8),
                                 static_cast<unsigned char>(v >> 16)};
    unsigned char out[3];
    Colour::dib24(px).getDib24(out);
    ASSERT_TRUE(std::equal(px, px + 3, out));
  }
  unsigned char inv[256], half[256], id[256];
  for (int i = 0; i < 256; ++i) inv[i] = 255 - i, half[i] = i / 2, id[i] = i;
  unsigned char px[3];
  Colour::rgb(1, 0.5, 0).getDib24(px, inv);
  EXPECT_EQ(px[0], 255);
  EXPECT_EQ(px[1], 127);  // 0.5 * 255 = 127.5 rounds to 128
  EXPECT_EQ(px[2], 0);
  Colour::rgb(1, 0.5, 1.002).getDib24(px, half, id, inv);  // blue 256 wraps to index 0
  EXPECT_EQ(px[0], 255);
  EXPECT_EQ(px[1], 128);
  EXPECT_EQ(px[2], 127);
}

TEST(ColourText, WritesRgbaWithTheStreamsFormatting) {
  std::wostringstream os;
  os << Colour() << L' ' << Colour::hsva(Angle::degrees(0), 1, 1, 0.25) << L' ' << std::fixed << std::setprecision(1)
     << Colour::rgb(0.25, 1, 0);
  EXPECT_EQ(os.str(), L"Colour::rgba(0,0,0,1) Colour::rgba(1,0,0,0.25) Colour::rgba(0.2,1.0,0.0,1.0)");
}

}  // namespace
