// The generator from several threads and several processes at once.
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <vector>

#include "generated_fields.h"
#include "support/threads.h"
#include "zel/oid.h"

namespace Zel {
namespace {

bool has_own_pid_bits(const qbs_uuid_s& u) {
  return zel_test::pid_bits_of(u) == (static_cast<std::uint32_t>(getpid()) & 0xFFFF);
}

void expect_clean_exit(pid_t child) {
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "child " << child;
}

// Without forks, so that ThreadSanitizer reports an unguarded access cleanly.
TEST(UuidGeneratorConcurrency, ThreadsNeverRepeat) {
  constexpr int kThreads = 4;
  constexpr int kPerThread = 50000;
  std::vector<qbs_uuid_s> all(kThreads * kPerThread);
  zel_test::run_together(kThreads, [&all](int t) {
    for (int i = t * kPerThread; i < (t + 1) * kPerThread; ++i) {
      ASSERT_EQ(kzserver_qbs_uuid_gen(&all[i]), 0);
    }
  });
  zel_test::expect_all_distinct(all);
}

// Two threads of the parent generate together while one of them forks
// children, which inherit the generator's state and may be forked while the
// other thread holds its lock: each child must still generate values of its own.
TEST(UuidGeneratorConcurrency, ThreadsAndForkedChildrenNeverRepeat) {
  constexpr std::size_t kChildren = 8;
  constexpr std::size_t kEach = 25000;
  // Shared with the children, which write their ids straight into their part;
  // the parent's threads have the first two parts.
  const std::size_t count = (kChildren + 2) * kEach;
  void* shared = mmap(nullptr, count * sizeof(qbs_uuid_s), PROT_READ | PROT_WRITE,
                      MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  ASSERT_NE(shared, MAP_FAILED);
  auto* ids = static_cast<qbs_uuid_s*>(shared);
  std::atomic<bool> forked{false};
  std::vector<pid_t> children;
  zel_test::run_together(2, [&](int t) {
    if (t == 1) {  // until every child exists, keeping the last ids made
      for (std::size_t i = 0; i < kEach || !forked.load(); ++i) {
        ASSERT_EQ(kzserver_qbs_uuid_gen(&ids[kEach + i % kEach]), 0);
      }
      return;
    }
    for (std::size_t part = 2; part < kChildren + 2; ++part) {
      const pid_t pid = fork();  // a failure shows as a child that did not exit cleanly
      if (pid == 0) {
        for (std::size_t i = part * kEach; i < (part + 1) * kEach; ++i) {
          if (kzserver_qbs_uuid_gen(&ids[i]) != 0 || !has_own_pid_bits(ids[i])) _exit(1);
        }
        _exit(0);
      }
      children.push_back(pid);
      for (std::size_t i = (part - 2) * kEach / kChildren; i < (part - 1) * kEach / kChildren;
           ++i) {
        EXPECT_EQ(kzserver_qbs_uuid_gen(&ids[i]), 0);  // not ASSERT: the other thread waits
      }
    }
    forked = true;
  });
  for (const pid_t child : children) expect_clean_exit(child);
  zel_test::expect_all_distinct(std::vector<qbs_uuid_s>(ids, ids + count));
  munmap(shared, count * sizeof(qbs_uuid_s));
}

}  // namespace
}  // namespace Zel
