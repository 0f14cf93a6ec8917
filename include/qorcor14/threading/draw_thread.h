// qorcor14/threading/draw_thread.h - renders window contents in the
// background, highest window first.
//
// A DrawThread holds at most one pending DrawTask per window and runs them one
// at a time on its worker "QOR::Draw" (lowest normal priority), always taking
// next the task whose window is highest on screen: the topmost top-level
// window, and within it a queued descendant before the window itself. A task
// for a window above the one being drawn interrupts the drawing; the
// interrupted task goes back on the queue and is resumed later, unless it was
// superseded or cancelled meanwhile.
#pragma once

#include <qorcor14/config.h>
#include <qorcor14/threading/scheduler.h>

#include <map>

namespace QOR::Threading {

// Draws one window on the draw thread's worker; owned by the program.
//
// A program's task overrides interrupt(), window() and draw(). interrupt() is
// called on the user-interface thread while draw() runs on the worker: it
// sets a flag that draw() polls, and returns at once.
//
// Example:
//   class Preview : public QOR::Threading::DrawTask {
//   public:
//     explicit Preview(HWND w) : m_window(w) {}
//     void interrupt() override { m_stop = true; }
//     HWND window() const override { return m_window; }
//     bool draw() override {
//       m_stop = false;
//       while (m_row < m_rows) {
//         if (m_stop) return false;     // asked to stop: run again later
//         renderRow(m_row++);
//       }
//       return true;                    // complete
//     }
//     ...
//   private:
//     std::atomic<bool> m_stop{false};
//     ...
//   };
//
// Note: the task is never deleted by the draw thread. It may be deleted once
// it is neither queued nor running: after draw() returned true, after a
// cancel() with a waiter, after finish(), or once a newer task for its window
// has been inserted and (if it was running) its draw() has returned.
class DrawTask : public KeyedTask<HWND> {
public:
  // Two operations the draw thread never calls. They keep draw() in its
  // place among the task's virtual operations and do nothing; a program need
  // not override them.
  virtual void reserved1() {}
  virtual void reserved2() {}

  // Runs, or continues, the drawing on the worker. Returns true when complete,
  // false when it stopped early (interrupted) and must run again.
  virtual bool draw() = 0;
};

// The window-keyed scheduler that runs DrawTasks, highest window first.
//
// Abstract: the program derives from it and supplies threadStarting() and
// threadEnding() (run on the worker when it starts and ends).
//
// Example:
//   class Renderer : public QOR::Threading::DrawThread {
//   public:
//     ~Renderer() override { finish(QOR::Threading::BoringWaiter()); }
//     void threadStarting() override { /* per-thread set-up */ }
//     void threadEnding() override {}
//   };
//   Renderer renderer;
//   renderer.insert(task);               // starts the worker on first use
//   renderer.cancel(hwnd, QOR::Threading::BoringWaiter());
//
// Note: a deriving class must call finish() in its own destructor. ~DrawThread
// calls finish() too, but by then the program's part of the object is gone,
// and the worker, leaving, would call the pure threadEnding().
// Note: inserting a task for a window that already has a queued task replaces
// the queued one: the newer request wins, as it does over a running task of
// that window (which is interrupted and dropped). The replaced task is not
// drawn and not deleted.
// Note: tasks of windows that no longer exist stay queued while another
// window has a task: the worker only takes windows it meets on screen.
// Note: the thread never owns a task. A task must live until it is drawn to
// the end, replaced or cancelled and the worker has let go of it, or until
// finish() has returned: a task that has just finished drawing is still the
// task in progress until the worker takes the lock again, and finish()
// interrupts the task in progress. Declare the tasks before the thread.
class QORCOR14_API DrawThread : public Scheduler<HWND> {
public:
  using Queue = std::map<HWND, DrawTask*>;

  DrawThread();
  // Finishes the worker (see the class note) and empties the queue.
  ~DrawThread() override;

  // Queues `task` under task.window(), starting the worker if needed. A
  // running task of the same window is superseded (interrupted and not
  // queued again); a running task of a window below, or of the same window,
  // is interrupted so that the worker can switch.
  void insert(DrawTask& task);

  // When `window` is now the highest queued window, interrupts the running
  // task (unless it is already cancelled) so that the worker switches to it:
  // call it after activating or raising a window.
  void updateActive(HWND window);

  char const* threadName() const override;

protected:
  // Under the lock only, as the scheduler calls them.
  void eraseWholeQueue() override;
  // Drops the queued task of `window`, if any.
  void eraseFromQueue(HWND const& window) override;
  TaskBase* taskInProgress() const override;
  // Drains the queue on the worker, highest window first, putting back the
  // tasks that stopped early.
  void processTasks() override;

private:
  // The queued window highest in the z-order; the end when none of the
  // queued windows is met on screen (and without looking when fewer than two
  // are queued).
  Queue::iterator findHighestWindow();

  DrawTask* m_current;
  Queue m_queue;
  // Where the next insertion probably goes: after the entry last removed, or
  // at the last insertion.
  Queue::iterator m_hint;
};

}  // namespace QOR::Threading
