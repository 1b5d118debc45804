#include "zel/logadaptor.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <sstream>
#include <string>
#include <vector>

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

// Each form of raise() logs to "Zel" at its level, as one line, once logging is
// on. A raised copy is a plain QRPException, whatever the original's class.
TEST(LogAdaptor, RaisedExceptionsAreLoggedWhenEnabled) {
  ScratchDir dir;
  ASSERT_NE(Log::LogAdaptor::initialize("srv", dir.path().c_str(), "info", 0), nullptr);
  const UMessage m(zelutil, 21, UMessage::Arg("x@"), UMessage::Arg("no\nname"));
  StateException state(m);
  const auto code = static_cast<QRPException::qrp_reason_code_t>(7);
  auto raise_at = [&](int level) {
    const auto log_level = static_cast<QRPException::qrp_log_level_t>(level);
    for (int form = 0; form < 3; ++form) {
      try {
        if (form == 0) QRPException::raise(code, m, nullptr, nullptr, log_level);
        if (form == 1)
          QRPException::raise(code, m, nullptr, std::vector<QRPException*>{&state}, log_level);
        QRPException::raise(state, log_level);
      } catch (const StateException&) {
        ADD_FAILURE() << "the copy kept its subclass";
      } catch (const QRPException& e) {
        EXPECT_EQ(e.qrp_reason_code(), form == 2 ? 39 : 7);
        EXPECT_EQ(e.message().number(), 21);
      }
    }
  };
  raise_at(2);  // logging still off
  QRPException::g_logging_enabled = true;
  for (int level : {0, 1, 2, 3, -1}) raise_at(level);
  QRPException::g_logging_enabled = false;
  Log::LogAdaptor::logger_zel->error("flush", 0);  // error lines are written out at once

  std::istringstream file(read_file(dir.file("srv.log")));
  std::string levels;  // the first letter of each line's level
  for (std::string line; std::getline(file, line);) {
    EXPECT_THAT(line, testing::MatchesRegex("\\[[-0-9]+ [:.0-9]+\\] \\[Zel\\] \\[[a-z]+\\] "
                                            "(QZMLK0671E The selector 'x@' is not valid: "
                                            "no\\\\nname|flush)"));
    levels += line[line.find("] [Zel] [") + 9];
  }
  EXPECT_EQ(levels, "iiiwwweeee");
}

}  // namespace
}  // namespace Zel
