// qorcor14/object/uuid.h - QOR::UUID, the platform's 128-bit UUID with its
// RPC functions (UuidCreate, UuidFromStringW, UuidCompare...).
#pragma once

#include <qorcor14/config.h>

#include <functional>
#include <string>

namespace QOR {

// A UUID laid out as the platform's UUID structure.
//
// Example:
//   QOR::UUID id = QOR::UUID::create();
//   std::wstring text = id.toString();   // e.g. "1B4E28BA-2FA1-11D2-883F-B9A761BDE3FB"
//   QOR::UUID again(text);               // == id
//   QOR::UUID::valid(L"not a uuid");     // false
//
// Note: every operation but valid() checks the platform's status and throws
// QOR::QorError with the failing function's name and the status (for
// example "UuidCreate 1824" when the system can only make a UUID unique to
// this computer); text that does not parse gives the catalogue's message 218
// naming the text.
class QORCOR14_API UUID {
public:
  // The nil UUID (all zero).
  UUID();
  // Parses text in the 8-4-4-4-12 hexadecimal form, without braces.
  explicit UUID(const std::wstring& text);

  // A new UUID from the system.
  [[nodiscard]] static UUID create();
  // Whether the text parses as a UUID. Never throws.
  [[nodiscard]] static bool valid(const std::wstring& text) noexcept;
  // The platform's order: negative, 0 or positive as a is below, equal to or
  // above b.
  [[nodiscard]] static int compare(const UUID& a, const UUID& b);

  // Upper-case hexadecimal in the 8-4-4-4-12 form, no braces.
  [[nodiscard]] std::wstring toString() const;
  // Whether this is the nil UUID.
  [[nodiscard]] bool isNull() const;

  unsigned long Data1;
  unsigned short Data2;
  unsigned short Data3;
  unsigned char Data4[8];
};

inline bool operator==(const UUID& a, const UUID& b) { return UUID::compare(a, b) == 0; }
inline bool operator!=(const UUID& a, const UUID& b) { return UUID::compare(a, b) != 0; }

}  // namespace QOR

// The platform's order, for ordered containers of UUIDs.
template <>
struct std::less<QOR::UUID> {
  bool operator()(const QOR::UUID& a, const QOR::UUID& b) const { return QOR::UUID::compare(a, b) < 0; }
};
