// The waiter that keeps sent messages flowing, and thread naming for
// debuggers.
#include <qorcor14/threading/scheduler.h>

#include <windows.h>

namespace QOR {

namespace {

constexpr DWORD kThreadNameException = 0x406D1388;

// With no debugger to take the naming exception first, this puts execution
// back after the RaiseException call. Other exceptions pass by.
LONG CALLBACK continueAfterThreadName(EXCEPTION_POINTERS* info) {
  const EXCEPTION_RECORD* record = info->ExceptionRecord;
  if (record->ExceptionCode == kThreadNameException && record->NumberParameters == 4 &&
      record->ExceptionInformation[0] == 0x1000)
    return EXCEPTION_CONTINUE_EXECUTION;
  return EXCEPTION_CONTINUE_SEARCH;
}

}  // namespace

void setThreadName(char const* name, unsigned long threadId) {
  const ULONG_PTR info[4] = {0x1000, reinterpret_cast<ULONG_PTR>(name), threadId, 0};
  PVOID handler = AddVectoredExceptionHandler(0, continueAfterThreadName);
  if (!handler) return;  // nothing would catch it
  RaiseException(kThreadNameException, 0, 4, info);
  RemoveVectoredExceptionHandler(handler);
}

namespace Threading {

unsigned long BoringWaiter::operator()(void* handle) const {
  HANDLE h = handle;
  for (;;) {
    MSG msg;
    // Peeking dispatches the messages sent from other threads; posted ones
    // stay queued.
    PeekMessageW(&msg, nullptr, 0, 0, PM_NOREMOVE);
    const DWORD result = MsgWaitForMultipleObjects(1, &h, FALSE, INFINITE, QS_SENDMESSAGE);
    if (result != WAIT_OBJECT_0 + 1) return result;
  }
}

}  // namespace Threading
}  // namespace QOR
