#include "zel/critsec.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <thread>

#include "support/threads.h"

namespace Zel {
namespace {

TEST(CriticalSection, ReleasesWhenAnExceptionLeavesTheScope) {
  CriticalSectionLock lock;
  try {
    CriticalSection guard(lock);
    throw std::runtime_error("leave");
  } catch (const std::runtime_error&) {
  }
  // Another thread can take it: the guard released every level.
  std::thread other([&] { CriticalSection guard(lock); });
  other.join();
}

TEST(CriticalSection, NestsAndExcludesOtherThreads) {
  CriticalSectionLock lock;
  long counter = 0;  // deliberately not atomic: the lock must protect it
  constexpr int kThreads = 4;
  constexpr int kRounds = 20000;
  zel_test::run_together(kThreads, [&](int) {
    for (int i = 0; i < kRounds; ++i) {
      CriticalSection outer(lock);
      CriticalSection inner(lock);  // would deadlock on a non-recursive mutex
      ++counter;
    }
  });
  EXPECT_EQ(counter, long{kThreads} * kRounds);
}

}  // namespace
}  // namespace Zel
