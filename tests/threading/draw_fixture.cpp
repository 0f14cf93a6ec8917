#include "draw_fixture.h"

#include <algorithm>
#include <thread>

namespace drawtest {

std::atomic<int> Windows::appMessages{0};
std::function<void()> Windows::onAppPlusOne;
std::atomic<int> Task::destroyed{0};

namespace {

constexpr wchar_t kClass[] = L"qorcor14.drawtest";

LRESULT CALLBACK windowProc(HWND window, UINT message, WPARAM w, LPARAM l) {
  if (message == WM_APP) {
    ++Windows::appMessages;
    return 1;
  }
  if (message == WM_APP + 1 && Windows::onAppPlusOne) {
    Windows::onAppPlusOne();
    return 1;
  }
  return DefWindowProcW(window, message, w, l);
}

}  // namespace

Windows::Windows() {
  WNDCLASSW wc{};
  wc.lpfnWndProc = windowProc;
  wc.hInstance = GetModuleHandleW(nullptr);
  wc.lpszClassName = kClass;
  RegisterClassW(&wc);  // fails harmlessly when already registered
}

Windows::~Windows() {
  for (auto it = m_windows.rbegin(); it != m_windows.rend(); ++it) DestroyWindow(*it);
}

HWND Windows::topLevel(const wchar_t* title) {
  return m_windows.emplace_back(CreateWindowExW(0, kClass, title, WS_OVERLAPPED, 0, 0, 100, 100, nullptr, nullptr,
                                                GetModuleHandleW(nullptr), nullptr));
}

HWND Windows::child(HWND parent) {
  return m_windows.emplace_back(CreateWindowExW(0, kClass, L"child", WS_CHILD, 0, 0, 10, 10, parent, nullptr,
                                                GetModuleHandleW(nullptr), nullptr));
}

void Windows::stack(const std::vector<HWND>& order) {
  for (auto it = order.rbegin(); it != order.rend(); ++it)
    SetWindowPos(*it, HWND_TOP, 0, 0, 0, 0, SWP_NOMOVE | SWP_NOSIZE | SWP_NOACTIVATE);
}

void Log::add(const std::string& entry) {
  {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_entries.push_back(entry);
  }
  m_changed.notify_all();
}

std::vector<std::string> Log::entries() {
  std::lock_guard<std::mutex> lock(m_mutex);
  return m_entries;
}

bool Log::waitFor(const std::string& entry) {
  std::unique_lock<std::mutex> lock(m_mutex);
  return m_changed.wait_for(lock, kDeadline,
                            [&] { return std::find(m_entries.begin(), m_entries.end(), entry) != m_entries.end(); });
}

Task::Task(HWND window, std::string name, Log& log, Kind kind)
    : m_window(window), m_name(std::move(name)), m_log(log), m_kind(kind) {}

bool Task::draw() {
  ++draws;
  if (completions > 0) ++drawsAfterDone;
  m_log.add("draw " + m_name);
  if (duringDraw) duringDraw();
  const auto deadline = std::chrono::steady_clock::now() + kDeadline;
  if (m_kind != Quick) {
    while (!m_released && !(m_kind == Blocking && m_stop) && std::chrono::steady_clock::now() < deadline)
      std::this_thread::sleep_for(1ms);
  }
  if (m_kind != Gate && m_stop.exchange(false)) {
    m_log.add("stopped " + m_name);
    return false;
  }
  ++completions;
  m_log.add("done " + m_name);
  return true;
}

Renderer::~Renderer() { finish(QOR::Threading::BoringWaiter()); }

void Renderer::threadStarting() {
  workerId = GetCurrentThreadId();
  ++starts;
}

bool Renderer::workerEnded() {
  HANDLE h = OpenThread(SYNCHRONIZE, FALSE, workerId);
  if (!h) return true;
  const bool ended = WaitForSingleObject(h, kDeadlineMs) == WAIT_OBJECT_0;
  CloseHandle(h);
  return ended;
}

bool Renderer::waitIdle() {
  const auto deadline = std::chrono::steady_clock::now() + kDeadline;
  for (;;) {
    {
      ReadWriteLockExclusive lock(m_lock);
      if (!taskInProgress()) return true;
    }
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::sleep_for(1ms);
  }
}

bool Renderer::lockCanBeTaken() {
  if (!readWriteLockLock(m_lock, readWriteLockWriter, readWriteLockWriterMask, kDeadlineMs)) return false;
  readWriteLockUnlock(m_lock, readWriteLockWriter);
  return true;
}

bool Renderer::killWorker(DWORD exitCode) {
  if (!waitIdle()) return false;
  HANDLE h = OpenThread(THREAD_TERMINATE | THREAD_SUSPEND_RESUME | SYNCHRONIZE, FALSE, workerId);
  if (!h) return false;
  // Let it reach its wait, then make sure it is stopped outside the lock.
  const auto deadline = std::chrono::steady_clock::now() + kDeadline;
  bool killed = false;
  while (!killed && std::chrono::steady_clock::now() < deadline) {
    std::this_thread::sleep_for(20ms);
    SuspendThread(h);
    if (m_lock == 0) {
      TerminateThread(h, exitCode);
      killed = true;
    } else {
      ResumeThread(h);
    }
  }
  killed = killed && WaitForSingleObject(h, kDeadlineMs) == WAIT_OBJECT_0;
  CloseHandle(h);
  return killed;
}

unsigned long DeadlineWaiter::operator()(void* handle) const {
  ++calls;
  HANDLE h = handle;
  const auto deadline = std::chrono::steady_clock::now() + kDeadline;
  for (;;) {
    MSG msg;
    PeekMessageW(&msg, nullptr, 0, 0, PM_NOREMOVE);
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
    const DWORD result =
        MsgWaitForMultipleObjects(1, &h, FALSE, left.count() > 0 ? DWORD(left.count()) : 0, QS_SENDMESSAGE);
    if (result != WAIT_OBJECT_0 + 1) return lastResult = result;
  }
}

}  // namespace drawtest
