#include <qorcor14/colour.h>
#include <qorcor14/errors.h>
#include <qorcor14/text/strings.h>

#include "qormsg.h"
#include "support/files.h"

#include <gtest/gtest.h>

#include <windows.h>
#include <icm.h>

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using QOR::ColourProfile;
using QOR::ColourProfileId;
using QOR::ColourTransform;
using QOR::RenderingIntent;

// What an independent reading of each installed ICC profile found.
struct IccExpectation {
  const wchar_t* path;
  unsigned size;
  const wchar_t* space;
  const wchar_t* profileClass;
  int version;
  bool mlucDescription;
  const wchar_t* description;
  const wchar_t* manufacturer;
  const wchar_t* model;
};

const IccExpectation kProfiles[] = {
#include "icc_expectations.inc"
    {nullptr, 0, nullptr, nullptr, 0, false, nullptr, nullptr, nullptr}};

const IccExpectation* findProfile(const std::wstring& tail) {
  for (const IccExpectation* p = kProfiles; p->path; ++p)
    if (std::wstring(p->path).ends_with(tail)) return p;
  return nullptr;
}

template <class F>
std::string logicErrorOf(F f) {
  try {
    f();
  } catch (const std::logic_error& e) {
    return e.what();
  }
  return "(nothing thrown)";
}

template <class F>
std::wstring winErrorOf(F f) {
  try {
    f();
  } catch (const WinError& e) {
    return e.wWhat();
  }
  return L"(nothing thrown)";
}

void expectTexts(const ColourProfile& p, const IccExpectation& want) {
  EXPECT_EQ(p.colourSpace(), want.space);
  EXPECT_EQ(p.profileClass(), want.profileClass);
  EXPECT_EQ(p.displayName(), stringPrintf(qorMsg(271).c_str(), want.description));
  EXPECT_EQ(p.fullName(), stringPrintf(qorMsg(282).c_str(), want.manufacturer, want.model, want.description));
  std::size_t size = 0;
  ASSERT_NE(p.data(size), nullptr);
  EXPECT_EQ(size, want.size);
}

TEST(ColourProfile, StandardSrgbOpensWithItsId) {
  const auto p = ColourProfile::create(ColourProfileId::sRGB);
  EXPECT_EQ(p->profileId(), ColourProfileId::sRGB);
  EXPECT_EQ(p->colourSpace(), L"RGB ");
  EXPECT_NE(p->handle(), nullptr);
  std::size_t size = 0;
  const unsigned char* data = p->data(size);
  ASSERT_GE(size, 132u);
  EXPECT_EQ(unsigned(data[0]) << 24 | data[1] << 16 | data[2] << 8 | data[3], size);  // the header's own size
  // A bare file name is looked up in the colour directory, where the
  // standard profile lives.
  wchar_t path[MAX_PATH] = {};
  DWORD bytes = sizeof path;
  ASSERT_TRUE(GetStandardColorSpaceProfileW(nullptr, 0x73524742 /* LCS_sRGB */, path, &bytes));
  const std::wstring leaf = std::wstring(path).substr(std::wstring(path).rfind(L'\\') + 1);
  std::size_t leafSize = 0;
  const auto byLeaf = ColourProfile::createFromFile(leaf);
  const unsigned char* leafData = byLeaf->data(leafSize);
  EXPECT_EQ(std::basic_string_view(leafData, leafSize), std::basic_string_view(data, size));
}

