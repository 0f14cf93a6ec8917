// The UTF-8 and ANSI code page conversions and the number parsers from
// hostile input, each against a plain reference written from their rules.
//
// Input: byte 0 is the buffer size packTo3 gets; the rest is the payload,
// read as UTF-8 bytes, as ANSI bytes, as UTF-16LE units, and as number text
// (one unit per byte as it is, and mapped onto the characters numbers are
// made of). Counted input is placed right before a page the process may not
// touch, and buffers end right there, so a read or write one unit too far
// crashes.
#include "fuzz_target.h"

#include <qorcor14/errors.h>
#include <qorcor14/text/strings.h>

#include <windows.h>

#include <algorithm>
#include <cstring>
#include <iterator>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

// --- Memory fenced by no-access pages -------------------------------------------

// Room for n objects of T ending at the guard page, or null when too big.
template <class T>
T* atGuardRoom(std::size_t n) {
  if (n > (std::size_t{1} << 20) / sizeof(T)) return nullptr;
  return static_cast<T*>(qorfuzz::roomBeforeGuardPage(n * sizeof(T)));
}

// A copy of s ending at the guard page (null when s is too long); it stays
// there until the next copy.
template <class C>
const C* atGuard(const std::basic_string<C>& s) {
  C* p = atGuardRoom<C>(s.size());
  if (p) std::memcpy(p, s.data(), s.size() * sizeof(C));
  return p;
}

// --- References for UTF-8 --------------------------------------------------------

// The lenient decoder, step by step: the trailing-byte count from the lead
// byte, U+FFFD and the end when the input is cut short, the unchecked
// accumulation less the offset, and one unit, a pair or nothing.
std::wstring referenceDecode(const std::string& bytes) {
  static const std::uint32_t offsets[6] = {0, 0x3080, 0xE2080, 0x3C82080, 0xFA082080, 0x82082080};
  std::wstring out;
  for (std::size_t i = 0; i < bytes.size();) {
    const std::uint32_t b = static_cast<unsigned char>(bytes[i]);
    const std::size_t t = b < 0xC0 ? 0 : b < 0xE0 ? 1 : b < 0xF0 ? 2 : b < 0xF8 ? 3 : b < 0xFC ? 4 : 5;
    if (bytes.size() - i - 1 < t) {
      out += L'\xFFFD';
      break;
    }
    std::uint32_t v = b;
    for (std::size_t k = 1; k <= t; ++k) v = (v << 6) + static_cast<unsigned char>(bytes[i + k]);
    v -= offsets[t];
    if (v < 0x10000) {
      out += static_cast<wchar_t>(v);
    } else if (v < 0x110000) {
      out += static_cast<wchar_t>(((v - 0x10000) >> 10) | 0xD800);
      out += static_cast<wchar_t>(((v - 0x10000) & 0x3FF) | 0xDC00);
    }
    i += t + 1;
  }
  return out;
}

