// A move-only owner of a Windows kernel handle (semaphore, event, thread...).
#pragma once

#include <windows.h>

#include <utility>

namespace QOR::Threading::internal {

// Closes the handle it owns on destruction, leaving GetLastError as it was,
// so that a destructor running during error handling does not disturb the
// code being reported.
class ScopedHandle {
public:
  ScopedHandle() noexcept = default;
  explicit ScopedHandle(HANDLE h) noexcept : m_handle(h) {}
  ScopedHandle(ScopedHandle&& other) noexcept : m_handle(std::exchange(other.m_handle, nullptr)) {}
  ScopedHandle& operator=(ScopedHandle&& other) noexcept {
    if (this != &other) {
      close();
      m_handle = std::exchange(other.m_handle, nullptr);
    }
    return *this;
  }
  ScopedHandle(const ScopedHandle&) = delete;
  ScopedHandle& operator=(const ScopedHandle&) = delete;
  ~ScopedHandle() { close(); }

  [[nodiscard]] HANDLE get() const noexcept { return m_handle; }
  explicit operator bool() const noexcept { return m_handle != nullptr; }

  // Gives up ownership without closing.
  HANDLE release() noexcept { return std::exchange(m_handle, nullptr); }

  void close() noexcept {
    if (!m_handle) return;
    const DWORD saved = GetLastError();
    CloseHandle(m_handle);
    m_handle = nullptr;
    SetLastError(saved);
  }

private:
  HANDLE m_handle = nullptr;
};

}  // namespace QOR::Threading::internal