TEST(ColourProfile, WrongIdsAndOversizedBuffersAreRefused) {
  const unsigned char byte = 0;
  const std::string illegal = "Illegal value of QOR::ColourProfileId";
  EXPECT_EQ(logicErrorOf([&] { (void)ColourProfile::create(ColourProfileId::sRGB, &byte, 1); }), illegal);
  EXPECT_EQ(logicErrorOf([] { (void)ColourProfile::create(ColourProfileId::userDefined); }), illegal);
  EXPECT_EQ(logicErrorOf([] { (void)ColourProfile::create(static_cast<ColourProfileId>(1)); }), illegal);
  try {
    (void)ColourProfile::create(ColourProfileId::userDefined, &byte, std::size_t(1) << 32);
    ADD_FAILURE() << "no exception";
  } catch (const QOR::QorError& e) {
    EXPECT_STREQ(e.wWhat(), L"integer value right out of range");
  }
  EXPECT_THROW((void)ColourProfile::createFromFile(L"Z:\\no\\such\\profile.icc"), WinError);
  EXPECT_THROW((void)ColourProfile::create(ColourProfileId::userDefined, &byte, 1), WinError);
}

TEST(ColourProfile, InstalledProfilesMatchAnIndependentReading) {
  if (!kProfiles[0].path) GTEST_SKIP() << "no ICC profiles installed (icc-profiles-free, colord-data)";
  int mluc = 0, versions = 0;
  for (const IccExpectation* want = kProfiles; want->path; ++want) {
    SCOPED_TRACE(testing::Message() << utf8(std::wstring(want->path)));
    const auto file = ColourProfile::createFromFile(want->path);
    EXPECT_EQ(file->profileId(), ColourProfileId::userDefined);
    expectTexts(*file, *want);
    std::size_t size = 0;
    const unsigned char* bytes = file->data(size);
    const auto memory = ColourProfile::create(ColourProfileId::userDefined, bytes, size);
    expectTexts(*memory, *want);
    mluc += want->mlucDescription;
    versions |= 1 << want->version;
  }
  EXPECT_GT(mluc, 0) << "no version 4 profile with an mluc description was read";
  EXPECT_EQ(versions & 0x14, 0x14) << "expected version 2 and version 4 profiles";
}

// The header's size against the real data, from memory and from a file: the
// profile keeps every byte it was given and never more, and a header that
// claims more than there is fails before anything is allocated for it.
TEST(ColourProfile, HeaderSizeIsCheckedAgainstTheData) {
  const IccExpectation* want = findProfile(L"\\icc\\sRGB.icc");
  if (!want) GTEST_SKIP() << "icc-profiles-free is not installed";
  const std::string original = qortest::readBytes(want->path);
  ASSERT_EQ(original.size(), want->size);
  const std::uint32_t real = want->size;
  const qortest::ScratchFolder folder;
  const std::uint32_t headerSizes[] = {0x80, real - 1, real, real + 1, 0x957368CC};
  for (std::uint32_t header : headerSizes) {
    std::string data = original;
    for (int i = 0; i < 4; ++i) data[i] = static_cast<char>(header >> (24 - 8 * i));
    const std::wstring file = folder.file(std::to_wstring(header) + L".icc");
    qortest::writeBytes(file, data);
    for (bool fromFile : {false, true}) {
      SCOPED_TRACE(testing::Message() << "header size " << header << (fromFile ? " in a file" : " in memory"));
      auto open = [&] {
        return fromFile ? ColourProfile::createFromFile(file)
                        : ColourProfile::create(ColourProfileId::userDefined,
                                                reinterpret_cast<const unsigned char*>(data.data()), data.size());
      };
      if (header > real) {
        EXPECT_EQ(logicErrorOf(open), "ICC data too short");
        continue;
      }
      const auto p = open();
      expectTexts(*p, *want);
      std::size_t size = 0;
      const unsigned char* kept = p->data(size);
      EXPECT_EQ(std::string(reinterpret_cast<const char*>(kept), size), data);
    }
  }
}

