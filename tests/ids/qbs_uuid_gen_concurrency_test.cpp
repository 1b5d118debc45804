// The generator from several threads and several processes at once.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <thread>
#include <vector>

#include "generated_fields.h"
#include "support/threads.h"
#include "zel/oid.h"

namespace Zel {
namespace {

TEST(UuidGeneratorConcurrency, ThreadsNeverRepeat) {
  constexpr int kThreads = 4;
  constexpr int kPerThread = 50000;
  std::vector<std::vector<qbs_uuid_s>> results(kThreads);
  zel_test::run_together(kThreads, [&results](int t) {
    results[t].resize(kPerThread);
    for (qbs_uuid_s& u : results[t]) ASSERT_EQ(kzserver_qbs_uuid_gen(&u), 0);
  });
  std::vector<qbs_uuid_s> all;
  for (const auto& r : results) all.insert(all.end(), r.begin(), r.end());
  zel_test::expect_all_distinct(all);
}

// Writes `count` UUIDs to `fd` and ends the child; exit status 1 on any failure.
[[noreturn]] void generate_into(int fd, int count) {
  std::vector<qbs_uuid_s> ids(static_cast<std::size_t>(count));
  for (auto& id : ids) {
    if (kzserver_qbs_uuid_gen(&id) != 0) _exit(1);
  }
  const char* data = reinterpret_cast<const char*>(ids.data());
  std::size_t left = ids.size() * sizeof(qbs_uuid_s);
  while (left > 0) {
    const ssize_t written = write(fd, data, left);
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) _exit(1);
    data += written;
    left -= static_cast<std::size_t>(written);
  }
  _exit(0);
}

// Children forked from one parent inherit its generator state; each must still
// produce values of its own, and the parent goes on generating meanwhile.
TEST(UuidGeneratorConcurrency, ForkedChildrenNeverRepeat) {
  constexpr int kChildren = 4;
  constexpr int kPerProcess = 100000;
  std::vector<qbs_uuid_s> all;
  for (int i = 0; i < 1000; ++i) all.push_back(Uuid::gen());

  std::vector<pid_t> children;
  std::vector<int> pipes;
  for (int c = 0; c < kChildren; ++c) {
    int fds[2];
    ASSERT_EQ(pipe(fds), 0);
    const pid_t pid = fork();
    ASSERT_GE(pid, 0);
    if (pid == 0) {
      close(fds[0]);
      generate_into(fds[1], kPerProcess);
    }
    close(fds[1]);
    children.push_back(pid);
    pipes.push_back(fds[0]);
  }
  for (int i = 0; i < kPerProcess; ++i) all.push_back(Uuid::gen());

  // A child blocks on its full pipe until its turn comes to be read.
  for (int c = 0; c < kChildren; ++c) {
    std::vector<char> received;
    char buffer[65536];
    for (ssize_t n; (n = read(pipes[c], buffer, sizeof buffer)) != 0;) {
      if (n < 0 && errno == EINTR) continue;
      ASSERT_GT(n, 0);
      received.insert(received.end(), buffer, buffer + n);
    }
    close(pipes[c]);
    int status = 0;
    ASSERT_EQ(waitpid(children[c], &status, 0), children[c]);
    ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "child " << c;
    ASSERT_EQ(received.size(), kPerProcess * sizeof(qbs_uuid_s)) << "child " << c;
    for (std::size_t at = 0; at < received.size(); at += sizeof(qbs_uuid_s)) {
      qbs_uuid_s u;
      std::memcpy(&u, received.data() + at, sizeof u);
      ASSERT_EQ(zel_test::pid_bits_of(u), static_cast<std::uint32_t>(children[c]) & 0xFFFF);
      all.push_back(u);
    }
  }
  zel_test::expect_all_distinct(all);
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
      const bool ok = kzserver_qbs_uuid_gen(&u) == 0 &&
                      zel_test::pid_bits_of(u) == (static_cast<std::uint32_t>(getpid()) & 0xFFFF);
      _exit(ok ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(waitpid(pid, &status, 0), pid);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "child " << c;
  }
  stop = true;
  busy.join();
}

}  // namespace
}  // namespace Zel
