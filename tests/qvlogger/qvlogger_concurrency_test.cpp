#include <gtest/gtest.h>

#include <atomic>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "qvlogger/qvlogger.h"
#include "support/scratch.h"
#include "support/threads.h"
#include "values.h"
#include "zel/logadaptor.h"

namespace qvlogger_test {
namespace {

using Log::LogManager;
using Log::QvLogManager;
using Log::QvMsg;
using zel_test::read_file;
using zel_test::ScratchDir;

// Writers on a shared and on their own loggers while another thread switches
// between two files: no line is lost or torn, whichever file it lands in.
TEST(QvLoggerConcurrency, LoggingWhileRestarting) {
  ScratchDir dir;
  LogManager* manager = QvLogManager::initialize("a", dir.path(), "info", 0, "");
  ASSERT_NE(manager, nullptr);
  constexpr int kWriters = 4;
  constexpr int kMessages = 300;
  std::atomic<int> writing{kWriters};
  std::atomic<int> restarts{0};
  zel_test::run_together(kWriters + 1, [&](int t) {
    if (t == kWriters) {
      do {
        EXPECT_NE(
            QvLogManager::initialize(restarts % 2 == 0 ? "b" : "a", dir.path(), "info", 0, ""),
            nullptr);
        ++restarts;
      } while (writing > 0);
      return;
    }
    while (restarts == 0) std::this_thread::yield();  // overlap with the restarts
    for (int i = 0; i < kMessages; ++i) {
      const std::string name = i % 2 == 0 ? "Shared" : "Own" + std::to_string(t);
      manager->get_logger(name)->info(std::to_string(t * kMessages + i).c_str(), 0);
    }
    --writing;
  });

  // Moving on closes both files, which writes out what they still buffer.
  ScratchDir elsewhere;
  ASSERT_NE(QvLogManager::initialize("end", elsewhere.path(), "info", 0, ""), nullptr);
  std::vector<int> seen(kWriters * kMessages, 0);
  std::istringstream lines(read_file(dir.file("a.log")) + read_file(dir.file("b.log")));
  for (std::string line; std::getline(lines, line);) {
    const std::size_t at = line.rfind("[info] ");
    const int n = at != std::string::npos ? std::stoi(line.substr(at + 7)) : -1;
    ASSERT_TRUE(n >= 0 && n < kWriters * kMessages) << line;
    ++seen[n];
  }
  for (int n = 0; n < kWriters * kMessages; ++n) EXPECT_EQ(seen[n], 1) << "message " << n;
}

// Each thread has its own result; catalogue lookups run while the catalogue
// directory changes.
TEST(QvLoggerConcurrency, FormattingAndLookupsOnManyThreads) {
  ScratchDir dir;
  zel_test::write_file(dir.file("de/zel.msg"), "zel 1\nEins %s\n");
  const char* catalogue[] = {"zel 1", "one %s"};
  std::atomic<int> working{4};
  std::vector<int> failures(4, 0);
  zel_test::run_together(5, [&](int t) {
    if (t == 4) {
      for (int i = 0; working > 0; ++i)
        QvMsg::set_catalogue_directory(i % 2 == 0 ? dir.path() : "");
      return;
    }
    for (int i = 0; i < 2000; ++i) {
      const std::string value = std::to_string(t * 2000 + i);
      const std::string out = format(QvMsg::format(catalogue, 1, "de_DE"), {Text(value.c_str())});
      failures[t] += out != "one " + value && out != "Eins " + value;
    }
    --working;
  });
  QvMsg::set_catalogue_directory("");
  for (int t = 0; t < 4; ++t) EXPECT_EQ(failures[t], 0) << "thread " << t;
}

// Threads switch logging on at once through the adaptor: each gets a manager,
// and the adaptor's loggers are those of the last one.
TEST(LogAdaptorConcurrency, InitialiseFromManyThreads) {
  ScratchDir dir;
  zel_test::run_together(4, [&dir](int t) {
    for (int i = 0; i < 20; ++i) {
      const std::string application = "app" + std::to_string((t + i) % 2);
      EXPECT_NE(Log::LogAdaptor::initialize(application.c_str(), dir.path().c_str(), "info", 0),
                nullptr);
    }
  });
  EXPECT_EQ(Log::LogAdaptor::logger_zel, Log::LogAdaptor::get_log_manager()->get_logger("Zel"));
}

}  // namespace
}  // namespace qvlogger_test
