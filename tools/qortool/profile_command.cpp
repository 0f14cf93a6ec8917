// qortool profile: what an ICC profile says about itself, and a transform
// between two profiles.
#include "command.h"

#include <qorcor14/colour.h>
#include <qorcor14/errors.h>
#include <qorcor14/text/strings.h>

#include <windows.h>
#include <icm.h>

#include <cstdio>
#include <sstream>

namespace qortool {
namespace {

// A full Windows path: under Wine "/usr/share/x.icc" becomes
// "Z:\usr\share\x.icc"; the colour system looks for a bare name in its own
// folder, so the tool always passes full paths.
std::wstring fullPath(const std::wstring& name) {
  wchar_t buffer[MAX_PATH * 4];
  const DWORD n = GetFullPathNameW(name.c_str(), MAX_PATH * 4, buffer, nullptr);
  return n > 0 && n < MAX_PATH * 4 ? std::wstring(buffer, n) : name;
}

QOR::Handle<QOR::ColourProfile> openProfile(const std::wstring& name) {
  return name.empty() ? QOR::ColourProfile::create(QOR::ColourProfileId::sRGB)
                      : QOR::ColourProfile::createFromFile(fullPath(name));
}

void describe(std::wostringstream& out, const std::wstring& name, const QOR::ColourProfile& p) {
  std::size_t size = 0;
  (void)p.data(size);
  out << (name.empty() ? std::wstring(L"standard sRGB profile") : name) << L"\n";
  out << L"  id            "
      << (p.profileId() == QOR::ColourProfileId::sRGB ? L"0 (standard sRGB)" : L"4294967295 (given)") << L"\n";
  out << L"  colour space  '" << p.colourSpace() << L"'\n";
  out << L"  class         '" << p.profileClass() << L"'\n";
  out << L"  display name  " << p.displayName() << L"\n";
  out << L"  full name     " << p.fullName() << L"\n";
  out << L"  size          " << size << L" bytes\n";
}

const wchar_t* const kIntentNames[] = {L"perceptual", L"relative colorimetric", L"saturation",
                                       L"absolute colorimetric"};

}  // namespace

int runProfile(const Args& args) {
  const std::vector<std::wstring> wide = wideArguments(args);
  std::vector<std::wstring> files;
  std::wstring to;
  int intent = 0;
  for (std::size_t i = 0; i < wide.size(); ++i) {
    if (wide[i] == L"--to" || wide[i] == L"--intent") {
      if (i + 1 == wide.size()) throw UsageError(args[i] + " needs a value");
      if (wide[i] == L"--to") {
        to = wide[++i];
      } else {
        const double n = parseDouble(args[++i], "--intent");
        if (n != 0 && n != 1 && n != 2 && n != 3)
          throw UsageError("--intent is 0 (perceptual), 1 (relative), 2 (saturation) or 3 (absolute)");
        intent = static_cast<int>(n);
      }
    } else {
      files.push_back(wide[i]);
    }
  }
  if (files.empty()) files.push_back(std::wstring());
  if (!to.empty() && files.size() != 1) throw UsageError("--to builds a transform from exactly one profile");
  std::wostringstream out;
  for (const std::wstring& f : files) describe(out, f, *openProfile(f));
  if (!to.empty()) {
    const auto from = openProfile(files[0]);
    const auto target = openProfile(to);
    describe(out, to, *target);
    const auto t = QOR::ColourTransform::create(static_cast<QOR::RenderingIntent>(intent), *from, *target);
    out << L"transform (" << kIntentNames[intent] << L"), 8-bit RGB in and out:\n";
    const Colour samples[] = {Colour::rgb(1, 0, 0), Colour::rgb(0, 1, 0), Colour::rgb(0, 0, 1), Colour::rgb(1, 1, 1),
                              Colour::rgb(0.5, 0.5, 0.5)};
    for (const Colour& c : samples) {
      unsigned char in[3], res[3] = {};
      c.getDib24(in);
      if (!TranslateBitmapBits(t->handle(), in, BM_RGBTRIPLETS, 1, 1, 3, res, BM_RGBTRIPLETS, 3, nullptr, 0))
        throw WinError(L"TranslateBitmapBits", GetLastError());
      out << stringPrintf(L"  %3u %3u %3u -> %3u %3u %3u\n", in[2], in[1], in[0], res[2], res[1], res[0]);
    }
  }
  print(out.str());
  return 0;
}

}  // namespace qortool
