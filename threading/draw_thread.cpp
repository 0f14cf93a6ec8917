// The draw thread: its queue of window-keyed tasks and the worker's drain.
#include <qorcor14/threading/draw_thread.h>

#include "internal/draw_thread_zorder.h"

#include <windows.h>

namespace QOR::Threading {

DrawThread::DrawThread() : Scheduler<HWND>(THREAD_PRIORITY_LOWEST), m_current(nullptr), m_hint(m_queue.end()) {}

DrawThread::~DrawThread() {
  finish(BoringWaiter());
  m_queue.clear();
}

char const* DrawThread::threadName() const { return "QOR::Draw"; }

TaskBase* DrawThread::taskInProgress() const { return m_current; }

void DrawThread::insert(DrawTask& task) {
  startThread();
  HANDLE wake = nullptr;
  {
    ReadWriteLockExclusive lock(m_lock);
    const HWND key = task.window();
    if (m_current) {
      const HWND running = m_current->window();
      if (running == key) m_cancelled = true;  // superseded: not queued again
      if (QOR::internal::isAbove(key, running)) m_current->interrupt();
    }
    // One entry per window: the newer task replaces a queued one.
    m_hint = m_queue.insert_or_assign(m_hint, key, &task);
    wake = m_wakeEvent.get();
  }
  if (wake) SetEvent(wake);
}

void DrawThread::updateActive(HWND window) {
  ReadWriteLockExclusive lock(m_lock);
  const auto highest = findHighestWindow();
  if (highest != m_queue.end() && highest->first == window && m_current && !m_cancelled) m_current->interrupt();
}

void DrawThread::eraseWholeQueue() {
  m_queue.clear();
  m_hint = m_queue.end();
}

void DrawThread::eraseFromQueue(HWND const& window) {
  const auto it = m_queue.find(window);
  if (it != m_queue.end()) m_hint = m_queue.erase(it);
}

DrawThread::Queue::iterator DrawThread::findHighestWindow() {
  if (m_queue.size() < 2) return m_queue.begin();
  return QOR::internal::highestQueued(m_queue);
}

void DrawThread::processTasks() {
  ReadWriteLockExclusive lock(m_lock);
  auto pos = findHighestWindow();
  m_cancelled = false;
  while (pos != m_queue.end()) {
    m_current = pos->second;
    m_hint = m_queue.erase(pos);
    lock.unlock();

    bool done = false;
    try {
      done = m_current->draw();
    } catch (...) {
      // The task is dropped; the worker drains again.
      lock.lock();
      if (m_doneEvent) SetEvent(m_doneEvent);
      m_current = nullptr;
      throw;
    }

    lock.lock();
    if (m_doneEvent) SetEvent(m_doneEvent);  // a waiting cancel or interrupt may return
    if (!done && !m_cancelled) {
      // A newer task of the window, if queued meanwhile, stays.
      m_hint = m_queue.try_emplace(m_hint, m_current->window(), m_current);
    }
    m_current = nullptr;
    lock.unlock();

    lock.lock();
    pos = findHighestWindow();
    m_cancelled = false;
  }
}

}  // namespace QOR::Threading
