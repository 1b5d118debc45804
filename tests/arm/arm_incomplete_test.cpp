// A runtime without its last entry point (CTest puts such a build of
// arm4-trace on LD_LIBRARY_PATH): the loader binds the others in order, then
// closes the runtime, logs the loader's message and leaves ARM off.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "support/scratch.h"
#include "zel/arm.h"
#include "zel/logadaptor.h"

namespace Zel {
namespace {

using Loader = ArmApplication::ArmRuntimeLoader;
using testing::HasSubstr;

TEST(ArmIncompleteRuntime, IsClosedAfterBindingTheEntryPointsBeforeTheMissingOne) {
  zel_test::ScratchDir dir;
  ASSERT_NE(Log::LogAdaptor::initialize("arm", dir.path().c_str(), "info", 0), nullptr);
  ArmBuffer none(false);
  EXPECT_EQ(ArmApplication::register_application(1, UString(u"server"), &none), ARM_OFF);
  EXPECT_EQ(ArmApplication::g_level, 0);
  EXPECT_EQ(Loader::g_arm4_handle, nullptr);
  EXPECT_NE(Loader::g_fnc_arm_register_application, nullptr);
  EXPECT_NE(Loader::g_fnc_arm_start_application, nullptr);
  EXPECT_NE(Loader::g_fnc_arm_start_transaction, nullptr);
  EXPECT_NE(Loader::g_fnc_arm_stop_transaction, nullptr);
  EXPECT_NE(Loader::g_fnc_arm_register_transaction, nullptr);
  EXPECT_NE(Loader::g_fnc_arm_get_error_message, nullptr);
  EXPECT_EQ(Loader::g_fnc_arm_get_arrival_time, nullptr);
  EXPECT_EQ(Loader::load_runtime(), ARM_OFF);  // tried again, with the same outcome

  const std::string log = zel_test::read_file(dir.file("arm.log"));
  EXPECT_THAT(log, HasSubstr("ArmRuntimeLoader::load_runtime: "));
  EXPECT_THAT(log, HasSubstr("undefined symbol: arm_get_arrival_time"));
  EXPECT_THAT(log, HasSubstr("ArmApplication::register_application: Failed to load ARM runtime. "
                             "ARM is disabled."));
}

}  // namespace
}  // namespace Zel
