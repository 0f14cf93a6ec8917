// qorcor14/platform/process.h - glue between an application and its process:
// dropped-file lists, safe library loading, posting window messages, the
// memory figures, and memory blocks registered for error reports.
//
// The Windows handle types are declared here as <windows.h> declares them, so
// that this header does not need it.
#pragma once

#include <qorcor14/config.h>
#include <qorcor14/internal/unique_resource.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

struct HDROP__;
struct HINSTANCE__;
struct HWND__;

// The file names of a dropped-file list (the HDROP of WM_DROPFILES, or of the
// CF_HDROP clipboard format), in order. ANSI lists are converted by the
// system. Empty entries are skipped; a null handle gives an empty list.
//
// Example:
//   case WM_DROPFILES:
//     for (const std::wstring& name : getDropFiles(reinterpret_cast<HDROP>(wParam))) open(name);
//     DragFinish(reinterpret_cast<HDROP>(wParam));
//
// Note: the list still belongs to the caller, who frees it (DragFinish).
[[nodiscard]] QORCOR14_API std::vector<std::wstring> getDropFiles(HDROP__* drop);

namespace QOR {

// Loads the DLL `name` from the system directory only (never the program's
// directory, the current directory or PATH), with its dependencies looked
// up in the system directory too, and returns its module handle, which the
// caller frees with FreeLibrary. Throws WinError ("LoadLibraryExW") when
// there is no such DLL there, and std::logic_error("LoadSystemLibrary needs a
// file name without a directory") when name is empty or holds '\', '/' or ':'.
//
// Example:
//   HMODULE dwm = QOR::LoadSystemLibrary(L"dwmapi.dll");
//
// Note: a DLL planted in the current directory under a system DLL's name is
// never loaded; that is the point of this function.
[[nodiscard]] QORCOR14_API HINSTANCE__* LoadSystemLibrary(const std::wstring& name);

// Loads the DLL `name` from the directory of the running program (the
// folder of its .exe), and its dependencies from there first, and returns
// its module handle for FreeLibrary. Throws WinError ("LoadLibraryExW") when
// it is not there, and std::logic_error("LoadProgramLibrary needs a file name
// without a directory") when name is empty or holds '\', '/' or ':'.
//
// Example:
//   HMODULE plugin = QOR::LoadProgramLibrary(L"qorplugin.dll");
//
// Note: the current directory and PATH are never searched for name itself.
[[nodiscard]] QORCOR14_API HINSTANCE__* LoadProgramLibrary(const std::wstring& name);

// Posts message `message` to window `window` (PostMessageW). While the
// target's queue is full (ERROR_NOT_ENOUGH_QUOTA) it retries for about a
// second, yielding between tries. Returns false when the message could not
// be posted (the window is gone, or the queue stayed full); GetLastError then
// tells why.
//
// Example:
//   if (!QOR::QorPostMessage(hwnd, WM_APP + 1, 0, 0)) log(L"window closed");
//
// Note: a null window posts to the calling thread's queue, as PostMessageW
// does.
QORCOR14_API bool QorPostMessage(HWND__* window, unsigned int message, std::uintptr_t wParam, std::intptr_t lParam);

// The figures of GlobalMemoryStatusEx, taken when the value is made. Sizes are
// in bytes. Throws WinError ("GlobalMemoryStatusEx") if the system refuses.
//
// Example:
//   QOR::WindowsMemoryStatus memory;
//   if (memory.availablePhysical < needed) warnUser();
class QORCOR14_API WindowsMemoryStatus {
public:
  WindowsMemoryStatus();

  unsigned long memoryLoad;  // percent of physical memory in use, 0..100
  std::uint64_t totalPhysical;
  std::uint64_t availablePhysical;
  std::uint64_t totalPageFile;  // the commit limit
  std::uint64_t availablePageFile;
  std::uint64_t totalVirtual;  // the process's user address space
  std::uint64_t availableVirtual;
  std::uint64_t availableExtendedVirtual;  // always 0
};

namespace internal {
// A block registered with Windows Error Reporting, unregistered on close.
struct WerBlockTraits : NullIsEmpty<void*> {
  QORCOR14_API static void close(type address) noexcept;
};
}  // namespace internal

// A memory block registered with Windows Error Reporting for as long as the
// object lives (WerRegisterMemoryBlock, WerUnregisterMemoryBlock), so that a
// crash report of the process includes its bytes. Move-only; a moved-from
// object registers nothing. Throws WinError ("WerRegisterMemoryBlock") when
// the system refuses (a block registered twice, too many blocks, or the
// service not available).
//
// Example:
//   static char lastCommand[256];
//   QOR::WerRegisteredMemoryBlock keep(lastCommand, sizeof lastCommand);
//
// Note: a block of up to WER_MAX_MEM_BLOCK_SIZE (64 KiB) is accepted.
class QORCOR14_API WerRegisteredMemoryBlock {
public:
  WerRegisteredMemoryBlock(void* address, std::size_t size);
  WerRegisteredMemoryBlock(WerRegisteredMemoryBlock&& other) noexcept;
  WerRegisteredMemoryBlock& operator=(WerRegisteredMemoryBlock&& other) noexcept;
  WerRegisteredMemoryBlock(const WerRegisteredMemoryBlock&) = delete;
  WerRegisteredMemoryBlock& operator=(const WerRegisteredMemoryBlock&) = delete;
  ~WerRegisteredMemoryBlock();

  // The registered block; null after a move.
  [[nodiscard]] void* address() const noexcept { return m_block.get(); }

private:
  QOR::internal::UniqueResource<QOR::internal::WerBlockTraits> m_block;
};

}  // namespace QOR
