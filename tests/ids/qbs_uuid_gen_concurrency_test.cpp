// The generator from several threads and several processes at once.
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <thread>
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

// Children forked from one parent inherit its generator state; each must still
// produce values of its own, and the parent goes on generating meanwhile.
TEST(UuidGeneratorConcurrency, ForkedChildrenNeverRepeat) {
  constexpr std::size_t kProcesses = 5;  // the parent first, then its children
  constexpr std::size_t kEach = 100000;
  // Shared with the children, which write their ids straight into their part.
  const std::size_t size = kProcesses * kEach * sizeof(qbs_uuid_s);
  void* shared = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  ASSERT_NE(shared, MAP_FAILED);
  auto* ids = static_cast<qbs_uuid_s*>(shared);
  for (std::size_t i = 0; i < 1000; ++i) ids[i] = Uuid::gen();

  std::vector<pid_t> children;
  for (std::size_t p = 1; p < kProcesses; ++p) {
    const pid_t pid = fork();
    ASSERT_GE(pid, 0);
    if (pid == 0) {
      for (std::size_t i = p * kEach; i < (p + 1) * kEach; ++i) {
        if (kzserver_qbs_uuid_gen(&ids[i]) != 0 || !has_own_pid_bits(ids[i])) _exit(1);
      }
      _exit(0);
    }
    children.push_back(pid);
  }
  for (std::size_t i = 1000; i < kEach; ++i) ASSERT_EQ(kzserver_qbs_uuid_gen(&ids[i]), 0);
  for (const pid_t child : children) expect_clean_exit(child);
  zel_test::expect_all_distinct(std::vector<qbs_uuid_s>(ids, ids + kProcesses * kEach));
  munmap(shared, size);
}

// A child forked while another thread holds the generator's lock must not
// inherit it locked: every child generates once and exits.
TEST(UuidGeneratorConcurrency, ForkWhileAnotherThreadGenerates) {
  std::atomic<bool> stop{false};
  std::thread busy([&stop] {
    while (!stop.load()) (void)Uuid::gen();
  });
  for (int c = 0; c < 20; ++c) {
    const pid_t pid = fork();
    ASSERT_GE(pid, 0);
    if (pid == 0) {
      qbs_uuid_s u;
      _exit(kzserver_qbs_uuid_gen(&u) == 0 && has_own_pid_bits(u) ? 0 : 1);
    }
    expect_clean_exit(pid);
  }
  stop = true;
  busy.join();
}

}  // namespace
}  // namespace Zel
