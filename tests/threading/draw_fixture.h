#pragma once

#include <qorcor14/threading/draw_thread.h>

#include <windows.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

namespace drawtest {

using namespace std::chrono_literals;

constexpr auto kDeadline = 10s;
constexpr DWORD kDeadlineMs = 10000;

// Hidden windows of one class whose procedure counts WM_APP.
class Windows {
public:
  Windows();
  ~Windows();
  HWND topLevel(const wchar_t* title = L"drawtest");
  HWND child(HWND parent);
  // order[0] on top.
  static void stack(const std::vector<HWND>& order);
  static std::atomic<int> appMessages;
  // Run by the window procedure for WM_APP + 1 (on the windows' thread).
  static std::function<void()> onAppPlusOne;

private:
  std::vector<HWND> m_windows;
};

class Log {
public:
  void add(const std::string& entry);
  std::vector<std::string> entries();
  bool waitFor(const std::string& entry);

private:
  std::mutex m_mutex;
  std::condition_variable m_changed;
  std::vector<std::string> m_entries;
};

// Logs "draw NAME", then "done NAME" or "stopped NAME". Blocking runs until
// released or interrupted; a gate only until released.
class Task : public QOR::Threading::DrawTask {
public:
  enum Kind { Quick, Blocking, Gate };
  Task(HWND window, std::string name, Log& log, Kind kind = Quick);
  ~Task() override { ++destroyed; }

  void interrupt() override { m_stop = true; }
  HWND window() const override { return m_window; }
  bool draw() override;

  void release() { m_released = true; }
  const std::string& name() const { return m_name; }
  std::function<void()> duringDraw;  // run on the worker, once the draw starts
  std::atomic<int> draws{0}, completions{0}, drawsAfterDone{0};
  static std::atomic<int> destroyed;

private:
  HWND m_window;
  std::string m_name;
  Log& m_log;
  Kind m_kind;
  std::atomic<bool> m_stop{false}, m_released{false};
};

// Declared after the tasks it draws in every test: until it has finished it
// may still hold the last task it ran.
class Renderer : public QOR::Threading::DrawThread {
public:
  ~Renderer() override;
  void threadStarting() override;
  void threadEnding() override { ++ends; }
  std::atomic<int> starts{0}, ends{0};
  std::atomic<DWORD> workerId{0};
  bool workerEnded();
  bool waitIdle();
  bool killWorker(DWORD exitCode);
  // Whether the scheduler's lock word can be taken (and is let go again)
  // within the deadline.
  bool lockCanBeTaken();
};

class DeadlineWaiter : public QOR::Threading::Waiter {
public:
  unsigned long operator()(void* handle) const override;
  mutable int calls = 0;
  mutable unsigned long lastResult = 0;
};

}  // namespace drawtest
