#include <qorcor14/errors.h>
#include <qorcor14/platform/process.h>
#include <qorcor14/text/strings.h>

#include "support/files.h"

#include <gtest/gtest.h>

#include <windows.h>
#include <shellapi.h>
#include <shlobj.h>

#include <cstring>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace {

// An HDROP as a drop target receives it: DROPFILES, then NUL-ended names and one more NUL.
template <class Char>
HDROP makeDrop(const std::basic_string<Char>& names) {
  HGLOBAL memory = GlobalAlloc(GMEM_MOVEABLE | GMEM_ZEROINIT, sizeof(DROPFILES) + (names.size() + 1) * sizeof(Char));
  auto* header = static_cast<DROPFILES*>(GlobalLock(memory));
  header->pFiles = sizeof(DROPFILES);
  header->fWide = sizeof(Char) == sizeof(wchar_t);
  std::memcpy(header + 1, names.data(), names.size() * sizeof(Char));
  GlobalUnlock(memory);
  return static_cast<HDROP>(memory);
}

std::wstring moduleName(HMODULE module) {
  wchar_t name[MAX_PATH] = {};
  GetModuleFileNameW(module, name, MAX_PATH);
  return name;
}

bool inFolder(const std::wstring& name, const std::wstring& folder) {
  return name.size() > folder.size() && _wcsnicmp(name.c_str(), folder.c_str(), folder.size()) == 0 &&
         name[folder.size()] == L'\\';
}

TEST(DropFiles, WideAndAnsiListsGiveTheNamesInOrder) {
  using namespace std::string_literals;
  HDROP wide = makeDrop(L"C:\\a.txt\0C:\\dir\\caf\u00e9 \U0001F600.txt\0\\\\srv\\share\\x\0"s);
  EXPECT_EQ(getDropFiles(wide),
            (std::vector<std::wstring>{L"C:\\a.txt", L"C:\\dir\\caf\u00e9 \U0001F600.txt", L"\\\\srv\\share\\x"}));
  HDROP ansi = makeDrop("C:\\a.txt\0C:\\caf\xE9.txt\0"s);  // code page 1252
  EXPECT_EQ(getDropFiles(ansi), (std::vector<std::wstring>{L"C:\\a.txt", L"C:\\caf\u00e9.txt"}));
  HDROP none = makeDrop(L"\0"s);  // Wine misreads a list of one NUL, so two
  EXPECT_TRUE(getDropFiles(none).empty());
  EXPECT_TRUE(getDropFiles(nullptr).empty());
  for (HDROP h : {wide, ansi, none}) GlobalFree(h);
}

TEST(LibraryLoading, SystemAndProgramFoldersOnlyNeverTheCurrentDirectory) {
  qortest::ScratchFolder scratch;
  const std::wstring programDir = std::filesystem::path(moduleName(nullptr)).parent_path().wstring();
  // A real DLL where only the current directory would find it, also under a system DLL's name.
  const std::wstring dll = programDir + L"\\qormsg14.dll";
  ASSERT_TRUE(CopyFileW(dll.c_str(), scratch.file(L"qorglue-here-only.dll").c_str(), FALSE));
  ASSERT_TRUE(CopyFileW(dll.c_str(), scratch.file(L"version.dll").c_str(), FALSE));
  wchar_t saved[MAX_PATH + 1] = {}, systemDir[MAX_PATH] = {};
  GetCurrentDirectoryW(MAX_PATH + 1, saved);
  GetSystemDirectoryW(systemDir, MAX_PATH);
  ASSERT_TRUE(SetCurrentDirectoryW(scratch.path().c_str()));
  HMODULE plain = LoadLibraryW(L"qorglue-here-only.dll");  // the search path would take it
  EXPECT_NE(plain, nullptr);
  if (plain) FreeLibrary(plain);
  EXPECT_THROW((void)QOR::LoadSystemLibrary(L"qorglue-here-only.dll"), WinError);
  EXPECT_THROW((void)QOR::LoadProgramLibrary(L"qorglue-here-only.dll"), WinError);
  HMODULE version = QOR::LoadSystemLibrary(L"version.dll");
  EXPECT_TRUE(inFolder(moduleName(version), systemDir)) << utf8(moduleName(version));
  FreeLibrary(version);
  SetCurrentDirectoryW(saved);
  HMODULE messages = QOR::LoadProgramLibrary(L"qormsg14.dll");
  EXPECT_TRUE(inFolder(moduleName(messages), programDir));
  FreeLibrary(messages);
  for (const wchar_t* bad : {L"", L"sub\\x.dll", L"../x.dll", L"C:x.dll"}) {
    EXPECT_THROW((void)QOR::LoadSystemLibrary(bad), std::logic_error);
    EXPECT_THROW((void)QOR::LoadProgramLibrary(bad), std::logic_error);
  }
}

TEST(QorPostMessage, ReachesTheQueueOrReportsAGoneWindow) {
  MSG msg{};
  PeekMessageW(&msg, nullptr, 0, 0, PM_NOREMOVE);  // this thread has a queue now
  ASSERT_TRUE(QOR::QorPostMessage(nullptr, WM_APP + 7, 42, -3));
  ASSERT_TRUE(PeekMessageW(&msg, nullptr, WM_APP + 7, WM_APP + 7, PM_REMOVE));
  EXPECT_EQ(msg.wParam, 42u);
  EXPECT_EQ(msg.lParam, -3);
  HWND window = CreateWindowExW(0, L"STATIC", L"", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, nullptr, nullptr);
  ASSERT_NE(window, nullptr);
  EXPECT_TRUE(QOR::QorPostMessage(window, WM_APP, 0, 0));
  DestroyWindow(window);
  while (PeekMessageW(&msg, nullptr, 0, 0, PM_REMOVE)) {}
  EXPECT_FALSE(QOR::QorPostMessage(window, WM_APP, 0, 0));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_WINDOW_HANDLE));
}

TEST(MemoryStatus, FiguresAreTheSystems) {
  MEMORYSTATUSEX status{};
  status.dwLength = sizeof status;
  ASSERT_TRUE(GlobalMemoryStatusEx(&status));
  const QOR::WindowsMemoryStatus memory;
  EXPECT_EQ(memory.totalPhysical, status.ullTotalPhys);
  EXPECT_EQ(memory.totalVirtual, status.ullTotalVirtual);
}

TEST(WerMemoryBlock, RegistersForItsLifetimeAndMovesTheRegistration) {
  static char block[256], other[16];
  EXPECT_THROW(QOR::WerRegisteredMemoryBlock(block, 64 * 1024 + 1), WinError);  // beyond the limit
  std::optional<QOR::WerRegisteredMemoryBlock> first;
  try {
    first.emplace(block, sizeof block);
  } catch (const WinError& e) {
    GTEST_SKIP() << "no error reporting here: " << e.what();
  }
  EXPECT_THROW(QOR::WerRegisteredMemoryBlock(block, sizeof block), WinError);  // already registered
  QOR::WerRegisteredMemoryBlock moved(std::move(*first));
  EXPECT_EQ(first->address(), nullptr);
  first.reset();  // a moved-from object unregisters nothing
  EXPECT_THROW(QOR::WerRegisteredMemoryBlock(block, sizeof block), WinError);
  moved = QOR::WerRegisteredMemoryBlock(other, sizeof other);  // unregisters block
  { QOR::WerRegisteredMemoryBlock again(block, sizeof block); }
  { QOR::WerRegisteredMemoryBlock again(block, sizeof block); }  // the scope ended the last one
}

}  // namespace
