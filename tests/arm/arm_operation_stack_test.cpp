// Per-thread operation stacks against the arm4-trace runtime: nesting and
// correlator chains, entry reuse, failures, consumed buffers, and the report
// of the zelutil tool over the resulting trace.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "arm4_trace.h"
#include "support/arm_trace.h"
#include "zel/arm.h"

namespace Zel {
namespace {

using Stack = ArmPerThreadOperationStack;
using zel_test::field;
using zel_test::number;

class ArmStackTest : public zel_test::ArmTrace {
 protected:
  void SetUp() override {
    ArmTrace::SetUp();
    switch_on();
  }

  ArmApplication::OperationRegistrar outer_{UString(u"Outer")};
  ArmApplication::OperationRegistrar inner_{UString(u"Inner")};
};

TEST_F(ArmStackTest, AThreadWithoutItsRecordCannotStart) {
  EXPECT_EQ(Stack::start_transaction(outer_.tran_id, nullptr, false), ARM_OFF);
  EXPECT_EQ(Stack::stop_transaction(ARM_STATUS_GOOD, nullptr), ARM_OFF);
  EXPECT_TRUE(events("start_transaction").empty());
}

TEST_F(ArmStackTest, NestedTransactionsChainTheirCorrelators) {
  // The caller's correlator, as if it came with the request from another process.
  arm4_trace::correlator_fields_t caller;
  caller.handle = 999;
  arm4_trace::write_correlator(caller, Stack::get_base_correlator());

  std::vector<long long> handles;
  std::uint64_t expected_parent = 999;
  for (int depth = 1; depth <= 3; ++depth) {
    ASSERT_EQ(
        Stack::start_transaction(depth == 1 ? outer_.tran_id : inner_.tran_id, nullptr, depth > 1),
        0);
    handles.push_back(Stack::current_local_operation());
    EXPECT_TRUE(Stack::doing_local_operation());
    arm4_trace::correlator_fields_t fields;
    ASSERT_TRUE(arm4_trace::read_correlator(*Stack::current_local_correlator(), &fields));
    EXPECT_EQ(fields.parent_handle, expected_parent);
    if (depth > 1) {
      const arm_id_t& parent = depth == 2 ? outer_.tran_id : inner_.tran_id;
      EXPECT_EQ(std::memcmp(&fields.parent_tran_id, &parent, sizeof parent), 0);
    }
    expected_parent = static_cast<std::uint64_t>(handles.back());
  }
  const auto starts = events("start_transaction");
  ASSERT_EQ(starts.size(), 3u);
  EXPECT_EQ(field(starts[0], "flags"), "3");
  EXPECT_EQ(field(starts[1], "flags"), "7");
  EXPECT_EQ(number(starts[2], "parent_handle"), static_cast<std::uint64_t>(handles[1]));

  const int statuses[] = {ARM_STATUS_FAILED, ARM_STATUS_ABORTED, ARM_STATUS_GOOD};
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(Stack::stop_transaction(statuses[i], nullptr), 0);
    EXPECT_EQ(Stack::current_local_operation(), i < 2 ? handles[1 - i] : 0);
  }
  EXPECT_FALSE(Stack::doing_local_operation());
  EXPECT_EQ(Stack::current_local_correlator(), nullptr);
  const auto stops = events("stop_transaction");
  ASSERT_EQ(stops.size(), 3u);
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(std::stoll(field(stops[i], "handle")), handles[2 - i]);
    EXPECT_EQ(std::stoi(field(stops[i], "status")), statuses[i]);
  }
  EXPECT_EQ(field(stops[2], "name"), "Outer");
}

TEST_F(ArmStackTest, EntriesAreReusedAtEachDepth) {
  Stack::get_base_correlator();
  std::vector<const arm_correlator*> first_series;
  for (int series = 0; series < 2; ++series) {
    for (int depth = 0; depth < 2; ++depth) {
      ASSERT_EQ(Stack::start_transaction(inner_.tran_id, nullptr, true), 0);
      if (series == 0) {
        first_series.push_back(Stack::current_local_correlator());
      } else {
        EXPECT_EQ(Stack::current_local_correlator(), first_series[depth]);
      }
    }
    Stack::stop_transaction(ARM_STATUS_GOOD, nullptr);
    Stack::stop_transaction(ARM_STATUS_GOOD, nullptr);
  }
}

TEST_F(ArmStackTest, AFailedStartKeepsTheTopAndAFailedStopStillPops) {
  Stack::get_base_correlator();
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

TEST_F(ArmStackTest, StartAndStopConsumeTheirBuffers) {
  Stack::get_base_correlator();
  ArmBuffer start(false);
  start.add_buffer(UString(u"why"));
  ASSERT_EQ(Stack::start_transaction(outer_.tran_id, &start, false), 0);
  EXPECT_EQ(start.count(), 0);
  ArmBuffer stop(false);
  ArmMetricValuesBuffer values;
  values.add_value(0, ARM_METRIC_FORMAT_COUNTER32, 0, true, 3);
  stop.add_buffer(values);
  ASSERT_EQ(Stack::stop_transaction(ARM_STATUS_GOOD, &stop), 0);
  EXPECT_EQ(stop.count(), 0);
  EXPECT_EQ(field(events("start_transaction")[0], "buffers"), "[7]");
  EXPECT_EQ(field(events("stop_transaction")[0], "buffers"), "[5]");
}

#ifdef ZEL_TEST_ZELUTIL
TEST_F(ArmStackTest, TheReportCountsWhatRan) {
  Stack::get_base_correlator();
  const std::vector<std::pair<const ArmApplication::OperationRegistrar*, int>> runs = {
      {&outer_, ARM_STATUS_GOOD}, {&inner_, ARM_STATUS_GOOD},    {&outer_, ARM_STATUS_FAILED},
      {&outer_, ARM_STATUS_GOOD}, {&inner_, ARM_STATUS_ABORTED}, {&outer_, ARM_STATUS_GOOD}};
  for (const auto& [registrar, status] : runs) {
    ASSERT_EQ(Stack::start_transaction(registrar->tran_id, nullptr, false), 0);
    ASSERT_EQ(Stack::stop_transaction(status, nullptr), 0);
  }
  const std::string command = std::string(ZEL_TEST_ZELUTIL) + " arm report " + trace_path();
  FILE* pipe = ::popen(command.c_str(), "r");
  ASSERT_NE(pipe, nullptr);
  std::string output;
  char chunk[256];
  while (std::fgets(chunk, sizeof chunk, pipe) != nullptr) output += chunk;
  EXPECT_EQ(::pclose(pipe), 0);
  EXPECT_THAT(output, testing::ContainsRegex("\nInner\t2\t1(\t[0-9.]+){4}\n"
                                             "Outer\t4\t1(\t[0-9.]+){4}\n$"));
}
#endif

}  // namespace
}  // namespace Zel
