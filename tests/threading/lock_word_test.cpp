#include <qorcor14/threading/lock.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <future>
#include <latch>
#include <thread>
#include <vector>

namespace {

using namespace std::chrono_literals;

constexpr long kReader = 1, kReaderMask = -268435456;  // 0xF0000000
constexpr long kWriter = 268435456, kWriterMask = -1;
constexpr unsigned long kWaitMs = 10000;

// The wait slot of a word, computed here from the documented hash.
unsigned slotOf(const long volatile* word) {
  return static_cast<unsigned>((static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(word)) *
                                0x9E3779B97F4A7C14ull) >> 59);
}

TEST(LockWord, TryWithZeroTimeoutFailsOrAddsAsTheMaskSays) {
  struct Case {
    const char* name;
    long start;
    long increment, mask;
    bool acquired;
    long after;
  };
  const Case cases[] = {
      {"writer on free word", 0, kWriter, kWriterMask, true, kWriter},
      {"writer beside two readers", 2, kWriter, kWriterMask, false, 2},
      {"writer beside a writer", kWriter, kWriter, kWriterMask, false, kWriter},
      {"reader beside a writer", kWriter, kReader, kReaderMask, false, kWriter},
      {"reader beside two readers", 2, kReader, kReaderMask, true, 3},
      {"reader with the highest reader count", 0x0FFFFFFE, kReader, kReaderMask, true, 0x0FFFFFFF},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    long volatile word = c.start;
    EXPECT_EQ(readWriteLockLock(word, c.increment, c.mask, 0), c.acquired);
    EXPECT_EQ(word, c.after);
  }
}

TEST(LockWord, TimedOutWaitLeavesTheWordAsItWas) {
  long volatile word = 0;
  ASSERT_TRUE(readWriteLockLock(word, kReader, kReaderMask, 0));
  ASSERT_TRUE(readWriteLockLock(word, kReader, kReaderMask, 0));
  EXPECT_FALSE(readWriteLockLock(word, kWriter, kWriterMask, 30));
  EXPECT_EQ(word, 2);
  readWriteLockUnlock(word, kReader);
  readWriteLockUnlock(word, kReader);
  EXPECT_EQ(word, 0);
}

// Two words in one wait slot: releasing one wakes the waiters of both, and
// the waiter of the word still held goes back to waiting.
TEST(LockWord, WordsSharingAWaitSlotWakeOnlyTheirOwnWaiters) {
  static long volatile words[256];
  long volatile* a = nullptr;
  long volatile* b = nullptr;
  for (long volatile& w : words) {
    if (!a) a = &w;
    else if (slotOf(&w) == slotOf(a)) {
      b = &w;
      break;
    }
  }
  ASSERT_NE(b, nullptr) << "no two of 256 words share a slot";
  ASSERT_TRUE(readWriteLockLock(*a, kWriter, kWriterMask, 0));
  ASSERT_TRUE(readWriteLockLock(*b, kWriter, kWriterMask, 0));
  auto waitA = std::async(std::launch::async, [&] { return readWriteLockLock(*a, kWriter, kWriterMask, kWaitMs); });
  auto waitB = std::async(std::launch::async, [&] { return readWriteLockLock(*b, kReader, kReaderMask, kWaitMs); });
  std::this_thread::sleep_for(50ms);  // let both block

  readWriteLockUnlock(*a, kWriter);
  ASSERT_EQ(waitA.wait_for(20s), std::future_status::ready);
  EXPECT_TRUE(waitA.get());
  EXPECT_EQ(waitB.wait_for(100ms), std::future_status::timeout);  // woken, re-tested, waiting again
  EXPECT_EQ(*b, kWriter);

  readWriteLockUnlock(*b, kWriter);
  ASSERT_EQ(waitB.wait_for(20s), std::future_status::ready);
  EXPECT_TRUE(waitB.get());
  EXPECT_EQ(*a, kWriter);
  EXPECT_EQ(*b, 1);
}

// Writers alone, readers see no writer, no acquisition times out.
TEST(LockWordStress, WritersAreAloneAndNoWakeUpIsLost) {
  long volatile word = 0;
  std::atomic<int> readersInside{0}, writersInside{0};
  std::atomic<int> violations{0}, timeouts{0};
  long shared = 0;  // changed by writers only, under the lock
  constexpr int kIterations = 5000;
  std::atomic<bool> stop{false};

  std::latch start(6);
  auto writer = [&] {
    start.arrive_and_wait();
    for (int i = 0; i < kIterations && !stop; ++i) {
      if (readWriteLockLock(word, kWriter, kWriterMask, 0)) readWriteLockUnlock(word, kWriter);
      if (!readWriteLockLock(word, kWriter, kWriterMask, kWaitMs)) {
        ++timeouts;
        return;
      }
      if (++writersInside != 1 || readersInside != 0 || word != kWriter) ++violations;
      ++shared;
      if (i % 128 == 0) std::this_thread::sleep_for(1ms);  // let the others pile up behind
      --writersInside;
      readWriteLockUnlock(word, kWriter);
    }
  };
  auto reader = [&] {
    start.arrive_and_wait();
    for (int i = 0; i < kIterations && !stop; ++i) {
      if (!readWriteLockLock(word, kReader, kReaderMask, kWaitMs)) {
        ++timeouts;
        return;
      }
      ++readersInside;
      if (writersInside != 0 || (word & kReaderMask) != 0) ++violations;
      if (i % 128 == 0) std::this_thread::sleep_for(1ms);
      --readersInside;
      readWriteLockUnlock(word, kReader);
    }
  };
  std::vector<std::future<void>> threads;
  for (int i = 0; i < 3; ++i) threads.push_back(std::async(std::launch::async, writer));
  for (int i = 0; i < 3; ++i) threads.push_back(std::async(std::launch::async, reader));
  const auto deadline = std::chrono::steady_clock::now() + 60s;
  bool finished = true;
  for (auto& t : threads) finished = finished && t.wait_until(deadline) == std::future_status::ready;
  stop = true;
  ASSERT_TRUE(finished) << "readers and writers still running after 60 s";

  EXPECT_EQ(violations, 0);
  EXPECT_EQ(timeouts, 0);
  EXPECT_EQ(shared, 3 * kIterations);  // every writer finished all its rounds
  EXPECT_EQ(word, 0);
}

}  // namespace
