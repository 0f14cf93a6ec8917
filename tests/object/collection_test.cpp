#include <qorcor14/object/collection.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

// Counts live instances; a copy throws once `copiesLeft` reaches 0.
struct Counted {
  static inline long live = 0;
  static inline long copiesLeft = -1;  // negative: never throw
  explicit Counted(int v = 0) : value(v) { ++live; }
  Counted(const Counted& o) : value(o.value) {
    if (copiesLeft == 0) throw std::runtime_error("copy failed");
    if (copiesLeft > 0) --copiesLeft;
    ++live;
  }
  Counted& operator=(const Counted& o) = default;
  ~Counted() { --live; }
  int value;
};

class CollectionTest : public ::testing::Test {
protected:
  void SetUp() override {
    Counted::live = 0;
    Counted::copiesLeft = -1;
  }
  void TearDown() override { EXPECT_EQ(Counted::live, 0) << "elements leaked or destroyed twice"; }
};

template <class T, std::size_t L>
struct Probe : QOR::Collection<T, L> {
  using QOR::CollectionBase::rawChunks;
};

template <std::size_t L>
std::vector<int> values(const QOR::Collection<Counted, L>& c) {
  std::vector<int> v;
  for (const Counted& x : c) v.push_back(x.value);
  return v;
}

std::vector<int> iota(int from, int n) {
  std::vector<int> v(n);
  std::iota(v.begin(), v.end(), from);
  return v;
}

template <std::size_t L>
void fill(QOR::Collection<Counted, L>& c, int from, int n) {
  for (int i = 0; i < n; ++i) c.emplace_back(from + i);
}

TEST_F(CollectionTest, OneChunkPastTheFirstIsAddedAndFreedAtTheBoundary) {
  Probe<Counted, 4> c;
  EXPECT_EQ(c.max_size(), 4294967295u);
  fill(c, 0, 4);
  unsigned char** table = c.rawChunks();
  EXPECT_EQ(table, c.rawChunks());
  const Counted* first = &c[0];
  fill(c, 4, 1);  // the fifth element needs chunk 1
  ASSERT_NE(c.rawChunks()[1], nullptr);
  EXPECT_EQ(&c[0], first);  // nothing moved
  EXPECT_EQ(reinterpret_cast<unsigned char*>(&c[4]), c.rawChunks()[1]);
  c.pop_back();  // back to 4: chunk 1 freed
  EXPECT_EQ(c.rawChunks()[1], nullptr);
  EXPECT_EQ(Counted::live, 4);
}

TEST_F(CollectionTest, ChunkTableGrowsAsOneElevenTwentySixFortyNine) {
  Probe<int, 1> c;  // one chunk per element: chunk k is pushed as element k
  std::vector<std::size_t> grewAt;
  unsigned char** table = c.rawChunks();
  std::vector<const int*> addresses;
  for (int i = 0; i < 100; ++i) {
    c.push_back(i);
    addresses.push_back(&c[i]);
    if (c.rawChunks() != table) grewAt.push_back(i);
    table = c.rawChunks();
  }
  EXPECT_EQ(grewAt, (std::vector<std::size_t>{1, 11, 26, 49, 83}));
  for (int i = 0; i < 100; ++i) ASSERT_EQ(&c[i], addresses[i]);  // elements never moved
  c.resize(5);                                                   // ints need no destruction: whole chunks are dropped
  EXPECT_NE(c.rawChunks()[4], nullptr);
  EXPECT_EQ(c.rawChunks()[5], nullptr);
  EXPECT_EQ(c.rawChunks(), table);  // the table keeps its capacity
  EXPECT_EQ(c.back(), 4);
}

TEST_F(CollectionTest, ThrowingCopiesLeaveExactlyTheConstructedElements) {
  struct Case {
    const char* name;
    int start, target, copiesBeforeThrow;
  };
  const Case cases[] = {
      {"throws on the first copy", 0, 10, 0},
      {"throws inside the first chunk", 1, 10, 2},
      {"throws at a chunk boundary", 2, 10, 2},  // element 4 starts chunk 1
      {"throws deep in a heap chunk", 5, 30, 17},
  };
  for (const Case& k : cases) {
    SCOPED_TRACE(k.name);
    {
      QOR::Collection<Counted, 4> c;
      fill(c, 0, k.start);
      const Counted value(5);
      Counted::copiesLeft = k.copiesBeforeThrow;
      EXPECT_THROW(c.resize(k.target, value), std::runtime_error);
      Counted::copiesLeft = -1;
      EXPECT_EQ(c.size(), static_cast<std::size_t>(k.start + k.copiesBeforeThrow));
      EXPECT_EQ(Counted::live, static_cast<long>(c.size()) + 1);
      c.push_back(value);  // still usable, also after a failed chunk boundary
      EXPECT_EQ(c.back().value, 5);
    }
    EXPECT_EQ(Counted::live, 0);
  }
}

