#include "zel/critsec.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <thread>
#include <vector>

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
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < kRounds; ++i) {
        CriticalSection outer(lock);
        CriticalSection inner(lock);  // would deadlock on a non-recursive mutex
        ++counter;
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(counter, long{kThreads} * kRounds);
}

}  // namespace
}  // namespace Zel
