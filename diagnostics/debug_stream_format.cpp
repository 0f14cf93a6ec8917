// What the debug stream's helpers write: numbers, thread tags, quarks and
// type-tagged pointers.
#include <qorcor14/diagnostics/debug_stream.h>

#include <qorcor14/text/strings.h>

#include <windows.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#if defined(__GNUC__) || defined(__clang__)
#include <cxxabi.h>
#endif

namespace {

bool startsWith(const std::wstring& s, const wchar_t* prefix) { return s.compare(0, std::wcslen(prefix), prefix) == 0; }

// The type's name as a reader would write it.
std::string readableName(const std::type_info& type) {
#if defined(__GNUC__) || defined(__clang__)
  int status = 0;
  if (char* demangled = abi::__cxa_demangle(type.name(), nullptr, nullptr, &status)) {
    std::string name(demangled);
    std::free(demangled);
    return name;
  }
#endif
  return type.name();
}

std::wstring cleaned(const std::type_info& type) { return DebugStream::cleanTypeName(readableName(type).c_str()); }

std::wstring pointer(const void* p) { return stringPrintf(L"%p", p); }

}  // namespace

namespace DebugStream {

std::wstring decimal(int value) { return stringPrintf(L"%d", value); }

std::wstring hexadecimal(unsigned int value) { return stringPrintf(L"%x", value); }

std::wostream& operator<<(std::wostream& os, const GCTID&) {
  return os << L"{" << stringPrintf(L"%lu", GetCurrentThreadId()) << L"} ";
}

std::wstring cleanTypeName(const char* readable) {
  std::wstring name = getWCS(readable ? readable : "");
  for (const wchar_t* prefix : {L"const ", L"volatile ", L"class ", L"struct "})
    if (startsWith(name, prefix)) name.erase(0, std::wcslen(prefix));
  const std::size_t stop = name.find_first_not_of(L"0123456789_ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz");
  if (stop != std::wstring::npos && name.compare(stop, 2, L"::") == 0) name.erase(0, stop + 2);
  return name;
}

std::wstring typedPtrA(const std::type_info& type, const void* p) { return cleaned(type) + pointer(p); }

std::wstring typedIdPtrA(const std::type_info& type, const void* p, int id) {
  return cleaned(type) + L"#" + decimal(id) + L" " + pointer(p);
}

std::wstring typedPtrRefA(const std::type_info& type, const void* p) { return cleaned(type) + L" *" + pointer(p); }

std::wstring typedIdPtrRefA(const std::type_info& type, const void* p, int id) {
  return cleaned(type) + L"#" + decimal(id) + L" *" + pointer(p);
}

void debugPtrA(std::wostream& os, const std::type_info& type, const void* p) { os << typedPtrA(type, p); }

void debugIdPtrA(std::wostream& os, const std::type_info& type, const void* p, int id) {
  os << typedIdPtrA(type, p, id);
}

void debugPtrRefA(std::wostream& os, const std::type_info& type, const void* p) { os << typedPtrRefA(type, p); }

void debugIdPtrRefA(std::wostream& os, const std::type_info& type, const void* p, int id) {
  os << typedIdPtrRefA(type, p, id);
}

}  // namespace DebugStream

std::wostream& operator<<(std::wostream& os, const Quark& q) {
  os << L"Q:" << reinterpret_cast<std::uintptr_t>(q.value());
  if (DebugStream::debuggingLevel() >= DebugStream::Verbose) os << L" \"" << (q.value() ? q.value() : L"") << L"\"";
  return os;
}
