#include "guard.h"

#include "fuzz_target.h"

#include <windows.h>

#include <atomic>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <cwchar>
#include <exception>
#include <future>
#include <mutex>

namespace qorfuzz {

namespace {

// Fixed buffers: the crash path must not need the heap.
wchar_t g_saveFolder[1024];  // <root>\<target>
char g_program[64] = "fuzz";

// The running input. The main thread sets and clears it under the mutex and
// runs the input without it; the watchdog reads it under the mutex.
std::mutex g_inputMutex;
const std::uint8_t* g_data = nullptr;
std::size_t g_size = 0;
std::atomic<ULONGLONG> g_startTick{0};  // 0 while no input runs
bool g_running = false;

std::mutex g_failureMutex;
std::optional<std::string> g_failure;

std::atomic<DWORD> g_lastCode{0};
std::atomic<void*> g_lastAddress{nullptr};

std::atomic<bool> g_dying{false};

std::uint64_t mix(std::uint64_t h) {  // splitmix64's finaliser: short inputs get unlike names
  h = (h ^ (h >> 30)) * 0xBF58476D1CE4E5B9u;
  h = (h ^ (h >> 27)) * 0x94D049BB133111EBu;
  return h ^ (h >> 31);
}

std::uint64_t fnv1a(const std::uint8_t* data, std::size_t size) {
  std::uint64_t h = 14695981039346656037u;
  for (std::size_t i = 0; i < size; ++i) h = (h ^ data[i]) * 1099511628211u;
  return h;
}

// Writes the input to path (cap units); false when it cannot.
bool saveTo(const std::uint8_t* data, std::size_t size, wchar_t* path, std::size_t cap) {
  // The root, then the target's folder under it; either may exist already.
  wchar_t root[1024];
  std::wcsncpy(root, g_saveFolder, 1023);
  root[1023] = L'\0';
  if (wchar_t* slash = std::wcsrchr(root, L'\\')) {
    *slash = L'\0';
    CreateDirectoryW(root, nullptr);
  }
  CreateDirectoryW(g_saveFolder, nullptr);
  std::swprintf(path, cap, L"%ls\\%016llx.bin", g_saveFolder, static_cast<unsigned long long>(mix(fnv1a(data, size))));
  const HANDLE file = CreateFileW(path, GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file == INVALID_HANDLE_VALUE) return false;
  bool ok = true;
  for (std::size_t done = 0; ok && done < size;) {
    DWORD written = 0;
    const DWORD chunk = static_cast<DWORD>(size - done < (1u << 30) ? size - done : (1u << 30));
    ok = WriteFile(file, data + done, chunk, &written, nullptr) && written == chunk;
    done += written;
  }
  CloseHandle(file);
  return ok;
}

// Reports `what`, saves the running input and ends the process. A second
// failure while the first is reported (a crash while saving) ends it at once.
[[noreturn]] void die(const char* what) {
  if (g_dying.exchange(true)) TerminateProcess(GetCurrentProcess(), 1);
  if (g_running) reportFailure(what, g_data, g_size);
  else report("FAILED: %s (outside any input)", what);
  TerminateProcess(GetCurrentProcess(), 1);
  for (;;) Sleep(INFINITE);  // not reached
}

const char* exceptionName(DWORD code) {
  switch (code) {
  case EXCEPTION_ACCESS_VIOLATION: return "access violation";
  case EXCEPTION_ILLEGAL_INSTRUCTION: return "illegal instruction (a trap: undefined behaviour in the ubsan build)";
  case EXCEPTION_STACK_OVERFLOW: return "stack overflow";
  case EXCEPTION_INT_DIVIDE_BY_ZERO: return "integer division by zero";
  case EXCEPTION_ARRAY_BOUNDS_EXCEEDED: return "array bounds exceeded";
  case EXCEPTION_IN_PAGE_ERROR: return "in-page error";
  case EXCEPTION_PRIV_INSTRUCTION: return "privileged instruction";
  case 0xC0000374: return "heap corruption";
  case 0xC0000409: return "stack buffer overrun";
  default: return "system exception";
  }
}

// "access violation (0xC0000005) at qorcor14.dll+0x1234, writing address 0x0"
void describe(const EXCEPTION_RECORD* r, char* out, std::size_t cap) {
  char where[300] = "?";
  HMODULE module = nullptr;
  if (GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                         static_cast<LPCWSTR>(r->ExceptionAddress), &module)) {
    char file[MAX_PATH] = "";
    GetModuleFileNameA(module, file, MAX_PATH);
    const char* base = std::strrchr(file, '\\');
    std::snprintf(where, sizeof where, "%s+0x%llx", base ? base + 1 : file,
                  static_cast<unsigned long long>(static_cast<const char*>(r->ExceptionAddress) -
                                                  reinterpret_cast<const char*>(module)));
  } else {
    std::snprintf(where, sizeof where, "%p", r->ExceptionAddress);
  }
  int n = std::snprintf(out, cap, "%s (0x%08lX) at %s", exceptionName(r->ExceptionCode), r->ExceptionCode, where);
  if (r->ExceptionCode == EXCEPTION_ACCESS_VIOLATION && r->NumberParameters >= 2 && n > 0 && std::size_t(n) < cap)
    std::snprintf(out + n, cap - n, ", %s address 0x%llx",
                  r->ExceptionInformation[0] == 0   ? "reading"
                  : r->ExceptionInformation[0] == 1 ? "writing"
                                                    : "executing",
                  static_cast<unsigned long long>(r->ExceptionInformation[1]));
}

// A crash is reported by the watchdog thread where it can be: the crashing
// thread may have no stack left (an overflow) to format and save with.
HANDLE g_crashEvent = nullptr;
DWORD g_watchdogThread = 0;
EXCEPTION_RECORD g_crashRecord;
std::atomic<bool> g_crashing{false};

[[noreturn]] void reportCrash() {
  char text[512];
  describe(&g_crashRecord, text, sizeof text);
  char line[600];
  std::snprintf(line, sizeof line, "crash: %s", text);
  die(line);
}

[[noreturn]] void crash(EXCEPTION_POINTERS* info) {
  if (g_crashing.exchange(true)) Sleep(INFINITE);  // another thread reports
  g_crashRecord = *info->ExceptionRecord;
  if (g_watchdogThread != 0 && g_watchdogThread != GetCurrentThreadId()) {
    SetEvent(g_crashEvent);
    Sleep(INFINITE);
  }
  reportCrash();
}

// Seen first, before any handler of the code that raised them. The codes
// that end the process here are never handled on purpose; an access
// violation may be (the system probes pointers that way), so it is only
// remembered, and ends the process if nobody handles it.
LONG CALLBACK onException(EXCEPTION_POINTERS* info) {
  switch (const DWORD code = info->ExceptionRecord->ExceptionCode) {
  case EXCEPTION_ILLEGAL_INSTRUCTION:
  case EXCEPTION_PRIV_INSTRUCTION:
  case EXCEPTION_STACK_OVERFLOW:
  case EXCEPTION_INT_DIVIDE_BY_ZERO:
  case 0xC0000374:
  case 0xC0000409: crash(info);
  case EXCEPTION_ACCESS_VIOLATION:
  case EXCEPTION_ARRAY_BOUNDS_EXCEEDED:
  case EXCEPTION_IN_PAGE_ERROR:
  case EXCEPTION_DATATYPE_MISALIGNMENT:
    g_lastCode = code;
    g_lastAddress = info->ExceptionRecord->ExceptionAddress;
    break;
  default: break;
  }
  return EXCEPTION_CONTINUE_SEARCH;
}

LONG WINAPI onUnhandled(EXCEPTION_POINTERS* info) { crash(info); }

void onTerminate() {
  char text[600] = "std::terminate";
  if (const std::exception_ptr e = std::current_exception()) {
    try {
      std::rethrow_exception(e);
    } catch (const std::exception& x) {
      std::snprintf(text, sizeof text, "std::terminate with an exception: %s", x.what());
    } catch (...) {
      std::snprintf(text, sizeof text, "std::terminate with an exception of unknown type");
    }
  }
  die(text);
}

void onAbort(int) { die("abort()"); }

}  // namespace

