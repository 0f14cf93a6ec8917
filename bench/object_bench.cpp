// The object model against the standard library: interning quarks beside a
// mutex-guarded std::unordered_set, copying handles beside std::shared_ptr,
// and filling a collection beside std::deque.
#include "harness.h"

#include <qorcor14/object/collection.h>
#include <qorcor14/object/handle.h>
#include <qorcor14/object/quark.h>

#include <cwchar>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_set>

namespace bench {
namespace {

// Short texts "w<n>" with a per-side serial, written by the same cheap code
// on both sides.
struct Texts {
  unsigned long next = 0;
  wchar_t buffer[24];
  const wchar_t* make() {
    std::swprintf(buffer, 24, L"w%lu", next++);
    return buffer;
  }
};

struct GuardedSet {
  std::mutex mutex;
  std::unordered_set<std::wstring> texts;
  const std::wstring* intern(const wchar_t* text) {
    std::lock_guard<std::mutex> lock(mutex);
    return &*texts.emplace(text).first;
  }
};

struct Counted : QOR::Handlable {
  int value = 0;
};

constexpr int kCollectionElements = 1000000;

}  // namespace

void addObjectCases(Suite& suite) {
  // Both sides hold the same 1000 texts and look one of them up.
  auto set = std::make_shared<GuardedSet>();
  {
    Texts warm;
    for (int i = 0; i < 1000; ++i) {
      const wchar_t* t = warm.make();
      (void)Quark::create(t);
      set->intern(t);
    }
  }
  suite.add({"quark intern existing text", "text",
             [](std::size_t ops) {
               for (std::size_t i = 0; i < ops; ++i) doNotOptimize(Quark::create(L"w517"));
               return ops;
             },
             "mutex + unordered_set<wstring>",
             [set](std::size_t ops) {
               for (std::size_t i = 0; i < ops; ++i) doNotOptimize(set->intern(L"w517"));
               return ops;
             }});
  suite.add({"quark intern new text", "text",
             [texts = std::make_shared<Texts>()](std::size_t ops) {
               texts->next += 1000000000;  // past every text of earlier runs
               for (std::size_t i = 0; i < ops; ++i) doNotOptimize(Quark::create(texts->make()));
               return ops;
             },
             "mutex + unordered_set<wstring>",
             [set, texts = std::make_shared<Texts>()](std::size_t ops) {
               texts->next += 1000000000;
               for (std::size_t i = 0; i < ops; ++i) doNotOptimize(set->intern(texts->make()));
               return ops;
             }});

  suite.add({"handle copy + drop", "copy",
             [h = std::make_shared<QOR::Handle<Counted>>(new Counted)](std::size_t ops) {
               for (std::size_t i = 0; i < ops; ++i) {
                 QOR::Handle<Counted> copy(*h);
                 doNotOptimize(copy);
               }
               return ops;
             },
             "std::shared_ptr",
             [p = std::make_shared<std::shared_ptr<Counted>>(std::make_shared<Counted>())](std::size_t ops) {
               for (std::size_t i = 0; i < ops; ++i) {
                 std::shared_ptr<Counted> copy(*p);
                 doNotOptimize(copy);
               }
               return ops;
             }});

  // Chunks of 128 ints, as std::deque's 512-byte blocks.
  suite.add({"collection push 1M ints", "1M",
             [](std::size_t ops) {
               for (std::size_t i = 0; i < ops; ++i) {
                 auto c = std::make_unique<QOR::Collection<int, 128>>();
                 for (int k = 0; k < kCollectionElements; ++k) c->push_back(k);
                 doNotOptimize(c->back());
               }
               return ops;
             },
             "std::deque<int>",
             [](std::size_t ops) {
               for (std::size_t i = 0; i < ops; ++i) {
                 std::deque<int> d;
                 for (int k = 0; k < kCollectionElements; ++k) d.push_back(k);
                 doNotOptimize(d.back());
               }
               return ops;
             }});
}

}  // namespace bench
