// Lock words against the system's SRWLOCK and CRITICAL_SECTION, and against
// the floor of two bare interlocked operations (what acquire + release of an
// uncontended word cannot beat).
#include "harness.h"

#include <qorcor14/threading/lock.h>

#include <windows.h>

#include <algorithm>
#include <cstdint>
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

// Threads started once; each batch hands every thread an equal share of the
// operations and waits until all are done. Thread t runs pair(t) each time.
// The threads end with the pool, when the benchmark exits.
class ThreadPool {
public:
  ThreadPool(unsigned threads, std::function<void(unsigned)> pair) : m_count(threads), m_pair(std::move(pair)) {
    for (unsigned t = 0; t < m_count; ++t) m_threads.emplace_back([this, t] { work(t); });
  }
  ~ThreadPool() {
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
    m_each = std::max<std::size_t>((ops + m_count - 1) / m_count, 100000);
    m_running = m_count;
    ++m_generation;
    m_start.notify_all();
    m_done.wait(lock, [this] { return m_running == 0; });
    return m_each * m_count;
  }

private:
  void work(unsigned thread) {
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
      for (std::size_t i = 0; i < each; ++i) m_pair(thread);
      std::lock_guard<std::mutex> lock(m_mutex);
      if (--m_running == 0) m_done.notify_one();
    }
  }

  unsigned m_count;
  std::function<void(unsigned)> m_pair;
  std::mutex m_mutex;
  std::condition_variable m_start, m_done;
  unsigned long long m_generation = 0;
  std::size_t m_each = 0;
  unsigned m_running = 0;
  bool m_stop = false;
  std::vector<std::thread> m_threads;
};

// A row of `threads` threads taking and letting go of the library's words
// and the peer's locks; thread t works on word and lock t % locks.
Case contended(std::string name, unsigned threads, std::vector<long volatile*> words, std::string peerName,
               std::function<void(unsigned)> peerPair) {
  auto ours = std::make_shared<ThreadPool>(threads, [words](unsigned t) {
    long volatile& w = *words[t % words.size()];
    readWriteLockLock(w, kWriter, kWriterMask, 0xFFFFFFFF);
    readWriteLockUnlock(w, kWriter);
  });
  auto peer = std::make_shared<ThreadPool>(threads, std::move(peerPair));
  return {std::move(name), "pair", [ours](std::size_t ops) { return ours->run(ops); }, std::move(peerName),
          [peer](std::size_t ops) { return peer->run(ops); }};
}

// Two words whose addresses share a wait slot, each on its own cache line.
std::vector<long volatile*> twoWordsOfOneSlot() {
  static Word words[256];
  auto slot = [](const Word& w) {
    return (static_cast<unsigned long long>(reinterpret_cast<std::uintptr_t>(&w.value)) * 0x9E3779B97F4A7C14ull) >> 59;
  };
  for (Word& w : words)
    if (&w != &words[0] && slot(w) == slot(words[0])) return {&words[0].value, &w.value};
  return {&words[0].value, &words[1].value};  // not met: two words all the same
}

}  // namespace

void addLockCases(Suite& suite) {
  suite.add({"lock word exclusive: two atomics floor", "pair", wordLoop(kWriter, kWriterMask),
             "InterlockedCompareExchange+ExchangeAdd", [w = std::make_shared<Word>()](std::size_t ops) {
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
  auto ours = std::make_shared<ThreadPool>(4, [word](unsigned) {
    readWriteLockLock(word->value, kReader, kReaderMask, 0xFFFFFFFF);
    readWriteLockUnlock(word->value, kReader);
  });
  auto peer = std::make_shared<ThreadPool>(4, [srw](unsigned) {
    AcquireSRWLockShared(&srw->lock);
    ReleaseSRWLockShared(&srw->lock);
  });
  suite.add({"lock word shared, 4 reader threads", "pair", [ours](std::size_t ops) { return ours->run(ops); },
             "SRWLOCK shared, 4 reader threads", [peer](std::size_t ops) { return peer->run(ops); }});

  // Contended writers: every pair may have to sleep and be woken.
  static Word one;
  static Srw srwOne, srwTwo[2];
  static Section sectionOne;
  auto srwPair = [](Srw* locks, unsigned count) {
    return [locks, count](unsigned t) {
      AcquireSRWLockExclusive(&locks[t % count].lock);
      ReleaseSRWLockExclusive(&locks[t % count].lock);
    };
  };
  suite.add(contended("lock word exclusive, 2 threads", 2, {&one.value}, "SRWLOCK exclusive, 2 threads",
                      srwPair(&srwOne, 1)));
  suite.add(contended("lock word exclusive, 2 threads: critical section", 2, {&one.value},
                      "CRITICAL_SECTION, 2 threads", [](unsigned) {
                        EnterCriticalSection(&sectionOne.cs);
                        LeaveCriticalSection(&sectionOne.cs);
                      }));
  suite.add(contended("lock word exclusive, 4 threads", 4, {&one.value}, "SRWLOCK exclusive, 4 threads",
                      srwPair(&srwOne, 1)));
  suite.add(contended("lock word exclusive, two words of one slot, 2 threads each", 4, twoWordsOfOneSlot(),
                      "SRWLOCK exclusive, two locks, 2 threads each", srwPair(srwTwo, 2)));
}

}  // namespace bench
