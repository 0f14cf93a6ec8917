// A move-only owner of a file opened with CreateFileW, for reading or writing
// whole .bmp files; every failure is a WinError naming the failing call.
#pragma once

#include <qorcor14/errors.h>

#include "common/unique_resource.h"

#include <windows.h>

#include <cstdint>
#include <string>
#include <utility>

namespace QOR::internal {

class WinFile {
public:
  // The handle closes without disturbing GetLastError, so an error being
  // reported keeps its code.
  WinFile(const std::wstring& name, DWORD access, DWORD share, DWORD disposition) {
    const HANDLE h = CreateFileW(name.c_str(), access, share, nullptr, disposition, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (h == INVALID_HANDLE_VALUE) throw WinError(L"CreateFile", GetLastError());
    m_handle.reset(h);
  }

  [[nodiscard]] std::uint64_t size() const {
    LARGE_INTEGER s;
    if (!GetFileSizeEx(m_handle.get(), &s)) throw WinError(L"GetFileSizeEx", GetLastError());
    return static_cast<std::uint64_t>(s.QuadPart);
  }

  // Reads exactly n bytes; a file that ends first is a failure.
  void read(void* p, std::uint32_t n) {
    DWORD got = 0;
    if (!ReadFile(m_handle.get(), p, n, &got, nullptr)) throw WinError(L"ReadFile", GetLastError());
    if (got != n) throw WinError(L"ReadFile", ERROR_HANDLE_EOF);
  }

  void write(const void* p, std::uint32_t n) {
    DWORD put = 0;
    if (!WriteFile(m_handle.get(), p, n, &put, nullptr)) throw WinError(L"WriteFile", GetLastError());
    // A short write succeeds as a call: the last error is not its own.
    if (put != n) throw WinError(L"WriteFile", ERROR_WRITE_FAULT);
  }

private:
  internal::UniqueHandle m_handle;
};

}  // namespace QOR::internal
