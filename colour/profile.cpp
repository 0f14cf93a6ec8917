// ColourProfileImp and ColourTransformImp: ICC profiles and transforms over
// mscms, and the reader of the `desc` and `mluc` text tags.
#include <qorcor14/colour/profile.h>
#include <qorcor14/errors.h>
#include <qorcor14/text/strings.h>

#include "qormsg.h"

#include <windows.h>
#include <icm.h>

#include <cstring>
#include <memory>
#include <stdexcept>
#include <vector>

namespace QOR {
namespace {

constexpr std::uint32_t kSignatureDesc = 0x64657363;  // 'desc'
constexpr std::uint32_t kSignatureMluc = 0x6D6C7563;  // 'mluc'
constexpr DWORD kStandardSRGB = 1934772034;           // LCS_sRGB, 'sRGB'

std::uint32_t narrowSize(std::size_t size) {
  if (size > 4294967295u) throwIntCast();
  return static_cast<std::uint32_t>(size);
}

// A signature as four characters, most significant byte first.
std::wstring signatureText(std::uint32_t sig) {
  std::wstring s(4, L' ');
  for (int i = 0; i < 4; ++i) s[i] = static_cast<wchar_t>(sig >> (24 - 8 * i) & 255);
  return s;
}

// A tagged element: every 32-bit field is read big-endian, and only when it
// lies wholly inside the element.
class Element {
public:
  Element(const unsigned char* p, std::uint32_t size) : m_p(p), m_size(size) {}

  [[nodiscard]] std::uint32_t field(std::uint32_t offset) const {
    if (m_size < 4 || offset > m_size - 4) throw std::logic_error("ICC data too short");
    const unsigned char* q = m_p + offset;
    return std::uint32_t(q[0]) << 24 | std::uint32_t(q[1]) << 16 | std::uint32_t(q[2]) << 8 | q[3];
  }
  // The bytes from offset on, at most n of them: text lengths are not
  // checked against the element, but nothing past its end is read.
  [[nodiscard]] std::uint32_t available(std::uint32_t offset, std::uint32_t n) const {
    if (offset >= m_size) return 0;
    return n < m_size - offset ? n : m_size - offset;
  }
  [[nodiscard]] const unsigned char* at(std::uint32_t offset) const { return m_p + offset; }

private:
  const unsigned char* m_p;
  std::uint32_t m_size;
};

// The text of a `desc` or `mluc` element.
std::wstring elementText(const Element& e) {
  const std::uint32_t type = e.field(0);
  if (type == kSignatureDesc) {
    const std::uint32_t count = e.field(8);
    const std::uint32_t n = e.available(12, count - 1);
    return getWCS(reinterpret_cast<const char*>(e.at(12)), n);
  }
  if (type == kSignatureMluc) {
    if (e.field(8) == 0) return std::wstring();
    const std::uint32_t length = e.field(20);
    const std::uint32_t offset = e.field(24);
    const std::uint32_t n = e.available(offset, length) / 2;
    std::wstring text(n, L'\0');
    const unsigned char* p = e.at(offset);
    for (std::uint32_t i = 0; i < n; ++i) text[i] = static_cast<wchar_t>(p[2 * i] << 8 | p[2 * i + 1]);
    return text;
  }
  throw std::logic_error("desc/mluc element not found in ICC data");
}

// The text of tag `name` of an open profile; empty when the tag is absent.
std::wstring textTag(HPROFILE profile, const std::wstring& name) {
  if (name.size() != 4) throw std::logic_error("ICC tags are four characters long");
  TAGTYPE tag = 0;
  for (wchar_t c : name) tag = tag << 8 | (static_cast<unsigned>(c) & 255);
  DWORD size = 0;
  BOOL reference = FALSE;
  GetColorProfileElement(profile, tag, 0, &size, nullptr, &reference);
  if (size == 0) return std::wstring();
  std::vector<unsigned char> buffer(size);
  if (!GetColorProfileElement(profile, tag, 0, &size, buffer.data(), &reference))
    throw WinError(L"GetColorProfileElement", GetLastError());
  return elementText(Element(buffer.data(), size < buffer.size() ? size : DWORD(buffer.size())));
}

class ColourProfileImp final : public ColourProfile {
public:
  // Opens the profile `description` names; see create and createFromFile.
  ColourProfileImp(ColourProfileId id, PROFILE& description)
      : m_id(id), m_data(nullptr), m_size(0), m_handle(nullptr) {
    m_handle = OpenColorProfileW(&description, PROFILE_READ, FILE_SHARE_READ, OPEN_EXISTING);
    if (!m_handle) throw WinError(L"OpenColorProfile", GetLastError());
    try {
      DWORD size = 0;
      GetColorProfileFromHandle(m_handle, nullptr, &size);
      m_data = new unsigned char[size ? size : 1];
      m_size = size;
      if (!GetColorProfileFromHandle(m_handle, m_data, &size))
        throw WinError(L"GetColorProfileFromHandle", GetLastError());
      PROFILEHEADER header;
      if (!GetColorProfileHeader(m_handle, &header)) throw WinError(L"GetColorProfileHeader", GetLastError());
      m_colourSpace = signatureText(header.phDataColorSpace);
      m_class = signatureText(header.phClass);
      m_manufacturer = textTag(m_handle, L"dmnd");
      m_model = textTag(m_handle, L"dmdd");
      m_description = textTag(m_handle, L"desc");
    } catch (...) {
      release();
      throw;
    }
  }
  ~ColourProfileImp() override { release(); }

