// ICC profiles from hostile bytes: ColourProfile::create on the input, every
// query of the profile it gives, and transforms through it. The texts are
// compared with an independent reading of the input's tag table and text
// elements; only WinError and the library's own std::logic_error texts may
// come out.
#include "fuzz_target.h"

#include <qorcor14/colour/profile.h>
#include <qorcor14/errors.h>

#include <windows.h>

#include <array>
#include <cstring>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using QOR::ColourProfile;
using QOR::ColourProfileId;
using QOR::ColourTransform;
using QOR::Handle;
using QOR::RenderingIntent;

constexpr const char* kTooShort = "ICC data too short";
constexpr const char* kWrongType = "desc/mluc element not found in ICC data";

std::uint32_t be32(const std::uint8_t* p) {
  return std::uint32_t(p[0]) << 24 | std::uint32_t(p[1]) << 16 | std::uint32_t(p[2]) << 8 | p[3];
}

// The three texts of a profile, or the std::logic_error text its reading ends with.
struct Reading {
  std::array<std::wstring, 3> texts;  // manufacturer, model, description
  const char* error = nullptr;
};

// What the library must make of an element: its rules, read independently.
std::optional<std::wstring> elementText(const std::uint8_t* e, std::size_t size, const char*& error) {
  auto field = [&](std::size_t at) -> std::optional<std::uint32_t> {
    if (at + 4 > size) return std::nullopt;
    return be32(e + at);
  };
  const auto type = field(0);
  if (!type) return error = kTooShort, std::nullopt;
  if (*type == 0x64657363) {  // 'desc'
    const auto count = field(8);
    if (!count) return error = kTooShort, std::nullopt;
    const std::size_t n = *count == 0 ? 0 : std::min<std::size_t>(*count - 1, size - 12);
    if (n == 0) return std::wstring();
    std::wstring text(n, L'\0');
    const int got = MultiByteToWideChar(CP_ACP, 0, reinterpret_cast<const char*>(e + 12), int(n), text.data(), int(n));
    text.resize(got > 0 ? std::size_t(got) : 0);
    return text;
  }
  if (*type == 0x6D6C7563) {  // 'mluc'
    const auto records = field(8);
    if (!records) return error = kTooShort, std::nullopt;
    if (*records == 0) return std::wstring();
    const auto length = field(20);
    const auto offset = field(24);
    if (!length || !offset) return error = kTooShort, std::nullopt;
    const std::size_t bytes = *offset >= size ? 0 : std::min<std::size_t>(*length, size - *offset);
    std::wstring text(bytes / 2, L'\0');
    for (std::size_t i = 0; i < text.size(); ++i)
      text[i] = static_cast<wchar_t>(e[*offset + 2 * i] << 8 | e[*offset + 2 * i + 1]);
    return text;
  }
  return error = kWrongType, std::nullopt;
}

// The tag table as Wine 8's colour management reads it: no tags when the
// table runs past the data, the first entry with the signature, and an
// element past the data counts as absent.
Reading readProfile(const std::uint8_t* data, std::size_t size) {
  Reading r;
  // The header's size is checked first; the system opens nothing shorter
  // than a header and a tag count.
  if (size >= 4 && be32(data) > size) return r.error = kTooShort, r;
  if (size < 132) return r;
  const std::uint32_t count = be32(data + 128);
  const bool tableFits = (size - 132) / 12 >= count;
  const std::uint32_t signatures[3] = {0x646D6E64, 0x646D6464, 0x64657363};  // dmnd, dmdd, desc
  for (int t = 0; t < 3; ++t) {
    for (std::uint32_t i = 0; tableFits && i < count; ++i) {
      const std::uint8_t* entry = data + 132 + 12 * std::size_t(i);
      if (be32(entry) != signatures[t]) continue;
      const std::uint32_t offset = be32(entry + 4), length = be32(entry + 8);
      if (offset > size || length > size - offset || length == 0) break;
      const auto text = elementText(data + offset, length, r.error);
      if (!text) return r;
      r.texts[t] = *text;
      break;
    }
  }
  return r;
}

