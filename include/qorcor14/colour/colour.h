// qorcor14/colour/colour.h - a colour value readable in the RGB, HSV and HLS
// models, with an alpha, packed to and from COLORREF and bitmap pixels.
//
// A Colour is made in one model and converts lazily: the first getter of
// another model computes that model's components and keeps them in the
// (logically constant) object. Nothing is clamped or range-checked anywhere:
// components outside 0..1 are kept, converted and packed as they are.
#pragma once

#include <qorcor14/config.h>
#include <qorcor14/geometry/angle.h>

#include <ostream>

// A colour in RGB, HSV or HLS, with alpha (1 = opaque).
//
// Example:
//   Colour c = Colour::hsv(Angle::degrees(120), 1, 0.5);
//   c.g();            // 0.5: the RGB model is computed here and kept
//   c.colorref();     // 0x008000 (128 << 8)
//   unsigned char px[3];
//   c.getDib24(px);   // px = {0, 128, 0}: blue, green, red
//
// Note: the getters of a const Colour fill its caches. A colour shared
// between threads must be converted (or copied) before it is shared.
// Note: packing rounds half away from zero and does not clamp: 1.002 packs to
// 256, which spills into the next channel of colorref() and getDib16().
class QORCOR14_API Colour {
public:
  // Opaque black, in RGB.
  Colour();

  // RGB components, nominally 0..1; alpha 1.
  [[nodiscard]] static Colour rgb(double r, double g, double b) { return Colour(r, g, b, 1.0); }
  // RGB components and alpha.
  [[nodiscard]] static Colour rgba(double r, double g, double b, double a) { return Colour(r, g, b, a); }
  // HSV: hue, saturation and value; alpha 1.
  [[nodiscard]] static Colour hsv(const Angle& h, double s, double v) { return Colour(h, s, v, 1.0); }
  // HSV and alpha.
  [[nodiscard]] static Colour hsva(const Angle& h, double s, double v, double a) { return Colour(h, s, v, a); }
  // HLS: hue, lightness and saturation; alpha 1.
  [[nodiscard]] static Colour hls(const Angle& h, double l, double s) { return Colour(h, l, s, 1.0, 0); }
  // HLS and alpha.
  [[nodiscard]] static Colour hlsa(const Angle& h, double l, double s, double a) { return Colour(h, l, s, a, 0); }
  // 0xAARRGGBB: each byte divided by 255.
  [[nodiscard]] static Colour argb(unsigned int v);
  // A COLORREF 0x00BBGGRR: red in the low byte; the top byte is ignored and
  // alpha is 1.
  [[nodiscard]] static Colour colorref(unsigned long v);
  // The three bytes of a 24-bit bitmap pixel at p, in blue, green, red order.
  [[nodiscard]] static Colour dib24(const void* p);

  // RGB components (the RGB model is filled first if needed).
  [[nodiscard]] double r() const {
    calcRGB();
    return m_red;
  }
  [[nodiscard]] double g() const {
    calcRGB();
    return m_green;
  }
  [[nodiscard]] double b() const {
    calcRGB();
    return m_blue;
  }
  // HSV components (the HSV model is filled first if needed).
  [[nodiscard]] Angle h_hsv() const {
    calcHSV();
    return m_hsvHue;
  }
  [[nodiscard]] double s_hsv() const {
    calcHSV();
    return m_hsvSaturation;
  }
  [[nodiscard]] double v_hsv() const {
    calcHSV();
    return m_value;
  }
  // HLS components (the HLS model is filled first if needed).
  [[nodiscard]] Angle h_hls() const {
    calcHLS();
    return m_hlsHue;
  }
  [[nodiscard]] double l_hls() const {
    calcHLS();
    return m_lightness;
  }
  [[nodiscard]] double s_hls() const {
    calcHLS();
    return m_hlsSaturation;
  }
  // Alpha, never converted.
  [[nodiscard]] double a() const { return m_alpha; }

  // R | G << 8 | B << 16, each component times 255 and rounded; no alpha.
  // Note: a component outside 0..1 gives a value outside a byte, which is
  // or-ed in as it is (overlapping its neighbours).
  [[nodiscard]] unsigned long colorref() const;
  // Writes p[0] = B, p[1] = G, p[2] = R (times 255, rounded, low 8 bits).
  void getDib24(void* p) const;
  // As getDib24(p), each byte looked up in its channel's 256-entry table:
  // p[0] = blue[B], p[1] = green[G], p[2] = red[R] (gamma correction).
  // Note: the index is the rounded value's low 8 bits.
  void getDib24(void* p, const unsigned char* red, const unsigned char* green, const unsigned char* blue) const;
  // As above with one table for all three channels.
  void getDib24(void* p, const unsigned char* table) const;
  // Writes one 16-bit 5-5-5 pixel (red in bits 10-14, blue in bits 0-4),
  // each component times 31 and rounded.
  void getDib16(void* p) const;

  // "Colour::rgba(r,g,b,a)" with the stream's formatting of double.
  friend QORCOR14_API std::wostream& operator<<(std::wostream& os, const Colour& c);

private:
  // rgba: RGB valid.
  Colour(double r, double g, double b, double a);
  // hsva: HSV valid.
  Colour(const Angle& h, double s, double v, double a);
  // hlsa: HLS valid; the int only tells this constructor from hsva's.
  Colour(const Angle& h, double l, double s, double a, int);

  // Fill one model from another when it is not valid yet. RGB prefers HLS
  // over HSV as its source; HSV and HLS prefer each other over RGB.
  void calcHSV() const;
  void calcHLS() const;
  void calcRGB() const;

  mutable bool m_rgbValid;
  mutable double m_red, m_green, m_blue;
  mutable bool m_hlsValid;
  mutable Angle m_hlsHue;
  mutable double m_lightness, m_hlsSaturation;
  mutable bool m_hsvValid;
  mutable Angle m_hsvHue;
  mutable double m_hsvSaturation, m_value;
  double m_alpha;
};

QORCOR14_API std::wostream& operator<<(std::wostream& os, const Colour& c);