TEST_F(CollectionTest, ThrowingCollectionCopyDestroysWhatItCopied) {
  QOR::Collection<Counted, 4> source;
  fill(source, 0, 11);
  Counted::copiesLeft = 6;
  using C = QOR::Collection<Counted, 4>;
  EXPECT_THROW(C{source}, std::runtime_error);
  Counted::copiesLeft = -1;
  EXPECT_EQ(Counted::live, 11);
  QOR::Collection<Counted, 4> target;
  fill(target, 100, 3);
  Counted::copiesLeft = 5;
  EXPECT_THROW(target = source, std::runtime_error);  // old contents gone, five copies made
  Counted::copiesLeft = -1;
  EXPECT_EQ(values(target), iota(0, 5));
  target = source;
  EXPECT_EQ(values(target), iota(0, 11));
}

TEST_F(CollectionTest, SwapExchangesContentsForEveryMixOfChunks) {
  const int sizes[][2] = {{0, 0}, {3, 0}, {0, 3}, {2, 3}, {4, 4}, {4, 9}, {9, 4}, {9, 13}, {20, 3}, {1, 30}};
  for (const auto& s : sizes) {
    SCOPED_TRACE(testing::Message() << s[0] << " <-> " << s[1]);
    {
      QOR::Collection<Counted, 4> a, b;
      fill(a, 0, s[0]);
      fill(b, 100, s[1]);
      const Counted* heapElement = s[1] > 4 ? &b[4] : nullptr;
      a.swap(b);
      EXPECT_EQ(values(a), iota(100, s[1]));
      EXPECT_EQ(values(b), iota(0, s[0]));
      if (heapElement) {
        EXPECT_EQ(&a[4], heapElement);  // heap chunks change hands, not places
      }
      EXPECT_EQ(Counted::live, s[0] + s[1]);
      b.swap(a);
      EXPECT_EQ(values(a), iota(0, s[0]));
      fill(a, 50, 5);  // both still grow correctly
      fill(b, 50, 5);
    }
    EXPECT_EQ(Counted::live, 0);
  }
}

TEST_F(CollectionTest, SwapWithAThrowingCopyKeepsEveryElementCounted) {
  QOR::Collection<Counted, 4> a, b;
  fill(a, 0, 4);
  fill(b, 100, 1);
  Counted::copiesLeft = 1;  // the second of three copies into b's first chunk fails
  EXPECT_THROW(a.swap(b), std::runtime_error);
  Counted::copiesLeft = -1;
  EXPECT_EQ(Counted::live, static_cast<long>(a.size() + b.size()));
}

// Random operations on strings against std::vector as the model.
TEST_F(CollectionTest, RandomOperationsOnStringsMatchAVector) {
  std::mt19937 rng(11);
  QOR::Collection<std::wstring, 3> c, other;
  std::vector<std::wstring> model, otherModel;
  for (int step = 0; step < 3000; ++step) {
    const std::wstring text(rng() % 40, static_cast<wchar_t>(L'a' + step % 26));
    switch (rng() % 7) {
    case 0:
    case 1:
    case 2:
      c.push_back(text);
      model.push_back(text);
      break;
    case 3:
      if (!model.empty()) {
        c.pop_back();
        model.pop_back();
      }
      break;
    case 4: {
      const std::size_t n = rng() % 20;
      c.resize(n, text);
      model.resize(n, text);
      break;
    }
    case 5:
      c.swap(other);
      std::swap(model, otherModel);
      break;
    case 6:
      other = c;
      otherModel = model;
      break;
    }
    ASSERT_EQ(c.size(), model.size());
    ASSERT_TRUE(std::equal(c.begin(), c.end(), model.begin(), model.end())) << "step " << step;
  }
  QOR::Collection<std::wstring, 3> copy(other);
  ASSERT_TRUE(std::equal(copy.begin(), copy.end(), otherModel.begin(), otherModel.end()));
  std::sort(copy.begin(), copy.end());
  EXPECT_TRUE(std::is_sorted(copy.begin(), copy.end()));
}

}  // namespace
