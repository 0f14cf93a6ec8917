// Texts for Win32 error codes and COM HRESULTs.
#include <qorcor14/errors.h>

#include <qorcor14/text/strings.h>

#include "common/unique_resource.h"

#include <windows.h>
#include <oaidl.h>
#include <oleauto.h>

#include <string>

namespace {

// FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_IGNORE_INSERTS with a
// maximum line width: the system joins the text's soft line breaks and ends
// it without a line break, so that " calling ..." can follow directly.
constexpr DWORD fromModuleFlags = FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_IGNORE_INSERTS |
                                  FORMAT_MESSAGE_FROM_HMODULE | FORMAT_MESSAGE_MAX_WIDTH_MASK;
constexpr DWORD fromSystemFlags = FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_IGNORE_INSERTS |
                                  FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_MAX_WIDTH_MASK;
static_assert(fromModuleFlags == 3071 && fromSystemFlags == 5119);

// MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT): the user's default language.
constexpr DWORD neutralLanguage = 1024;

// IErrorInfo, spelled out so that the DLL need not link libuuid for one id.
constexpr IID errorInfoId = {0x1cf2b120, 0x547d, 0x101b, {0x8e, 0x65, 0x08, 0x00, 0x2b, 0x2b, 0xd1, 0x19}};

// What the system hands out is owned, so that it is released even when
// copying the text runs out of memory.
struct ErrorInfoTraits : QOR::internal::NullIsEmpty<IErrorInfo*> {
  static void close(type info) noexcept { info->Release(); }
};
using UniqueErrorInfo = QOR::internal::UniqueResource<ErrorInfoTraits>;

// The description `object` offers through IErrorInfo; false when it offers
// none. A successful GetDescription counts even when its text is empty.
bool describedBy(IUnknown* object, std::wstring& description) {
  UniqueErrorInfo error;
  if (FAILED(object->QueryInterface(errorInfoId, reinterpret_cast<void**>(error.put()))) || !error) return false;
  QOR::internal::UniqueBstr text;
  if (FAILED(error.get()->GetDescription(text.put()))) return false;
  if (text) description = text.get();
  return true;
}

}  // namespace

std::wstring formatMessage(unsigned long error, const wchar_t* module) {
  HMODULE source = module ? GetModuleHandleW(module) : nullptr;
  QOR::internal::UniqueLocalMemory<wchar_t*> buffer;
  const DWORD length = FormatMessageW(module ? fromModuleFlags : fromSystemFlags, source, error, neutralLanguage,
                                      reinterpret_cast<wchar_t*>(buffer.put()), 0, nullptr);
  if (length == 0) return L"Error " + std::to_wstring(error);
  return std::wstring(buffer.get(), length);
}

std::wstring formatMessage(long hr, IUnknown* object) {
  std::wstring text = stringPrintf(L"[0x%08lx] ", hr);
  std::wstring description;
  if (object && describedBy(object, description)) text += description;
  else text += formatMessage(static_cast<unsigned long>(hr), nullptr);
  return text;
}