// A minimal version 2 profile holding the given tags (signature, element).
std::vector<unsigned char> makeProfile(const std::vector<std::pair<std::string, std::vector<unsigned char>>>& tags) {
  std::vector<unsigned char> p(128, 0);
  auto put32 = [&](std::size_t at, std::uint32_t v) {
    for (int i = 0; i < 4; ++i) p[at + i] = static_cast<unsigned char>(v >> (24 - 8 * i));
  };
  auto putSig = [&](std::size_t at, const char* s) { std::copy(s, s + 4, p.begin() + at); };
  put32(8, 0x02100000);
  putSig(12, "mntr");
  putSig(16, "RGB ");
  putSig(20, "XYZ ");
  putSig(36, "acsp");
  p.resize(132 + 12 * tags.size());
  put32(128, static_cast<std::uint32_t>(tags.size()));
  for (std::size_t i = 0; i < tags.size(); ++i) {
    while (p.size() % 4) p.push_back(0);
    putSig(132 + 12 * i, tags[i].first.c_str());
    put32(136 + 12 * i, static_cast<std::uint32_t>(p.size()));
    put32(140 + 12 * i, static_cast<std::uint32_t>(tags[i].second.size()));
    p.insert(p.end(), tags[i].second.begin(), tags[i].second.end());
  }
  put32(0, static_cast<std::uint32_t>(p.size()));
  return p;
}

std::vector<unsigned char> bytes(std::initializer_list<int> b) { return {b.begin(), b.end()}; }

// A whole `desc` element: type, reserved, ASCII count and text, then the
// Unicode and ScriptCode fields (filled, so that a text running past the
// ASCII part would show).
std::vector<unsigned char> descWithTail(int count, std::initializer_list<int> ascii) {
  std::vector<unsigned char> e(12 + ascii.size() + 8 + 70, 'S');  // ScriptCode code, count and text
  std::copy_n("desc", 4, e.begin());
  std::fill_n(e.begin() + 4, 8, 0);
  e[11] = static_cast<unsigned char>(count);
  std::copy(ascii.begin(), ascii.end(), e.begin() + 12);
  std::fill_n(e.begin() + 12 + ascii.size(), 8, 'U');  // Unicode language and count
  return e;
}

TEST(ColourProfile, HandMadeTextTagsFollowTheBoundsRules) {
  const std::string tooShort = "ICC data too short", wrongType = "desc/mluc element not found in ICC data";
  // mluc: type, reserved, 1 record of 12 bytes: "en" "US", length 4, offset 28, then "Hi" in UTF-16BE.
  const auto mlucHi = bytes({'m', 'l', 'u', 'c', 0, 0, 0, 0, 0, 0, 0, 1,  0, 0,   0, 12,
                             'e', 'n', 'U', 'S', 0, 0, 0, 4, 0, 0, 0, 28, 0, 'H', 0, 'i'});
  struct Case {
    const char* name;
    std::vector<unsigned char> desc;
    std::string error;
    std::wstring text;
  };
  const Case cases[] = {
      {"desc of eight bytes", bytes({'d', 'e', 's', 'c', 0, 0, 0, 0}), tooShort, L""},
      {"three bytes", bytes({'d', 'e', 's'}), tooShort, L""},
      {"text type", bytes({'t', 'e', 'x', 't', 0, 0, 0, 0, 'a', 'b', 0, 0}), wrongType, L""},
      {"desc count 0", descWithTail(0, {}), "", L""},
      {"desc count 1", descWithTail(1, {0}), "", L""},
      {"desc count 3", descWithTail(3, {'O', 'k', 0}), "", L"Ok"},
      {"desc count past the end", bytes({'d', 'e', 's', 'c', 0, 0, 0, 0, 0, 0, 1, 0, 'A', 'B'}), "", L"AB"},
      {"mluc first record", mlucHi, "", L"Hi"},
      {"mluc no records", bytes({'m', 'l', 'u', 'c', 0, 0, 0, 0, 0, 0, 0, 0}), "", L""},
      {"mluc cut before the offset",
       bytes({'m', 'l', 'u', 'c', 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 12, 'e', 'n', 'U', 'S', 0, 0, 0, 4, 0, 0}), tooShort,
       L""},
  };
  for (const Case& k : cases) {
    SCOPED_TRACE(k.name);
    const auto data = makeProfile({{"desc", k.desc}});
    if (!k.error.empty()) {
      EXPECT_EQ(
          logicErrorOf([&] { (void)ColourProfile::create(ColourProfileId::userDefined, data.data(), data.size()); }),
          k.error);
      continue;
    }
    const auto p = ColourProfile::create(ColourProfileId::userDefined, data.data(), data.size());
    EXPECT_EQ(p->displayName(), stringPrintf(qorMsg(271).c_str(), k.text.c_str()));
  }
  // No text tags at all: every text is empty and the profile still opens.
  const auto bare = makeProfile({});
  const auto p = ColourProfile::create(ColourProfileId::userDefined, bare.data(), bare.size());
  EXPECT_EQ(p->fullName(), stringPrintf(qorMsg(282).c_str(), L"", L"", L""));
  EXPECT_EQ(p->profileClass(), L"mntr");
  // The manufacturer's tag is read before the description: its failure ends
  // construction even though the description is well formed.
  const auto badMaker = makeProfile({{"dmnd", bytes({'x', 'y', 'z', ' ', 0, 0, 0, 0})}, {"desc", mlucHi}});
  EXPECT_EQ(logicErrorOf(
                [&] { (void)ColourProfile::create(ColourProfileId::userDefined, badMaker.data(), badMaker.size()); }),
            wrongType);
}

