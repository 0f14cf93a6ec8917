// Lock words against the system's SRWLOCK and CRITICAL_SECTION, and against
// the floor of two bare interlocked operations (what acquire + release of an
// uncontended word cannot beat).
#include "harness.h"

#include <qorcor14/threading/lock.h>

#include <windows.h>

#include <algorithm>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace bench {
namespace {

constexpr long kWriter = 268435456, kWriterMask = -1, kReader = 1, kReaderMask = -268435456;

// Each side gets its own heap object, so that neither shares a cache line
// with the other or with the harness.
struct alignas(64) Word {
  long volatile value = 0;
};
struct alignas(64) Srw {
  SRWLOCK lock = SRWLOCK_INIT;
};
struct alignas(64) Section {
  Section() { InitializeCriticalSection(&cs); }
  ~Section() { DeleteCriticalSection(&cs); }
  CRITICAL_SECTION cs;
};

Body wordLoop(long increment, long mask) {
  auto w = std::make_shared<Word>();
  return [w, increment, mask](std::size_t ops) {
    for (std::size_t i = 0; i < ops; ++i) {
      readWriteLockLock(w->value, increment, mask, 0xFFFFFFFF);
      readWriteLockUnlock(w->value, increment);
    }
    return ops;
  };
}

// Four threads started once; each batch hands every thread an equal share
// of the operations and waits until all are done. The threads end with the
// pool, when the benchmark exits.
class ReaderPool {
public:
  explicit ReaderPool(std::function<void()> pair) : m_pair(std::move(pair)) {
    for (unsigned t = 0; t < kThreads; ++t) m_threads.emplace_back([this] { work(); });
  }
  ~ReaderPool() {
    {
      std::lock_guard<std::mutex> lock(m_mutex);
      m_stop = true;
    }
    m_start.notify_all();
    for (std::thread& t : m_threads) t.join();
  }
  std::size_t run(std::size_t ops) {
    std::unique_lock<std::mutex> lock(m_mutex);
    // At least 100000 pairs a thread, so that waking the pool is noise.
    m_each = std::max<std::size_t>((ops + kThreads - 1) / kThreads, 100000);
    m_running = kThreads;
    ++m_generation;
    m_start.notify_all();
    m_done.wait(lock, [this] { return m_running == 0; });
    return m_each * kThreads;
  }

private:
  static constexpr unsigned kThreads = 4;
  void work() {
    unsigned long long seen = 0;
    for (;;) {
      std::size_t each;
      {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_start.wait(lock, [&] { return m_stop || m_generation != seen; });
        if (m_stop) return;
        seen = m_generation;
        each = m_each;
      }
      for (std::size_t i = 0; i < each; ++i) m_pair();
      std::lock_guard<std::mutex> lock(m_mutex);
      if (--m_running == 0) m_done.notify_one();
    }
  }

  std::function<void()> m_pair;
  std::mutex m_mutex;
  std::condition_variable m_start, m_done;
  unsigned long long m_generation = 0;
  std::size_t m_each = 0;
  unsigned m_running = 0;
  bool m_stop = false;
  std::vector<std::thread> m_threads;
};

}  // namespace

void addLockCases(Suite& suite) {
  suite.add({"lock word exclusive: two atomics floor", "pair", wordLoop(kWriter, kWriterMask),
             "InterlockedCompareExchange+ExchangeAdd",
             [w = std::make_shared<Word>()](std::size_t ops) {
               for (std::size_t i = 0; i < ops; ++i) {
                 InterlockedCompareExchange(&w->value, kWriter, 0);
                 InterlockedExchangeAdd(&w->value, -kWriter);
               }
               return ops;
             }});
  suite.add({"lock word exclusive", "pair", wordLoop(kWriter, kWriterMask), "SRWLOCK exclusive",
             [s = std::make_shared<Srw>()](std::size_t ops) {
               for (std::size_t i = 0; i < ops; ++i) {
                 AcquireSRWLockExclusive(&s->lock);
                 ReleaseSRWLockExclusive(&s->lock);
               }
               return ops;
             }});
  suite.add({"lock word exclusive: critical section", "pair", wordLoop(kWriter, kWriterMask), "CRITICAL_SECTION",
             [c = std::make_shared<Section>()](std::size_t ops) {
               for (std::size_t i = 0; i < ops; ++i) {
                 EnterCriticalSection(&c->cs);
                 LeaveCriticalSection(&c->cs);
               }
               return ops;
             }});
  suite.add({"lock word shared", "pair", wordLoop(kReader, kReaderMask), "SRWLOCK shared",
             [s = std::make_shared<Srw>()](std::size_t ops) {
               for (std::size_t i = 0; i < ops; ++i) {
                 AcquireSRWLockShared(&s->lock);
                 ReleaseSRWLockShared(&s->lock);
               }
               return ops;
             }});
  auto word = std::make_shared<Word>();
  auto srw = std::make_shared<Srw>();
  auto ours = std::make_shared<ReaderPool>([word] {
    readWriteLockLock(word->value, kReader, kReaderMask, 0xFFFFFFFF);
    readWriteLockUnlock(word->value, kReader);
  });
  auto peer = std::make_shared<ReaderPool>([srw] {
    AcquireSRWLockShared(&srw->lock);
    ReleaseSRWLockShared(&srw->lock);
  });
  suite.add({"lock word shared, 4 reader threads", "pair", [ours](std::size_t ops) { return ours->run(ops); },
             "SRWLOCK shared, 4 reader threads", [peer](std::size_t ops) { return peer->run(ops); }});
}

}  // namespace bench
