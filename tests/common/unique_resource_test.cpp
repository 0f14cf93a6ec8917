// UniqueResource: closes exactly once whatever the path, and never disturbs
// the thread's last error.
#include "common/unique_resource.h"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

namespace {

using QOR::internal::UniqueHandle;
using QOR::internal::UniqueResource;

// Integers stand for resources; -1 is the empty value. Every close is
// recorded, and it fails the way a system call does: it sets another error.
std::vector<int> closed;

struct CountingTraits {
  using type = int;
  static constexpr type invalid() noexcept { return -1; }
  static void close(type value) noexcept {
    closed.push_back(value);
    SetLastError(ERROR_INVALID_HANDLE);
  }
};
using Owner = UniqueResource<CountingTraits>;

struct Case {
  const char* name;
  void (*run)();
  std::vector<int> closes;  // in order, once the owners are gone
};

TEST(UniqueResource, EachOwnedValueClosesOnceOnEveryPath) {
  // clang-format off
  const Case cases[] = {
      {"empty owner", [] { Owner a; }, {}},
      {"destructor", [] { Owner a(1); }, {1}},
      {"move construction leaves the source empty", [] { Owner a(1); Owner b(std::move(a)); }, {1}},
      {"move assignment closes the target's value first",
       [] { Owner a(1); Owner b(2); b = std::move(a); EXPECT_EQ(b.get(), 1); EXPECT_FALSE(a); }, {2, 1}},
      {"self move assignment keeps the value",
       [] { Owner a(1); Owner& self = a; a = std::move(self); EXPECT_EQ(a.get(), 1); }, {1}},
      {"reset closes the old value, then the new one at the end", [] { Owner a(1); a.reset(2); }, {1, 2}},
      {"reset to empty", [] { Owner a(1); a.reset(); EXPECT_FALSE(a); }, {1}},
      {"release gives the value up unclosed", [] { Owner a(1); EXPECT_EQ(a.release(), 1); EXPECT_FALSE(a); }, {}},
      {"put closes what was held and takes what is written",
       [] { Owner a(1); *a.put() = 2; EXPECT_TRUE(a); }, {1, 2}},
      {"zero is a value like any other", [] { Owner a(0); EXPECT_TRUE(a); }, {0}},
  };
  // clang-format on
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    closed.clear();
    SetLastError(12345);
    c.run();
    EXPECT_EQ(closed, c.closes);
    EXPECT_EQ(GetLastError(), 12345u);
  }
}

// A real CloseHandle that fails, on a handle value already closed, leaves
// the error being reported as it was.
TEST(UniqueResource, FailingCloseHandleKeepsLastError) {
  const HANDLE event = CreateEventW(nullptr, FALSE, FALSE, nullptr);
  ASSERT_NE(event, nullptr);
  ASSERT_TRUE(CloseHandle(event));
  SetLastError(0);
  ASSERT_FALSE(CloseHandle(event));
  ASSERT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_HANDLE));

  SetLastError(ERROR_FILE_NOT_FOUND);
  { UniqueHandle stale(event); }
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
}

}  // namespace