TEST(ColourTransform, TranslatesSrgbIntoAdobeRgb) {
  const IccExpectation* adobe = findProfile(L"\\colord\\AdobeRGB1998.icc");
  if (!adobe) GTEST_SKIP() << "colord-data is not installed";
  const auto srgb = ColourProfile::create(ColourProfileId::sRGB);
  const auto target = ColourProfile::createFromFile(adobe->path);
  for (auto intent : {RenderingIntent::perceptual, RenderingIntent::relativeColorimetric, RenderingIntent::saturation,
                      RenderingIntent::absoluteColorimetric}) {
    SCOPED_TRACE(static_cast<int>(intent));
    const auto t = ColourTransform::create(intent, *srgb, *target);
    ASSERT_NE(t->handle(), nullptr);
  }
  const auto t = ColourTransform::create(RenderingIntent::relativeColorimetric, *srgb, *target);
  // Red, green, white and black of sRGB in BGR byte order; Adobe RGB's wider
  // gamut pulls the primaries in.
  unsigned char in[12] = {0, 0, 255, 0, 255, 0, 255, 255, 255, 0, 0, 0}, out[12] = {};
  ASSERT_TRUE(TranslateBitmapBits(t->handle(), in, BM_RGBTRIPLETS, 4, 1, 12, out, BM_RGBTRIPLETS, 12, nullptr, 0));
  EXPECT_NEAR(out[2], 219, 3);  // red
  EXPECT_LE(out[1], 3);
  EXPECT_NEAR(out[4], 255, 3);  // green keeps its channel, gains red
  EXPECT_GE(out[5], 130);
  for (int i = 6; i < 9; ++i) EXPECT_GE(out[i], 252);
  for (int i = 9; i < 12; ++i) EXPECT_LE(out[i], 2);
}

// Windows builds chains of three and four profiles; Wine 8's colour
// management refuses any chain longer than two, and the failure names the call.
TEST(ColourTransform, LongerChainsFailUnderWineNamingTheCall) {
  const auto srgb = ColourProfile::create(ColourProfileId::sRGB);
  const std::wstring call = L" calling CreateMultiProfileTransform";
  EXPECT_TRUE(winErrorOf([&] {
                (void)ColourTransform::create(RenderingIntent::perceptual, *srgb, *srgb, *srgb);
              }).ends_with(call));
  EXPECT_TRUE(winErrorOf([&] {
                (void)ColourTransform::create(RenderingIntent::perceptual, *srgb, *srgb, *srgb, *srgb);
              }).ends_with(call));
}

}  // namespace
