// qorcor14/colour/profile.h - ICC colour profiles and colour transforms over
// the Windows colour management module (mscms), reference-counted through
// QOR::Handle.
#pragma once

#include <qorcor14/config.h>
#include <qorcor14/object/handle.h>

#include <cstddef>
#include <cstdint>
#include <string>

// The Windows handle types (void* as in <icm.h>, which declares them alike).
typedef void* HPROFILE;
typedef void* HTRANSFORM;

namespace QOR {

// Which profile a ColourProfile was made from.
enum class ColourProfileId : std::uint32_t {
  sRGB = 0,                 // the system's standard sRGB colour space profile
  userDefined = 4294967295  // a profile the caller gave, in memory or as a file
};

// The ICC rendering intent of a transform, passed to the system unchanged
// (the values of INTENT_PERCEPTUAL ... INTENT_ABSOLUTE_COLORIMETRIC).
enum class RenderingIntent : std::uint32_t {
  perceptual = 0,
  relativeColorimetric = 1,
  saturation = 2,
  absoluteColorimetric = 3
};

// An open ICC profile with a copy of its bytes and the texts of its header
// and text tags. Immutable; shared through QOR::Handle.
//
// Example:
//   auto srgb = QOR::ColourProfile::create(QOR::ColourProfileId::sRGB);
//   srgb->colourSpace();    // L"RGB "
//   auto adobe = QOR::ColourProfile::createFromFile(L"C:\\icc\\AdobeRGB1998.icc");
//   adobe->displayName();   // catalogue text 271 with the profile description
//
// Note: the texts come from the tags `desc` (description), `dmnd`
// (manufacturer) and `dmdd` (model), each of type `desc` (ICC version 2) or
// `mluc` (version 4; only the first record is read, whatever its language).
// A missing tag gives an empty text. A text is cut at its element's end; an
// element shorter than a field it needs, or larger than the whole profile,
// throws std::logic_error "ICC data too short", and one of another type
// "desc/mluc element not found in ICC data".
// Note: every create form throws std::logic_error "ICC data too short" when
// the profile header's size is larger than the data it was opened from. A
// header that counts less keeps all the data: data() gives what the system
// copied out, never more than it was given.
class QORCOR14_API ColourProfile : public Handlable {
public:
  ColourProfile() = default;
  ColourProfile(const ColourProfile&) = default;
  ColourProfile& operator=(const ColourProfile&) = default;

  // The standard sRGB profile: id must be ColourProfileId::sRGB, otherwise
  // std::logic_error "Illegal value of QOR::ColourProfileId".
  // Throws WinError when the system names no profile or it cannot be opened.
  [[nodiscard]] static Handle<ColourProfile> create(ColourProfileId id);
  // A profile from `size` bytes at `data` (copied by the system): id must be
  // ColourProfileId::userDefined (else the std::logic_error above); a size
  // that does not fit 32 bits throws QOR::QorError "integer value right out
  // of range".
  [[nodiscard]] static Handle<ColourProfile> create(ColourProfileId id, const unsigned char* data, std::size_t size);
  // The profile file `fileName`; its id is ColourProfileId::userDefined.
  [[nodiscard]] static Handle<ColourProfile> createFromFile(const std::wstring& fileName);

  // The id the profile was created with.
  [[nodiscard]] virtual ColourProfileId profileId() const = 0;
  // The header's data colour space signature as four characters (L"RGB ").
  [[nodiscard]] virtual std::wstring colourSpace() const = 0;
  // The header's profile (device) class signature as four characters (L"mntr").
  [[nodiscard]] virtual std::wstring profileClass() const = 0;
  // Catalogue message 271 filled with the description.
  [[nodiscard]] virtual std::wstring displayName() const = 0;
  // Catalogue message 282 filled with the manufacturer, model and profile
  // descriptions, in that order.
  [[nodiscard]] virtual std::wstring fullName() const = 0;
  // The profile's bytes; their count goes to size.
  [[nodiscard]] virtual const unsigned char* data(std::size_t& size) const = 0;
  // The open profile handle, valid while the object lives.
  [[nodiscard]] virtual HPROFILE handle() const = 0;
};

// A colour transform through two to four profiles with one rendering intent.
//
// Example:
//   auto t = QOR::ColourTransform::create(QOR::RenderingIntent::perceptual, *srgb, *adobe);
//   TranslateBitmapBits(t->handle(), ...);
//
// Note: the transform keeps no reference to its profiles; they need only
// live while it is created. A transform the system cannot build throws
// WinError naming "CreateMultiProfileTransform" (under Wine the three- and
// four-profile forms always do).
class QORCOR14_API ColourTransform : public Handlable {
public:
  ColourTransform() = default;
  ColourTransform(const ColourTransform&) = default;
  ColourTransform& operator=(const ColourTransform&) = default;

  [[nodiscard]] static Handle<ColourTransform> create(RenderingIntent intent, const ColourProfile& p1,
                                                      const ColourProfile& p2);
  [[nodiscard]] static Handle<ColourTransform> create(RenderingIntent intent, const ColourProfile& p1,
                                                      const ColourProfile& p2, const ColourProfile& p3);
  [[nodiscard]] static Handle<ColourTransform> create(RenderingIntent intent, const ColourProfile& p1,
                                                      const ColourProfile& p2, const ColourProfile& p3,
                                                      const ColourProfile& p4);

  // The transform handle, valid while the object lives.
  [[nodiscard]] virtual HTRANSFORM handle() const = 0;
};

}  // namespace QOR
