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
  EXPECT_EQ(manager->get_logger("Zel"), zel);
  EXPECT_NE(manager->get_logger("Db"), zel);
  zel->info("starting", 0);
  zel->warning("disk {} 90% full\nsecond line", 0);  // no substitution of any kind
  zel->info(nullptr, 0);
  manager->get_logger("Db")->error("lost", 0);

  const std::string stamp = R"(\[\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3}\] )";
  const std::regex expected(stamp + R"(\[Zel\] \[info\] starting\n)" + stamp +
                            R"(\[Zel\] \[warning\] disk \{\} 90% full\\nsecond line\n)" + stamp +
                            R"(\[Zel\] \[info\] \n)" + stamp + R"(\[Db\] \[error\] lost\n)");
  const std::string contents = read_file(dir.file("app.log"));
  EXPECT_TRUE(std::regex_match(contents, expected)) << contents;
}

TEST(QvLogManager, SeverityFilter) {
  const std::vector<std::pair<const char*, const char*>> cases = {
      {"", "iwe"}, {"info", "iwe"}, {"warning", "we"}, {"error", "e"}};
  for (const auto& [severity, written] : cases) {
    ScratchDir dir;
    LogManager* manager = QvLogManager::initialize("filter", dir.path(), severity, 0, "");
    ASSERT_NE(manager, nullptr) << severity;
    Logger* logger = manager->get_logger("F");
    logger->info("i", 0);
    logger->warning("w", 0);
    logger->error("e", 0);
    std::string seen;  // the last letter of each line: its message
    std::istringstream lines(read_file(dir.file("filter.log")));
    for (std::string line; std::getline(lines, line);) seen += line.back();
    EXPECT_EQ(seen, written) << "severity \"" << severity << "\"";
  }
}

// A restart moves loggers handed out before to the new file; on the same file,
// what the old settings still buffered comes first.
TEST(QvLogManager, RestartMovesEarlierLoggers) {
  ScratchDir first;
  ScratchDir second;
  LogManager* manager = QvLogManager::initialize("one", first.path(), "info", 0, "");
  Logger* logger = manager->get_logger("Moving");
  logger->info("before", 0);
  ASSERT_EQ(QvLogManager::initialize("one", first.path(), "error", 0, ""), manager);
  logger->warning("filtered", 0);
  logger->error("again", 0);
  ASSERT_EQ(QvLogManager::initialize("two", second.path(), "info", 0, ""), manager);
  logger->error("after", 0);

  const std::regex one(R"([^\n]*\[Moving\] \[info\] before\n[^\n]*\[Moving\] \[error\] again\n)");
  const std::regex two(R"([^\n]*\[Moving\] \[error\] after\n)");
  EXPECT_TRUE(std::regex_match(read_file(first.file("one.log")), one));
  EXPECT_TRUE(std::regex_match(read_file(second.file("two.log")), two));
}

TEST(QvLogManager, FailureKeepsTheSettingsInForce) {
  ScratchDir dir;
  Logger* logger = QvLogManager::initialize("kept", dir.path(), "warning", 0, "")->get_logger("K");
  write_file(dir.file("plain-file"), "not a directory");
  const std::vector<std::vector<std::string>> failures = {
      {dir.file("missing"), "info"},  // not created on the way
      {dir.file("plain-file"), "info"},
      {dir.path(), "debug"},
      {dir.path(), "INFO"},
  };
  for (const auto& f : failures) {
    EXPECT_EQ(QvLogManager::initialize("x", f[0], f[1], 0, ""), nullptr) << f[0] << " " << f[1];
  }
  EXPECT_FALSE(std::filesystem::exists(dir.file("missing")));
  logger->info("below the kept severity", 0);
  logger->error("still here", 0);
  const std::string contents = read_file(dir.file("kept.log"));
  EXPECT_EQ(contents.find("below"), std::string::npos) << contents;
  EXPECT_NE(contents.find("[K] [error] still here"), std::string::npos) << contents;
}

}  // namespace
