// Starts threads together for the concurrent tests: each waits at a gate until
// all exist, so that their work overlaps as much as it can and ThreadSanitizer
// sees every unguarded access to shared state.
#ifndef ZEL_TESTS_SUPPORT_THREADS_H_
#define ZEL_TESTS_SUPPORT_THREADS_H_

#include <atomic>
#include <thread>
#include <vector>

namespace zel_test {

// Runs body(0) ... body(threads - 1), each on a thread of its own, and joins them.
template <typename Body>
void run_together(int threads, Body body) {
  std::atomic<bool> go{false};
  std::vector<std::thread> running;
  for (int t = 0; t < threads; ++t) {
    running.emplace_back([&go, &body, t] {
      while (!go.load()) std::this_thread::yield();
      body(t);
    });
  }
  go = true;
  for (std::thread& thread : running) thread.join();
}

}  // namespace zel_test

#endif  // ZEL_TESTS_SUPPORT_THREADS_H_
