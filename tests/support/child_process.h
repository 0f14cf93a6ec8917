// Another program run to its end for a test: its exit code and everything it
// wrote to standard output and standard error, within a deadline.
#pragma once

#include <qorcor14/text/strings.h>

#include "common/unique_resource.h"
#include "support/files.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <string>

namespace qortest {

struct ChildRun {
  DWORD code = 0xFFFFFFFF;  // stays so when the program did not end in time
  std::string output;       // its standard output and error, as written
};

// Runs `command` (its first word names the program, found on the path unless
// `program` names it) with `environment` (a CREATE_UNICODE_ENVIRONMENT block,
// or null for this process's), and waits at most `deadlineMs`. A program that
// cannot start or does not end in time (it is then terminated) fails the
// current test.
inline ChildRun runChild(std::wstring command, DWORD deadlineMs, const wchar_t* program = nullptr,
                         const std::wstring* environment = nullptr) {
  using QOR::internal::UniqueHandle;
  ChildRun run;
  const ScratchFolder folder;
  const std::wstring file = folder.file(L"output");
  SECURITY_ATTRIBUTES inherit{sizeof inherit, nullptr, TRUE};
  {
    const UniqueHandle out(CreateFileW(file.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, &inherit,
                                       CREATE_ALWAYS, 0, nullptr));
    STARTUPINFOW si{};
    si.cb = sizeof si;
    si.dwFlags = STARTF_USESTDHANDLES;
    si.hStdOutput = si.hStdError = out.get();
    si.hStdInput = GetStdHandle(STD_INPUT_HANDLE);
    PROCESS_INFORMATION pi{};
    void* block = environment != nullptr ? const_cast<wchar_t*>(environment->data()) : nullptr;
    if (!CreateProcessW(program, command.data(), nullptr, nullptr, TRUE, CREATE_NO_WINDOW | CREATE_UNICODE_ENVIRONMENT,
                        block, nullptr, &si, &pi)) {
      ADD_FAILURE() << "cannot start " << utf8(command) << ": error " << GetLastError();
      return run;
    }
    const UniqueHandle process(pi.hProcess), thread(pi.hThread);
    if (WaitForSingleObject(process.get(), deadlineMs) == WAIT_OBJECT_0) {
      GetExitCodeProcess(process.get(), &run.code);
    } else {
      ADD_FAILURE() << utf8(command) << " did not end within " << deadlineMs << " ms";
      TerminateProcess(process.get(), 1);
      WaitForSingleObject(process.get(), 10000);
    }
  }
  run.output = readBytes(file);
  return run;
}

}  // namespace qortest