// A minimal version 2 display profile with the given ASCII `desc` texts for
// dmnd, dmdd and desc (empty: no such tag).
std::vector<std::uint8_t> makeProfile(const std::array<std::string, 3>& texts) {
  std::vector<std::uint8_t> p(132, 0);
  auto put32 = [&](std::size_t at, std::uint32_t v) {
    for (int i = 0; i < 4; ++i) p[at + i] = static_cast<std::uint8_t>(v >> (24 - 8 * i));
  };
  put32(8, 0x02100000);
  put32(12, 0x6D6E7472);  // mntr
  put32(16, 0x52474220);  // RGB
  put32(20, 0x58595A20);  // XYZ
  put32(36, 0x61637370);  // acsp
  const std::uint32_t signatures[3] = {0x646D6E64, 0x646D6464, 0x64657363};
  std::vector<std::pair<std::uint32_t, std::vector<std::uint8_t>>> tags;
  for (int t = 0; t < 3; ++t) {
    if (texts[t].empty()) continue;
    std::vector<std::uint8_t> e = {'d', 'e', 's', 'c', 0, 0, 0, 0, 0, 0, 0, std::uint8_t(texts[t].size() + 1)};
    e.insert(e.end(), texts[t].begin(), texts[t].end());
    e.resize(e.size() + 1 + 8 + 70, 0);
    tags.emplace_back(signatures[t], e);
  }
  p.resize(132 + 12 * tags.size());
  put32(128, std::uint32_t(tags.size()));
  for (std::size_t i = 0; i < tags.size(); ++i) {
    put32(132 + 12 * i, tags[i].first);
    put32(136 + 12 * i, std::uint32_t(p.size()));
    put32(140 + 12 * i, std::uint32_t(tags[i].second.size()));
    p.insert(p.end(), tags[i].second.begin(), tags[i].second.end());
  }
  put32(0, std::uint32_t(p.size()));
  return p;
}

Handle<ColourProfile> open(const std::vector<std::uint8_t>& bytes) {
  return ColourProfile::create(ColourProfileId::userDefined, bytes.data(), bytes.size());
}

// The display texts around their arguments, learnt from a profile whose
// texts are single marker characters: displayName() is parts[0] + the
// description + parts[1]; fullName() interleaves its three texts likewise.
struct Templates {
  std::array<std::wstring, 2> display;
  std::array<std::wstring, 4> full;
  Handle<ColourProfile> srgb;

  Templates() : srgb(ColourProfile::create(ColourProfileId::sRGB)) {
    const auto marked = open(makeProfile({"\x01", "\x02", "\x03"}));
    split(marked->displayName(), L"\x03", display.data());
    split(marked->fullName(), L"\x01\x02\x03", full.data());
  }

  static void split(std::wstring text, const wchar_t* markers, std::wstring* parts) {
    for (; *markers; ++markers, ++parts) {
      const std::size_t at = text.find(*markers);
      qorfuzz::fuzzCheck(at != std::wstring::npos, "a display text template lost an argument");
      *parts = text.substr(0, at);
      text.erase(0, at + 1);
    }
    *parts = text;
  }
};

const Templates& templates() {
  static const Templates t;
  return t;
}

// The text stringPrintf's %s shows: up to the first NUL.
std::wstring shown(const std::wstring& s) { return s.substr(0, s.find(L'\0')); }

void checkTransform(RenderingIntent intent, const ColourProfile& a, const ColourProfile& b) {
  try {
    const auto t = ColourTransform::create(intent, a, b);
    qorfuzz::fuzzCheck(t->handle() != nullptr, "a transform without a handle");
  } catch (const WinError& e) {
    qorfuzz::fuzzCheck(std::wstring(e.wWhat()).ends_with(L" calling CreateMultiProfileTransform"),
                       "a transform failure that does not name CreateMultiProfileTransform");
  }
}

