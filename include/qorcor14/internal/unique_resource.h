// qorcor14/internal/unique_resource.h - the one move-only owner of a system
// resource, for the library's own classes (public headers hold their handles
// in it too). Not part of the library's interface: clients do not name it.
//
// A small traits type names the stored type, the value that means "nothing
// held" and the function that closes; UniqueResource does the rest, and
// closing never disturbs the thread's last error, so an owner going out of
// scope while an error is reported keeps its code. The kinds of resource the
// library holds privately are in its common/unique_resource.h.
#pragma once

#include <qorcor14/config.h>

#include <utility>

namespace QOR::internal {

// Saves the calling thread's last error (GetLastError) and puts it back
// (SetLastError) when it goes out of scope. Out of line, so that this header
// needs no <windows.h>.
class QORCOR14_API KeptLastError {
public:
  KeptLastError() noexcept;
  ~KeptLastError();
  KeptLastError(const KeptLastError&) = delete;
  KeptLastError& operator=(const KeptLastError&) = delete;

private:
  unsigned long m_saved;
};

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
// Note: the last error is saved before each close and restored after it, even
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
    const KeptLastError kept;
    Traits::close(old);
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

// The part of a traits type shared by most kinds: the raw value T, of which
// null means "nothing held". A kind adds only its close function.
template <class T>
struct NullIsEmpty {
  using type = T;
  static constexpr type invalid() noexcept { return nullptr; }
};

// Kernel objects (events, threads, files...) closed with CloseHandle.
// Note: a CreateFileW result must be checked against INVALID_HANDLE_VALUE
// before it is owned.
struct HandleTraits : NullIsEmpty<void*> {
  QORCOR14_API static void close(type value) noexcept;
};
using UniqueHandle = UniqueResource<HandleTraits>;

}  // namespace QOR::internal
