#include "draw_fixture.h"

#include <gtest/gtest.h>

#include <deque>
#include <map>
#include <memory>
#include <random>

namespace {

using namespace drawtest;

// The "done" entries, in order.
std::vector<std::string> completed(Log& log) {
  std::vector<std::string> done;
  for (const std::string& e : log.entries())
    if (e.rfind("done ", 0) == 0) done.push_back(e.substr(5));
  return done;
}

// Queues `tasks` behind a gate so that the worker sees them all before choosing.
void insertBehindGate(Renderer& renderer, Windows& windows, Log& log, const std::vector<Task*>& tasks) {
  static std::deque<Task> gates;
  HWND bottom = windows.topLevel();
  SetWindowPos(bottom, HWND_BOTTOM, 0, 0, 0, 0, SWP_NOMOVE | SWP_NOSIZE | SWP_NOACTIVATE);
  Task& gate = gates.emplace_back(bottom, "gate", log, Task::Gate);
  renderer.insert(gate);
  ASSERT_TRUE(log.waitFor("draw gate"));
  for (Task* t : tasks) renderer.insert(*t);
  gate.release();
}

TEST(DrawThread, DrawsTopWindowFirstAndAChildBeforeItsParent) {
  Windows windows;
  Log log;
  HWND w1 = windows.topLevel(), w2 = windows.topLevel(), w3 = windows.topLevel(), w4 = windows.topLevel();
  HWND child = windows.child(w3);
  Windows::stack({w3, w1, w4, w2});
  Task t1(w1, "w1", log), t2(w2, "w2", log), t3(w3, "w3", log), t4(w4, "w4", log), tc(child, "child", log);
  Renderer renderer;
  insertBehindGate(renderer, windows, log, {&t1, &t2, &t3, &t4, &tc});
  ASSERT_TRUE(log.waitFor("done w2"));
  EXPECT_EQ(completed(log), (std::vector<std::string>{"gate", "child", "w3", "w1", "w4", "w2"}));
}

TEST(DrawThread, TasksOfDestroyedWindowsWaitWhileOthersAreQueued) {
  Windows windows;
  Log log;
  HWND gone1 = windows.topLevel(), gone2 = windows.topLevel(), live = windows.topLevel();
  DestroyWindow(gone1);
  DestroyWindow(gone2);
  Task a(gone1, "gone1", log), b(gone2, "gone2", log), c(live, "live", log);
  Renderer renderer;
  insertBehindGate(renderer, windows, log, {&a, &b, &c});
  ASSERT_TRUE(log.waitFor("done live"));
  EXPECT_TRUE(renderer.finish(DeadlineWaiter()));  // the worker is idle, not drawing them
  EXPECT_EQ(a.draws + b.draws, 0);
}

TEST(DrawThread, HigherWindowInterruptsAndTheInterruptedTaskResumes) {
  Windows windows;
  Log log;
  HWND top = windows.topLevel(), low = windows.topLevel(), lower = windows.topLevel();
  Windows::stack({top, low, lower});
  Task running(low, "low", log, Task::Blocking), below(lower, "lower", log), above(top, "top", log);
  Renderer renderer;
  renderer.insert(running);
  ASSERT_TRUE(log.waitFor("draw low"));
  renderer.insert(below);  // lower: no interruption
  renderer.insert(above);
  ASSERT_TRUE(log.waitFor("done top"));
  ASSERT_TRUE(log.waitFor("draw low"));
  running.release();
  ASSERT_TRUE(log.waitFor("done lower"));
  EXPECT_EQ(log.entries(), (std::vector<std::string>{"draw low", "stopped low", "draw top", "done top", "draw low",
                                                     "done low", "draw lower", "done lower"}));
}

TEST(DrawThread, NewTaskForTheRunningWindowSupersedesIt) {
  Windows windows;
  Log log;
  HWND w = windows.topLevel();
  Task old(w, "old", log, Task::Blocking), fresh(w, "new", log);
  Renderer renderer;
  renderer.insert(old);
  ASSERT_TRUE(log.waitFor("draw old"));
  renderer.insert(fresh);
  ASSERT_TRUE(log.waitFor("done new"));
  EXPECT_TRUE(renderer.finish(DeadlineWaiter()));
  EXPECT_EQ(log.entries(), (std::vector<std::string>{"draw old", "stopped old", "draw new", "done new"}));
}

TEST(DrawThread, NewTaskForAQueuedWindowReplacesTheQueuedOne) {
  Windows windows;
  Log log;
  HWND w = windows.topLevel();
  Task older(w, "older", log), newer(w, "newer", log);
  Renderer renderer;
  insertBehindGate(renderer, windows, log, {&older, &newer});
  ASSERT_TRUE(log.waitFor("done newer"));
  EXPECT_TRUE(renderer.finish(DeadlineWaiter()));
  EXPECT_EQ(older.draws, 0);
}

TEST(DrawThread, CancelWithWaiterReturnsAfterTheTaskStoppedAndDropsIt) {
  Windows windows;
  Log log;
  HWND w = windows.topLevel(), other = windows.topLevel();
  Task task(w, "a", log, Task::Blocking), queued(other, "queued", log);
  Renderer renderer;
  renderer.insert(task);
  ASSERT_TRUE(log.waitFor("draw a"));
  renderer.cancel(other);  // neither queued nor running: nothing happens
  DeadlineWaiter waiter;
  renderer.cancel(w, waiter);
  log.add("cancel returned");
  EXPECT_EQ(waiter.lastResult, WAIT_OBJECT_0);
  renderer.insert(queued);
  ASSERT_TRUE(log.waitFor("done queued"));
  EXPECT_TRUE(renderer.finish(DeadlineWaiter()));
  EXPECT_EQ(log.entries(),
            (std::vector<std::string>{"draw a", "stopped a", "cancel returned", "draw queued", "done queued"}));
}

TEST(DrawThread, UpdateActiveSwitchesToTheHighestQueuedWindow) {
  Windows windows;
  Log log;
  HWND a = windows.topLevel(), b = windows.topLevel(), c = windows.topLevel();
  Windows::stack({a, b, c});
  Task running(c, "c", log, Task::Blocking), ta(a, "a", log), tb(b, "b", log);
  Renderer renderer;
  renderer.insert(running);
  ASSERT_TRUE(log.waitFor("draw c"));
  Windows::stack({c, b, a});  // c on top: a and b queue without interrupting
  renderer.insert(ta);
  renderer.insert(tb);
  renderer.updateActive(a);  // a is not the highest queued window
  renderer.updateActive(c);  // c is not queued
  Windows::stack({b, c, a});
  renderer.updateActive(b);
  ASSERT_TRUE(log.waitFor("done b"));
  running.release();
  ASSERT_TRUE(log.waitFor("done a"));
  EXPECT_EQ(log.entries(), (std::vector<std::string>{"draw c", "stopped c", "draw b", "done b", "draw c", "done c",
                                                     "draw a", "done a"}));
}

TEST(DrawThread, StressAccountsForEveryTaskOnce) {
  Windows windows;
  Log log;
  std::vector<HWND> ws;
  for (int i = 0; i < 6; ++i) ws.push_back(windows.topLevel());
  ws.push_back(windows.child(ws[0]));
  ws.push_back(windows.child(ws[1]));
  std::deque<std::unique_ptr<Task>> tasks;
  std::map<HWND, Task*> live;  // the newest task per window, unless cancelled since
  std::mt19937 random(13);
  int cancelTimeouts = 0;  // a wait that ran out: the worker never let go
  {
    Renderer renderer;
    for (int step = 0; step < 4000; ++step) {
      HWND w = ws[random() % ws.size()];
      switch (random() % 8) {
      case 0:
        renderer.cancel(w);
        live.erase(w);
        break;
      case 1: {
        DeadlineWaiter waiter;
        renderer.cancel(w, waiter);
        if (waiter.calls && waiter.lastResult != WAIT_OBJECT_0) ++cancelTimeouts;
        live.erase(w);
        break;
      }
      case 2: renderer.updateActive(w); break;
      case 3: Windows::stack({w}); break;
      default: {
        auto& t = tasks.emplace_back(std::make_unique<Task>(w, std::to_string(tasks.size()), log));
        t->duringDraw = [] { std::this_thread::sleep_for(std::chrono::microseconds(50)); };
        renderer.insert(*t);
        live[w] = t.get();
      }
      }
    }
    for (auto& [w, t] : live) ASSERT_TRUE(log.waitFor("done " + t->name()));
    EXPECT_TRUE(renderer.finish(DeadlineWaiter()));
  }
  int done = 0;
  for (auto& t : tasks) {
    EXPECT_LE(t->completions, 1);
    EXPECT_EQ(t->drawsAfterDone, 0);
    done += t->completions;
  }
  for (auto& [w, t] : live) EXPECT_EQ(t->completions, 1);
  EXPECT_GT(done, 0);
  EXPECT_EQ(cancelTimeouts, 0);
}

}  // namespace
