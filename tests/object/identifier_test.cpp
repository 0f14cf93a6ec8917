#include <qorcor14/object/identifier.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <future>
#include <sstream>
#include <vector>

namespace {

using namespace std::chrono_literals;

// One test only: the first identifier of the process is 1, and no other test
// in this program makes identifiers.
TEST(Identifier, StartsAtOneIsUniqueAcrossThreadsAndPrintsInAngleBrackets) {
  const Identifier first;
  EXPECT_EQ(first.value(), 1);
  std::wostringstream out;
  out << first;
  EXPECT_EQ(out.str(), L"<1>");

  const Identifier again(first.toPod());
  EXPECT_TRUE(again == first);
  EXPECT_EQ(Identifier::PODTYPE{42}.value, Identifier(Identifier::PODTYPE{42}).toPod().value);

  constexpr int kThreads = 4, kEach = 20000;
  std::vector<std::future<std::vector<long>>> threads;
  for (int t = 0; t < kThreads; ++t)
    threads.push_back(std::async(std::launch::async, [] {
      std::vector<long> ids;
      for (int i = 0; i < kEach; ++i) ids.push_back(Identifier().value());
      return ids;
    }));
  std::vector<long> all;
  for (auto& f : threads) {
    ASSERT_EQ(f.wait_for(60s), std::future_status::ready);
    const auto ids = f.get();
    EXPECT_TRUE(std::is_sorted(ids.begin(), ids.end()));  // increasing within a thread
    all.insert(all.end(), ids.begin(), ids.end());
  }
  std::sort(all.begin(), all.end());
  // Exactly 2 .. kThreads * kEach + 1, each once.
  for (std::size_t i = 0; i < all.size(); ++i) ASSERT_EQ(all[i], static_cast<long>(i) + 2);
}

}  // namespace
