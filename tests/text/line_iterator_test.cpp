#include <qorcor14/text/line_iterator.h>

#include <gtest/gtest.h>

#include <random>
#include <regex>
#include <string>
#include <vector>

namespace {

using Lines = std::vector<std::wstring>;

template <class It>
std::vector<std::basic_string<typename TextLineIterator<It>::CharType>> forwards(It b, It e) {
  std::vector<std::basic_string<typename TextLineIterator<It>::CharType>> out;
  for (auto i = TextLineIterator<It>::begin(b, e), end = TextLineIterator<It>::end(b, e); i != end; ++i) {
    out.push_back(*i);
    if (out.size() > 1000) break;
  }
  return out;
}

template <class C>
std::vector<std::basic_string<C>> backwards(const C* b, const C* e) {
  std::vector<std::basic_string<C>> out;
  const auto first = TextLineIterator<const C*>::begin(b, e);
  auto i = TextLineIterator<const C*>::end(b, e);
  do {
    --i;
    out.insert(out.begin(), *i);
  } while (i != first && out.size() <= 1000);
  return out;
}

std::string narrow(const std::wstring& w) { return std::string(w.begin(), w.end()); }

void expectLines(const std::wstring& text, const Lines& expected) {
  EXPECT_EQ(forwards(text.data(), text.data() + text.size()), expected);
  EXPECT_EQ(forwards(text.cbegin(), text.cend()), expected);
  EXPECT_EQ(backwards(text.data(), text.data() + text.size()), expected);
  const std::string n = narrow(text);
  std::vector<std::string> expectedNarrow;
  for (const std::wstring& l : expected) expectedNarrow.push_back(narrow(l));
  EXPECT_EQ(forwards(n.data(), n.data() + n.size()), expectedNarrow);
  EXPECT_EQ(forwards(n.cbegin(), n.cend()), expectedNarrow);
  EXPECT_EQ(backwards(n.data(), n.data() + n.size()), expectedNarrow);
}

// Only CR and LF break lines (their combinations are in RandomTextsMatchRegexSplit).
TEST(TextLineIterator, OtherBreaksAreText) {
  const std::wstring text =
      L"a\fb\x85"
      L"c\x2028"
      L"d\x2029"
      L"e\v";
  EXPECT_EQ(forwards(text.cbegin(), text.cend()), Lines{text});
  EXPECT_EQ(backwards(text.data(), text.data() + text.size()), Lines{text});
}

TEST(TextLineIterator, PostfixStepsAndStepBackFromFirstLine) {
  const char t[] = "ab\r\r\ncd";
  using L = TextLineIterator<const char*>;
  EXPECT_EQ(L::backSkipEOL(t + 5, t), t + 2);
  auto i = L::begin(t, t + 7);
  EXPECT_EQ(*i++, "ab");
  EXPECT_EQ(*i, "cd");
  EXPECT_EQ(*i--, "cd");
  EXPECT_EQ(i, L::begin(t, t + 7));
  --i;  // stays on the first line, which then reads empty
  EXPECT_EQ(i, L::begin(t, t + 7));
  EXPECT_EQ(*i, "");
}

// Random texts of letters, CRs and LFs against a regular-expression split.
TEST(TextLineIterator, RandomTextsMatchRegexSplit) {
  std::mt19937 rng(11);
  const std::wregex breakRx(L"\r+\n?|\n");
  for (int round = 0; round < 2000; ++round) {
    std::wstring text;
    const int n = static_cast<int>(rng() % 12);
    for (int k = 0; k < n; ++k) text += L"ab\r\n"[rng() % 4];
    Lines expected;
    for (std::wsregex_token_iterator it(text.begin(), text.end(), breakRx, -1), end; it != end; ++it)
      expected.push_back(*it);
    if (expected.empty()) expected.push_back(L"");
    SCOPED_TRACE(testing::PrintToString(text));
    expectLines(text, expected);
    if (testing::Test::HasFailure()) break;
  }
}

}  // namespace
