// ColourProfileImp and ColourTransformImp: ICC profiles and transforms over
// mscms, and the reader of the `desc` and `mluc` text tags.
#include <qorcor14/colour/profile.h>
#include <qorcor14/errors.h>
#include <qorcor14/text/strings.h>

#include "common/messages.h"

#include "common/checked_size.h"
#include "common/unique_resource.h"

#include <windows.h>
#include <icm.h>
#include <shlwapi.h>

#include <cstring>
#include <memory>
#include <optional>
#include <stdexcept>
#include <utility>
#include <vector>

namespace QOR {
namespace {

constexpr std::uint32_t kSignatureDesc = 0x64657363;  // 'desc'
constexpr std::uint32_t kSignatureMluc = 0x6D6C7563;  // 'mluc'
constexpr DWORD kStandardSRGB = 1934772034;           // LCS_sRGB, 'sRGB'

std::uint32_t narrowSize(std::optional<std::size_t> size) {
  const std::optional<std::uint32_t> narrow = internal::checkedNarrow<std::uint32_t>(size);
  if (!narrow) throwIntCast();
  return *narrow;
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
    if (!internal::rangeInside(offset, 4, m_size)) throw std::logic_error("ICC data too short");
    const unsigned char* q = m_p + offset;
    return std::uint32_t(q[0]) << 24 | std::uint32_t(q[1]) << 16 | std::uint32_t(q[2]) << 8 | q[3];
  }

  // At most n bytes from offset on: text lengths and offsets are not
  // checked against the element, but nothing past its end is read.
  struct Bytes {
    const unsigned char* p;
    std::uint32_t n;
  };
  [[nodiscard]] Bytes bytes(std::uint32_t offset, std::uint32_t n) const {
    if (offset >= m_size) return {m_p, 0};
    return {m_p + offset, n < m_size - offset ? n : m_size - offset};
  }

private:
  const unsigned char* m_p;
  std::uint32_t m_size;
};

// The text of a `desc` or `mluc` element.
std::wstring elementText(const Element& e) {
  const std::uint32_t type = e.field(0);
  if (type == kSignatureDesc) {
    // The count includes the terminator; a count of 0 has no text either.
    const std::uint32_t count = e.field(8);
    const Element::Bytes text = e.bytes(12, count == 0 ? 0 : count - 1);
    return getWCS(reinterpret_cast<const char*>(text.p), text.n);
  }
  if (type == kSignatureMluc) {
    if (e.field(8) == 0) return std::wstring();
    const std::uint32_t length = e.field(20);
    const Element::Bytes utf16 = e.bytes(e.field(24), length);
    std::wstring text(utf16.n / 2, L'\0');
    for (std::size_t i = 0; i < text.size(); ++i)
      text[i] = static_cast<wchar_t>(utf16.p[2 * i] << 8 | utf16.p[2 * i + 1]);
    return text;
  }
  throw std::logic_error("desc/mluc element not found in ICC data");
}

// The text of tag `name` of an open profile whose data holds `profileSize`
// bytes; empty when the tag is absent.
std::wstring textTag(HPROFILE profile, std::uint32_t profileSize, const std::wstring& name) {
  if (name.size() != 4) throw std::logic_error("ICC tags are four characters long");
  TAGTYPE tag = 0;
  for (wchar_t c : name) tag = tag << 8 | (static_cast<unsigned>(c) & 255);
  DWORD size = 0;
  BOOL reference = FALSE;
  GetColorProfileElement(profile, tag, 0, &size, nullptr, &reference);
  if (size == 0) return std::wstring();
  // The size comes from the profile's tag table: no element is larger than
  // the profile that holds it.
  if (size > profileSize) throw std::logic_error("ICC data too short");
  std::vector<unsigned char> buffer(size);
  DWORD got = size;
  if (!GetColorProfileElement(profile, tag, 0, &got, buffer.data(), &reference))
    throw WinError(L"GetColorProfileElement", GetLastError());
  return elementText(Element(buffer.data(), got < size ? got : size));
}

// Room for a name whose size in bytes a system call reported: at most a
// path's longest, so that a wild size costs a failed second call, not a huge
// allocation.
std::vector<wchar_t> nameBuffer(DWORD reportedBytes) {
  constexpr DWORD kLongestPath = 32767;
  const DWORD characters = reportedBytes / sizeof(wchar_t);
  return std::vector<wchar_t>((characters < kLongestPath ? characters : kLongestPath) + 2, L'\0');
}

// The full path of a profile file: the system looks up a relative name in
// the colour directory.
std::wstring profilePath(const wchar_t* name) {
  if (!PathIsRelativeW(name)) return name;
  DWORD bytes = 0;
  GetColorDirectoryW(nullptr, nullptr, &bytes);
  std::vector<wchar_t> directory = nameBuffer(bytes);
  DWORD capacity = static_cast<DWORD>(directory.size() * sizeof(wchar_t));
  if (!GetColorDirectoryW(nullptr, directory.data(), &capacity)) throw WinError(L"GetColorDirectory", GetLastError());
  return std::wstring(directory.data()) + L"\\" + name;
}

// How many bytes the system read to open `description`: all of a memory
// buffer, or the whole file. The system may hand back all of them, whatever
// the profile's header says its size is.
std::uint32_t sourceSize(const PROFILE& description) {
  if (description.dwType == PROFILE_MEMBUFFER) return description.cbDataSize;
  // The open profile holds the file without write sharing, so its size
  // stays what the system read.
  WIN32_FILE_ATTRIBUTE_DATA info;
  const std::wstring path = profilePath(static_cast<const wchar_t*>(description.pProfileData));
  if (!GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &info))
    throw WinError(L"GetFileAttributesEx", GetLastError());
  if (info.nFileSizeHigh != 0) throwIntCast();
  return info.nFileSizeLow;
}

