// Many threads start and stop nested transactions at once: each thread's stack
// is its own, every stop reaches the runtime, and the records of ended threads
// are freed (the sanitizer builds check the last two).
#include <gtest/gtest.h>

#include <atomic>

#include "arm4_trace.h"
#include "support/arm_trace.h"
#include "support/threads.h"
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
  // One more thread makes its record and ends without a transaction.
  zel_test::run_together(kThreads + 1, [&](int t) {
    Stack::get_base_correlator();
    if (t == kThreads) return;
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

  EXPECT_EQ(wrong.load(), 0);
  EXPECT_EQ(events("stop_transaction").size(), static_cast<std::size_t>(kThreads * kRounds * 3));
}

}  // namespace
}  // namespace Zel
