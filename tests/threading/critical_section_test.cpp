#include <qorcor14/threading/lock.h>

#include <gtest/gtest.h>

#include <chrono>
#include <future>

namespace {

using namespace std::chrono_literals;

// Another thread gets in only after the last Unlock: an inner lock unlocked
// before its destructor leaves only once, and a relocked lock holds again.
TEST(QorSimpleLock, UnlockThenDestroyOrRelockKeepsTheCountRight) {
  QorCriticalSection section(L"test section");
  EXPECT_STREQ(section.where(), L"test section");
  QorSimpleLock outer(section, L"outer");
  {
    QorSimpleLock inner(section, L"inner");
    inner.Unlock();
  }
  for (int round = 0; round < 2; ++round) {
    SCOPED_TRACE(round ? "relocked" : "after inner");
    if (round) outer.Lock(L"again");
    auto entered = std::async(std::launch::async, [&section] { QorSimpleLock lock(section, L"other thread"); });
    EXPECT_EQ(entered.wait_for(100ms), std::future_status::timeout);
    outer.Unlock();
    ASSERT_EQ(entered.wait_for(20s), std::future_status::ready);
  }
}

}  // namespace
