#include "draw_fixture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <stdexcept>
#include <thread>

namespace {

using namespace drawtest;
using QOR::Threading::BoringWaiter;

// A waiter that reports failure without waiting.
class GiveUpWaiter : public QOR::Threading::Waiter {
public:
  unsigned long operator()(void*) const override { return WAIT_TIMEOUT; }
};

TEST(Scheduler, InterruptWithWaiterReturnsOnceTheTaskGaveControlBack) {
  Windows windows;
  Log log;
  Task task(windows.topLevel(), "a", log, Task::Blocking);
  Renderer renderer;
  renderer.insert(task);
  ASSERT_TRUE(log.waitFor("draw a"));
  DeadlineWaiter waiter;
  renderer.interrupt(waiter);
  EXPECT_EQ(waiter.calls, 1);
  EXPECT_EQ(waiter.lastResult, WAIT_OBJECT_0);
  log.add("interrupt returned");
  // Not cancelled: the task goes back on the queue and runs to the end.
  ASSERT_TRUE(log.waitFor("draw a"));
  task.release();
  ASSERT_TRUE(log.waitFor("done a"));
  // The worker may draw again before "interrupt returned" is logged.
  const auto entries = log.entries();
  const auto at = [&](const std::string& e) { return std::find(entries.begin(), entries.end(), e) - entries.begin(); };
  EXPECT_EQ(entries[1], "stopped a");
  EXPECT_LT(at("stopped a"), at("interrupt returned"));
  EXPECT_EQ(task.draws, 2);
}

TEST(Scheduler, FinishStopsABusyWorkerAndFollowsTheExitCode) {
  Windows windows;
  Log log;
  Task running(windows.topLevel(), "running", log, Task::Blocking);
  Task queued(windows.topLevel(), "queued", log, Task::Blocking);
  Renderer renderer;
  DeadlineWaiter waiter;
  EXPECT_TRUE(renderer.finish(waiter));  // no worker yet: nothing to wait for
  EXPECT_EQ(waiter.calls, 0);
  renderer.insert(running);
  ASSERT_TRUE(log.waitFor("draw running"));
  Windows::stack({running.window(), queued.window()});  // queued below: no interrupt
  renderer.insert(queued);
  EXPECT_TRUE(renderer.finish(waiter));  // the worker returns 0
  EXPECT_EQ(waiter.lastResult, WAIT_OBJECT_0);
  EXPECT_EQ(renderer.ends, 1);
  EXPECT_EQ(running.draws, 1);           // interrupted and not queued again
  EXPECT_EQ(queued.draws, 0);            // dropped with the queue
  EXPECT_TRUE(renderer.finish(waiter));  // nothing left to stop
}

TEST(Scheduler, FinishIsFalseForAKilledWorkerAndTrueWhenTheWaiterGivesUp) {
  Windows windows;
  Log log;
  {
    Task task(windows.topLevel(), "a", log);
    Renderer renderer;
    renderer.insert(task);
    ASSERT_TRUE(log.waitFor("done a"));
    ASSERT_TRUE(renderer.killWorker(7));
    EXPECT_FALSE(renderer.finish(DeadlineWaiter()));
  }
  Task task(windows.topLevel(), "b", log);
  Renderer renderer;
  renderer.insert(task);
  ASSERT_TRUE(log.waitFor("done b"));
  EXPECT_TRUE(renderer.finish(GiveUpWaiter()));
  EXPECT_TRUE(renderer.workerEnded());  // it was told to end all the same
}

// Closes "QOR::Draw" boxes with IDOK once `ready` holds (or the deadline has
// passed); past the deadline posts WM_QUIT so a missing box fails instead of
// hanging.
class BoxCloser {
public:
  explicit BoxCloser(
      DWORD uiThread, std::function<bool()> ready = [] { return true; })
      : m_ui(uiThread), m_ready(std::move(ready)), m_thread([this] { run(); }) {}
  ~BoxCloser() {
    m_stop = true;
    m_thread.join();
  }
  std::atomic<int> closed{0};
  std::atomic<bool> textMatched{false};

private:
  void run() {
    const auto deadline = std::chrono::steady_clock::now() + kDeadline;
    while (!m_stop) {
      HWND box = FindWindowW(L"#32770", L"QOR::Draw");
      const bool late = std::chrono::steady_clock::now() > deadline;
      if (box && box != m_last && (late || m_ready())) {  // a closed box lingers until its loop ends
        wchar_t text[64] = {};
        GetDlgItemTextW(box, 0xFFFF, text, 64);
        textMatched = std::wstring(text) == L"Thread exited unexpectedly";
        m_last = box;
        ++closed;  // before the box can return: the test may look at once
        SendMessageW(box, WM_COMMAND, IDOK, 0);
      } else if (!box && closed == 0 && late) {
        PostThreadMessageW(m_ui, WM_QUIT, 0, 0);
        return;
      }
      std::this_thread::sleep_for(5ms);
    }
  }
  DWORD m_ui;
  std::function<bool()> m_ready;
  HWND m_last = nullptr;
  std::atomic<bool> m_stop{false};
  std::thread m_thread;
};

TEST(Scheduler, KilledWorkerIsReportedOnceAndRestarted) {
  Windows windows;
  Log log;
  Task first(windows.topLevel(), "first", log), second(windows.topLevel(), "second", log),
      third(windows.topLevel(), "third", log);
  Renderer renderer;
  renderer.insert(first);
  ASSERT_TRUE(log.waitFor("done first"));
  ASSERT_TRUE(renderer.killWorker(3));

  BoxCloser closer(GetCurrentThreadId());
  renderer.insert(second);  // shows the box until the closer sends IDOK
  ASSERT_TRUE(log.waitFor("done second"));
  renderer.insert(third);
  ASSERT_TRUE(log.waitFor("done third"));
  EXPECT_EQ(closer.closed, 1);
  EXPECT_TRUE(closer.textMatched);
  EXPECT_EQ(renderer.starts, 2);
  MSG msg;
  PeekMessageW(&msg, nullptr, WM_QUIT, WM_QUIT, PM_REMOVE);  // from a failed run only
}

// The box's message loop runs a handler that queues a task: the dead worker
// is reported once, and one new worker draws both tasks.
TEST(Scheduler, WorkQueuedWhileTheDeadWorkerBoxShowsStartsOneWorker) {
  Windows windows;
  Log log;
  HWND window = windows.topLevel();
  Task first(window, "first", log), second(windows.topLevel(), "second", log), nested(window, "nested", log);
  Renderer renderer;
  renderer.insert(first);
  ASSERT_TRUE(log.waitFor("done first"));
  ASSERT_TRUE(renderer.killWorker(3));

  std::atomic<bool> handled{false};
  Windows::onAppPlusOne = [&] {
    renderer.insert(nested);
    handled = true;
  };
  PostMessageW(window, WM_APP + 1, 0, 0);  // dispatched by the box's loop
  {
    // A box closed before its loop takes the posted message never runs the
    // handler: the closer waits for it.
    BoxCloser closer(GetCurrentThreadId(), [&] { return handled.load(); });
    renderer.insert(second);
    ASSERT_TRUE(log.waitFor("done second"));
    ASSERT_TRUE(log.waitFor("done nested"));
    EXPECT_EQ(closer.closed, 1);
  }
  Windows::onAppPlusOne = nullptr;
  EXPECT_EQ(renderer.starts, 2);
  EXPECT_TRUE(renderer.finish(DeadlineWaiter()));
  EXPECT_EQ(renderer.ends, 1);  // the one live worker, waited for
  MSG msg;
  PeekMessageW(&msg, nullptr, WM_QUIT, WM_QUIT, PM_REMOVE);  // from a failed run only
}

// A waiter that throws instead of waiting.
class ThrowingWaiter : public QOR::Threading::Waiter {
public:
  unsigned long operator()(void*) const override { throw std::runtime_error("waiter failed"); }
};

DWORD handleCount() {
  DWORD count = 0;
  GetProcessHandleCount(GetCurrentProcess(), &count);
  return count;
}

// A throwing waiter in interrupt() and cancel(): the exception reaches the
// caller, the lock word is free again, and the scheduler goes on taking
// tasks, finishes, and leaves no handle open.
TEST(Scheduler, AThrowingWaiterLeavesTheLockAndTheHandlesAsTheyWere) {
  Windows windows;
  Log log;
  HWND window = windows.topLevel();
  Task blocking(window, "blocking", log, Task::Blocking), after(window, "after", log);
  Renderer renderer;
  const DWORD handles = handleCount();
  renderer.insert(blocking);
  ASSERT_TRUE(log.waitFor("draw blocking"));
  EXPECT_THROW(renderer.interrupt(ThrowingWaiter()), std::runtime_error);
  EXPECT_TRUE(renderer.lockCanBeTaken());
  ASSERT_TRUE(log.waitFor("stopped blocking"));
  EXPECT_THROW(renderer.cancel(window, ThrowingWaiter()), std::runtime_error);
  EXPECT_TRUE(renderer.lockCanBeTaken());

  renderer.insert(after);
  ASSERT_TRUE(log.waitFor("done after"));
  EXPECT_TRUE(renderer.finish(DeadlineWaiter()));
  EXPECT_EQ(renderer.ends, 1);
  EXPECT_EQ(handleCount(), handles);
}

TEST(Scheduler, ThrowingDrawKeepsTheWorkerAlive) {
  Windows windows;
  Log log;
  Task thrower(windows.topLevel(), "thrower", log), next(windows.topLevel(), "next", log);
  Renderer renderer;
  thrower.duringDraw = [] { throw std::runtime_error("draw failed"); };
  renderer.insert(thrower);
  ASSERT_TRUE(log.waitFor("draw thrower"));
  renderer.insert(next);
  ASSERT_TRUE(log.waitFor("done next"));
  EXPECT_EQ(thrower.draws, 1);  // dropped, not retried
  EXPECT_EQ(renderer.starts, 1);
}

TEST(Scheduler, BoringWaiterServicesTheWorkersSendMessage) {
  Windows windows;
  Log log;
  HWND window = windows.topLevel();
  Task task(window, "a", log, Task::Blocking);
  LRESULT sent = 0;
  Renderer renderer;
  // The draw sends to the cancelling thread's window.
  task.duringDraw = [&] {
    log.add("sending");
    log.waitFor("cancelling");
    std::this_thread::sleep_for(20ms);  // let the caller reach its wait
    DWORD_PTR result = 0;
    sent = SendMessageTimeoutW(window, WM_APP, 0, 0, SMTO_NORMAL, kDeadlineMs, &result);
  };
  const int before = Windows::appMessages;
  renderer.insert(task);
  ASSERT_TRUE(log.waitFor("sending"));
  log.add("cancelling");
  renderer.cancel(window, BoringWaiter());
  EXPECT_NE(sent, 0);
  EXPECT_EQ(Windows::appMessages, before + 1);
}

TEST(Scheduler, DestructionWithQueuedTasksDeletesNone) {
  Windows windows;
  Log log;
  const int destroyed = Task::destroyed;
  Task gate(windows.topLevel(), "gate", log, Task::Gate);
  Task a(windows.topLevel(), "a", log), b(windows.topLevel(), "b", log);
  {
    Renderer renderer;
    renderer.insert(gate);
    ASSERT_TRUE(log.waitFor("draw gate"));
    renderer.insert(a);
    renderer.insert(b);
    gate.release();
  }
  EXPECT_EQ(Task::destroyed, destroyed);
  EXPECT_LE(a.draws + b.draws, 2);
}

}  // namespace
