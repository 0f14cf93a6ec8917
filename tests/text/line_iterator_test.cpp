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
    if (out.size() > 1000) break;  // a walk that never ends fails, not hangs
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

// Every form agrees on the lines of text, forwards and (pointers) backwards.
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

TEST(TextLineIterator, BreakRules) {
  const struct {
    const wchar_t* text;
    Lines lines;
  } cases[] = {
      {L"a\r\nb", {L"a", L"b"}},
      {L"a\n", {L"a"}},
      {L"a\n\nb", {L"a", L"", L"b"}},
      {L"a\r\rb", {L"a", L"b"}},
      {L"a\n\rb", {L"a", L"", L"b"}},
      {L"a\r\r\nb", {L"a", L"b"}},
      {L"", {L""}},
      {L"\n", {L""}},
      {L"\n\n", {L"", L""}},
      {L"a\r\n", {L"a"}},
      {L"a\r", {L"a"}},
      {L"\ra", {L"", L"a"}},
      {L"a\fb\x85" L"c\x2028" L"d\x2029" L"e\v", {L"a\fb\x85" L"c\x2028" L"d\x2029" L"e\v"}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::PrintToString(std::wstring(c.text)));
    const std::wstring text(c.text);
    if (text.find_first_of(L"\x85\x2028\x2029") == std::wstring::npos) {
      expectLines(text, c.lines);
    } else {
      EXPECT_EQ(forwards(text.cbegin(), text.cend()), c.lines);
      EXPECT_EQ(backwards(text.data(), text.data() + text.size()), c.lines);
    }
  }
}

TEST(TextLineIterator, StaticStepsAndPositions) {
  const char t[] = "ab\r\r\ncd";
  const char* e = t + 7;
  using L = TextLineIterator<const char*>;
  EXPECT_EQ(L::findEOL(t, e), t + 2);
  EXPECT_EQ(L::findEOL(t + 5, e), e);
  EXPECT_EQ(L::skipEOL(t + 2, e), t + 5);
  EXPECT_EQ(L::skipEOL(t + 4, e), t + 5);
  EXPECT_EQ(L::backFindEOL(t + 7, t), t + 5);
  EXPECT_EQ(L::backFindEOL(t + 2, t), t);
  EXPECT_EQ(L::backSkipEOL(t + 5, t), t + 2);
  EXPECT_EQ(L::backSkipEOL(t + 2, t), t + 2);
  EXPECT_EQ(L::backSkipEOL(t, t), t);

  auto i = L::begin(t, e);
  EXPECT_EQ(i.lineBegin(), t);
  EXPECT_EQ(i.lineEnd(), t + 2);
  auto was = i++;
  EXPECT_EQ(*was, "ab");
  EXPECT_EQ(*i, "cd");
  auto j = i--;
  EXPECT_EQ(*j, "cd");
  EXPECT_EQ(i, L::begin(t, e));
  // Stepping back from the first line stays there.
  --i;
  EXPECT_EQ(i, L::begin(t, e));
  EXPECT_EQ(*i, "");
  EXPECT_EQ(TextLineIterator<const wchar_t*>(), TextLineIterator<const wchar_t*>());
}

TEST(TextLineIterator, StepBackFromEndGivesLastLine) {
  const wchar_t t[] = L"x\na\r\n";
  auto i = TextLineIterator<const wchar_t*>::end(t, t + 5);
  --i;
  EXPECT_EQ(*i, L"a");
  EXPECT_NE(i, TextLineIterator<const wchar_t*>::end(t, t + 5));
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
