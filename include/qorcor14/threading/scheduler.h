// qorcor14/threading/scheduler.h - a one-worker task scheduler with
// interruption, cancellation and waiting that keeps a user interface alive.
//
// A scheduler owns one background thread, started by the first queued task,
// that runs tasks one at a time. The calling (user-interface) thread has three
// ways to stop work: interrupt the task in progress, cancel the queued and
// running work of one key, or finish the whole scheduler. Waiting for the
// worker goes through a Waiter, so that a user-interface thread can keep
// servicing window messages sent to it while it waits (BoringWaiter).
//
// The queue is not part of SchedulerBase: a concrete scheduler (DrawThread in
// draw_thread.h) supplies it through the pure virtual operations. Every access
// to the shared state is made under the exclusive side of the lock word
// `m_lock`; the lock is never held while a task runs or while a caller waits.
#pragma once

#include <qorcor14/config.h>
#include <qorcor14/internal/unique_resource.h>
#include <qorcor14/threading/lock.h>

// The window handle, declared as <windows.h> (STRICT) does.
struct HWND__;
typedef HWND__* HWND;

namespace QOR {

// Names a thread for an attached debugger: raises the debugger's naming
// exception 0x406D1388 with the name and `threadId` (0xFFFFFFFF for the
// calling thread), and ignores it when no debugger takes it.
//
// Example:
//   QOR::setThreadName("Loader", 0xFFFFFFFF);
//
// Note: the name is not copied; without a debugger the call does nothing
// visible.
QORCOR14_API void setThreadName(char const* name, unsigned long threadId);

namespace Threading {

// A unit of work run by a scheduler's worker.
class TaskBase {
public:
  // Asks the task to stop as soon as it can. Called on the caller's thread
  // while the task runs on the worker: the task sets a flag (atomically) that
  // its run polls, and must not block.
  virtual void interrupt() = 0;
  virtual ~TaskBase() = default;
};

// A task queued under a key. Only the window-keyed task exists: its key is
// the window it works for.
template <class Key>
class KeyedTask;

template <>
class KeyedTask<HWND> : public TaskBase {
public:
  // The window that the task works for: its key in the queue. Must not change
  // while the task is queued or running.
  virtual HWND window() const = 0;
};

// Blocks until a kernel object is signalled, in whatever way suits the
// calling thread.
//
// Note: there is no virtual destructor; a waiter is not deleted through this
// base.
class Waiter {
public:
  // Waits until `handle` is signalled and returns the wait result: 0 when it
  // was signalled, anything else (a timeout, a failure) otherwise.
  virtual unsigned long operator()(void* handle) const = 0;

protected:
  Waiter() = default;
  Waiter(const Waiter&) = default;
  Waiter& operator=(const Waiter&) = default;
  ~Waiter() = default;
};

// Waits without limit while dispatching the window messages that other
// threads send to the calling thread, so that a worker doing a cross-thread
// SendMessage cannot deadlock with a user-interface thread waiting for it.
// Posted messages stay queued.
//
// Example:
//   drawThread.cancel(hwnd, QOR::Threading::BoringWaiter());
class QORCOR14_API BoringWaiter : public Waiter {
public:
  unsigned long operator()(void* handle) const override;
};

// The worker, its start and its stopping. See the file comment.
//
// Note: copying is refused: the copy operations are private and throw
// QOR::NotImplemented if reached.
class QORCOR14_API SchedulerBase {
public:
  // Stores the Windows thread priority the worker is given when started.
  explicit SchedulerBase(int priority);
  // Closes what handles remain. A concrete scheduler calls finish() first.
  virtual ~SchedulerBase();

