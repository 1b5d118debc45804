// Many threads start and stop nested transactions at once: each thread's stack
// is its own, every stop reaches the runtime, and the records of ended threads
// are freed (the sanitizer builds check the last two).
#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "arm4_trace.h"
#include "arm_test_support.h"
#include "zel/arm.h"

namespace Zel {
namespace {

using Stack = ArmPerThreadOperationStack;

class ArmConcurrencyTest : public zel_test::ArmTrace {};

TEST_F(ArmConcurrencyTest, ThreadsKeepTheirOwnStacks) {
  ArmApplication::OperationRegistrar request(UString(u"Request"));
  ArmApplication::OperationRegistrar lookup(UString(u"Lookup"));
  switch_on();

  constexpr int kThreads = 8;
  constexpr int kRounds = 100;
  std::atomic<int> wrong{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&] {
      Stack::get_base_correlator();
      for (int round = 0; round < kRounds; ++round) {
        if (Stack::start_transaction(request.tran_id, nullptr, true) != 0) ++wrong;
        const long long outer = Stack::current_local_operation();
        for (int inner = 0; inner < 2; ++inner) {
          if (Stack::start_transaction(lookup.tran_id, nullptr, true) != 0) ++wrong;
          arm4_trace::correlator_fields_t fields;
          if (!arm4_trace::read_correlator(*Stack::current_local_correlator(), &fields) ||
              fields.parent_handle != static_cast<std::uint64_t>(outer)) {
            ++wrong;
          }
          if (Stack::stop_transaction(ARM_STATUS_GOOD, nullptr) != 0) ++wrong;
          if (Stack::current_local_operation() != outer) ++wrong;
        }
        if (Stack::stop_transaction(ARM_STATUS_GOOD, nullptr) != 0) ++wrong;
        if (Stack::doing_local_operation()) ++wrong;
      }
    });
  }
  // A thread that makes its record and ends without a transaction.
  threads.emplace_back([] { Stack::get_base_correlator(); });
  for (std::thread& thread : threads) thread.join();

  EXPECT_EQ(wrong.load(), 0);
  EXPECT_EQ(events("stop_transaction").size(), static_cast<std::size_t>(kThreads * kRounds * 3));
}

}  // namespace
}  // namespace Zel
