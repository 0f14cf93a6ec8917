// CodePoint: the members that allocate. The class table itself is generated
// into unicode_classes.cpp.
#include <qorcor14/text/codepoint.h>

CodePoint::operator std::wstring() const {
  wchar_t units[2];
  return std::wstring(units, wchars(units, 2));
}