[[noreturn]] void fail(const std::string& what) {
  {
    std::lock_guard<std::mutex> hold(g_failureMutex);
    if (!g_failure) g_failure = what;
  }
  throw FailureThrown{};
}

std::optional<std::string> takeFailure() {
  std::lock_guard<std::mutex> hold(g_failureMutex);
  std::optional<std::string> out;
  out.swap(g_failure);
  return out;
}

void configureSaving(const std::wstring& root, const std::wstring& target) {
  std::swprintf(g_saveFolder, std::size(g_saveFolder), L"%ls\\%ls", root.c_str(), target.c_str());
  std::snprintf(g_program, sizeof g_program, "fuzz_%ls", target.c_str());
}

void reportFailure(const char* what, const std::uint8_t* data, std::size_t size) {
  report("FAILED: %s", what);
  wchar_t path[1100];
  if (saveTo(data, size, path, 1100))
    report("input (%llu bytes) saved as %ls", static_cast<unsigned long long>(size), path);
  else report("cannot save the input under %ls", g_saveFolder);
}

void beginInput(const std::uint8_t* data, std::size_t size) {
  std::lock_guard<std::mutex> hold(g_inputMutex);
  g_data = data;
  g_size = size;
  g_running = true;
  g_lastCode = 0;
  g_startTick = GetTickCount64();
}

