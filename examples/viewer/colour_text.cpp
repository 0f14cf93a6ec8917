// The Colour column's notations.
#include "drawing.h"

#include <qorcor14/text.h>

#include <cmath>
#include <cwctype>

namespace viewer {

namespace {

// The text with blanks trimmed at both ends and ASCII letters in lower case.
std::wstring normalised(const std::wstring& text) {
  std::wstring s = trimwhitespace(text);
  for (wchar_t& c : s)
    if (c >= L'A' && c <= L'Z') c = static_cast<wchar_t>(c - L'A' + L'a');
  return s;
}

int hexDigit(wchar_t c) {
  if (c >= L'0' && c <= L'9') return c - L'0';
  if (c >= L'a' && c <= L'f') return c - L'a' + 10;
  return -1;
}

bool parseHex(const std::wstring& s, Colour& colour) {
  const std::size_t n = s.size() - 1;
  if (n != 3 && n != 6) return false;
  int v[6];
  for (std::size_t i = 0; i < n; ++i)
    if ((v[i] = hexDigit(s[i + 1])) < 0) return false;
  // #RGB stands for #RRGGBB: each digit times 17.
  const auto channel = [&](int k) { return n == 3 ? v[k] * 17 : v[2 * k] * 16 + v[2 * k + 1]; };
  colour = Colour::rgb(channel(0) / 255.0, channel(1) / 255.0, channel(2) / 255.0);
  return true;
}

// "name(a,b,c)" with blanks anywhere between the parts: the three numbers.
bool parseTriple(const std::wstring& s, const std::wstring& name, double (&v)[3]) {
  if (s.compare(0, name.size(), name) != 0 || s.back() != L')') return false;
  const std::wstring rest = trimwhitespace(s.substr(name.size()));
  if (rest.size() < 2 || rest.front() != L'(') return false;
  const std::wstring inner = rest.substr(1, rest.size() - 2);
  std::size_t from = 0;
  for (int k = 0; k < 3; ++k) {
    const std::size_t comma = k < 2 ? inner.find(L',', from) : inner.size();
    if (comma == std::wstring::npos) return false;
    const std::wstring part = trimwhitespace(inner.substr(from, comma - from));
    if (!isDouble(&v[k], part.data(), part.size()) || !std::isfinite(v[k])) return false;
    from = comma + 1;
  }
  return true;
}

bool inRange(const double (&v)[3], int from, double lo, double hi) {
  for (int k = from; k < 3; ++k)
    if (v[k] < lo || v[k] > hi) return false;
  return true;
}

}  // namespace

bool parseColour(const std::wstring& text, Colour& colour) {
  const std::wstring s = normalised(text);
  if (s.empty()) return false;
  if (s[0] == L'#') return parseHex(s, colour);
  double v[3];
  if (parseTriple(s, L"rgb", v)) {
    if (!inRange(v, 0, 0, 255)) return false;
    colour = Colour::rgb(v[0] / 255, v[1] / 255, v[2] / 255);
    return true;
  }
  if (parseTriple(s, L"hsv", v)) {
    if (!inRange(v, 1, 0, 1)) return false;
    colour = Colour::hsv(Angle::degrees(std::fmod(v[0], 360.0)), v[1], v[2]);
    return true;
  }
  // clang-format off
  static const struct { const wchar_t* name; double r, g, b; } kNames[] = {
      {L"black", 0, 0,           0},
      {L"white", 1, 1,           1},
      {L"red",   1, 0,           0},
      {L"green", 0, 128.0 / 255, 0},
      {L"blue",  0, 0,           1},
  };
  // clang-format on
  for (const auto& n : kNames)
    if (s == n.name) {
      colour = Colour::rgb(n.r, n.g, n.b);
      return true;
    }
  return false;
}

}  // namespace viewer
