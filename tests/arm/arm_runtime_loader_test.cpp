// ARM without a usable runtime. Built twice: CTest gives arm_absent_test no
// libarm4.so to find, and arm_incomplete_test a build of arm4-trace without its
// last entry point. Either way every call answers ARM_OFF without reaching
// anything, and each failed load is logged and tried again next time.
#include <gtest/gtest.h>

#include <regex>
#include <string>

#include "support/scratch.h"
#include "zel/arm.h"
#include "zel/logadaptor.h"

namespace Zel {
namespace {

using Loader = ArmApplication::ArmRuntimeLoader;
using Stack = ArmPerThreadOperationStack;

// Distinct suite names keep the two binaries' CTest names apart.
#ifdef ZEL_TEST_INCOMPLETE_RUNTIME
#define ARM_SUITE ArmIncompleteRuntime
constexpr bool kIncomplete = true;
constexpr char kLoaderMessage[] = "undefined symbol: arm_get_arrival_time";
#else
#define ARM_SUITE ArmAbsentRuntime
constexpr bool kIncomplete = false;
constexpr char kLoaderMessage[] = "libarm4.so: cannot open";
#endif

TEST(ARM_SUITE, LevelZeroLoadsNothingAndEveryCallIsOff) {
  ArmBuffer buffer(false);
  buffer.add_buffer(UString(u"kept"));
  EXPECT_EQ(ArmApplication::register_application(0, UString(u"server"), &buffer), 0);
  EXPECT_EQ(Loader::g_arm4_handle, nullptr);
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

TEST(ARM_SUITE, AFailedLoadIsLoggedAndTriedAgain) {
  zel_test::ScratchDir dir;
  ASSERT_NE(Log::LogAdaptor::initialize("arm", dir.path().c_str(), "info", 0), nullptr);
  ArmBuffer none(false);
  for (int attempt = 0; attempt < 2; ++attempt) {
    EXPECT_EQ(ArmApplication::register_application(1, UString(u"server"), &none), ARM_OFF);
    EXPECT_EQ(ArmApplication::g_level, 0);
    EXPECT_EQ(Loader::g_arm4_handle, nullptr);  // an incomplete runtime is closed again
  }
  EXPECT_EQ(Loader::load_runtime(), ARM_OFF);
  // The entry points before the missing one stay bound, harmless while ARM is off.
  EXPECT_EQ(Loader::g_fnc_arm_get_error_message != nullptr, kIncomplete);
  EXPECT_EQ(Loader::g_fnc_arm_get_arrival_time, nullptr);

  const std::string log = zel_test::read_file(dir.file("arm.log"));
  const auto count = [&log](const std::string& part) {
    const std::regex pattern(part);
    return std::distance(std::sregex_iterator(log.begin(), log.end(), pattern),
                         std::sregex_iterator());
  };
  EXPECT_EQ(count("\\[Zel\\] \\[error\\] arm_application\\.cpp:[0-9]+ "), 5);
  EXPECT_EQ(count(std::string(" ArmRuntimeLoader::load_runtime: .*") + kLoaderMessage), 3);
  EXPECT_EQ(count(" ArmApplication::register_application: Failed to load ARM runtime\\. "
                  "ARM is disabled\\.\n"),
            2);
}

}  // namespace
}  // namespace Zel
