#include "zel/logadaptor.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>

#include "support/scratch.h"
#include "zel/exception.h"

namespace Zel {
namespace {

using testing::HasSubstr;
using zel_test::read_file;
using zel_test::ScratchDir;

// A failed start forgets the manager but keeps the loggers; a null directory
// is the current one.
TEST(LogAdaptor, FetchesTheFourNamedLoggers) {
  ScratchDir dir;
  Log::LogManager* manager = Log::LogAdaptor::initialize("app", dir.path().c_str(), "info", 0);
  ASSERT_NE(manager, nullptr);
  EXPECT_EQ(Log::LogAdaptor::get_log_manager(), manager);
  EXPECT_EQ(Log::LogAdaptor::logger_qrprpc, manager->get_logger("QrpRpc"));
  EXPECT_EQ(Log::LogAdaptor::logger_zel, manager->get_logger("Zel"));
  EXPECT_EQ(Log::LogAdaptor::logger_lwrpc, manager->get_logger("LwRpc"));
  EXPECT_EQ(Log::LogAdaptor::logger_mxrpc, manager->get_logger("MxRpc"));
  Log::LogAdaptor::logger_mxrpc->error("from mx", 0);
  EXPECT_THAT(read_file(dir.file("app.log")), HasSubstr("] [MxRpc] [error] from mx\n"));

  Log::Logger* zel = Log::LogAdaptor::logger_zel;
  EXPECT_EQ(Log::LogAdaptor::initialize("app", dir.file("missing").c_str(), "info", 0), nullptr);
  EXPECT_EQ(Log::LogAdaptor::get_log_manager(), nullptr);
  EXPECT_EQ(Log::LogAdaptor::logger_zel, zel);

  char* previous = getcwd(nullptr, 0);
  ASSERT_EQ(chdir(dir.path().c_str()), 0);
  EXPECT_NE(Log::LogAdaptor::initialize("here", nullptr, nullptr, 0), nullptr);
  Log::LogAdaptor::logger_zel->error("in the current directory", 0);
  EXPECT_THAT(read_file(dir.file("here.log")), HasSubstr("in the current directory"));
  EXPECT_EQ(chdir(previous), 0);
  free(previous);
}

// Raised exceptions reach the "Zel" logger at their level, as one line, once
// logging is on; levels other than the three log nothing.
TEST(LogAdaptor, RaisedExceptionsAreLoggedWhenEnabled) {
  ScratchDir dir;
  ASSERT_NE(Log::LogAdaptor::initialize("srv", dir.path().c_str(), "info", 0), nullptr);
  const UMessage m(zelutil, 21, UMessage::Arg("x@"), UMessage::Arg("no\nname"));
  auto raise_at = [&](int level) {
    try {
      QRPException::raise(static_cast<QRPException::qrp_reason_code_t>(7), m, nullptr, nullptr,
                          static_cast<QRPException::qrp_log_level_t>(level));
    } catch (const QRPException& e) {
      EXPECT_EQ(e.qrp_reason_code(), 7);
      EXPECT_EQ(e.message().number(), 21);
    }
  };
  raise_at(2);  // logging still off
  QRPException::g_logging_enabled = true;
  for (int level : {0, 1, 2, 3, -1}) raise_at(level);
  QRPException::g_logging_enabled = false;
  raise_at(2);
  Log::LogAdaptor::logger_zel->error("flush", 0);  // error lines are written out at once

  const std::string log = read_file(dir.file("srv.log"));
  EXPECT_THAT(
      log, testing::ContainsRegex("^\\[[-0-9]+ [:.0-9]+\\] \\[Zel\\] \\[info\\] QZMLK0671E .*\n"
                                  "\\[[-0-9]+ [:.0-9]+\\] \\[Zel\\] \\[warning\\] QZMLK0671E .*\n"
                                  "\\[[-0-9]+ [:.0-9]+\\] \\[Zel\\] \\[error\\] QZMLK0671E .*\n"
                                  "\\[[-0-9]+ [:.0-9]+\\] \\[Zel\\] \\[error\\] flush\n$"));
  EXPECT_THAT(log, HasSubstr("[info] QZMLK0671E The selector 'x@' is not valid: no\\nname\n"));
}

}  // namespace
}  // namespace Zel
