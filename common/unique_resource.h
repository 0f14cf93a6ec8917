// One move-only owner for every kind of system resource the library holds:
// kernel handles, registry keys, colour profiles and transforms, LocalAlloc
// buffers, BSTRs and C runtime streams. A small traits type names the stored
// type, the value that means "nothing held" and the function that closes;
// UniqueResource does the rest, and closing never disturbs the thread's last
// error, so an owner going out of scope while an error is reported keeps its
// code.
#pragma once

#include <windows.h>
#include <icm.h>
#include <oleauto.h>

#include <cstdio>
#include <utility>

namespace QOR::internal {

// Owns one value of Traits::type and closes it with Traits::close when it
// is destroyed, reset or assigned over; Traits::invalid() is never closed.
// A traits type provides:
//   using type = ...;                           // the raw value
//   static constexpr type invalid() noexcept;   // the value of an empty owner
//   static void close(type value) noexcept;     // its result is ignored
//
// Example:
//   UniqueHandle event(CreateEventW(nullptr, FALSE, FALSE, nullptr));
//   if (!event) throw WinError(L"CreateEvent", GetLastError());
//   SetEvent(event.get());   // closed at the end of the scope
//
// Note: GetLastError is saved before each close and restored after it, even
// when the close fails.
template <class Traits>
class UniqueResource {
public:
  using value_type = typename Traits::type;

  UniqueResource() noexcept = default;
  explicit UniqueResource(value_type value) noexcept : m_value(value) {}
  UniqueResource(UniqueResource&& other) noexcept : m_value(other.release()) {}
  UniqueResource& operator=(UniqueResource&& other) noexcept {
    if (this != &other) reset(other.release());
    return *this;
  }
  UniqueResource(const UniqueResource&) = delete;
  UniqueResource& operator=(const UniqueResource&) = delete;
  ~UniqueResource() { reset(); }

  [[nodiscard]] value_type get() const noexcept { return m_value; }
  explicit operator bool() const noexcept { return m_value != Traits::invalid(); }

  // Takes `value` and closes what was held before (the new value is stored
  // first, so a close that looks at this owner finds it consistent).
  void reset(value_type value = Traits::invalid()) noexcept {
    const value_type old = std::exchange(m_value, value);
    if (old == Traits::invalid()) return;
    const DWORD saved = GetLastError();
    Traits::close(old);
    SetLastError(saved);
  }

  // Gives up ownership without closing.
  [[nodiscard]] value_type release() noexcept { return std::exchange(m_value, Traits::invalid()); }

  // Closes what is held and returns the address of the empty value, for
  // calls that hand a new resource out through a pointer.
  //
  // Example:
  //   UniqueLocalMemory<wchar_t*> text;
  //   FormatMessageW(FORMAT_MESSAGE_ALLOCATE_BUFFER | ..., reinterpret_cast<wchar_t*>(text.put()), ...);
  [[nodiscard]] value_type* put() noexcept {
    reset();
    return &m_value;
  }

private:
  value_type m_value = Traits::invalid();
};

// The part of a traits type shared by every kind here: the raw value T, of
// which null means "nothing held". A kind adds only its close function.
template <class T>
struct NullIsEmpty {
  using type = T;
  static constexpr type invalid() noexcept { return nullptr; }
};

// Kernel objects (events, threads, files...) closed with CloseHandle.
// Note: a CreateFileW result must be checked against INVALID_HANDLE_VALUE
// before it is owned.
struct HandleTraits : NullIsEmpty<HANDLE> {
  static void close(type value) noexcept { CloseHandle(value); }
};
using UniqueHandle = UniqueResource<HandleTraits>;

// Registry keys opened or created by the library, closed with RegCloseKey.
struct RegKeyTraits : NullIsEmpty<HKEY> {
  static void close(type value) noexcept { RegCloseKey(value); }
};
using UniqueRegKey = UniqueResource<RegKeyTraits>;

// Profiles from OpenColorProfileW, closed with CloseColorProfile.
struct ColourProfileTraits : NullIsEmpty<HPROFILE> {
  static void close(type value) noexcept { CloseColorProfile(value); }
};
using UniqueColourProfile = UniqueResource<ColourProfileTraits>;

// Transforms from CreateMultiProfileTransform, freed with DeleteColorTransform.
struct ColourTransformTraits : NullIsEmpty<HTRANSFORM> {
  static void close(type value) noexcept { DeleteColorTransform(value); }
};
using UniqueColourTransform = UniqueResource<ColourTransformTraits>;

// Buffers the system allocates for the caller with LocalAlloc
// (FORMAT_MESSAGE_ALLOCATE_BUFFER, CommandLineToArgvW), freed with LocalFree.
// Note: Pointer is the buffer's own type (wchar_t*, LPWSTR*).
template <class Pointer>
struct LocalMemoryTraits : NullIsEmpty<Pointer> {
  static void close(Pointer value) noexcept { LocalFree(value); }
};
template <class Pointer>
using UniqueLocalMemory = UniqueResource<LocalMemoryTraits<Pointer>>;

// Strings COM hands out as BSTR, freed with SysFreeString.
struct BstrTraits : NullIsEmpty<BSTR> {
  static void close(type value) noexcept { SysFreeString(value); }
};
using UniqueBstr = UniqueResource<BstrTraits>;

// C runtime streams, closed with fclose.
// Note: a close whose failure must be reported releases the stream and calls
// fclose itself.
struct FileStreamTraits : NullIsEmpty<std::FILE*> {
  static void close(type value) noexcept { std::fclose(value); }
};
using UniqueFileStream = UniqueResource<FileStreamTraits>;

}  // namespace QOR::internal
