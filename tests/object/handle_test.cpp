#include <qorcor14/object/handle.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <latch>
#include <vector>

namespace {

using namespace std::chrono_literals;

// Counts its deletions; optionally handles itself while dying.
class Tracked : public QOR::Handlable {
public:
  explicit Tracked(std::atomic<int>& deleted, bool selfHandle = false) : m_deleted(deleted), m_selfHandle(selfHandle) {}
  Tracked(const Tracked& other) = default;
  Tracked& operator=(const Tracked& other) {
    Handlable::operator=(other);
    value = other.value;
    return *this;
  }
  ~Tracked() override {
    if (m_selfHandle) QOR::Handle<Tracked> self(this);  // 1 -> 2 -> 1
    ++m_deleted;
  }
  int value = 0;

private:
  std::atomic<int>& m_deleted;
  bool m_selfHandle;
};

using H = QOR::Handle<Tracked>;

TEST(Handle, CountsCopiesResetsAndSelfAssignment) {
  std::atomic<int> deleted{0};
  H empty(nullptr);
  EXPECT_FALSE(empty.isLastHandle());
  H a(new Tracked(deleted));
  {
    H b = a;
    EXPECT_FALSE(a.isLastHandle());
  }
  a.reset(a.get());  // 1 -> 2 -> 1
  H& alias = a;
  a = alias;
  EXPECT_TRUE(a.isLastHandle());
  EXPECT_EQ(deleted, 0);
  a.reset(nullptr);
  EXPECT_EQ(deleted, 1);
  H self(new Tracked(deleted, true));
  self.reset(nullptr);
  EXPECT_EQ(deleted, 2);  // not deleted twice
}

TEST(Handle, MoveAssignmentSwapsSoTheSourceKeepsTheTargetsObject) {
  std::atomic<int> deletedA{0}, deletedB{0};
  H a(new Tracked(deletedA));
  Tracked* const oldA = a.get();
  {
    H b(new Tracked(deletedB));
    a = std::move(b);
    EXPECT_EQ(b.get(), oldA);
    EXPECT_EQ(deletedA, 0);
  }
  EXPECT_EQ(deletedA, 1);
  EXPECT_EQ(deletedB, 0);
  H c(std::move(a));
  EXPECT_TRUE(a.null());
  EXPECT_TRUE(c.isLastHandle());
}

TEST(Handle, CopiesOfObjectsStartUncountedAndAssignmentKeepsCounts) {
  std::atomic<int> deleted{0};
  H a(new Tracked(deleted));
  H a2 = a;
  H copy(new Tracked(*a));
  EXPECT_TRUE(copy.isLastHandle());
  a->value = 7;
  *copy = *a;
  EXPECT_EQ(copy->value, 7);
  EXPECT_TRUE(copy.isLastHandle());
  EXPECT_FALSE(a.isLastHandle());
}

TEST(HandleStress, CopiesAndDropsOnSeveralThreadsKeepTheCountExact) {
  std::atomic<int> deleted{0};
  H shared(new Tracked(deleted)), second(new Tracked(deleted));
  constexpr int kThreads = 4, kRounds = 50000;
  std::latch start(kThreads);
  std::vector<std::future<void>> threads;
  for (int t = 0; t < kThreads; ++t)
    threads.push_back(std::async(std::launch::async, [&, t] {
      start.arrive_and_wait();
      H mine;
      for (int i = 0; i < kRounds; ++i) {
        H copy = shared;
        H another = copy;
        mine.reset((i + t) % 2 ? second.get() : copy.get());
      }
    }));
  for (auto& f : threads) ASSERT_EQ(f.wait_for(60s), std::future_status::ready);
  threads.clear();
  EXPECT_TRUE(shared.isLastHandle());
  EXPECT_TRUE(second.isLastHandle());
  shared.reset(nullptr);
  second.reset(nullptr);
  EXPECT_EQ(deleted, 2);
}

}  // namespace