bool endsWithCall(const WinError& e) {
  const std::wstring what = e.wWhat();
  for (const wchar_t* call :
       {L"OpenColorProfile", L"GetColorProfileFromHandle", L"GetColorProfileHeader", L"GetColorProfileElement"})
    if (what.ends_with(std::wstring(L" calling ") + call)) return true;
  return false;
}

}  // namespace

std::vector<qorfuzz::Seed> fuzzSeeds() {
  std::vector<qorfuzz::Seed> seeds;
  for (const wchar_t* folder : {L"/usr/share/color/icc", L"/usr/share/color/icc/colord"})
    for (const wchar_t* suffix : {L".icc", L".icm"})
      for (auto& s : qorfuzz::seedsFromFolder(qorfuzz::hostPath(folder), suffix)) seeds.push_back(std::move(s));
  const auto own = makeProfile({"Maker", "Model", "Description"});
  seeds.push_back({"made-by-target.icc", own});
  return seeds;
}

void fuzzOne(const std::uint8_t* data, std::size_t size) {
  const Templates& t = templates();
  const Reading want = readProfile(data, size);
  Handle<ColourProfile> p;
  try {
    p = ColourProfile::create(ColourProfileId::userDefined, data, size);
  } catch (const WinError& e) {
    // Whether the system opens a profile is its own affair; once it has,
    // the rest is predictable.
    qorfuzz::fuzzCheck(endsWithCall(e), "a WinError that names none of the profile calls");
    qorfuzz::fuzzCheck(std::wstring(e.wWhat()).ends_with(L" calling OpenColorProfile"),
                       "an opened profile failed with a WinError");
    return;
  } catch (const std::logic_error& e) {
    qorfuzz::fuzzCheck(want.error && std::strcmp(e.what(), want.error) == 0,
                       "a std::logic_error other than the one the input calls for");
    return;
  }
  qorfuzz::fuzzCheck(!want.error, "a profile opened where the input calls for a std::logic_error");

  qorfuzz::fuzzCheck(p->profileId() == ColourProfileId::userDefined, "the id changed");
  auto signature = [&](std::size_t at) {
    std::wstring s;
    for (std::size_t i = 0; i < 4; ++i) s += static_cast<wchar_t>(data[at + i]);
    return s;
  };
  qorfuzz::fuzzCheck(p->colourSpace() == signature(16), "the colour space is not the header's");
  qorfuzz::fuzzCheck(p->profileClass() == signature(12), "the profile class is not the header's");

  std::size_t kept = 0;
  const unsigned char* bytes = p->data(kept);
  qorfuzz::fuzzCheck(kept == size, "the profile keeps another count of bytes than it was given");
  qorfuzz::fuzzCheck(std::memcmp(bytes, data, size) == 0, "the kept bytes differ from the input");

  const auto& [maker, model, description] = want.texts;
  qorfuzz::fuzzCheck(p->displayName() == t.display[0] + shown(description) + t.display[1],
                     "the display name differs from an independent reading");
  qorfuzz::fuzzCheck(
      p->fullName() == t.full[0] + shown(maker) + t.full[1] + shown(model) + t.full[2] + shown(description) + t.full[3],
      "the full name differs from an independent reading");
  qorfuzz::fuzzCheck(p->handle() != nullptr, "an open profile without a handle");

  const auto intent = static_cast<RenderingIntent>(data[size - 1] & 3);
  checkTransform(intent, *t.srgb, *p);
  checkTransform(intent, *p, *t.srgb);
  try {
    (void)ColourTransform::create(intent, *p, *t.srgb, *p);
  } catch (const WinError& e) {
    qorfuzz::fuzzCheck(std::wstring(e.wWhat()).ends_with(L" calling CreateMultiProfileTransform"),
                       "a transform failure that does not name CreateMultiProfileTransform");
  }
}