  // Run on the worker once, after its set-up and before its first wait.
  virtual void threadStarting() = 0;
  // Run on the worker once, just before it exits.
  virtual void threadEnding() = 0;

protected:
  // The queue's operations run only under m_lock: the scheduler calls them
  // holding it, so they are not for a program to call (it drops queued work
  // with cancel() and finish()).
  //
  // Run on the worker each time it is woken: drains the queue.
  virtual void processTasks() = 0;
  // Drops every queued (not running) task; does not delete them.
  virtual void eraseWholeQueue() = 0;

public:
  // The worker's name, for debuggers and the dead-worker report.
  virtual char const* threadName() const = 0;

protected:
  // The task the worker is running, or null. Called under the lock.
  virtual TaskBase* taskInProgress() const = 0;

public:
  // The priority for the next start of the worker; never changes a running
  // worker.
  void setThreadPriority(int priority);

  // Asks the task in progress, if any, to stop. Does not wait.
  void interrupt();
  // As interrupt(), then waits through `waiter` until the task has given
  // control back to the worker. Returns at once when no task runs.
  void interrupt(Waiter const& waiter);

  // Stops the worker for good: drops the queue, cancels the task in progress,
  // ends the worker and waits for it (raised to the caller's priority)
  // through `waiter`. Returns true when there was no worker, when the waiter
  // did not report success (non-zero), or when the worker's exit code is 0.
  //
  // Note: the worker calls threadEnding() on its way out, so a class that
  // supplies threadEnding() calls finish() in its own destructor.
  bool finish(Waiter const& waiter);

protected:
  // Starts the worker unless it runs. A worker that died without finish() is
  // reported first, by a message box "Thread exited unexpectedly" titled
  // with threadName(), and then replaced. The dead worker's handles are
  // dropped before the box shows, so work queued from a message handler
  // while it shows starts the new worker, and the box shows once.
  void startThread();

  // With `lock` held and a task in progress: sets m_cancelled when asked,
  // interrupts the task and, given a waiter, lets go of the lock through
  // `lock`, waits until the task has given control back, and takes the lock
  // again. When the waiter throws, the lock is taken back and the done event
  // closed before the exception goes on; `lock` always says whether it holds.
  void doCancelCurrentTask(ReadWriteLock<268435456, -1>& lock, bool setCancelled, Waiter const* waiter);

  // The exclusive lock of every operation on the scheduler and its queue.
  long volatile m_lock;
  // Auto-reset event telling the worker there is work; null while none runs.
  QOR::internal::UniqueHandle m_wakeEvent;
  // Auto-reset event that exists only while a caller waits for the task in
  // progress; the worker signals it (under the lock) each time a task returns.
  // The waiting caller owns it; the field only lends it to the worker.
  void* m_doneEvent;
  // The worker thread, or null.
  QOR::internal::UniqueHandle m_thread;
  // Set when the task in progress must not be queued again when it returns.
  bool m_cancelled;
  // The priority the worker is started with.
  int m_priority;

private:
  SchedulerBase(const SchedulerBase&);             // throws NotImplemented
  SchedulerBase& operator=(const SchedulerBase&);  // throws NotImplemented

  static unsigned __stdcall threadMain(void* scheduler);
};

// A scheduler whose tasks are KeyedTask<Key>, queued one per key. Exported
// for HWND only.
//
// Example:
//   scheduler.cancel(hwnd);                                    // no wait
//   scheduler.cancel(hwnd, QOR::Threading::BoringWaiter());    // until it stopped
template <class Key>
class QORCOR14_API Scheduler : public SchedulerBase {
public:
  explicit Scheduler(int priority);

protected:
  // Drops the queued task of `key`, if any (the task is not deleted). Called
  // under the lock.
  virtual void eraseFromQueue(Key const& key) = 0;

public:
  // Drops the queued task of `key`; if the task in progress has that key,
  // marks it cancelled (it is not queued again) and interrupts it. Does not
  // wait.
  void cancel(Key const& key);
  // As cancel(key), then waits through `waiter` until a running task of that
  // key has given control back.
  void cancel(Key const& key, Waiter const& waiter);
};

QORCOR14_EXTERN_TEMPLATE(QORCOR14_API Scheduler<HWND>)

}  // namespace Threading
}  // namespace QOR
