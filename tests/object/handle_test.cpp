#include <qorcor14/object/handle.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <latch>
#include <vector>

namespace {

using namespace std::chrono_literals;

// Counts its deletions; optionally takes and drops a handle to itself while
// dying.
class Tracked : public QOR::Handlable {
public:
  explicit Tracked(std::atomic<int>& deleted, bool selfHandleInDestructor = false)
      : m_deleted(deleted), m_selfHandle(selfHandleInDestructor) {}
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

TEST(Handle, EmptyHandlesCountNothing) {
  H empty(nullptr);
  EXPECT_TRUE(empty.null());
  EXPECT_FALSE(empty.isLastHandle());
  empty.reset(nullptr);
  H other = empty;
  other = std::move(empty);
  EXPECT_TRUE(other.null());
}

TEST(Handle, LastHandleDeletesOnceAndIsLastHandleFollowsTheCount) {
  std::atomic<int> deleted{0};
  H a(new Tracked(deleted));
  EXPECT_TRUE(a.isLastHandle());
  {
    H b = a;
    EXPECT_FALSE(a.isLastHandle());
    EXPECT_FALSE(b.isLastHandle());
    EXPECT_TRUE(a == b);
  }
  EXPECT_TRUE(a.isLastHandle());
  EXPECT_EQ(deleted, 0);
  a.reset(nullptr);
  EXPECT_EQ(deleted, 1);
}

TEST(Handle, ResetToItsOwnObjectKeepsItAlive) {
  std::atomic<int> deleted{0};
  H a(new Tracked(deleted));
  a.reset(a.get());  // count 1 -> 2 -> 1
  H& alias = a;
  a = alias;         // the same through assignment
  EXPECT_EQ(deleted, 0);
  EXPECT_TRUE(a.isLastHandle());
}

TEST(Handle, MoveAssignmentSwapsSoTheSourceKeepsTheTargetsObject) {
  std::atomic<int> deletedA{0}, deletedB{0};
  H a(new Tracked(deletedA));
  Tracked* const oldA = a.get();
  {
    H b(new Tracked(deletedB));
    a = std::move(b);
    EXPECT_EQ(b.get(), oldA);  // held, not released yet
    EXPECT_EQ(deletedA, 0);
  }
  EXPECT_EQ(deletedA, 1);  // released with b
  EXPECT_EQ(deletedB, 0);
  H c(std::move(a));  // move construction takes without counting
  EXPECT_TRUE(a.null());
  EXPECT_TRUE(c.isLastHandle());
}

TEST(Handle, CopiesOfObjectsStartUncountedAndAssignmentKeepsCounts) {
  std::atomic<int> deleted{0};
  H a(new Tracked(deleted));
  H a2 = a;
  H copy(new Tracked(*a));  // the copy's count starts at 0, so this is its only handle
  EXPECT_TRUE(copy.isLastHandle());
  a->value = 7;
  *copy = *a;  // values copied, counts untouched
  EXPECT_EQ(copy->value, 7);
  EXPECT_TRUE(copy.isLastHandle());
  EXPECT_FALSE(a.isLastHandle());
  a2.reset(nullptr);
  EXPECT_TRUE(a.isLastHandle());
}

TEST(Handle, DestructorThatHandlesItsOwnObjectIsNotDeletedTwice) {
  std::atomic<int> deleted{0};
  H a(new Tracked(deleted, true));
  a.reset(nullptr);
  EXPECT_EQ(deleted, 1);
}

TEST(Handle, ExportedHandlableInstantiationCounts) {
  std::atomic<int> deleted{0};
  QOR::Handle<QOR::Handlable> a(new Tracked(deleted));
  QOR::Handle<QOR::Handlable> b(a);
  QOR::Handle<QOR::Handlable> c;
  c = b;
  EXPECT_TRUE(c == a);
  a.reset(nullptr);
  b.reset(nullptr);
  EXPECT_TRUE(c.isLastHandle());
  c = QOR::Handle<QOR::Handlable>();
  EXPECT_EQ(deleted, 1);
}

// Several threads copy one handle and drop the copies; one resets its own
// handle between two objects. The counts stay exact: each object is deleted
// exactly once, when the last handle goes.
TEST(HandleStress, CopiesAndDropsOnSeveralThreadsKeepTheCountExact) {
  std::atomic<int> deleted{0};
  H shared(new Tracked(deleted));
  H second(new Tracked(deleted));
  constexpr int kThreads = 4, kRounds = 50000;
  std::latch start(kThreads);
  std::vector<std::future<void>> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.push_back(std::async(std::launch::async, [&, t] {
      start.arrive_and_wait();
      H mine;
      for (int i = 0; i < kRounds; ++i) {
        H copy = shared;
        H another = copy;
        mine.reset((i + t) % 2 ? second.get() : copy.get());
      }
    }));
  }
  for (auto& f : threads) ASSERT_EQ(f.wait_for(60s), std::future_status::ready);
  threads.clear();
  EXPECT_EQ(deleted, 0);
  EXPECT_TRUE(shared.isLastHandle());
  EXPECT_TRUE(second.isLastHandle());
  shared.reset(nullptr);
  second.reset(nullptr);
  EXPECT_EQ(deleted, 2);
}

}  // namespace
