#include <qorcor14/text/strings.h>

#include <gtest/gtest.h>

#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cwchar>
#include <random>
#include <string>

namespace {

bool parseDouble(const std::wstring& s, double& v) { return isDouble(&v, s.data(), s.size()); }

std::uint64_t bits(double d) { return std::bit_cast<std::uint64_t>(d); }

double correctlyRounded(const std::wstring& text) {
  std::string narrow;
  for (wchar_t c : text) narrow.push_back(c == L'D' ? 'e' : static_cast<char>(c));
  double v = 0;
  const auto r = std::from_chars(narrow.data(), narrow.data() + narrow.size(), v);
  EXPECT_EQ(r.ptr, narrow.data() + narrow.size()) << narrow;
  return v;
}

TEST(IsLong, AcceptsBlanksSignAndDigitsToTheVeryEnd) {
  // clang-format off
  const struct {
    const wchar_t* text;
    long value;
  } good[] = {
      {L"+7", 7}, {L"-0", 0}, {L" \t 42", 42}, {L"00000000000000000012", 12},
      {L"2147483647", 2147483647L}, {L" -2147483648", -2147483647L - 1},
  };
  // clang-format on
  for (const auto& c : good) {
    SCOPED_TRACE(testing::PrintToString(std::wstring(c.text)));
    long v = 99;
    EXPECT_TRUE(isLong(&v, c.text, std::wcslen(c.text)));
    EXPECT_EQ(v, c.value);
  }
  // clang-format off
  const wchar_t* bad[] = {L"",   L" ",  L"+",  L"-", L" -", L"12 ", L"1 2", L"0x1", L"+-1", L"\n1", L"- 1",
                          L"2147483648", L"-2147483649", L"99999999999", L"\u0661"};  // only ASCII digits count
  // clang-format on
  for (const wchar_t* b : bad) {
    SCOPED_TRACE(testing::PrintToString(std::wstring(b)));
    long v = 99;
    EXPECT_FALSE(isLong(&v, b, std::wcslen(b)));
    EXPECT_EQ(v, 99);
  }
  long v = 0;
  EXPECT_TRUE(isLong(&v, L"123456", 3));  // exactly the counted units
  EXPECT_EQ(v, 123);
  EXPECT_FALSE(isLong(&v,
                      L"12\0"
                      L"3",
                      4));
}

TEST(IsDouble, AcceptedFormsAndTheirExactValuesAtTheRangeLimits) {
  // clang-format off
  const struct {
    const wchar_t* text;
    double value;
  } good[] = {
      {L"1.5D3", 1500}, {L".5", 0.5}, {L"1e 5", 100000}, {L"1E+5", 100000}, {L"1d-2", 0.01}, {L"  -2.5", -2.5},
      {L"\t+3", 3}, {L"7.", 7}, {L"000.000", 0}, {L"1e\t-3", 1e-3}, {L"12345678901234567890", 1.2345678901234567e19},
      {L"0.000000000000000000012345", 1.2345e-20},
      {L"1.00000000000000000000000000009", 1.0},  // digits past the seventeenth are ignored
      {L"1.7976931348623153e308", 0x1.ffffffffffffdp+1023}, {L"0.1e309", 1e308}, {L"10e307", 1e308},
      {L"1.7976931348623157e308", HUGE_VAL}, {L"-1.7976931348623157e308", -HUGE_VAL},
      {L"0e309", 0.0}, {L"1e-400", 0.0}, {L"-1e-400", 0.0}, {L"-0.01e-308", 0.0}, {L"-0", -0.0},
      {L"0.1e-308", 0x0.0b8157268fdafp-1022}, {L"1e-308", 0x0.730d67819e8d2p-1022},  // E = -308 is still scaled
      {L"4e39", 0x1.78287f49c4a1ep+131}, {L"1e34", 0x1.ed09bead87c04p+112}, {L"2e-22", 0x1.e392010175ee5p-73},
      {L"2.2250738585072014e-308", 0x0.fffffffffffffp-1022},
  };
  // clang-format on
  for (const auto& c : good) {
    SCOPED_TRACE(testing::PrintToString(std::wstring(c.text)));
    double v = -99;
    ASSERT_TRUE(parseDouble(c.text, v));
    EXPECT_EQ(bits(v), bits(c.value));
  }
  double v = -99;
  EXPECT_TRUE(isDouble(&v, L"2.5xyz", 3));  // exactly the counted units
  EXPECT_EQ(v, 2.5);
}

TEST(IsDouble, RejectsIncompleteOrTrailingTextAndOverflow) {
  // clang-format off
  const wchar_t* bad[] = {L"",     L"  ",    L".",     L"+",     L"-.",      L"+.e5",   L"e5",
                          L"1e",   L"1e+",   L"1e5 ",  L"1.5.",  L"1x",      L"- 1",    L"1f",
                          L"1e5.0", L"1e99999999999", L"1,5", L"inf",
                          L"1.7976931348623159e308", L"9.9e308", L"1e309", L"0.0001e313", L"0e400"};
  // clang-format on
  for (const wchar_t* b : bad) {
    SCOPED_TRACE(testing::PrintToString(std::wstring(b)));
    double v = -99;
    EXPECT_FALSE(parseDouble(b, v));
    EXPECT_EQ(v, -99);
  }
}

TEST(IsDouble, ExactWhereOneRoundingSuffices) {
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
