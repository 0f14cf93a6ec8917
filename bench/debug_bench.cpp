// The debug stream: the cost of a check and a skipped write when it is off,
// beside an empty function call; and of short lines written when it is on,
// beside fwprintf to a _wfopen file.
//
// The stream's state is fixed for the life of a process by its environment,
// so the active case runs in a second qorbench process whose environment
// points QORDEBUGPRINTFILE at a temporary file; it prints its own row.
#include "harness.h"

#include <qorcor14/diagnostics/debug_stream.h>

#include <windows.h>

#include <cstdio>
#include <cstdlib>
#include <cwchar>
#include <memory>
#include <string>

namespace bench {
namespace {

const char kActiveCase[] = "debug stream: short line, active";
const wchar_t kChildVariable[] = L"QORBENCH_DEBUG_CHILD";

#if defined(_MSC_VER)
#define QOR_BENCH_NOINLINE __declspec(noinline)
#else
#define QOR_BENCH_NOINLINE __attribute__((noinline))
#endif

QOR_BENCH_NOINLINE void emptyCall(std::size_t i) { doNotOptimize(i); }

std::wstring tempFile(const wchar_t* name) {
  wchar_t temp[MAX_PATH + 1];
  GetTempPathW(MAX_PATH + 1, temp);
  return std::wstring(temp) + name + std::to_wstring(GetCurrentProcessId()) + L".txt";
}

struct PeerFile {
  explicit PeerFile(const std::wstring& n) : name(n), file(_wfopen(n.c_str(), L"w")) {}
  ~PeerFile() {
    if (file) std::fclose(file);
    DeleteFileW(name.c_str());
  }
  std::wstring name;
  std::FILE* file;
};

void addActiveCase(Suite& suite) {
  auto peer = std::make_shared<PeerFile>(tempFile(L"qorbench-fwprintf-"));
  suite.add({kActiveCase, "line",
             [](std::size_t ops) {
               std::wostream& s = DebugStream::stream();
               for (std::size_t i = 0; i < ops; ++i) s << L"line " << i << L'\n';
               return ops;
             },
             "fwprintf to a _wfopen file",
             [peer](std::size_t ops) {
               for (std::size_t i = 0; i < ops; ++i) std::fwprintf(peer->file, L"line %zu\n", i);
               return ops;
             }});
}

}  // namespace

bool isDebugChild() { return _wgetenv(kChildVariable) != nullptr; }

int runDebugChild() {
  // Opening the file is not part of a line's cost (and would spoil the
  // harness's choice of batch size).
  if (!DebugStream::isActive()) return 1;
  Suite suite;
  addActiveCase(suite);
  const int run = suite.run("");
  DebugStream::flush();
  return run == 1 ? 0 : 1;
}

void addDebugCases(Suite& suite) {
  // Off for this process, whatever the caller's environment says.
  _wputenv_s(L"QORDEBUGPRINTTEMPLATE", L"");
  _wputenv_s(L"QORDEBUGPRINTFILE", L"");
  suite.add({"debug stream: isActive + skipped write", "check",
             [](std::size_t ops) {
               for (std::size_t i = 0; i < ops; ++i)
                 if (DebugStream::isActive()) DebugStream::stream() << L"line " << i << L'\n';
               return ops;
             },
             "an empty function call",
             [](std::size_t ops) {
               for (std::size_t i = 0; i < ops; ++i) emptyCall(i);
               return ops;
             }});
}

int runDebugActiveInChild(const std::string& filter) {
  if (!filter.empty() && std::string(kActiveCase).find(filter) == std::string::npos) return 0;
  const std::wstring debugFile = tempFile(L"qorbench-debug-");
  std::wstring block;
  wchar_t* all = GetEnvironmentStringsW();
  for (const wchar_t* e = all; *e; e += std::wcslen(e) + 1)
    if (_wcsnicmp(e, L"QORDEBUGPRINT", 13) != 0) block.append(e).push_back(L'\0');
  FreeEnvironmentStringsW(all);
  block.append(L"QORDEBUGPRINTFILE=" + debugFile).push_back(L'\0');
  block.append(std::wstring(kChildVariable) + L"=1").push_back(L'\0');
  block.push_back(L'\0');

  wchar_t self[MAX_PATH];
  GetModuleFileNameW(nullptr, self, MAX_PATH);
  std::wstring command = L"\"" + std::wstring(self) + L"\"";
  STARTUPINFOW si{};
  si.cb = sizeof si;
  PROCESS_INFORMATION pi{};
  std::fflush(stdout);
  int run = 0;
  if (CreateProcessW(self, command.data(), nullptr, nullptr, FALSE, CREATE_UNICODE_ENVIRONMENT, block.data(), nullptr,
                     &si, &pi)) {
    DWORD code = 1;
    if (WaitForSingleObject(pi.hProcess, 600000) == WAIT_OBJECT_0 && GetExitCodeProcess(pi.hProcess, &code) &&
        code == 0)
      run = 1;
    else std::fprintf(stderr, "qorbench: the active debug-stream case failed\n");
    CloseHandle(pi.hThread);
    CloseHandle(pi.hProcess);
  }
  DeleteFileW(debugFile.c_str());
  return run;
}

}  // namespace bench
