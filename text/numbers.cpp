// Strict parsers of 32-bit integers and decimal numbers over counted wide text.
#include <qorcor14/text/strings.h>

#include <climits>
#include <cstdint>

namespace {

bool isBlank(wchar_t c) { return c == L' ' || c == L'\t'; }

bool isDigit(wchar_t c) { return c >= L'0' && c <= L'9'; }

// 10^0 .. 10^17, all exact in a double.
constexpr double kPowers[18] = {1e0, 1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,  1e8,
                                1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15, 1e16, 1e17};

// 10^(16 * 2^i): one factor for each bit of p / 16.
constexpr double kBigPowers[5] = {1e16, 1e32, 1e64, 1e128, 1e256};

// Significant digits kept by isDouble; further ones only move the exponent.
constexpr int kMaxDigits = 17;

// The largest 17-digit mantissa whose value with decimal exponent 309 still
// fits a double (1.7976931348623157e308 reads as this, after rounding).
constexpr double kLargestMantissa = 17976931348623156.0;

// m * 10^p, in the order the result's last bits depend on: the power below 16
// first, then the large powers from the smallest up.
double scale(double m, int p) {
  const bool divide = p < 0;
  const unsigned a = static_cast<unsigned>(divide ? -p : p);
  double r = divide ? m / kPowers[a % 16] : m * kPowers[a % 16];
  unsigned q = a / 16;
  for (int bit = 0; q != 0; ++bit, q >>= 1) {
    if (q & 1u) r = divide ? r / kBigPowers[bit] : r * kBigPowers[bit];
  }
  return r;
}

}  // namespace

bool isLong(long* out, const wchar_t* s, std::size_t n) {
  std::size_t i = 0;
  while (i < n && isBlank(s[i])) ++i;
  bool negative = false;
  if (i < n && (s[i] == L'+' || s[i] == L'-')) negative = s[i++] == L'-';
  if (i == n) return false;
  // Accumulate below zero, where the range reaches one further: -2147483648
  // fits on the way and +2147483648 is caught at the end.
  long acc = 0;
  for (; i < n; ++i) {
    if (!isDigit(s[i])) return false;
    const long d = s[i] - L'0';
    if (acc < LONG_MIN / 10 || (acc == LONG_MIN / 10 && d > -(LONG_MIN % 10))) return false;
    acc = acc * 10 - d;
  }
  if (!negative) {
    if (acc == LONG_MIN) return false;
    acc = -acc;
  }
  *out = acc;
  return true;
}

bool isDouble(double* out, const wchar_t* s, std::size_t n) {
  std::size_t i = 0;
  while (i < n && isBlank(s[i])) ++i;
  if (i == n) return false;
  bool negative = false;
  if (s[i] == L'+' || s[i] == L'-') negative = s[i++] == L'-';

  int digits[kMaxDigits];
  int kept = 0;
  bool seen = false;
  // Where the decimal point lies relative to the first significant digit.
  // Wide enough for any count of digits plus any 32-bit exponent.
  std::int64_t exponent = 0;

  while (i < n && s[i] == L'0') {
    seen = true;
    ++i;
  }
  while (i < n && isDigit(s[i])) {
    if (kept < kMaxDigits) digits[kept++] = s[i] - L'0';
    seen = true;
    ++exponent;
    ++i;
  }
  if (i < n && s[i] == L'.') {
    ++i;
    while (i < n && isDigit(s[i])) {
      seen = true;
      if (kept == 0 && s[i] == L'0') --exponent;
      else if (kept < kMaxDigits) digits[kept++] = s[i] - L'0';
      ++i;
    }
  }
  if (!seen) return false;
  while (kept > 0 && digits[kept - 1] == 0) --kept;

  if (i < n) {
    // Fortran's D is accepted beside E.
    const wchar_t letter = s[i];
    if (letter != L'E' && letter != L'e' && letter != L'D' && letter != L'd') return false;
    long e = 0;
    if (!isLong(&e, s + i + 1, n - i - 1)) return false;
    exponent += e;
  }

  if (exponent > 309) return false;
  double m = 0.0;
  for (int k = 0; k < kept; ++k) m = m * 10.0 + digits[k];
  if (exponent == 309 && m * kPowers[kMaxDigits - kept] > kLargestMantissa) return false;

  if (negative) m = -m;
  // Below the double range the result is positive zero, whatever the sign.
  *out = exponent < -308 ? 0.0 : scale(m, static_cast<int>(exponent) - kept);
  return true;
}