void endInput() {
  std::lock_guard<std::mutex> hold(g_inputMutex);
  g_startTick = 0;
  g_running = false;
  g_data = nullptr;
  g_size = 0;
}

std::string lastSystemException() {
  const DWORD code = g_lastCode;
  if (code == 0) return {};
  EXCEPTION_RECORD r{};
  r.ExceptionCode = code;
  r.ExceptionAddress = g_lastAddress;
  char text[512];
  describe(&r, text, sizeof text);
  return text;
}

void installCrashHandlers() {
  // Room on the stack for the handlers after an overflow.
  g_crashEvent = CreateEventW(nullptr, TRUE, FALSE, nullptr);
  ULONG guarantee = 64 * 1024;
  SetThreadStackGuarantee(&guarantee);
  AddVectoredExceptionHandler(1, onException);
  SetUnhandledExceptionFilter(onUnhandled);
  std::set_terminate(onTerminate);
  std::signal(SIGABRT, onAbort);
  SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX);
}

namespace {

HANDLE g_stopEvent = nullptr;

}  // namespace

Watchdog::Watchdog(std::chrono::seconds limit) {
  g_stopEvent = CreateEventW(nullptr, TRUE, FALSE, nullptr);
  std::promise<void> running;
  auto ready = running.get_future();
  m_thread = std::thread([limit, &running] {
    g_watchdogThread = GetCurrentThreadId();
    running.set_value();
    const ULONGLONG limitMs = static_cast<ULONGLONG>(limit.count()) * 1000;
    const HANDLE events[2] = {g_stopEvent, g_crashEvent};
    for (;;) {
      const DWORD woken = WaitForMultipleObjects(2, events, FALSE, 200);
      if (woken == WAIT_OBJECT_0) return;
      if (woken == WAIT_OBJECT_0 + 1) reportCrash();
      const ULONGLONG started = g_startTick;
      if (started == 0 || GetTickCount64() - started <= limitMs) continue;
      std::lock_guard<std::mutex> hold(g_inputMutex);
      if (g_startTick != started) continue;  // it ended meanwhile
      char text[128];
      std::snprintf(text, sizeof text, "timeout: one input ran for over %lld s", static_cast<long long>(limit.count()));
      die(text);
    }
  });
  ready.wait();
}

Watchdog::~Watchdog() {
  SetEvent(g_stopEvent);
  m_thread.join();
  g_watchdogThread = 0;
}

void report(const char* format, ...) {
  char text[2048];
  va_list args;
  va_start(args, format);
  std::vsnprintf(text, sizeof text, format, args);
  va_end(args);
  std::fprintf(stderr, "%s: %s\n", g_program, text);
  std::fflush(stderr);
}

}  // namespace qorfuzz
