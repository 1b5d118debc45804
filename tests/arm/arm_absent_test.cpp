// ARM without a runtime: level 0, and no libarm4.so to be found. Every call
// answers ARM_OFF without reaching anything, and a failed load is logged.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "support/scratch.h"
#include "zel/arm.h"
#include "zel/logadaptor.h"

namespace Zel {
namespace {

using Stack = ArmPerThreadOperationStack;
using testing::HasSubstr;

int occurrences(const std::string& text, const std::string& part) {
  int n = 0;
  for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
    ++n;
  }
  return n;
}

TEST(ArmOff, LevelZeroLoadsNothingAndEveryCallIsOff) {
  ArmBuffer buffer(false);
  buffer.add_buffer(UString(u"kept"));
  EXPECT_EQ(ArmApplication::register_application(0, UString(u"server"), &buffer), 0);
  EXPECT_EQ(ArmApplication::ArmRuntimeLoader::g_arm4_handle, nullptr);
  EXPECT_EQ(ArmApplication::g_level, 0);

  arm_id_t id{};
  long long arrival = 0;
  char message[ARM_MSG_BUFFER_LENGTH];
  EXPECT_EQ(ArmApplication::start_application(&buffer, UString(u"g"), UString(u"i")), ARM_OFF);
  EXPECT_EQ(ArmApplication::register_transaction("t", 0, nullptr, &id), ARM_OFF);
  EXPECT_EQ(ArmApplication::get_error_message(ARM_CHARSET_UTF8, -1, message), ARM_OFF);
  EXPECT_EQ(ArmApplication::get_arrival_time(&arrival), ARM_OFF);
  EXPECT_EQ(Stack::get_base_correlator(), nullptr);
  EXPECT_EQ(Stack::start_transaction(id, &buffer, true), ARM_OFF);
  EXPECT_EQ(Stack::stop_transaction(ARM_STATUS_GOOD, &buffer), ARM_OFF);
  EXPECT_FALSE(Stack::doing_local_operation());
  EXPECT_EQ(Stack::current_local_operation(), 0);
  EXPECT_EQ(Stack::current_local_correlator(), nullptr);
  EXPECT_EQ(buffer.count(), 1);  // a call that returns at once consumes nothing
}

TEST(ArmOff, AMissingRuntimeIsLoggedAndTriedAgain) {
  zel_test::ScratchDir dir;
  ASSERT_NE(Log::LogAdaptor::initialize("arm", dir.path().c_str(), "info", 0), nullptr);
  ArmBuffer none(false);
  for (int attempt = 0; attempt < 2; ++attempt) {
    EXPECT_EQ(ArmApplication::register_application(1, UString(u"server"), &none), ARM_OFF);
    EXPECT_EQ(ArmApplication::g_level, 0);
    EXPECT_EQ(ArmApplication::ArmRuntimeLoader::g_arm4_handle, nullptr);
  }
  EXPECT_EQ(ArmApplication::ArmRuntimeLoader::load_runtime(), ARM_OFF);

  const std::string log = zel_test::read_file(dir.file("arm.log"));
  EXPECT_EQ(occurrences(log, "[Zel] [error] arm_application.cpp:"), 5);
  EXPECT_EQ(occurrences(log, " ArmRuntimeLoader::load_runtime: libarm4.so: cannot open"), 3);
  EXPECT_EQ(occurrences(log,
                        " ArmApplication::register_application: Failed to load ARM "
                        "runtime. ARM is disabled.\n"),
            2);
}

}  // namespace
}  // namespace Zel
