// What several targets need beside their own checks: scratch files and
// memory fenced by an inaccessible page.
#include "fuzz_target.h"

#include <windows.h>

#include <cstdint>

namespace qorfuzz {

ScratchFile::ScratchFile(const std::wstring& suffix) {
  wchar_t folder[MAX_PATH + 1] = {};
  GetTempPathW(MAX_PATH + 1, folder);
  m_name = std::wstring(folder) + L"qorfuzz-" + std::to_wstring(GetCurrentProcessId()) + suffix;
}

ScratchFile::~ScratchFile() { DeleteFileW(m_name.c_str()); }

void writeWholeFile(const std::wstring& name, const void* data, std::size_t size) {
  const HANDLE h = CreateFileW(name.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
  fuzzCheck(h != INVALID_HANDLE_VALUE, "the scratch file cannot be created");
  DWORD put = 0;
  const BOOL ok = WriteFile(h, data, static_cast<DWORD>(size), &put, nullptr);
  CloseHandle(h);
  fuzzCheck(ok && put == size, "the scratch file cannot be written");
}

void* roomBeforeGuardPage(std::size_t bytes) {
  constexpr std::size_t kPage = 4096, kSize = std::size_t{1} << 20;
  // One block for the run: a no-access page, 1 MiB, a no-access page.
  static std::uint8_t* const base = [] {
    auto* block =
        static_cast<std::uint8_t*>(VirtualAlloc(nullptr, kSize + 2 * kPage, MEM_RESERVE | MEM_COMMIT, PAGE_NOACCESS));
    DWORD old = 0;
    if (block) VirtualProtect(block + kPage, kSize, PAGE_READWRITE, &old);
    return block;
  }();
  fuzzCheck(base != nullptr, "no memory for the fenced room");
  if (bytes > kSize) return nullptr;
  return base + kPage + kSize - bytes;
}

}  // namespace qorfuzz
