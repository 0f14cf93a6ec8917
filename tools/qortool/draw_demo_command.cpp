// qortool draw-demo: real (hidden) windows, draw tasks that take a while and
// poll their interrupt flag, and a draw thread that always draws the highest
// window first. Prints who drew, stopped and resumed what, on which thread.
#include "command.h"

#include <qorcor14/text/strings.h>
#include <qorcor14/threading/draw_thread.h>

#include <windows.h>

#include <atomic>
#include <chrono>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace qortool {
namespace {

using namespace std::chrono_literals;
using QOR::Threading::BoringWaiter;

constexpr int kSteps = 8;
constexpr auto kStep = 15ms;
constexpr auto kDeadline = 10s;

// The story, one line per event, with the thread that caused it.
class Story {
public:
  void add(const std::wstring& who, const std::wstring& what, const std::wstring& window,
           const std::wstring& how = L"") {
    std::lock_guard<std::mutex> lock(m_mutex);
    std::wstring line = stringPrintf(L"%-6ls %5lu  %-8ls %-8ls %ls", who.c_str(), GetCurrentThreadId(), what.c_str(),
                                     window.c_str(), how.c_str());
    line.erase(line.find_last_not_of(L' ') + 1);
    m_lines.push_back(line + L"\n");
  }
  std::wstring text() {
    std::lock_guard<std::mutex> lock(m_mutex);
    std::wstring all;
    for (const std::wstring& line : m_lines) all += line;
    return all;
  }

private:
  std::mutex m_mutex;
  std::vector<std::wstring> m_lines;
};

// Draws kSteps slices of a window, checking between slices whether it was
// asked to stop; a stopped task continues where it left off.
class SlowTask : public QOR::Threading::DrawTask {
public:
  SlowTask(HWND window, const wchar_t* name, Story& story) : m_window(window), m_name(name), m_story(story) {}
  void interrupt() override { m_stop = true; }
  HWND window() const override { return m_window; }
  bool draw() override {
    m_story.add(L"worker", L"draw", m_name, stringPrintf(L"from step %d", step.load()));
    for (; step < kSteps; ++step) {
      if (m_stop.exchange(false)) {
        m_story.add(L"worker", L"stopped", m_name, stringPrintf(L"at step %d", step.load()));
        return false;
      }
      std::this_thread::sleep_for(kStep);
    }
    m_story.add(L"worker", L"done", m_name);
    return true;
  }
  std::atomic<int> step{0};

private:
  HWND m_window;
  std::wstring m_name;
  Story& m_story;
  std::atomic<bool> m_stop{false};
};

class DemoDrawThread : public QOR::Threading::DrawThread {
public:
  // The worker calls threadEnding() as it leaves: finish while this part of
  // the object still exists.
  ~DemoDrawThread() override { finish(BoringWaiter()); }
  void threadStarting() override { workerId = GetCurrentThreadId(); }
  void threadEnding() override {}
  std::atomic<unsigned long> workerId{0};
};

// Hidden windows of a plain class, destroyed with the object.
class DemoWindows {
public:
  DemoWindows() {
    WNDCLASSW wc{};
    wc.lpfnWndProc = DefWindowProcW;
    wc.hInstance = GetModuleHandleW(nullptr);
    wc.lpszClassName = L"qortool.draw-demo";
    RegisterClassW(&wc);
  }
  ~DemoWindows() {
    for (auto it = m_windows.rbegin(); it != m_windows.rend(); ++it) DestroyWindow(*it);
  }
  HWND create(const wchar_t* title, HWND parent = nullptr) {
    HWND w = CreateWindowExW(0, L"qortool.draw-demo", title, parent ? WS_CHILD : WS_OVERLAPPED, 0, 0, 200, 200, parent,
                             nullptr, GetModuleHandleW(nullptr), nullptr);
    if (!w) throw std::runtime_error("cannot create a window");
    m_windows.push_back(w);
    return w;
  }

private:
  std::vector<HWND> m_windows;
};

void raise(HWND window) { SetWindowPos(window, HWND_TOP, 0, 0, 0, 0, SWP_NOMOVE | SWP_NOSIZE | SWP_NOACTIVATE); }

// Waits until the task has drawn `steps` slices.
void waitForStep(const SlowTask& task, int steps) {
  const auto deadline = std::chrono::steady_clock::now() + kDeadline;
  while (task.step < steps) {
    if (std::chrono::steady_clock::now() > deadline) throw std::runtime_error("the draw thread did not draw in time");
    std::this_thread::sleep_for(1ms);
  }
}

}  // namespace

int runDrawDemo(const Args& args) {
  if (!args.empty()) throw UsageError("takes no arguments");
  DemoWindows windows;
  HWND preview = windows.create(L"Preview"), editor = windows.create(L"Editor"), palette = windows.create(L"Palette");
  HWND canvas = windows.create(L"Canvas", editor);
  raise(preview);  // top to bottom: Palette, Editor (holding Canvas), Preview
  raise(editor);
  raise(palette);

  Story story;
  SlowTask previewTask(preview, L"Preview", story), editorTask(editor, L"Editor", story),
      canvasTask(canvas, L"Canvas", story), paletteTask(palette, L"Palette", story);
  unsigned long worker = 0;
  {
    DemoDrawThread drawThread;
    drawThread.insert(previewTask);  // starts the worker
    waitForStep(previewTask, 2);
    story.add(L"ui", L"queue", L"Canvas", L"and Editor (above Preview: interrupts it)");
    drawThread.insert(canvasTask);
    drawThread.insert(editorTask);
    waitForStep(canvasTask, 2);
    story.add(L"ui", L"queue", L"Palette", L"(topmost: interrupts Canvas)");
    drawThread.insert(paletteTask);
    drawThread.cancel(editor, BoringWaiter());
    story.add(L"ui", L"cancel", L"Editor", L"(queued: dropped, never drawn)");
    waitForStep(paletteTask, kSteps);
    waitForStep(canvasTask, canvasTask.step + 1);  // resumed
    raise(preview);
    story.add(L"ui", L"raise", L"Preview", L"to the top, updateActive");
    drawThread.updateActive(preview);
    waitForStep(canvasTask, kSteps);
    worker = drawThread.workerId;
  }
  print(stringPrintf(L"draw thread \"QOR::Draw\": worker thread %lu, user-interface thread %lu\n", worker,
                     GetCurrentThreadId()));
  print(L"thread    id  event    window   detail\n");
  print(story.text());
  print(editorTask.step == 0 ? L"Editor was never drawn.\n" : L"Editor was drawn!\n");
  return 0;
}

}  // namespace qortool
