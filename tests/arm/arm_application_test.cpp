// Registration and start of the application against the arm4-trace runtime:
// order, buffers, ids, and the failures that switch ARM off, a refused trace
// file among them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "arm4_trace.h"
#include "support/arm_trace.h"
#include "zel/arm.h"

namespace Zel {
namespace {

namespace fs = std::filesystem;
using zel_test::field;
using Registrar = ArmApplication::OperationRegistrar;

// Registers with a transaction identity.
class DescribedRegistrar : public Registrar {
 public:
  using Registrar::Registrar;
  void user_data(ArmBuffer& buffer) const override {
    ArmTransIdentyBuffer identity;
    identity.add_identity_prop(u"kind", u"write");
    buffer.add_buffer(identity);
  }
};

std::string hex(const arm_id_t& id) {
  char out[33];
  for (int i = 0; i < 16; ++i) std::snprintf(out + 2 * i, 3, "%02x", id.id_u.uint8[i]);
  return out;
}

bool is_zero(const arm_id_t& id) { return id.id_u.uint64[0] == 0 && id.id_u.uint64[1] == 0; }

class ArmApplicationTest : public zel_test::ArmTrace {};

TEST_F(ArmApplicationTest, RegistersTheApplicationAndEachRegistrarInOrderThenStarts) {
  Registrar read(UString(u"Read"));
  DescribedRegistrar write(UString(u"Write"));
  Registrar list(UString(u"List"));
  ArmBuffer application(false);
  application.add_buffer();

  EXPECT_GE(ArmApplication::register_application(7, UString(u"server"), &application), 0);
  EXPECT_EQ(ArmApplication::g_level, 7);
  EXPECT_EQ(application.count(), 1);  // read, not consumed

  const auto apps = events("register_application");
  ASSERT_EQ(apps.size(), 1u);
  EXPECT_EQ(field(apps[0], "app"), "server");
  EXPECT_EQ(field(apps[0], "app_id"), hex(ArmApplication::g_app_id));
  EXPECT_EQ(field(apps[0], "buffers"), "[107]");
  EXPECT_NE(field(apps[0], "input_id"), "null");

  const auto trans = events("register_transaction");
  ASSERT_EQ(trans.size(), 3u);
  const Registrar* in_order[] = {&read, &write, &list};
  // The last one sees no buffers: the scratch buffer was cleared after the second.
  const char* buffers[] = {"[]", "[104]", "[]"};
  for (std::size_t i = 0; i < 3; ++i) {
    EXPECT_EQ(field(trans[i], "name"), in_order[i]->name.utf8_str());
    EXPECT_EQ(field(trans[i], "tran_id"), hex(in_order[i]->tran_id));
    EXPECT_EQ(field(trans[i], "buffers"), buffers[i]);
  }

  // Empty texts go to the runtime as null; then calls are forwarded.
  ArmBuffer start(false);
  start.add_buffer(UString(u"starting up"));
  EXPECT_EQ(ArmApplication::start_application(&start, UString(), UString()), 0);
  EXPECT_EQ(start.count(), 0);  // consumed
  const auto starts = events("start_application");
  ASSERT_EQ(starts.size(), 1u);
  EXPECT_EQ(field(starts[0], "group"), "null");
  EXPECT_EQ(field(starts[0], "instance"), "null");
  EXPECT_EQ(field(starts[0], "buffers"), "[7]");
  EXPECT_EQ(std::stoll(field(starts[0], "app_handle")), ArmApplication::g_app_handle);

  long long arrival = 0;
  EXPECT_EQ(ArmApplication::get_arrival_time(&arrival), 0);
  EXPECT_GT(arrival, 0);
  arm_message_buffer_t message;
  EXPECT_EQ(
      ArmApplication::get_error_message(ARM_CHARSET_UTF8, arm4_trace::ERROR_REQUESTED, message), 0);
  EXPECT_THAT(message, testing::HasSubstr("ZEL_ARM_TRACE_FAIL"));
  arm_id_t id{};
  EXPECT_EQ(ArmApplication::register_transaction("Direct", 0, nullptr, &id), 0);
  EXPECT_FALSE(is_zero(id));
}

// Whichever call fails, ARM is left off; a failing registrar stops the rest.
TEST_F(ArmApplicationTest, FailuresLeaveArmOff) {
  Registrar first(UString(u"First"));
  Registrar failing(UString(u"Failing"));
  Registrar last(UString(u"Last"));
  ::setenv("ZEL_ARM_TRACE_FAIL", "arm_register_transaction=Failing", 1);
  EXPECT_EQ(register_application(), arm4_trace::ERROR_REQUESTED);
  EXPECT_EQ(ArmApplication::g_level, 0);
  EXPECT_FALSE(is_zero(first.tran_id));
  EXPECT_TRUE(is_zero(failing.tran_id));
  EXPECT_TRUE(is_zero(last.tran_id));
  EXPECT_EQ(events("register_transaction").size(), 1u);
  EXPECT_EQ(ArmApplication::start_application(nullptr, UString(), UString()), ARM_OFF);

  ::setenv("ZEL_ARM_TRACE_FAIL", "arm_register_application", 1);
  EXPECT_EQ(register_application(), arm4_trace::ERROR_REQUESTED);
  EXPECT_EQ(ArmApplication::g_level, 0);
  EXPECT_EQ(events("register_transaction").size(), 1u);  // no registrar reached

  ::setenv("ZEL_ARM_TRACE_FAIL", "arm_start_application", 1);
  ASSERT_GE(register_application(), 0);
  EXPECT_EQ(ArmApplication::start_application(nullptr, UString(u"g"), UString(u"i")),
            arm4_trace::ERROR_REQUESTED);
  EXPECT_EQ(ArmApplication::g_level, 0);

  // Level 0 switches a running ARM off as well.
  ::unsetenv("ZEL_ARM_TRACE_FAIL");
  switch_on();
  EXPECT_EQ(register_application(0), 0);
  long long arrival = 0;
  EXPECT_EQ(ArmApplication::get_arrival_time(&arrival), ARM_OFF);
}

// The runtime's trace file is created private, and never a symlink, FIFO or
// directory in its place: the runtime may run in a privileged server.
TEST_F(ArmApplicationTest, TheTraceIsARegularFileOnlyCreatedForTheOwner) {
  const fs::path trace = trace_path();
  const fs::path target = trace.parent_path() / "target";
  std::ofstream(target) << "precious\n";
  // A FIFO is refused without blocking, a symlink even to a regular file.
  ::mkfifo(trace.c_str(), 0600);
  EXPECT_EQ(register_application(), arm4_trace::ERROR_TRACE_FILE);
  fs::remove(trace);
  fs::create_symlink(target, trace);
  EXPECT_EQ(register_application(), arm4_trace::ERROR_TRACE_FILE);
  EXPECT_EQ(ArmApplication::start_application(nullptr, UString(u"g"), UString(u"i")), ARM_OFF);
  EXPECT_TRUE(fs::is_symlink(trace));
  EXPECT_EQ(fs::file_size(target), 9u);  // "precious\n", untouched

  fs::remove(trace);
  const mode_t saved = ::umask(022);
  EXPECT_GE(register_application(), 0);
  ::umask(saved);
  struct stat info {};
  ASSERT_EQ(::lstat(trace.c_str(), &info), 0);
  EXPECT_EQ(info.st_mode, S_IFREG | 0600u);
}

// The runtime refuses a missing required pointer rather than write through it.
TEST_F(ArmApplicationTest, TheRuntimeRefusesMissingArguments) {
  switch_on();
  using Loader = ArmApplication::ArmRuntimeLoader;
  arm_id_t id{};
  arm_app_start_handle_t app = 0;
  arm_tran_start_handle_t tran = 0;
  const std::vector<int> results = {
      Loader::g_fnc_arm_register_application(nullptr, nullptr, 0, nullptr, &id),
      Loader::g_fnc_arm_register_application("app", nullptr, 0, nullptr, nullptr),
      Loader::g_fnc_arm_start_application(nullptr, nullptr, nullptr, 0, nullptr, &app),
      Loader::g_fnc_arm_start_application(&id, nullptr, nullptr, 0, nullptr, nullptr),
      Loader::g_fnc_arm_register_transaction(nullptr, "t", nullptr, 0, nullptr, &id),
      Loader::g_fnc_arm_register_transaction(&id, nullptr, nullptr, 0, nullptr, &id),
      Loader::g_fnc_arm_register_transaction(&id, "t", nullptr, 0, nullptr, nullptr),
      Loader::g_fnc_arm_start_transaction(app, nullptr, nullptr, 0, nullptr, &tran, nullptr),
      Loader::g_fnc_arm_start_transaction(app, &id, nullptr, 0, nullptr, nullptr, nullptr),
      Loader::g_fnc_arm_get_error_message(ARM_CHARSET_UTF8, 0, nullptr),
      Loader::g_fnc_arm_get_arrival_time(nullptr),
  };
  EXPECT_EQ(results, std::vector<int>(results.size(), arm4_trace::ERROR_NULL_ARGUMENT));
}

}  // namespace
}  // namespace Zel
