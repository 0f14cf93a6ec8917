// The draw thread's two costs that a user interface feels: the latency from
// insert() to the start of draw() on an idle worker, beside a Windows
// thread-pool work item; and the z-order search for the highest queued
// window, beside a bare EnumWindows walk over the same windows.
#include "harness.h"

#include <qorcor14/threading/draw_thread.h>

#include <windows.h>

#include <atomic>
#include <memory>
#include <vector>

namespace bench {
namespace {

using QOR::Threading::BoringWaiter;

class BenchDrawThread : public QOR::Threading::DrawThread {
public:
  ~BenchDrawThread() override { finish(BoringWaiter()); }
  void threadStarting() override {}
  void threadEnding() override {}
};

// Signals that its draw has started, then returns at once, or (a gate) keeps
// the worker busy until released.
class SignalTask : public QOR::Threading::DrawTask {
public:
  SignalTask(HWND window, bool gate) : m_window(window), m_gate(gate) {}
  void interrupt() override {}
  HWND window() const override { return m_window; }
  bool draw() override {
    started.store(true, std::memory_order_release);
    while (m_gate && !released.load(std::memory_order_acquire)) Sleep(1);
    return true;
  }
  std::atomic<bool> started{false}, released{false};

private:
  HWND m_window;
  bool m_gate;
};

// Hidden top-level windows, destroyed with the object.
struct Windows {
  explicit Windows(int count) {
    WNDCLASSW wc{};
    wc.lpfnWndProc = DefWindowProcW;
    wc.hInstance = GetModuleHandleW(nullptr);
    wc.lpszClassName = L"qorbench.window";
    RegisterClassW(&wc);
    for (int i = 0; i < count; ++i)
      all.push_back(CreateWindowExW(0, wc.lpszClassName, L"", WS_OVERLAPPED, 0, 0, 10, 10, nullptr, nullptr,
                                    wc.hInstance, nullptr));
  }
  ~Windows() {
    for (HWND w : all) DestroyWindow(w);
  }
  std::vector<HWND> all;
};

// insert() of a task on an idle worker, until its draw() has started; then
// the worker is let go back to its wait (the thread-pool side likewise waits
// for its callback to end), so that each operation starts from idle.
struct InsertLatency {
  Windows windows{1};
  SignalTask task{windows.all[0], false};
  BenchDrawThread drawThread;  // finished first, while the task exists

  std::size_t run(std::size_t ops) {
    for (std::size_t i = 0; i < ops; ++i) {
      task.started.store(false, std::memory_order_relaxed);
      drawThread.insert(task);
      while (!task.started.load(std::memory_order_acquire)) {}
      // Let the worker go back to its wait, so that the next insert finds it idle.
      drawThread.cancel(windows.all[0], BoringWaiter());
      Sleep(0);
    }
    return ops;
  }
};

struct PoolLatency {
  std::atomic<bool> started{false};
  PTP_WORK work = CreateThreadpoolWork(
      [](PTP_CALLBACK_INSTANCE, void* self, PTP_WORK) {
        static_cast<PoolLatency*>(self)->started.store(true, std::memory_order_release);
      },
      this, nullptr);
  ~PoolLatency() {
    WaitForThreadpoolWorkCallbacks(work, FALSE);
    CloseThreadpoolWork(work);
  }

  std::size_t run(std::size_t ops) {
    for (std::size_t i = 0; i < ops; ++i) {
      started.store(false, std::memory_order_relaxed);
      SubmitThreadpoolWork(work);
      while (!started.load(std::memory_order_acquire)) {}
      WaitForThreadpoolWorkCallbacks(work, FALSE);
      Sleep(0);
    }
    return ops;
  }
};

// `queued` tasks for the bottom-most of 200 windows (the search's worst case:
// it walks past every other window first), held in the queue by a gate task
// that keeps the worker busy; updateActive() runs the search under the lock.
struct HighestSearch {
  explicit HighestSearch(int queued) {
    for (int i = 0; i < queued; ++i)  // the last created lie at the bottom once all are raised in turn
      tasks.push_back(std::make_unique<SignalTask>(windows.all[i], false));
    for (HWND w : windows.all) SetWindowPos(w, HWND_TOP, 0, 0, 0, 0, SWP_NOMOVE | SWP_NOSIZE | SWP_NOACTIVATE);
    drawThread.insert(gate);
    while (!gate.started.load()) Sleep(1);
    for (auto& t : tasks) drawThread.insert(*t);
  }
  ~HighestSearch() { gate.released = true; }

  std::size_t run(std::size_t ops) {
    for (std::size_t i = 0; i < ops; ++i) drawThread.updateActive(nullptr);
    return ops;
  }

  Windows windows{200};
  Windows gateWindow{1};
  SignalTask gate{gateWindow.all[0], true};
  std::vector<std::unique_ptr<SignalTask>> tasks;
  BenchDrawThread drawThread;
};

std::size_t enumerateWindows(std::size_t ops) {
  for (std::size_t i = 0; i < ops; ++i) {
    int count = 0;
    EnumWindows([](HWND, LPARAM n) { return ++*reinterpret_cast<int*>(n), TRUE; }, reinterpret_cast<LPARAM>(&count));
    doNotOptimize(count);
  }
  return ops;
}

// Builds T on first use, so that filtered-out cases create no windows.
template <class T, class... A>
Body lazy(A... args) {
  auto holder = std::make_shared<std::unique_ptr<T>>();
  return [holder, args...](std::size_t ops) {
    if (!*holder) *holder = std::make_unique<T>(args...);
    return (*holder)->run(ops);
  };
}

}  // namespace

void addSchedulerCases(Suite& suite) {
  suite.add({"draw thread: insert to draw() start, idle worker, and back", "task", lazy<InsertLatency>(),
             "SubmitThreadpoolWork to callback, and back", lazy<PoolLatency>()});
  for (int queued : {2, 10, 100})
    suite.add({"draw thread: highest of " + std::to_string(queued) + " queued among 200 windows", "search",
               lazy<HighestSearch>(queued), "EnumWindows walk", enumerateWindows});
}

}  // namespace bench
