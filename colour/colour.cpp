// Colour: the three models, the lazy conversions between them and the packed
// pixel forms.
#include <qorcor14/colour/colour.h>

#include <climits>
#include <cmath>
#include <cstring>

namespace {

// Radians per degree; hues pass through degrees in every conversion.
constexpr double kRadiansPerDegree = 0.017453292519943295;

double hueDegrees(const Angle& h) { return std::atan2(h.sin(), h.cos()) / kRadiansPerDegree; }
Angle hueAngle(double degrees) { return Angle::radians(degrees * kRadiansPerDegree); }

// Half away from zero, then truncation toward zero. A value no int can hold
// (or a NaN) gives INT_MIN, the "integer indefinite" the x86 conversion
// instruction produces, instead of undefined behaviour.
int roundComponent(double x) {
  const double r = x < 0 ? x - 0.5 : x + 0.5;
  if (!(r > -2147483649.0 && r < 2147483648.0)) return INT_MIN;
  return static_cast<int>(r);
}

// The hue of an RGB triple whose largest and smallest components differ by
// d (not 0). Red is tested first, then green before blue: ties go that way.
double hueFromRGB(double r, double g, double b, double max, double d) {
  if (r == max) return 60 * (g - b) / d;
  if (g != max) return 60 * (r - g) / d + 240;
  return 60 * (b - r) / d + 120;
}

double max3(double a, double b, double c) {
  double m = a;
  if (b > m) m = b;
  if (c > m) m = c;
  return m;
}

double min3(double a, double b, double c) {
  double m = a;
  if (b < m) m = b;
  if (c < m) m = c;
  return m;
}

}  // namespace

Colour::Colour() : Colour(0.0, 0.0, 0.0, 1.0) {}

Colour::Colour(double r, double g, double b, double a)
    : m_rgbValid(true), m_red(r), m_green(g), m_blue(b), m_hlsValid(false), m_hlsHue(), m_lightness(0),
      m_hlsSaturation(0), m_hsvValid(false), m_hsvHue(), m_hsvSaturation(0), m_value(0), m_alpha(a) {}

Colour::Colour(const Angle& h, double s, double v, double a)
    : m_rgbValid(false), m_red(0), m_green(0), m_blue(0), m_hlsValid(false), m_hlsHue(), m_lightness(0),
      m_hlsSaturation(0), m_hsvValid(true), m_hsvHue(h), m_hsvSaturation(s), m_value(v), m_alpha(a) {}

Colour::Colour(const Angle& h, double l, double s, double a, int)
    : m_rgbValid(false), m_red(0), m_green(0), m_blue(0), m_hlsValid(true), m_hlsHue(h), m_lightness(l),
      m_hlsSaturation(s), m_hsvValid(false), m_hsvHue(), m_hsvSaturation(0), m_value(0), m_alpha(a) {}

Colour Colour::argb(unsigned int v) {
  return Colour((v >> 16 & 255) / 255.0, (v >> 8 & 255) / 255.0, (v & 255) / 255.0, (v >> 24 & 255) / 255.0);
}

Colour Colour::colorref(unsigned long v) {
  return Colour((v & 255) / 255.0, (v >> 8 & 255) / 255.0, (v >> 16 & 255) / 255.0, 1.0);
}

Colour Colour::dib24(const void* p) {
  const auto* px = static_cast<const unsigned char*>(p);
  return Colour(px[2] / 255.0, px[1] / 255.0, px[0] / 255.0, 1.0);
}

void Colour::calcHSV() const {
  if (m_hsvValid) return;
  if (m_hlsValid) {
    m_hsvHue = m_hlsHue;
    const double l = m_lightness, s = m_hlsSaturation;
    if (s == 0 || l == 0) {
      m_hsvSaturation = 0;
      m_value = l;
    } else {
      const double v = l <= 0.5 ? (1 + s) * l : l + s - l * s;
      m_hsvSaturation = (v - (2 * l - v)) / v;
      m_value = v;
    }
  } else {
    const double max = max3(m_red, m_green, m_blue), min = min3(m_red, m_green, m_blue);
    m_value = max;
    if (max == min) {
      m_hsvSaturation = 0;
      m_hsvHue = hueAngle(0);
    } else {
      const double d = max - min;
      m_hsvSaturation = d / max;
      m_hsvHue = hueAngle(hueFromRGB(m_red, m_green, m_blue, max, d));
    }
  }
  m_hsvValid = true;
}

