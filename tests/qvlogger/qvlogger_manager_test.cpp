#include <gtest/gtest.h>

#include <filesystem>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "qvlogger/qvlogger.h"
#include "support/scratch.h"

namespace {

using Log::Logger;
using Log::LogManager;
using Log::QvLogManager;
using zel_test::read_file;
using zel_test::ScratchDir;
using zel_test::write_file;

// Error lines are flushed at once, and with them every line before: each test
// ends its writes with an error to see them all in the file.
TEST(QvLogManager, OneLinePerMessage) {
  ScratchDir dir;
  LogManager* manager = QvLogManager::initialize("app", dir.path(), "info", 0, "");
  ASSERT_NE(manager, nullptr);
  Logger* zel = manager->get_logger("Zel");
  zel->warning("disk {} 90% full\nsecond line", 0);  // no substitution of any kind
  zel->info(nullptr, 0);
  manager->get_logger("Db")->error("lost", 0);

  const std::string stamp = R"(\[\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3}\] )";
  const std::regex expected(stamp + R"(\[Zel\] \[warning\] disk \{\} 90% full\\nsecond line\n)" +
                            stamp + R"(\[Zel\] \[info\] \n)" + stamp +
                            R"(\[Db\] \[error\] lost\n)");
  const std::string contents = read_file(dir.file("app.log"));
  EXPECT_TRUE(std::regex_match(contents, expected)) << contents;
}

// Loggers handed out before a restart follow it to the new settings and file;
// on the same file, what the old settings still buffered comes first. A failed
// start leaves the settings in force.
TEST(QvLogManager, RestartsMoveEarlierLoggers) {
  ScratchDir first;
  ScratchDir second;
  // A logger made after a start writes at that start's severity.
  Logger* logger = QvLogManager::initialize("one", first.path(), "warning", 0, "")->get_logger("M");
  logger->info("i", 0);
  for (const char* severity : {"", "info", "error", "warning"}) {
    ASSERT_NE(QvLogManager::initialize("one", first.path(), severity, 0, ""), nullptr) << severity;
    logger->error("e", 0);
    logger->warning("w", 0);
    logger->info("i", 0);
  }
  write_file(first.file("plain-file"), "not a directory");
  const std::vector<std::vector<std::string>> failures = {
      {first.file("missing"), "info"},  // not created on the way
      {first.file("plain-file"), "info"},
      {first.path(), "debug"},
  };
  for (const auto& f : failures) {
    EXPECT_EQ(QvLogManager::initialize("x", f[0], f[1], 0, ""), nullptr) << f[0] << " " << f[1];
  }
  EXPECT_FALSE(std::filesystem::exists(first.file("missing")));
  logger->info("i", 0);
  logger->error("e", 0);
  ASSERT_NE(QvLogManager::initialize("two", second.path(), "info", 0, ""), nullptr);
  logger->error("after", 0);

  std::string seen;  // the last letter of each line: its message
  std::istringstream lines(read_file(first.file("one.log")));
  for (std::string line; std::getline(lines, line);) seen += line.back();
  EXPECT_EQ(seen, "ewiewieewe");
  EXPECT_TRUE(std::regex_match(read_file(second.file("two.log")),
                               std::regex(R"([^\n]*\[M\] \[error\] after\n)")));
}

}  // namespace
