// qortool colour: one colour in every model and packed form.
#include "command.h"

#include <qorcor14/colour/colour.h>
#include <qorcor14/text/strings.h>

#include <cstdio>
#include <iomanip>
#include <sstream>

namespace qortool {
namespace {

// "NAME(a,b,c)" with exactly three numbers: the numbers, or false.
bool parseTriple(const std::string& text, const std::string& name, double out[3]) {
  if (text.size() < name.size() + 2 || text.compare(0, name.size() + 1, name + "(") != 0 || text.back() != ')')
    return false;
  std::string inner = text.substr(name.size() + 1, text.size() - name.size() - 2);
  for (int i = 0; i < 3; ++i) {
    const std::size_t comma = inner.find(',');
    if ((i < 2) != (comma != std::string::npos))
      throw UsageError("'" + text + "' needs three numbers: " + name + "(a,b,c)");
    out[i] = parseDouble(inner.substr(0, comma), "a colour component");
    inner = i < 2 ? inner.substr(comma + 1) : std::string();
  }
  return true;
}

Colour parseColour(const std::string& text) {
  double v[3];
  if (text.size() == 7 && text[0] == '#') {
    unsigned value = 0;
    for (std::size_t i = 1; i < 7; ++i) {
      const char c = text[i];
      const int digit = c >= '0' && c <= '9'   ? c - '0'
                        : c >= 'a' && c <= 'f' ? c - 'a' + 10
                        : c >= 'A' && c <= 'F' ? c - 'A' + 10
                                               : -1;
      if (digit < 0) throw UsageError("'" + text + "' is not #RRGGBB");
      value = value << 4 | unsigned(digit);
    }
    return Colour::argb(0xFF000000u | value);
  }
  if (parseTriple(text, "rgb", v)) return Colour::rgb(v[0], v[1], v[2]);
  if (parseTriple(text, "hsv", v)) return Colour::hsv(Angle::degrees(v[0]), v[1], v[2]);
  if (parseTriple(text, "hls", v)) return Colour::hls(Angle::degrees(v[0]), v[1], v[2]);
  throw UsageError("'" + text +
                   "' is not #RRGGBB, rgb(r,g,b), hsv(h,s,v) or hls(h,l,s) (components 0 to 1, hue in degrees)");
}

}  // namespace

int runColour(const Args& args) {
  if (args.size() != 1) throw UsageError("takes one colour: #RRGGBB, rgb(r,g,b), hsv(h,s,v) or hls(h,l,s)");
  const Colour c = parseColour(args[0]);
  std::wostringstream out;
  out << std::setprecision(6);
  out << L"rgb         " << c.r() << L' ' << c.g() << L' ' << c.b() << L"\n";
  out << L"hsv         hue " << c.h_hsv().degrees() << L" saturation " << c.s_hsv() << L" value " << c.v_hsv() << L"\n";
  out << L"hls         hue " << c.h_hls().degrees() << L" lightness " << c.l_hls() << L" saturation " << c.s_hls()
      << L"\n";
  out << L"alpha       " << c.a() << L"\n";
  out << L"text        " << c << L"\n";
  unsigned char dib24[3], dib16[2];
  c.getDib24(dib24);
  c.getDib16(dib16);
  out << L"COLORREF    " << stringPrintf(L"0x%08lX (%lu)", c.colorref(), c.colorref()) << L"\n";
  out << L"24-bit      " << stringPrintf(L"%02X %02X %02X (blue, green, red)", dib24[0], dib24[1], dib24[2]) << L"\n";
  out << L"5-5-5       " << stringPrintf(L"0x%04X", unsigned(dib16[0] | dib16[1] << 8)) << L"\n";
  print(out.str());
  return 0;
}

}  // namespace qortool