// The encoder: a leading surrogate followed by a trailing one is one code
// point; every other unit stands for itself, lone surrogates included.
std::string referenceEncode(const std::wstring& s) {
  std::string out;
  for (std::size_t i = 0; i < s.size(); ++i) {
    std::uint32_t c = static_cast<std::uint16_t>(s[i]);
    if (c >= 0xD800 && c < 0xDC00 && i + 1 < s.size() && (s[i + 1] & 0xFC00) == 0xDC00)
      c = 0x10000 + ((c - 0xD800) << 10) + (static_cast<std::uint16_t>(s[++i]) - 0xDC00);
    if (c < 0x80) {
      out += static_cast<char>(c);
    } else if (c < 0x800) {
      out += static_cast<char>(0xC0 | c >> 6);
      out += static_cast<char>(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
      out += static_cast<char>(0xE0 | c >> 12);
      out += static_cast<char>(0x80 | (c >> 6 & 0x3F));
      out += static_cast<char>(0x80 | (c & 0x3F));
    } else {
      out += static_cast<char>(0xF0 | c >> 18);
      out += static_cast<char>(0x80 | (c >> 12 & 0x3F));
      out += static_cast<char>(0x80 | (c >> 6 & 0x3F));
      out += static_cast<char>(0x80 | (c & 0x3F));
    }
  }
  return out;
}

// Well-formed UTF-8: shortest forms, no surrogates, nothing above U+10FFFF.
bool strictUtf8(const std::string& bytes) {
  for (std::size_t i = 0; i < bytes.size();) {
    const unsigned b = static_cast<unsigned char>(bytes[i]);
    std::size_t n;
    std::uint32_t v, min;
    if (b < 0x80) {
      ++i;
      continue;
    }
    if (b >= 0xC2 && b <= 0xDF) n = 2, v = b & 0x1F, min = 0x80;
    else if (b >= 0xE0 && b <= 0xEF) n = 3, v = b & 0x0F, min = 0x800;
    else if (b >= 0xF0 && b <= 0xF4) n = 4, v = b & 0x07, min = 0x10000;
    else return false;
    if (bytes.size() - i < n) return false;
    for (std::size_t k = 1; k < n; ++k) {
      const unsigned c = static_cast<unsigned char>(bytes[i + k]);
      if ((c & 0xC0) != 0x80) return false;
      v = v << 6 | (c & 0x3F);
    }
    if (v < min || v > 0x10FFFF || (v >= 0xD800 && v <= 0xDFFF)) return false;
    i += n;
  }
  return true;
}

// --- References for the number parsers -------------------------------------------

bool isDigit(wchar_t c) { return c >= L'0' && c <= L'9'; }

// Blanks, a sign, then digits to the very end, within 32 bits.
std::optional<long> referenceLong(const std::wstring& s) {
  std::size_t i = s.find_first_not_of(L" \t");
  if (i == std::wstring::npos) return std::nullopt;
  const bool negative = s[i] == L'-';
  if (s[i] == L'+' || s[i] == L'-') ++i;
  if (i == s.size()) return std::nullopt;
  long long value = 0;
  for (; i < s.size(); ++i) {
    if (!isDigit(s[i])) return std::nullopt;
    value = std::min(value * 10 + (s[i] - L'0'), 1LL << 40);  // far enough beyond the range
  }
  if (negative) value = -value;
  if (value < -2147483648LL || value > 2147483647LL) return std::nullopt;
  return static_cast<long>(value);
}

// Split into its parts first, then the arithmetic the rules fix: 17
// significant digits, the decimal exponent, the overflow bound and the scaling
// by a power below 16 and then by 10^16, 10^32, ... for the bits above.
std::optional<double> referenceDouble(const std::wstring& s) {
  static const double exact[18] = {1e0, 1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,  1e8,
                                   1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15, 1e16, 1e17};
  static const double big[5] = {1e16, 1e32, 1e64, 1e128, 1e256};
  std::size_t i = s.find_first_not_of(L" \t");
  if (i == std::wstring::npos) return std::nullopt;
  const bool negative = s[i] == L'-';
  if (s[i] == L'+' || s[i] == L'-') ++i;
  std::wstring whole, fraction;
  while (i < s.size() && isDigit(s[i])) whole += s[i++];
  if (i < s.size() && s[i] == L'.') {
    ++i;
    while (i < s.size() && isDigit(s[i])) fraction += s[i++];
  }
  if (whole.empty() && fraction.empty()) return std::nullopt;
  long long exponent = 0;
  if (i < s.size()) {
    if (std::wstring(L"EeDd").find(s[i]) == std::wstring::npos) return std::nullopt;
    const auto e = referenceLong(s.substr(i + 1));
    if (!e) return std::nullopt;
    exponent = *e;
  }
  // The significant digits and where the point lies before the first of them.
  std::wstring digits;
  const std::size_t firstWhole = whole.find_first_not_of(L'0');
  if (firstWhole != std::wstring::npos) {
    digits = whole.substr(firstWhole) + fraction;
    exponent += static_cast<long long>(whole.size() - firstWhole);
  } else {
    const std::size_t firstFraction = std::min(fraction.find_first_not_of(L'0'), fraction.size());
    digits = fraction.substr(firstFraction);
    exponent -= static_cast<long long>(firstFraction);
  }
  digits.resize(std::min<std::size_t>(digits.size(), 17));
  while (!digits.empty() && digits.back() == L'0') digits.pop_back();
  const int k = static_cast<int>(digits.size());
  if (exponent > 309) return std::nullopt;
  double m = 0;
  for (wchar_t d : digits) m = m * 10 + (d - L'0');
  if (exponent == 309 && m * exact[17 - k] > 17976931348623156.0) return std::nullopt;
  if (negative) m = -m;
  if (exponent < -308) return 0.0;
  const long long p = exponent - k;
  const unsigned long long a = static_cast<unsigned long long>(p < 0 ? -p : p);
  double r = p < 0 ? m / exact[a % 16] : m * exact[a % 16];
  for (int bit = 0; bit < 5; ++bit)
    if ((a / 16) >> bit & 1) r = p < 0 ? r / big[bit] : r * big[bit];
  return r;
}

// --- Checks ------------------------------------------------------------------------

void checkUtf8(const std::string& bytes, const std::wstring& units) {
  const std::wstring decoded = utf8(bytes);
  qorfuzz::fuzzCheck(decoded == referenceDecode(bytes), "utf8(string) differs from the lenient decoder's rules");
  if (strictUtf8(bytes)) qorfuzz::fuzzCheck(utf8(decoded) == bytes, "valid UTF-8 does not survive UTF-16 and back");

  const std::string encoded = utf8(units);
  qorfuzz::fuzzCheck(encoded == referenceEncode(units), "utf8(wstring) differs from the encoder's rules");
  qorfuzz::fuzzCheck(utf8(encoded) == units, "a wide string does not survive UTF-8 and back");

  for (std::size_t i = 0; i + 1 < units.size(); ++i) {
    const unsigned a = static_cast<std::uint16_t>(units[i]), b = static_cast<std::uint16_t>(units[i + 1]);
    unsigned out = 7;
    const bool pair = (a & 0xFC00) == 0xD800 && (b & 0xFC00) == 0xDC00;
    qorfuzz::fuzzCheck(fromUTF16(out, a, b) == pair, "fromUTF16: wrong answer");
    qorfuzz::fuzzCheck(out == (pair ? ((a - 0xD800) << 10 | (b - 0xDC00)) + 0x10000 : 7u), "fromUTF16: wrong value");
  }
}

std::wstring systemWide(const char* s, std::size_t n, DWORD flags = 0) {
  std::wstring out(n, L'\0');
  const int r = n ? MultiByteToWideChar(CP_ACP, flags, s, static_cast<int>(n), out.data(), static_cast<int>(n)) : 0;
  out.resize(static_cast<std::size_t>(r > 0 ? r : 0));
  return out;
}

std::string systemAnsi(const wchar_t* s, std::size_t n, DWORD flags = 0, BOOL* usedDefault = nullptr) {
  std::string out(4 * n, '\0');
  const int r = n ? WideCharToMultiByte(CP_ACP, flags, s, static_cast<int>(n), out.data(), static_cast<int>(out.size()),
                                        nullptr, usedDefault)
                  : 0;
  out.resize(static_cast<std::size_t>(r > 0 ? r : 0));
  return out;
}

void checkAnsi(const std::string& bytes, const std::wstring& units) {
  // One copy at the guard page at a time.
  const char* b = atGuard(bytes);
  if (!b) return;
  const std::wstring wide = getWCS(b, bytes.size());
  qorfuzz::fuzzCheck(wide == systemWide(b, bytes.size()), "getWCS differs from MultiByteToWideChar");
  qorfuzz::fuzzCheck(getWCS(bytes) == wide, "getWCS(string) differs from the counted form");
  const wchar_t* u = atGuard(units);
  if (!u) return;
  const std::string narrow = getMBS(u, units.size());
  qorfuzz::fuzzCheck(narrow == systemAnsi(u, units.size()), "getMBS differs from WideCharToMultiByte");
  qorfuzz::fuzzCheck(getMBS(units) == narrow, "getMBS(wstring) differs from the counted form");
  // The forms that stop at the first NUL.
  const std::string upToNul = bytes.substr(0, bytes.find('\0'));
  qorfuzz::fuzzCheck(getWCS(upToNul.c_str()) == systemWide(upToNul.data(), upToNul.size()),
                     "getWCS(char*) does not stop at the NUL");
  const std::wstring unitsToNul = units.substr(0, units.find(L'\0'));
  qorfuzz::fuzzCheck(getMBS(unitsToNul.c_str()) == systemAnsi(unitsToNul.data(), unitsToNul.size()),
                     "getMBS(wchar_t*) does not stop at the NUL");

  // Round trips where the code page holds the text: where the system's own
  // conversions, strict ones, come back to it (cp932 maps some characters
  // from two byte pairs, and back to one).
  const std::wstring strictWide = systemWide(bytes.data(), bytes.size(), MB_ERR_INVALID_CHARS);
  if (systemAnsi(strictWide.data(), strictWide.size()) == bytes)
    qorfuzz::fuzzCheck(getMBS(wide) == bytes, "code page text does not survive wide and back");
  BOOL usedDefault = FALSE;
  const std::string exact = systemAnsi(units.data(), units.size(), WC_NO_BEST_FIT_CHARS, &usedDefault);
  if (!usedDefault && systemWide(exact.data(), exact.size()) == units)
    qorfuzz::fuzzCheck(getWCS(narrow) == units, "wide text the code page holds does not survive it and back");
}

void checkPack(const std::wstring& units, std::size_t size) {
  // The wide copy: only the first unit that does not fit decides on a pair.
  if (wchar_t* buf = atGuardRoom<wchar_t>(size)) {
    try {
      const std::size_t copied = packTo3(units, buf, size);
      qorfuzz::fuzzCheck(size > 0, "packTo3(wchar_t*) took a zero-size buffer");
      std::size_t m = size;
      if (size > 1 && size - 1 < units.size() && (units[size - 1] & 0xFC00) == 0xD800) m = size - 1;
      const std::size_t expected = std::min(units.size(), m - 1);
      qorfuzz::fuzzCheck(copied == expected && units.compare(0, copied, buf, copied) == 0 && buf[copied] == 0,
                         "packTo3(wchar_t*) copied the wrong units");
    } catch (const std::logic_error& e) {
      qorfuzz::fuzzCheck(size == 0 && std::string(e.what()) == "illegal buffer to pack wstring",
                         "packTo3(wchar_t*) threw");
    }
  }
  // The code page copy: the longest prefix that ends between code points and
  // fits, found by converting every such prefix.
  if (char* buf = atGuardRoom<char>(size)) {
    std::size_t best = 0;  // bytes of the longest prefix that fits
    std::string bestBytes;
    bool anyFits = units.empty();
    for (std::size_t end = 0; end <= units.size(); ++end) {
      if (end > 0 && end < units.size() && (units[end - 1] & 0xFC00) == 0xD800 && (units[end] & 0xFC00) == 0xDC00)
        continue;
      const std::string bytes = systemAnsi(units.data(), end);
      if (end > 0 && size > 0 && bytes.size() <= size - 1) best = bytes.size(), bestBytes = bytes, anyFits = true;
    }
    try {
      const unsigned r = packTo3(units, buf, static_cast<int>(size));
      qorfuzz::fuzzCheck(size > 0, "packTo3(char*) took a zero-size buffer");
      qorfuzz::fuzzCheck(r == best && std::string(buf, r) == bestBytes && buf[r] == 0,
                         "packTo3(char*) copied the wrong bytes");
    } catch (const std::logic_error& e) {
      qorfuzz::fuzzCheck(size == 0 && std::string(e.what()) == "illegal buffer to pack wstring",
                         "packTo3(char*) threw");
    } catch (const WinError& e) {
      qorfuzz::fuzzCheck(size >= 2 && !anyFits, "packTo3(char*) failed where a prefix fits");
      qorfuzz::fuzzCheck(std::wstring(e.wWhat()).ends_with(L" calling WideCharToMultiByte in packTo"),
                         "packTo3: wrong text");
    }
  }
}

void checkNumbers(const std::wstring& text) {
  const wchar_t* s = atGuard(text);
  if (!s) return;
  long l = 12345;
  const auto expectedLong = referenceLong(text);
  qorfuzz::fuzzCheck(isLong(&l, s, text.size()) == expectedLong.has_value(),
                     "isLong accepts other text than its rules");
  qorfuzz::fuzzCheck(l == (expectedLong ? *expectedLong : 12345), "isLong: wrong value, or changed it on failure");

  double d = 0.25;
  const auto expectedDouble = referenceDouble(text);
  qorfuzz::fuzzCheck(isDouble(&d, s, text.size()) == expectedDouble.has_value(),
                     "isDouble accepts other text than its rules");
  const double want = expectedDouble ? *expectedDouble : 0.25;
  qorfuzz::fuzzCheck(std::memcmp(&d, &want, sizeof d) == 0, "isDouble: wrong value, or changed it on failure");
}

}  // namespace

