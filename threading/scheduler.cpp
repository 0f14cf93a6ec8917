// The scheduler's worker: starting it, its loop, interrupting, cancelling and
// finishing it.
#include <qorcor14/threading/scheduler.h>

#include <qorcor14/errors.h>
#include <qorcor14/text/strings.h>

#include "common/unique_resource.h"

#include <windows.h>
#include <objbase.h>
#include <process.h>

#include <clocale>
#include <utility>

namespace QOR::Threading {

using QOR::internal::UniqueHandle;

namespace {

constexpr unsigned kWorkerStackBytes = 262144;

}  // namespace

SchedulerBase::SchedulerBase(int priority)
    : m_lock(0), m_doneEvent(nullptr), m_cancelled(false), m_priority(priority) {}

// A done event left in its field (see doCancelCurrentTask) is the
// scheduler's to close; the other handles close with their owners.
SchedulerBase::~SchedulerBase() { const UniqueHandle leftOver(m_doneEvent); }

SchedulerBase::SchedulerBase(const SchedulerBase&) : SchedulerBase(0) {
  throw NotImplemented(L"SchedulerBase copy constructor");
}

SchedulerBase& SchedulerBase::operator=(const SchedulerBase&) { throw NotImplemented(L"SchedulerBase operator=()"); }

void SchedulerBase::setThreadPriority(int priority) {
  ReadWriteLockExclusive lock(m_lock);
  m_priority = priority;
}

void SchedulerBase::startThread() {
  ReadWriteLockExclusive lock(m_lock);
  DWORD code = 0;
  if (m_thread && (!GetExitCodeThread(m_thread.get(), &code) || code != STILL_ACTIVE)) {
    // The dead worker's handles leave the fields before the box shows: the
    // box runs a message loop, and a handler that queues work meanwhile must
    // find the scheduler idle and start the one new worker, not report the
    // dead one again.
    UniqueHandle deadWake(std::move(m_wakeEvent));
    UniqueHandle deadThread(std::move(m_thread));
    lock.unlock();
    MessageBoxW(nullptr, L"Thread exited unexpectedly", getWCS(threadName()).c_str(), MB_ICONINFORMATION);
    lock.lock();
  }
  if (m_wakeEvent) return;
  m_wakeEvent.reset(CreateEventW(nullptr, FALSE, FALSE, nullptr));
  if (!m_wakeEvent || m_thread) return;
  const uintptr_t thread = _beginthreadex(nullptr, kWorkerStackBytes, &SchedulerBase::threadMain, this, 0, nullptr);
  if (thread == 0) {
    // No worker: back to idle, so that the next task tries again.
    m_wakeEvent.reset();
    return;
  }
  m_thread.reset(reinterpret_cast<HANDLE>(thread));
  SetThreadPriority(m_thread.get(), m_priority);
  SetThreadPriorityBoost(m_thread.get(), TRUE);
}

unsigned __stdcall SchedulerBase::threadMain(void* scheduler) {
  auto* self = static_cast<SchedulerBase*>(scheduler);
  setThreadName(self->threadName(), 0xFFFFFFFF);
  const HRESULT com = CoInitializeEx(nullptr, COINIT_MULTITHREADED);
  _configthreadlocale(_ENABLE_PER_THREAD_LOCALE);
  std::setlocale(LC_CTYPE, "");
  self->threadStarting();

  // The worker waits on its own copy of the wake event: finish() nulls the
  // field, signals the event and closes it, and the worker leaves at its next
  // look at the field. Its copy cannot be closed (or its value reused) under
  // a pending wait.
  UniqueHandle wake;
  for (;;) {
    {
      ReadWriteLockExclusive lock(self->m_lock);
      if (!self->m_wakeEvent) break;
      if (!wake) {
        HANDLE copy = nullptr;
        if (!DuplicateHandle(GetCurrentProcess(), self->m_wakeEvent.get(), GetCurrentProcess(), &copy, 0, FALSE,
                             DUPLICATE_SAME_ACCESS))
          break;
        wake = UniqueHandle(copy);
      }
    }
    if (WaitForSingleObject(wake.get(), INFINITE) != WAIT_OBJECT_0) break;
    for (;;) {
      try {
        self->processTasks();
        break;
      } catch (...) {
        // A failing task must not take the worker down with it: drain again.
      }
    }
  }
  self->threadEnding();
  if (SUCCEEDED(com)) CoUninitialize();
  return 0;
}

void SchedulerBase::interrupt() {
  ReadWriteLockExclusive lock(m_lock);
  if (TaskBase* task = taskInProgress()) task->interrupt();
}

void SchedulerBase::interrupt(Waiter const& waiter) {
  ReadWriteLockExclusive lock(m_lock);
  if (taskInProgress()) doCancelCurrentTask(lock, false, &waiter);
}

void SchedulerBase::doCancelCurrentTask(ReadWriteLock<268435456, -1>& lock, bool setCancelled, Waiter const* waiter) {
  if (setCancelled) m_cancelled = true;
  taskInProgress()->interrupt();
  if (!waiter) return;
  UniqueHandle done(CreateEventW(nullptr, FALSE, FALSE, nullptr));
  if (!done) return;  // nothing to wait on: as if no waiter was given
  m_doneEvent = done.get();
  // The worker takes the lock to signal the event, so it is let go for the
  // wait, through the holder, which then knows it no longer holds the word.
  lock.unlock();
  // The field changes only under the lock, where the worker reads it. If the
  // lock cannot be taken back, the event stays in the field, open, and
  // closes with the scheduler: the worker may still signal it.
  const auto withdraw = [&] {
    try {
      lock.lock();
    } catch (...) {
      static_cast<void>(done.release());  // m_doneEvent keeps it
      throw;
    }
    m_doneEvent = nullptr;
  };
  try {
    (*waiter)(done.get());
  } catch (...) {
    withdraw();
    throw;
  }
  withdraw();
}

bool SchedulerBase::finish(Waiter const& waiter) {
  {
    ReadWriteLockExclusive lock(m_lock);
    eraseWholeQueue();
    if (TaskBase* task = taskInProgress()) {
      m_cancelled = true;
      task->interrupt();
    }
    if (m_wakeEvent) {
      UniqueHandle wake(std::move(m_wakeEvent));
      SetEvent(wake.get());
    }
  }
  bool result = true;
  if (m_thread) {
    // A low-priority worker must not keep the caller waiting.
    SetThreadPriority(m_thread.get(), GetThreadPriority(GetCurrentThread()));
    if (waiter(m_thread.get()) == WAIT_OBJECT_0) {
      DWORD code = 0;
      result = GetExitCodeThread(m_thread.get(), &code) && code == 0;
    }
    m_thread.reset();
  }
  return result;
}

template <class Key>
Scheduler<Key>::Scheduler(int priority) : SchedulerBase(priority) {}

template <class Key>
void Scheduler<Key>::cancel(Key const& key) {
  ReadWriteLockExclusive lock(m_lock);
  eraseFromQueue(key);
  if (auto* task = static_cast<KeyedTask<Key>*>(taskInProgress()); task && task->window() == key) {
    m_cancelled = true;
    task->interrupt();
  }
}

template <class Key>
void Scheduler<Key>::cancel(Key const& key, Waiter const& waiter) {
  ReadWriteLockExclusive lock(m_lock);
  eraseFromQueue(key);
  if (auto* task = static_cast<KeyedTask<Key>*>(taskInProgress()); task && task->window() == key)
    doCancelCurrentTask(lock, true, &waiter);
}

template class Scheduler<HWND>;

}  // namespace QOR::Threading