  ColourProfileId profileId() const override { return m_id; }
  std::wstring colourSpace() const override { return m_colourSpace; }
  std::wstring profileClass() const override { return m_class; }
  std::wstring displayName() const override { return stringPrintf(qorMsg(271).c_str(), m_description.c_str()); }
  std::wstring fullName() const override {
    return stringPrintf(qorMsg(282).c_str(), m_manufacturer.c_str(), m_model.c_str(), m_description.c_str());
  }
  const unsigned char* data(std::size_t& size) const override {
    size = m_size;
    return m_data;
  }
  HPROFILE handle() const override { return m_handle; }

private:
  // Closes the profile without disturbing GetLastError, and frees the bytes.
  void release() noexcept {
    if (m_handle) {
      const DWORD saved = GetLastError();
      CloseColorProfile(m_handle);
      SetLastError(saved);
      m_handle = nullptr;
    }
    delete[] m_data;
    m_data = nullptr;
  }

  ColourProfileId m_id;
  unsigned char* m_data;
  std::uint32_t m_size;
  std::wstring m_colourSpace;
  std::wstring m_class;
  std::wstring m_manufacturer;
  std::wstring m_model;
  std::wstring m_description;
  HPROFILE m_handle;
};

class ColourTransformImp final : public ColourTransform {
public:
  explicit ColourTransformImp(HTRANSFORM handle) : m_handle(handle) {}
  ~ColourTransformImp() override {
    const DWORD saved = GetLastError();
    DeleteColorTransform(m_handle);
    SetLastError(saved);
  }
  HTRANSFORM handle() const override { return m_handle; }

private:
  HTRANSFORM m_handle;
};

Handle<ColourProfile> open(ColourProfileId id, PROFILE& description) {
  return Handle<ColourProfile>(new ColourProfileImp(id, description));
}

// A file profile: the description's data is the zero-terminated name, its
// size in bytes the terminator included.
Handle<ColourProfile> openFile(ColourProfileId id, const std::wstring& fileName) {
  if (fileName.size() > (std::size_t(4294967295u) - 2) / 2) throwIntCast();
  PROFILE description{PROFILE_FILENAME, const_cast<wchar_t*>(fileName.c_str()), narrowSize(fileName.size() * 2 + 2)};
  return open(id, description);
}

Handle<ColourTransform> transform(RenderingIntent intent, HPROFILE* profiles, DWORD count) {
  DWORD intents[1] = {static_cast<DWORD>(intent)};
  HTRANSFORM t = CreateMultiProfileTransform(profiles, count, intents, 1, BEST_MODE, INDEX_DONT_CARE);
  if (!t) throw WinError(L"CreateMultiProfileTransform", GetLastError());
  try {
    return Handle<ColourTransform>(new ColourTransformImp(t));
  } catch (...) {
    DeleteColorTransform(t);
    throw;
  }
}

[[noreturn]] void illegalId() { throw std::logic_error("Illegal value of QOR::ColourProfileId"); }

} // namespace

Handle<ColourProfile> ColourProfile::create(ColourProfileId id) {
  if (id != ColourProfileId::sRGB) illegalId();
  // Asked with a null buffer some systems (Wine) leave the size unset, and
  // with an empty one they report a count without the terminator; a probe
  // buffer of size 0 and room for one more character cover both.
  wchar_t probe[1] = {L'\0'};
  DWORD size = 0;
  GetStandardColorSpaceProfileW(nullptr, kStandardSRGB, probe, &size);
  std::vector<wchar_t> name(size / sizeof(wchar_t) + 2, L'\0');
  DWORD capacity = static_cast<DWORD>(name.size() * sizeof(wchar_t));
  if (!GetStandardColorSpaceProfileW(nullptr, kStandardSRGB, name.data(), &capacity))
    throw WinError(L"GetStandardColorSpaceProfile", GetLastError());
  return openFile(ColourProfileId::sRGB, std::wstring(name.data()));
}

Handle<ColourProfile> ColourProfile::create(ColourProfileId id, const unsigned char* data, std::size_t size) {
  if (id != ColourProfileId::userDefined) illegalId();
  PROFILE description{PROFILE_MEMBUFFER, const_cast<unsigned char*>(data), narrowSize(size)};
  return open(id, description);
}

Handle<ColourProfile> ColourProfile::createFromFile(const std::wstring& fileName) {
  return openFile(ColourProfileId::userDefined, fileName);
}

Handle<ColourTransform> ColourTransform::create(RenderingIntent intent, const ColourProfile& p1,
                                                const ColourProfile& p2) {
  HPROFILE profiles[] = {p1.handle(), p2.handle()};
  return transform(intent, profiles, 2);
}

Handle<ColourTransform> ColourTransform::create(RenderingIntent intent, const ColourProfile& p1,
                                                const ColourProfile& p2, const ColourProfile& p3) {
  HPROFILE profiles[] = {p1.handle(), p2.handle(), p3.handle()};
  return transform(intent, profiles, 3);
}

Handle<ColourTransform> ColourTransform::create(RenderingIntent intent, const ColourProfile& p1,
                                                const ColourProfile& p2, const ColourProfile& p3,
                                                const ColourProfile& p4) {
  HPROFILE profiles[] = {p1.handle(), p2.handle(), p3.handle(), p4.handle()};
  return transform(intent, profiles, 4);
}

} // namespace QOR
