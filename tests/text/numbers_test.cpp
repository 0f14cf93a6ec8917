#include <qorcor14/text/strings.h>

#include <gtest/gtest.h>

#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <random>
#include <string>

namespace {

bool parseLong(const std::wstring& s, long& v) { return isLong(&v, s.data(), s.size()); }
bool parseDouble(const std::wstring& s, double& v) { return isDouble(&v, s.data(), s.size()); }

std::uint64_t bits(double d) { return std::bit_cast<std::uint64_t>(d); }

// The correctly rounded value of a decimal text (std::from_chars; the runtime's
// wcstod is off by one unit in places and knows no D exponent).
double correctlyRounded(const std::wstring& text) {
  std::string narrow;
  for (wchar_t c : text) narrow.push_back(c == L'D' ? 'e' : static_cast<char>(c));
  double v = 0;
  const auto r = std::from_chars(narrow.data(), narrow.data() + narrow.size(), v);
  EXPECT_EQ(r.ptr, narrow.data() + narrow.size()) << narrow;
  return v;
}

TEST(IsLong, AcceptsBlanksSignAndDigitsToTheVeryEnd) {
  const struct {
    const wchar_t* text;
    long value;
  } good[] = {
      {L"0", 0}, {L"+7", 7}, {L"-0", 0}, {L" \t 42", 42}, {L"00000000000000000012", 12},
      {L"2147483647", 2147483647L}, {L" -2147483648", -2147483647L - 1}, {L"-2147483647", -2147483647L},
  };
  for (const auto& c : good) {
    SCOPED_TRACE(testing::PrintToString(std::wstring(c.text)));
    long v = 99;
    EXPECT_TRUE(parseLong(c.text, v));
    EXPECT_EQ(v, c.value);
  }
  const wchar_t* bad[] = {L"",   L" ",  L"\t", L"+",  L"-", L" -",          L"12 ",         L"1 2",
                          L"0x1", L"1e3", L"--1", L"+-1", L"\n1", L"- 1", L"2147483648", L"-2147483649", L"99999999999",
                          L"1.0", L"\u0661"};  // Arabic-Indic one: only ASCII digits count
  for (const wchar_t* b : bad) {
    SCOPED_TRACE(testing::PrintToString(std::wstring(b)));
    long v = 99;
    EXPECT_FALSE(parseLong(b, v));
    EXPECT_EQ(v, 99);
  }
}

TEST(IsLong, ReadsExactlyTheCountedUnits) {
  long v = 0;
  EXPECT_TRUE(isLong(&v, L"123456", 3));
  EXPECT_EQ(v, 123);
  EXPECT_FALSE(isLong(&v, L"12\0" L"3", 4));
  EXPECT_FALSE(isLong(&v, nullptr, 0));
  EXPECT_EQ(v, 123);
}

TEST(IsDouble, ExamplesAndAcceptedForms) {
  const struct {
    const wchar_t* text;
    double value;
  } good[] = {
      {L"1.5D3", 1500},      {L".5", 0.5},        {L"1e 5", 100000},     {L"1E+5", 100000},
      {L"1d-2", 0.01},       {L"  -2.5", -2.5},   {L"\t+3", 3},          {L"7.", 7},
      {L"0", 0},             {L"000.000", 0},     {L"0.001", 0.001},     {L"100", 100},
      {L"1e\t-3", 1e-3},   {L"12345678901234567890", 1.2345678901234567e19},
      {L"0.000000000000000000012345", 1.2345e-20},
      {L"1.00000000000000000000000000009", 1.0},  // digits past the seventeenth are ignored
  };
  for (const auto& c : good) {
    SCOPED_TRACE(testing::PrintToString(std::wstring(c.text)));
    double v = -99;
    ASSERT_TRUE(parseDouble(c.text, v));
    EXPECT_EQ(v, c.value);
  }
}

TEST(IsDouble, RejectsIncompleteOrTrailingText) {
  const wchar_t* bad[] = {L"",     L"  ",    L".",     L"+",     L"-.",      L"+.e5",   L"e5",
                          L"1e",   L"1e+",   L"1e5 ",  L"1 ",    L"1.5.",    L"1x",     L"- 1",
                          L"1f",   L"1e5.0", L"1e99999999999", L"1,5", L"0x10", L"inf",    L"nan",
                          L"1e309", L"1e400"};
  for (const wchar_t* b : bad) {
    SCOPED_TRACE(testing::PrintToString(std::wstring(b)));
    double v = -99;
    EXPECT_FALSE(parseDouble(b, v));
    EXPECT_EQ(v, -99);
  }
  double v = -99;
  EXPECT_TRUE(isDouble(&v, L"2.5xyz", 3));
  EXPECT_EQ(v, 2.5);
}

TEST(IsDouble, OverflowBoundaryAtDecimalExponent309) {
  double v = 0;
  // E = 309 is allowed while the seventeen-digit mantissa stays at or below
  // 17976931348623156 (after its own rounding to a double).
  EXPECT_TRUE(parseDouble(L"1.7976931348623153e308", v));
  EXPECT_EQ(bits(v), 0x7feffffffffffffdu);
  EXPECT_TRUE(parseDouble(L"1e308", v));
  EXPECT_EQ(v, 1e308);
  EXPECT_TRUE(parseDouble(L"0.1e309", v));
  EXPECT_EQ(v, 1e308);
  EXPECT_TRUE(parseDouble(L"10e307", v));
  EXPECT_EQ(v, 1e308);
  // The largest text the bound admits: its mantissa rounds to the bound, but
  // the scaling by 10^4, 10^32 and 10^256 in turn overflows on the way.
  EXPECT_TRUE(parseDouble(L"1.7976931348623157e308", v));
  EXPECT_EQ(v, HUGE_VAL);
  EXPECT_TRUE(parseDouble(L"-1.7976931348623157e308", v));
  EXPECT_EQ(v, -HUGE_VAL);
  v = 5;
  EXPECT_FALSE(parseDouble(L"1.7976931348623159e308", v));
  EXPECT_FALSE(parseDouble(L"1.8e308", v));
  EXPECT_FALSE(parseDouble(L"9.9e308", v));
  EXPECT_FALSE(parseDouble(L"1e309", v));
  EXPECT_FALSE(parseDouble(L"0.0001e313", v));  // E = -3 + 313 = 310
  EXPECT_EQ(v, 5);
  // A zero mantissa is no exception to the exponent limit.
  EXPECT_FALSE(parseDouble(L"0e400", v));
  EXPECT_TRUE(parseDouble(L"0e309", v));
  EXPECT_EQ(v, 0);
}

TEST(IsDouble, TinyExponentsGivePositiveZeroWhateverTheSign) {
  double v = 5;
  EXPECT_TRUE(parseDouble(L"1e-400", v));
  EXPECT_EQ(bits(v), 0u);
  v = 5;
  EXPECT_TRUE(parseDouble(L"-1e-400", v));
  EXPECT_EQ(bits(v), 0u);
  EXPECT_TRUE(parseDouble(L"-0.01e-308", v));  // E = -309
  EXPECT_EQ(bits(v), 0u);
  // E = -308 is still scaled: a subnormal, not zero.
  EXPECT_TRUE(parseDouble(L"0.1e-308", v));
  EXPECT_GT(v, 0);
  EXPECT_LT(v, 2.2250738585072014e-308);
  EXPECT_TRUE(parseDouble(L"1e-308", v));
  EXPECT_NEAR(v, 1e-308, 1e-323);
  // A plain negative zero keeps its sign.
  EXPECT_TRUE(parseDouble(L"-0", v));
  EXPECT_TRUE(std::signbit(v));
  EXPECT_EQ(v, 0);
}

TEST(IsDouble, ScalingByPowerTableDiffersFromCorrectRoundingInTheLastBit) {
  // Products and quotients of inexact powers of ten round more than once.
  const struct {
    const wchar_t* text;
    std::uint64_t ours, correctlyRounded;
  } cases[] = {
      {L"4e39", 0x48278287f49c4a1eu, 0x48278287f49c4a1du},
      {L"1e34", 0x46fed09bead87c04u, 0x46fed09bead87c03u},
      {L"2e-22", 0x3b6e392010175ee5u, 0x3b6e392010175ee6u},
      {L"2.2250738585072014e-308", 0x000fffffffffffffu, 0x0010000000000000u},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::PrintToString(std::wstring(c.text)));
    double v = 0;
    ASSERT_TRUE(parseDouble(c.text, v));
    EXPECT_EQ(bits(v), c.ours);
    EXPECT_EQ(bits(correctlyRounded(c.text)), c.correctlyRounded);
  }
}

