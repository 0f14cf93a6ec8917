#include <qorcor14/threading/lock.h>

#include <gtest/gtest.h>

#include <chrono>
#include <future>

namespace {

using namespace std::chrono_literals;

// Whether another thread can enter the section within `wait`.
bool otherThreadEnters(QorCriticalSection& section, std::chrono::milliseconds wait,
                       std::future<void>& entered) {
  entered = std::async(std::launch::async, [&section] { QorSimpleLock lock(section, L"other thread"); });
  return entered.wait_for(wait) == std::future_status::ready;
}

TEST(QorSimpleLock, DestroyedAfterUnlockLeavesOnlyOnce) {
  QorCriticalSection section(L"test section");
  EXPECT_STREQ(section.where(), L"test section");
  QorSimpleLock outer(section, L"outer");
  {
    QorSimpleLock inner(section, L"inner");  // re-entry: recursion count 2
    inner.Unlock();
  }  // leaving again here would drop the outer hold too
  std::future<void> entered;
  EXPECT_FALSE(otherThreadEnters(section, 100ms, entered));
  outer.Unlock();
  ASSERT_EQ(entered.wait_for(20s), std::future_status::ready);
}

TEST(QorSimpleLock, RelockAfterUnlockHoldsAgain) {
  QorCriticalSection section(L"relock");
  QorSimpleLock lock(section, L"first");
  lock.Unlock();
  lock.Lock(L"second");
  std::future<void> entered;
  EXPECT_FALSE(otherThreadEnters(section, 100ms, entered));
  lock.Unlock();
  ASSERT_EQ(entered.wait_for(20s), std::future_status::ready);
}

}  // namespace
