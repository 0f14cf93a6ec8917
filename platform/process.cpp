// Process glue: dropped files, library loading, posting messages, memory
// figures and error-report memory blocks.
#include <qorcor14/errors.h>
#include <qorcor14/platform/process.h>

#include "common/unique_resource.h"

#include <windows.h>
#include <shellapi.h>

#include <stdexcept>
#include <utility>

#ifndef LOAD_LIBRARY_SEARCH_SYSTEM32
#define LOAD_LIBRARY_SEARCH_SYSTEM32 0x00000800
#endif

// MinGW-w64's werapi.h does not compile on its own; these two are all that
// is needed from it (kernel32 exports them).
extern "C" {
HRESULT WINAPI WerRegisterMemoryBlock(PVOID address, DWORD size);
HRESULT WINAPI WerUnregisterMemoryBlock(PVOID address);
}

namespace {

// The largest block Windows Error Reporting takes.
constexpr std::size_t kWerMaxBlock = 64 * 1024;

// Throws the misuse text when name is not a bare file name.
void checkBareName(const std::wstring& name, const char* what) {
  if (name.empty() || name.find_first_of(L"\\/:") != std::wstring::npos)
    throw std::logic_error(std::string(what) + " needs a file name without a directory");
}

HMODULE loadLibrary(const std::wstring& path, DWORD flags) {
  HMODULE module = LoadLibraryExW(path.c_str(), nullptr, flags);
  if (!module) throw WinError(L"LoadLibraryExW", GetLastError());
  return module;
}

}  // namespace

std::vector<std::wstring> getDropFiles(HDROP__* drop) {
  std::vector<std::wstring> names;
  if (!drop) return names;
  const UINT count = DragQueryFileW(drop, 0xFFFFFFFF, nullptr, 0);
  names.reserve(count);
  for (UINT i = 0; i < count; ++i) {
    const UINT length = DragQueryFileW(drop, i, nullptr, 0);
    std::wstring name(length + 1, L'\0');
    name.resize(DragQueryFileW(drop, i, name.data(), length + 1));
    if (!name.empty()) names.push_back(std::move(name));  // a list of none reads as one empty name
  }
  return names;
}

namespace QOR {

HINSTANCE__* LoadSystemLibrary(const std::wstring& name) {
  checkBareName(name, "LoadSystemLibrary");
  // The full name in the system directory, and the system directory alone
  // for its dependencies.
  std::wstring dir(MAX_PATH, L'\0');
  const UINT n = GetSystemDirectoryW(dir.data(), MAX_PATH);
  if (n == 0) throw WinError(L"GetSystemDirectoryW", GetLastError());
  // A longer folder is no failure of the call: it says so by its answer.
  if (n >= MAX_PATH) throw WinError(L"GetSystemDirectoryW", ERROR_INSUFFICIENT_BUFFER);
  dir.resize(n);
  return loadLibrary(dir + L'\\' + name, LOAD_LIBRARY_SEARCH_SYSTEM32);
}

HINSTANCE__* LoadProgramLibrary(const std::wstring& name) {
  checkBareName(name, "LoadProgramLibrary");
  std::wstring program(MAX_PATH, L'\0');
  for (;;) {
    const DWORD n = GetModuleFileNameW(nullptr, program.data(), static_cast<DWORD>(program.size()));
    if (n == 0) throw WinError(L"GetModuleFileNameW", GetLastError());
    if (n < program.size()) {
      program.resize(n);
      break;
    }
    program.resize(program.size() * 2);
  }
  program.erase(program.find_last_of(L"\\/") + 1);
  // The altered search path looks for the DLL's dependencies in its own
  // folder first.
  return loadLibrary(program + name, LOAD_WITH_ALTERED_SEARCH_PATH);
}

bool QorPostMessage(HWND__* window, unsigned int message, std::uintptr_t wParam, std::intptr_t lParam) {
  for (int attempt = 0;; ++attempt) {
    if (PostMessageW(window, message, wParam, lParam)) return true;
    const DWORD error = GetLastError();
    if (error != ERROR_NOT_ENOUGH_QUOTA || attempt == 100) return false;
    Sleep(10);  // the target drains its queue meanwhile
  }
}

WindowsMemoryStatus::WindowsMemoryStatus() {
  MEMORYSTATUSEX status{};
  status.dwLength = sizeof status;
  if (!GlobalMemoryStatusEx(&status)) throw WinError(L"GlobalMemoryStatusEx", GetLastError());
  memoryLoad = status.dwMemoryLoad;
  totalPhysical = status.ullTotalPhys;
  availablePhysical = status.ullAvailPhys;
  totalPageFile = status.ullTotalPageFile;
  availablePageFile = status.ullAvailPageFile;
  totalVirtual = status.ullTotalVirtual;
  availableVirtual = status.ullAvailVirtual;
  availableExtendedVirtual = status.ullAvailExtendedVirtual;
}

WerRegisteredMemoryBlock::WerRegisteredMemoryBlock(void* address, std::size_t size) {
  if (size > kWerMaxBlock)
    throw WinError(L"WerRegisterMemoryBlock", static_cast<unsigned long>(ERROR_INVALID_PARAMETER));
  const HRESULT hr = WerRegisterMemoryBlock(address, static_cast<DWORD>(size));
  if (FAILED(hr)) throw WinError(L"WerRegisterMemoryBlock", hr, nullptr);
  // Owned only once registered: a refused block is never unregistered.
  m_block.reset(address);
}

WerRegisteredMemoryBlock::WerRegisteredMemoryBlock(WerRegisteredMemoryBlock&& other) noexcept = default;
WerRegisteredMemoryBlock& WerRegisteredMemoryBlock::operator=(WerRegisteredMemoryBlock&& other) noexcept = default;
WerRegisteredMemoryBlock::~WerRegisteredMemoryBlock() = default;

void internal::WerBlockTraits::close(type address) noexcept { WerUnregisterMemoryBlock(address); }

}  // namespace QOR
