// Per-thread operation stacks against the arm4-trace runtime: nesting,
// correlator chains and consumed buffers, entry reuse, failures.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "arm4_trace.h"
#include "support/arm_trace.h"
#include "zel/arm.h"

namespace Zel {
namespace {

using Stack = ArmPerThreadOperationStack;
using zel_test::field;

class ArmStackTest : public zel_test::ArmTrace {
 protected:
  void SetUp() override {
    switch_on();
    base_ = Stack::get_base_correlator();
    ASSERT_NE(base_, nullptr);
  }

  ArmApplication::OperationRegistrar outer_{UString(u"Outer")};
  ArmApplication::OperationRegistrar inner_{UString(u"Inner")};
  arm_correlator* base_ = nullptr;
};

TEST_F(ArmStackTest, AThreadWithoutItsRecordCannotStart) {
  std::thread([this] {
    EXPECT_EQ(Stack::start_transaction(outer_.tran_id, nullptr, false), ARM_OFF);
    EXPECT_EQ(Stack::stop_transaction(ARM_STATUS_GOOD, nullptr), ARM_OFF);
  }).join();
  EXPECT_TRUE(events("start_transaction").empty());
}

TEST_F(ArmStackTest, NestedTransactionsChainTheirCorrelators) {
  // The caller's correlator, as if it came with the request from another process.
  arm4_trace::correlator_fields_t caller;
  caller.handle = 999;
  arm4_trace::write_correlator(caller, base_);
  ArmBuffer buffer(false);  // for the first start, then the last stop, which consume it
  buffer.add_buffer(UString(u"why"));

  std::vector<long long> handles;
  std::uint64_t expected_parent = 999;
  const arm_id_t* parents[] = {&caller.tran_id, &outer_.tran_id, &inner_.tran_id};
  for (int depth = 1; depth <= 3; ++depth) {
    const arm_id_t& tran = depth == 1 ? outer_.tran_id : inner_.tran_id;
    ASSERT_EQ(Stack::start_transaction(tran, depth == 1 ? &buffer : nullptr, depth > 1), 0);
    handles.push_back(Stack::current_local_operation());
    EXPECT_TRUE(Stack::doing_local_operation());
    arm4_trace::correlator_fields_t fields;
    ASSERT_TRUE(arm4_trace::read_correlator(*Stack::current_local_correlator(), &fields));
    EXPECT_EQ(fields.parent_handle, expected_parent);
    EXPECT_EQ(std::memcmp(&fields.parent_tran_id, parents[depth - 1], sizeof(arm_id_t)), 0);
    expected_parent = static_cast<std::uint64_t>(handles.back());
  }
  const auto starts = events("start_transaction");
  ASSERT_EQ(starts.size(), 3u);
  EXPECT_EQ(field(starts[0], "flags"), "3");
  EXPECT_EQ(field(starts[1], "flags"), "7");
  EXPECT_EQ(field(starts[0], "buffers"), "[7]");
  EXPECT_EQ(field(starts[1], "buffers"), "[]");
  EXPECT_TRUE(buffer.empty());
  buffer.add_buffer(12345LL);

  const int statuses[] = {ARM_STATUS_FAILED, ARM_STATUS_ABORTED, ARM_STATUS_GOOD};
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(Stack::stop_transaction(statuses[i], i == 2 ? &buffer : nullptr), 0);
    EXPECT_EQ(Stack::current_local_operation(), i < 2 ? handles[1 - i] : 0);
  }
  EXPECT_FALSE(Stack::doing_local_operation());
  EXPECT_EQ(Stack::current_local_correlator(), nullptr);
  EXPECT_TRUE(buffer.empty());
  const auto stops = events("stop_transaction");
  ASSERT_EQ(stops.size(), 3u);
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(std::stoll(field(stops[i], "handle")), handles[2 - i]);
    EXPECT_EQ(std::stoi(field(stops[i], "status")), statuses[i]);
    EXPECT_GE(std::stoll(field(stops[i], "response_ns")), 0);  // what `zelutil arm report` reads
  }
  EXPECT_EQ(field(stops[2], "name"), "Outer");
  EXPECT_EQ(field(stops[2], "buffers"), "[4]");
}

TEST_F(ArmStackTest, EntriesAreReusedAtEachDepth) {
  std::vector<const arm_correlator*> first_series;
  for (int series = 0; series < 2; ++series) {
    for (int depth = 0; depth < 2; ++depth) {
      ASSERT_EQ(Stack::start_transaction(inner_.tran_id, nullptr, true), 0);
      if (series == 0) first_series.push_back(Stack::current_local_correlator());
      EXPECT_EQ(Stack::current_local_correlator(), first_series[depth]);
    }
    Stack::stop_transaction(ARM_STATUS_GOOD, nullptr);
    Stack::stop_transaction(ARM_STATUS_GOOD, nullptr);
  }
}

TEST_F(ArmStackTest, AFailedStartKeepsTheTopAndAFailedStopStillPops) {
  ASSERT_EQ(Stack::start_transaction(outer_.tran_id, nullptr, false), 0);
  const long long outer = Stack::current_local_operation();
  const arm_correlator* outer_correlator = Stack::current_local_correlator();

  ::setenv("ZEL_ARM_TRACE_FAIL", "arm_start_transaction", 1);
  EXPECT_EQ(Stack::start_transaction(inner_.tran_id, nullptr, false), arm4_trace::ERROR_REQUESTED);
  EXPECT_EQ(Stack::current_local_operation(), outer);
  EXPECT_EQ(Stack::current_local_correlator(), outer_correlator);

  ::setenv("ZEL_ARM_TRACE_FAIL", "arm_stop_transaction", 1);
  EXPECT_EQ(Stack::stop_transaction(ARM_STATUS_GOOD, nullptr), arm4_trace::ERROR_REQUESTED);
  EXPECT_FALSE(Stack::doing_local_operation());
  EXPECT_EQ(Stack::stop_transaction(ARM_STATUS_GOOD, nullptr), ARM_OFF);
}

}  // namespace
}  // namespace Zel
