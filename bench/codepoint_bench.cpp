// Unicode classification against the platform's GetStringTypeW(CT_CTYPE1) on
// the same text: about 1M code points of mixed scripts, 2.2 MB as UTF-16.
#include "harness.h"

#include <qorcor14/text/codepoint.h>

#include <windows.h>

#include <memory>
#include <random>

namespace bench {
namespace {

constexpr std::size_t kPoints = std::size_t(1) << 20;  // a power of two
constexpr std::size_t kBatch = 4096;                   // UTF-16 units per GetStringTypeW call

struct Text {
  std::vector<unsigned int> points;  // the code points, decoded once
  std::wstring units;                // the same text as UTF-16
  std::vector<WORD> types;           // GetStringTypeW's output buffer
};

// Mostly ASCII and other alphabets, with CJK, the rest of the BMP and some
// supplementary characters, in random order.
std::shared_ptr<Text> mixedText() {
  auto text = std::make_shared<Text>();
  std::mt19937 rng(51);
  auto in = [&rng](unsigned int lo, unsigned int hi) { return lo + rng() % (hi - lo + 1); };
  for (std::size_t i = 0; i < kPoints; ++i) {
    const unsigned int pick = rng() % 100;
    unsigned int v;
    if (pick < 40) v = in(0x20, 0x7E);
    else if (pick < 70) v = in(0xA0, 0x52F);
    else if (pick < 90) v = in(0x4E00, 0x9FFF);
    else if (pick < 95) v = in(0x0600, 0xD7FF);
    else v = in(0x10000, 0x2FFFF);
    text->points.push_back(v);
    text->units += static_cast<std::wstring>(CodePoint::codePoint(v));
  }
  text->types.resize(kBatch);
  return text;
}

// Runs GetStringTypeW over whole batches of units until `ops` units are done;
// `use` sees each batch's results. Returns the units processed.
template <class Use>
std::size_t platformBatches(Text& t, std::size_t ops, Use use) {
  std::size_t done = 0, at = 0;
  while (done < ops) {
    if (at + kBatch > t.units.size()) at = 0;
    GetStringTypeW(CT_CTYPE1, t.units.data() + at, static_cast<int>(kBatch), t.types.data());
    use(t.types.data());
    at += kBatch;
    done += kBatch;
  }
  return done;
}

}  // namespace

void addCodePointCases(Suite& suite) {
  auto text = mixedText();
  suite.add({"unicodeClass", "lookup",
             [text](std::size_t ops) {
               unsigned int sum = 0;
               const unsigned int* p = text->points.data();
               for (std::size_t i = 0; i < ops; ++i) sum += unicodeClass(CodePoint::codePoint(p[i & (kPoints - 1)]));
               doNotOptimize(sum);
               return ops;
             },
             "GetStringTypeW CTYPE1",
             [text](std::size_t ops) {
               return platformBatches(*text, ops, [](const WORD* types) { doNotOptimize(types[0]); });
             }});
  suite.add({"isUalpha", "lookup",
             [text](std::size_t ops) {
               unsigned int count = 0;
               const unsigned int* p = text->points.data();
               for (std::size_t i = 0; i < ops; ++i) count += isUalpha(CodePoint::codePoint(p[i & (kPoints - 1)]));
               doNotOptimize(count);
               return ops;
             },
             "GetStringTypeW C1_ALPHA",
             [text](std::size_t ops) {
               unsigned int count = 0;
               std::size_t done = platformBatches(*text, ops, [&count](const WORD* types) {
                 for (std::size_t i = 0; i < kBatch; ++i) count += (types[i] & C1_ALPHA) != 0;
               });
               doNotOptimize(count);
               return done;
             }});
  // Walking the UTF-16 text as well, so both sides start from the same units.
  suite.add({"enumerate + unicodeClass", "unit",
             [text](std::size_t ops) {
               unsigned int sum = 0;
               std::size_t done = 0;
               while (done < ops) {
                 for (CodePointEnumerator e(text->units); e; ++e) sum += unicodeClass(*e);
                 done += text->units.size();
               }
               doNotOptimize(sum);
               return done;
             },
             "GetStringTypeW CTYPE1",
             [text](std::size_t ops) {
               return platformBatches(*text, ops, [](const WORD* types) { doNotOptimize(types[0]); });
             },
             2.0});
}

}  // namespace bench
