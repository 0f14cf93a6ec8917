#include <qorcor14/object/quark.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <clocale>
#include <cwchar>
#include <future>
#include <random>
#include <string>
#include <vector>

namespace {

using namespace std::chrono_literals;

// A text no other test interns: the table is process-wide.
std::wstring unique(const wchar_t* tag, std::size_t length = 0) {
  static int serial = 0;
  std::wstring s = std::wstring(tag) + L"#" + std::to_wstring(++serial);
  if (s.size() < length) s.append(length - s.size(), L'x');
  return s;
}

Quark q(const std::wstring& s) { return Quark::create(s.c_str()); }

// Switches the C runtime's collation for one test.
class CollateLocale {
public:
  explicit CollateLocale(const char* name) : m_previous(std::setlocale(LC_COLLATE, nullptr)) {
    m_ok = std::setlocale(LC_COLLATE, name) != nullptr;
  }
  ~CollateLocale() { std::setlocale(LC_COLLATE, m_previous.c_str()); }
  bool ok() const { return m_ok; }

private:
  std::string m_previous;
  bool m_ok = false;
};

TEST(Quark, EqualTextsGiveOnePointerAndTheEmptyTextIsNotNull) {
  const std::wstring text = unique(L"layer");
  const Quark a = q(text), b = q(std::wstring(text));  // a separate buffer
  EXPECT_EQ(a.value(), b.value());
  EXPECT_TRUE(a == b);
  EXPECT_NE(a.value(), text.c_str());
  EXPECT_EQ(std::wstring(a.value()), text);

  const Quark empty = Quark::create(L"");
  EXPECT_TRUE(empty != nullQuark);
  EXPECT_STREQ(empty.value(), L"");
  EXPECT_EQ(nullQuark.value(), nullptr);
  EXPECT_TRUE(Quark::create(nullptr) == nullQuark);
  EXPECT_TRUE(Quark() == nullQuark);
}

// Chunks of 8192 characters, longer texts get their own; room is made before
// the lookup, so a known long text still starts a chunk.
TEST(Quark, ChunkLayoutFollowsTheSizesAndTheAllocateBeforeLookupRule) {
  const Quark big = q(unique(L"big", 9000));  // n = 9001: a chunk of 2 * 9001 + 8 bytes, now full
  const Quark first = q(unique(L"a"));        // full: a new ordinary chunk
  const std::wstring filler = unique(L"fill", 8192 - 1 - (std::wcslen(first.value()) + 1));
  const Quark fill = q(filler);  // fills that chunk to the last character
  EXPECT_EQ(fill.value(), first.value() + std::wcslen(first.value()) + 1);
  const Quark next = q(unique(L"b"));  // no room left: another chunk
  EXPECT_NE(next.value(), fill.value() + filler.size() + 1);

  q(unique(L"pad", 8192 - 1 - (std::wcslen(next.value()) + 1)));  // fill next's chunk
  EXPECT_EQ(q(big.value()).value(), big.value());
  const Quark c = q(unique(L"c"));
  const Quark d = q(unique(L"d", 9001 - (std::wcslen(c.value()) + 1) - 1));
  EXPECT_EQ(d.value(), c.value() + std::wcslen(c.value()) + 1);
}

TEST(QuarkStress, InterningFromSeveralThreadsGivesOnePointerPerText) {
  std::vector<std::wstring> texts;
  for (int i = 0; i < 2000; ++i) texts.push_back(unique(L"t", i % 50));
  auto intern = [&texts](unsigned seed) {
    std::vector<std::size_t> order(texts.size());
    for (std::size_t i = 0; i < order.size(); ++i) order[i] = i;
    std::shuffle(order.begin(), order.end(), std::mt19937(seed));
    std::vector<const wchar_t*> out(texts.size());
    for (std::size_t i : order) out[i] = q(texts[i]).value();
    return out;
  };
  std::vector<std::future<std::vector<const wchar_t*>>> threads;
  for (unsigned t = 0; t < 4; ++t) threads.push_back(std::async(std::launch::async, intern, t));
  std::vector<std::vector<const wchar_t*>> results;
  for (auto& f : threads) {
    ASSERT_EQ(f.wait_for(60s), std::future_status::ready);
    results.push_back(f.get());
  }
  for (std::size_t i = 0; i < texts.size(); ++i) {
    EXPECT_EQ(std::wstring(results[0][i]), texts[i]);
    for (const auto& r : results) ASSERT_EQ(r[i], results[0][i]) << "text " << i;
  }
}

TEST(QuarkCollatesLess, FollowsTheLocaleAndBreaksTiesByUnits) {
  const Quark a = Quark::create(L"a"), B = Quark::create(L"B");
  {
    CollateLocale c("C");  // wcscoll is ordinal: 'B' (0x42) before 'a'
    EXPECT_TRUE(QuarkCollatesLess()(B, a));
    EXPECT_FALSE(QuarkCollatesLess()(a, B));
  }
  CollateLocale english("English_United States.1252");
  ASSERT_TRUE(english.ok());
  EXPECT_TRUE(QuarkCollatesLess()(a, B));
  EXPECT_FALSE(QuarkCollatesLess()(B, a));

  // Collate equal (soft hyphen ignored): units decide.
  const Quark plain = Quark::create(L"ab"), hyphen = Quark::create(L"a\u00ADb");
  ASSERT_EQ(std::wcscoll(plain.value(), hyphen.value()), 0);
  EXPECT_TRUE(QuarkCollatesLess()(plain, hyphen));
  EXPECT_FALSE(QuarkCollatesLess()(hyphen, plain));
  EXPECT_FALSE(QuarkCollatesLess()(plain, plain));

  EXPECT_TRUE(QuarkCollatesLess()(nullQuark, Quark::create(L"")));
  EXPECT_FALSE(QuarkCollatesLess()(Quark::create(L""), nullQuark));
  EXPECT_FALSE(QuarkCollatesLess()(nullQuark, nullQuark));
}

TEST(QuarkCollatesLess, IsAStrictTotalOrderOnRandomTexts) {
  CollateLocale english("English_United States.1252");
  const wchar_t alphabet[] = L"aAbB\u00AD-\u00E9e\u0301 ";
  std::mt19937 rng(7);
  std::vector<Quark> quarks;
  for (int i = 0; i < 300; ++i) {
    std::wstring s;
    for (int n = rng() % 4; n >= 0; --n) s += alphabet[rng() % (sizeof alphabet / sizeof *alphabet - 1)];
    quarks.push_back(q(s));
  }
  const QuarkCollatesLess less;
  for (const Quark& x : quarks)
    for (const Quark& y : quarks) {
      const bool xy = less(x, y), yx = less(y, x);
      ASSERT_FALSE(xy && yx) << "asymmetry";
      ASSERT_EQ(!xy && !yx, x == y) << "totality";  // only one quark per text
    }
  EXPECT_TRUE(QuarkLess()(Quark(), quarks[0]));  // by pointer: null first
}

}  // namespace
