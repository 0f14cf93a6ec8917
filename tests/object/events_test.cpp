#include <qorcor14/object/events.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <future>
#include <latch>
#include <memory>
#include <string>
#include <vector>

namespace {

using namespace std::chrono_literals;

template <class T>
class Recorder : public EVSubscription<T> {
public:
  using Log = std::vector<std::pair<const Recorder*, T>>;
  Recorder(EVSubscriptionList<T>& list, Log& log)
      : EVSubscription<T>(list, typename EVSubscription<T>::StartMuted{}), m_log(log) {
    this->unmute();
  }
  ~Recorder() override { this->destroy(); }
  void operator()(const T& value) override { m_log.emplace_back(this, value); }
  using EVSubscription<T>::destroy;

private:
  Log& m_log;
};

class VoidCounter : public EVSubscription<void> {
public:
  explicit VoidCounter(EVSubscriptionList<void>& list) : EVSubscription(list) {}
  ~VoidCounter() override { destroy(); }
  void operator()() override { ++calls; }
  using EVSubscription::destroy;
  int calls = 0;
};

template <class T>
void checkFiresInAddressOrder(const T& value) {
  auto list = EVSubscriptionList<T>::create();
  typename Recorder<T>::Log log;
  (*list)(value);  // nobody listening
  EXPECT_TRUE(log.empty());
  auto a = std::make_unique<Recorder<T>>(*list, log);
  auto b = std::make_unique<Recorder<T>>(*list, log);
  (*list)(value);
  ASSERT_EQ(log.size(), 2u);
  const Recorder<T>* lower = std::min(a.get(), b.get(), std::less<>());
  EXPECT_EQ(log[0].first, lower);
  EXPECT_NE(log[0].first, log[1].first);
  EXPECT_EQ(log[0].second, value);
  EXPECT_EQ(log[1].second, value);

  lower == a.get() ? a->mute() : b->mute();  // the muted one is passed over
  log.clear();
  (*list)(value);
  ASSERT_EQ(log.size(), 1u);
  EXPECT_NE(log[0].first, lower);
}

TEST(Events, EachKindFiresItsValueToListenersInAddressOrder) {
  checkFiresInAddressOrder<int>(-7);
  checkFiresInAddressOrder<std::wstring>(L"changed");
  checkFiresInAddressOrder<Quark>(Quark::create(L"layer"));

  auto list = EVSubscriptionList<void>::create();
  VoidCounter c(*list);
  (*list)();
  c.mute();
  (*list)();
  c.unmute();
  (*list)();
  EXPECT_EQ(c.calls, 2);
}

TEST(Events, ListenersKeepTheListAliveAndDestroyIsIdempotent) {
  auto source = EVSubscriptionList<void>::create();
  EXPECT_TRUE(source.isLastHandle());
  EVSubscriptionList<void>* list = source.get();
  auto c = std::make_unique<VoidCounter>(*list);
  EXPECT_FALSE(source.isLastHandle());  // the listener holds a reference
  source.reset(nullptr);                // the source lets go
  (*list)();                            // still alive
  EXPECT_EQ(c->calls, 1);
  c->destroy();  // detaches and drops the last reference
  c->destroy();  // nothing more
  c.reset();     // nor here
}

// Flags any call that reaches it while not fully built.
class Transient : public EVSubscription<int> {
public:
  Transient(EVSubscriptionList<int>& list, std::atomic<long>& received)
      : EVSubscription(list, StartMuted{}), m_received(received) {
    alive = true;
    unmute();
  }
  ~Transient() override {
    destroy();
    alive = false;
  }
  void operator()(const int&) override {
    if (!alive) bad = true;
    ++m_received;
  }
  static std::atomic<bool> bad;

private:
  std::atomic<long>& m_received;
  std::atomic<bool> alive{false};
};
std::atomic<bool> Transient::bad{false};

class Total : public EVSubscription<int> {
public:
  explicit Total(EVSubscriptionList<int>& list) : EVSubscription(list) {}
  ~Total() override { destroy(); }
  void operator()(const int& v) override {
    sum += v;
    ++calls;
  }
  std::atomic<long> sum{0}, calls{0};
};

TEST(EventsStress, FiringWhileOthersSubscribeAndUnsubscribe) {
  auto list = EVSubscriptionList<int>::create();
  Total total(*list);
  std::atomic<long> transientCalls{0};
  constexpr int kFires = 20000, kChurn = 3000;
  std::latch start(5);
  std::vector<std::future<void>> threads;
  for (int t = 0; t < 3; ++t)
    threads.push_back(std::async(std::launch::async, [&] {
      start.arrive_and_wait();
      for (int i = 0; i < kFires; ++i) (*list)(1);
    }));
  for (int t = 0; t < 2; ++t)
    threads.push_back(std::async(std::launch::async, [&] {
      start.arrive_and_wait();
      for (int i = 0; i < kChurn; ++i) {
        Transient listener(*list, transientCalls);
        if (i % 8 == 0) (*list)(0);  // firing from a subscriber's thread is fine
      }
    }));
  for (auto& f : threads) ASSERT_EQ(f.wait_for(60s), std::future_status::ready);
  EXPECT_FALSE(Transient::bad);
  EXPECT_EQ(total.sum, 3 * kFires);
  EXPECT_EQ(total.calls, 3 * kFires + 2 * ((kChurn + 7) / 8));
  EXPECT_GT(transientCalls, 0);
}

}  // namespace