TEST(IsDouble, ExactWhereOneRoundingSuffices) {
  // Up to 15 significant digits scaled by at most 10^15 is a single correctly
  // rounded operation on exact operands, so the result is correctly rounded.
  std::mt19937_64 rng(5);
  std::uniform_int_distribution<int> len(1, 15), digit(0, 9), shift(-15, 15), form(0, 3);
  for (int i = 0; i < 20000; ++i) {
    std::wstring digits;
    const int n = len(rng);
    digits.push_back(static_cast<wchar_t>(L'1' + digit(rng) % 9));
    for (int k = 1; k < n; ++k) digits.push_back(static_cast<wchar_t>(L'0' + digit(rng)));
    const int p = shift(rng);  // value = digits * 10^p
    std::wstring text;
    switch (form(rng)) {
      case 0: text = digits + L"e" + std::to_wstring(p); break;
      case 1: text = L"-" + digits + L"D" + std::to_wstring(p); break;
      case 2: text = L"0." + digits + L"e" + std::to_wstring(p + n); break;
      default:  // zeros after the point first, which only move the exponent
        text = p >= 0 ? digits + std::wstring(static_cast<std::size_t>(p), L'0')
                      : L"0.000" + digits + L"e" + std::to_wstring(p + n + 3);
        break;
    }
    double v = 0;
    ASSERT_TRUE(parseDouble(text, v)) << testing::PrintToString(text);
    ASSERT_EQ(bits(v), bits(correctlyRounded(text))) << testing::PrintToString(text);
  }
}

}  // namespace
