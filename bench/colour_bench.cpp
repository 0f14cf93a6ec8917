// Colour conversions and packing beside straightforward hand-written code,
// and ICC transforms beside the bare colour-management calls.
//
// The colour rows cycle through one million random colours made up front.
// The transform rows need Debian's colord-data (Adobe RGB (1998)) under Wine's
// Z: drive; without it they are left out.
#include "harness.h"

#include <qorcor14/colour.h>

#include <windows.h>
#include <icm.h>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <random>
#include <vector>

namespace bench {
namespace {

constexpr std::size_t kColours = std::size_t(1) << 20;

struct Rgb {
  double r, g, b;
};

std::shared_ptr<std::vector<Rgb>> randomColours() {
  auto v = std::make_shared<std::vector<Rgb>>(kColours);
  std::mt19937_64 rng(5);
  std::uniform_real_distribution<double> unit(0, 1);
  for (Rgb& c : *v) c = {unit(rng), unit(rng), unit(rng)};
  return v;
}

// The textbook RGB -> HSV -> RGB with the hue in degrees, no caching.
Rgb handRoundTrip(const Rgb& c) {
  const double mx = std::max({c.r, c.g, c.b}), mn = std::min({c.r, c.g, c.b}), d = mx - mn;
  double h = 0;
  if (d > 0) {
    if (mx == c.r) h = 60 * (c.g - c.b) / d;
    else if (mx == c.g) h = 60 * (c.b - c.r) / d + 120;
    else h = 60 * (c.r - c.g) / d + 240;
    if (h < 0) h += 360;
  }
  const double s = mx > 0 ? d / mx : 0, v = mx;
  const double x = h / 60;
  const int i = static_cast<int>(x) % 6;
  const double f = x - static_cast<int>(x), p = v * (1 - s), q = v * (1 - s * f), t = v * (1 - s * (1 - f));
  switch (i) {
  case 0: return {v, t, p};
  case 1: return {q, v, p};
  case 2: return {p, v, t};
  case 3: return {p, q, v};
  case 4: return {t, p, v};
  default: return {v, p, q};
  }
}

int pack(double x) { return static_cast<int>(x * 255 + 0.5); }

struct Transforms {
  QOR::Handle<QOR::ColourProfile> srgb, adobe;
  QOR::Handle<QOR::ColourTransform> ours;
  HTRANSFORM bare = nullptr;
  ~Transforms() {
    if (bare) DeleteColorTransform(bare);
  }
};

HTRANSFORM bareTransform(const Transforms& t) {
  HPROFILE profiles[] = {t.srgb->handle(), t.adobe->handle()};
  DWORD intent = INTENT_PERCEPTUAL;
  return CreateMultiProfileTransform(profiles, 2, &intent, 1, BEST_MODE, INDEX_DONT_CARE);
}

}  // namespace

void addColourCases(Suite& suite) {
  auto colours = randomColours();
  suite.add({"colour RGB->HSV->RGB round trip", "colour",
             [colours, i = std::size_t(0)](std::size_t ops) mutable {
               for (std::size_t n = 0; n < ops; ++n, i = (i + 1) & (kColours - 1)) {
                 const Rgb& c = (*colours)[i];
                 const Colour rgb = Colour::rgb(c.r, c.g, c.b);
                 const Colour back = Colour::hsv(rgb.h_hsv(), rgb.s_hsv(), rgb.v_hsv());
                 doNotOptimize(back.r() + back.g() + back.b());
               }
               return ops;
             },
             "hand-written hsv (degrees, no cache)",
             [colours, i = std::size_t(0)](std::size_t ops) mutable {
               for (std::size_t n = 0; n < ops; ++n, i = (i + 1) & (kColours - 1)) {
                 const Rgb back = handRoundTrip((*colours)[i]);
                 doNotOptimize(back.r + back.g + back.b);
               }
               return ops;
             }});

  auto made = std::make_shared<std::vector<Colour>>();
  made->reserve(kColours);
  for (const Rgb& c : *colours) made->push_back(Colour::rgb(c.r, c.g, c.b));
  auto pixels = std::make_shared<std::vector<unsigned char>>(3 * kColours);
  suite.add({"colour getDib24", "colour",
             [made, pixels](std::size_t ops) {
               unsigned char* p = pixels->data();
               for (std::size_t n = 0; n < ops; ++n) (*made)[n & (kColours - 1)].getDib24(p + 3 * (n & (kColours - 1)));
               doNotOptimize(*p);
               return ops;
             },
             "hand-written (x * 255 + 0.5)",
             [colours, pixels](std::size_t ops) {
               unsigned char* p = pixels->data();
               for (std::size_t n = 0; n < ops; ++n) {
                 const Rgb& c = (*colours)[n & (kColours - 1)];
                 unsigned char* q = p + 3 * (n & (kColours - 1));
                 q[0] = static_cast<unsigned char>(pack(c.b));
                 q[1] = static_cast<unsigned char>(pack(c.g));
                 q[2] = static_cast<unsigned char>(pack(c.r));
               }
               doNotOptimize(*p);
               return ops;
             }});

  auto t = std::make_shared<Transforms>();
  try {
    t->srgb = QOR::ColourProfile::create(QOR::ColourProfileId::sRGB);
    t->adobe = QOR::ColourProfile::createFromFile(L"Z:\\usr\\share\\color\\icc\\colord\\AdobeRGB1998.icc");
    t->ours = QOR::ColourTransform::create(QOR::RenderingIntent::perceptual, *t->srgb, *t->adobe);
    t->bare = bareTransform(*t);
  } catch (const std::exception& e) {
    std::fprintf(stderr, "qorbench: colour transform rows left out (%s)\n", e.what());
    return;
  }
  suite.add({"colour transform sRGB->AdobeRGB build", "transform",
             [t](std::size_t ops) {
               for (std::size_t n = 0; n < ops; ++n)
                 doNotOptimize(QOR::ColourTransform::create(QOR::RenderingIntent::perceptual, *t->srgb, *t->adobe));
               return ops;
             },
             "CreateMultiProfileTransform",
             [t](std::size_t ops) {
               for (std::size_t n = 0; n < ops; ++n) {
                 HTRANSFORM h = bareTransform(*t);
                 doNotOptimize(h);
                 DeleteColorTransform(h);
               }
               return ops;
             }});

  // One megapixel, 1024 x 1024, 24 bits: a DIBitmap beside a plain vector.
  auto image = std::make_shared<DIBitmap>(1024, -1024, 24, 0);
  auto plain = std::make_shared<std::vector<unsigned char>>(image->bitsSize());
  auto out = std::make_shared<std::vector<unsigned char>>(image->bitsSize());
  {
    std::mt19937 rng(9);
    auto* bits = static_cast<unsigned char*>(image->bits());
    for (unsigned i = 0; i < image->bitsSize(); ++i) (*plain)[i] = bits[i] = static_cast<unsigned char>(rng());
  }
  suite.add({"colour TranslateBitmapBits 1 MP 24-bit", "image",
             [t, image, out](std::size_t ops) {
               for (std::size_t n = 0; n < ops; ++n)
                 TranslateBitmapBits(t->ours->handle(), image->bits(), BM_RGBTRIPLETS, 1024, 1024, 3072, out->data(),
                                     BM_RGBTRIPLETS, 3072, nullptr, 0);
               return ops;
             },
             "bare transform on a vector",
             [t, plain, out](std::size_t ops) {
               for (std::size_t n = 0; n < ops; ++n)
                 TranslateBitmapBits(t->bare, plain->data(), BM_RGBTRIPLETS, 1024, 1024, 3072, out->data(),
                                     BM_RGBTRIPLETS, 3072, nullptr, 0);
               return ops;
             }});
}

}  // namespace bench