std::vector<qorfuzz::Seed> fuzzSeeds() {
  std::vector<qorfuzz::Seed> seeds;
  for (const wchar_t* file : {L"tests/stream/fixtures/unicode_sample.txt", L"tests/stream/fixtures/ansi_sample.txt"}) {
    qorfuzz::Seed seed = qorfuzz::seedFromFile(qorfuzz::sourcePath(file));
    seed.bytes.insert(seed.bytes.begin(), 40);
    seeds.push_back(seed);
  }
  // Encoded text the other way round: UTF-16LE, and bytes no decoder should trust.
  seeds.push_back({"utf-16", {0x20, 'a', 0, 0x3D, 0xD8, 0x00, 0xDE, 0x00, 0xDC, 0x41, 0x00, 0xFF, 0xFE, 0xE9, 0x00}});
  seeds.push_back(
      {"broken utf-8",
       {5, 0xC3, 0x41, 0xE2, 0x82, 0xF4, 0x90, 0x80, 0x80, 0xED, 0xA0, 0x80, 0xC0, 0xAF, 0xFE, 0xE2, 0x82}});
  for (const char* number :
       {" \t-2147483648", "+2147483647", "1.5D3", "-.5e-3", "0.00000000000000000000012345678901234567890e+20",
        "1.7976931348623157e308", "17976931348623157e292", "-1e-400", "12e 5", "4.9e-324"}) {
    std::vector<std::uint8_t> bytes{9};
    bytes.insert(bytes.end(), number, number + std::strlen(number));
    seeds.push_back({number, bytes});
  }
  return seeds;
}

void fuzzOne(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return;
  const std::string bytes(reinterpret_cast<const char*>(data + 1), size - 1);
  std::wstring units;
  for (std::size_t i = 1; i + 1 < size; i += 2) units += static_cast<wchar_t>(data[i] | data[i + 1] << 8);
  checkUtf8(bytes, units);
  checkAnsi(bytes, units);
  checkPack(units, data[0]);
  // Number text: the bytes as they are, and mapped onto what numbers are made of.
  static const wchar_t alphabet[] = L"0123456789+-. \teEdDx\u0660";
  std::wstring latin1, mapped;
  for (unsigned char b : bytes) {
    latin1 += static_cast<wchar_t>(b);
    mapped += alphabet[b % (std::size(alphabet) - 1)];
  }
  checkNumbers(latin1);
  checkNumbers(mapped);
}