void Colour::calcHLS() const {
  if (m_hlsValid) return;
  if (m_hsvValid) {
    m_hlsHue = m_hsvHue;
    const double s = m_hsvSaturation, v = m_value;
    if (s == 0 || v == 0) {
      m_lightness = v;
      m_hlsSaturation = 0;
    } else {
      const double m = (1 - s) * v;
      m_lightness = (m + v) / 2;
      m_hlsSaturation = m_lightness > 0.5 ? (v - m) / (2 - v - m) : (v - m) / (v + m);
    }
  } else {
    const double max = max3(m_red, m_green, m_blue), min = min3(m_red, m_green, m_blue);
    m_lightness = (max + min) / 2;
    if (max == min) {
      m_hlsSaturation = 0;
      m_hlsHue = hueAngle(0);
    } else {
      const double d = max - min;
      m_hlsSaturation = m_lightness <= 0.5 ? d / (max + min) : d / (2 - max - min);
      m_hlsHue = hueAngle(hueFromRGB(m_red, m_green, m_blue, max, d));
    }
  }
  m_hlsValid = true;
}

void Colour::calcRGB() const {
  if (m_rgbValid) return;
  double hi, lo;
  Angle hue;
  if (m_hlsValid) {
    const double l = m_lightness, s = m_hlsSaturation;
    if (s == 0 || l == 0) {
      m_red = m_green = m_blue = l;
      m_rgbValid = true;
      return;
    }
    hi = l <= 0.5 ? (1 + s) * l : l + s - l * s;
    lo = 2 * l - hi;
    hue = m_hlsHue;
  } else {
    const double s = m_hsvSaturation, v = m_value;
    if (s == 0 || v == 0) {
      m_red = m_green = m_blue = v;
      m_rgbValid = true;
      return;
    }
    hi = v;
    lo = (1 - s) * v;
    hue = m_hsvHue;
  }
  // x lies in (3, 9] for a finite hue; a NaN hue falls into sector 0 and
  // carries its NaN into the components through f.
  const double x = hueDegrees(hue) / 60 + 6;
  const double i = std::trunc(x);
  const double f = x - i;
  const int sector = std::isfinite(i) ? static_cast<int>(std::fmod(i, 6.0)) : 0;
  const double up = lo + (hi - lo) * f;
  const double down = lo + (hi - lo) * (1 - f);
  switch (sector) {
  case 0:
    m_red = hi;
    m_green = up;
    m_blue = lo;
    break;
  case 1:
    m_red = down;
    m_green = hi;
    m_blue = lo;
    break;
  case 2:
    m_red = lo;
    m_green = hi;
    m_blue = up;
    break;
  case 3:
    m_red = lo;
    m_green = down;
    m_blue = hi;
    break;
  case 4:
    m_red = up;
    m_green = lo;
    m_blue = hi;
    break;
  default:
    m_red = hi;
    m_green = lo;
    m_blue = down;
    break;
  }
  m_rgbValid = true;
}

unsigned long Colour::colorref() const {
  calcRGB();
  const auto r = static_cast<unsigned long>(roundComponent(m_red * 255));
  const auto g = static_cast<unsigned long>(roundComponent(m_green * 255));
  const auto b = static_cast<unsigned long>(roundComponent(m_blue * 255));
  return (r | g << 8 | b << 16) & 0xFFFFFFFFul;
}

void Colour::getDib24(void* p) const {
  calcRGB();
  auto* px = static_cast<unsigned char*>(p);
  px[0] = static_cast<unsigned char>(roundComponent(m_blue * 255));
  px[1] = static_cast<unsigned char>(roundComponent(m_green * 255));
  px[2] = static_cast<unsigned char>(roundComponent(m_red * 255));
}

void Colour::getDib24(void* p, const unsigned char* red, const unsigned char* green, const unsigned char* blue) const {
  calcRGB();
  auto* px = static_cast<unsigned char*>(p);
  px[0] = blue[roundComponent(m_blue * 255) & 255];
  px[1] = green[roundComponent(m_green * 255) & 255];
  px[2] = red[roundComponent(m_red * 255) & 255];
}

void Colour::getDib24(void* p, const unsigned char* table) const { getDib24(p, table, table, table); }

void Colour::getDib16(void* p) const {
  calcRGB();
  const int r5 = roundComponent(m_red * 31);
  const int g5 = roundComponent(m_green * 31);
  const int b5 = roundComponent(m_blue * 31);
  const unsigned int high = static_cast<unsigned int>(((r5 & 255) * 32 | g5) & 65535);
  const auto word = static_cast<unsigned short>(high << 5 | static_cast<unsigned int>(b5));
  std::memcpy(p, &word, sizeof word);
}

std::wostream& operator<<(std::wostream& os, const Colour& c) {
  return os << L"Colour::rgba(" << c.r() << L',' << c.g() << L',' << c.b() << L',' << c.a() << L')';
}