class ColourProfileImp final : public ColourProfile {
public:
  // Opens the profile `description` names; see create and createFromFile.
  ColourProfileImp(ColourProfileId id, PROFILE& description)
      : m_id(id), m_size(0), m_handle(OpenColorProfileW(&description, PROFILE_READ, FILE_SHARE_READ, OPEN_EXISTING)) {
    if (!m_handle) throw WinError(L"OpenColorProfile", GetLastError());
    // The size the header gives is checked against the data before any
    // allocation, and the buffer has room for all the data: the system
    // copies what it holds, not what the header counts (Wine does so).
    const HPROFILE profile = m_handle.get();
    DWORD reported = 0;
    GetColorProfileFromHandle(profile, nullptr, &reported);
    const std::uint32_t available = sourceSize(description);
    if (reported > available) throw std::logic_error("ICC data too short");
    m_data = std::make_unique<unsigned char[]>(available ? available : 1);
    DWORD size = available;
    if (!GetColorProfileFromHandle(profile, m_data.get(), &size))
      throw WinError(L"GetColorProfileFromHandle", GetLastError());
    m_size = size < available ? size : available;
    PROFILEHEADER header;
    if (!GetColorProfileHeader(profile, &header)) throw WinError(L"GetColorProfileHeader", GetLastError());
    m_colourSpace = signatureText(header.phDataColorSpace);
    m_class = signatureText(header.phClass);
    m_manufacturer = textTag(profile, m_size, L"dmnd");
    m_model = textTag(profile, m_size, L"dmdd");
    m_description = textTag(profile, m_size, L"desc");
  }

  ColourProfileId profileId() const override { return m_id; }
  std::wstring colourSpace() const override { return m_colourSpace; }
  std::wstring profileClass() const override { return m_class; }
  std::wstring displayName() const override { return internal::profileDisplayNameMessage(m_description); }
  std::wstring fullName() const override {
    return internal::profileFullNameMessage(m_manufacturer, m_model, m_description);
  }
  const unsigned char* data(std::size_t& size) const override {
    size = m_size;
    return m_data.get();
  }
  HPROFILE handle() const override { return m_handle.get(); }

private:
  ColourProfileId m_id;
  std::unique_ptr<unsigned char[]> m_data;
  std::uint32_t m_size;
  std::wstring m_colourSpace;
  std::wstring m_class;
  std::wstring m_manufacturer;
  std::wstring m_model;
  std::wstring m_description;
  internal::UniqueColourProfile m_handle;
};

class ColourTransformImp final : public ColourTransform {
public:
  explicit ColourTransformImp(internal::UniqueColourTransform handle) noexcept : m_handle(std::move(handle)) {}
  HTRANSFORM handle() const override { return m_handle.get(); }

private:
  internal::UniqueColourTransform m_handle;
};

Handle<ColourProfile> open(ColourProfileId id, PROFILE& description) {
  return Handle<ColourProfile>(new ColourProfileImp(id, description));
}

// A file profile: the description's data is the zero-terminated name, its
// size in bytes the terminator included.
Handle<ColourProfile> openFile(ColourProfileId id, const std::wstring& fileName) {
  const std::uint32_t bytes = narrowSize(internal::checkedAdd(internal::checkedMultiply(fileName.size(), 2), 2));
  PROFILE description{PROFILE_FILENAME, const_cast<wchar_t*>(fileName.c_str()), bytes};
  return open(id, description);
}

Handle<ColourTransform> transform(RenderingIntent intent, HPROFILE* profiles, DWORD count) {
  DWORD intents[1] = {static_cast<DWORD>(intent)};
  internal::UniqueColourTransform t(
      CreateMultiProfileTransform(profiles, count, intents, 1, BEST_MODE, INDEX_DONT_CARE));
  if (!t) throw WinError(L"CreateMultiProfileTransform", GetLastError());
  return Handle<ColourTransform>(new ColourTransformImp(std::move(t)));
}

[[noreturn]] void illegalId() { throw std::logic_error("Illegal value of QOR::ColourProfileId"); }

}  // namespace

Handle<ColourProfile> ColourProfile::create(ColourProfileId id) {
  if (id != ColourProfileId::sRGB) illegalId();
  // Asked with a null buffer some systems (Wine) leave the size unset, and
  // with an empty one they report a count without the terminator; a probe
  // buffer of size 0 and room for one more character cover both.
  wchar_t probe[1] = {L'\0'};
  DWORD size = 0;
  GetStandardColorSpaceProfileW(nullptr, kStandardSRGB, probe, &size);
  std::vector<wchar_t> name = nameBuffer(size);
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

}  // namespace QOR
