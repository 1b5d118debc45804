#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "qvlogger/qvlogger.h"
#include "support/scratch.h"

namespace {

using Log::QvLogManager;
using std::filesystem::perms;
using zel_test::read_file;
using zel_test::ScratchDir;
using zel_test::write_file;

TEST(Neutralise, EscapesEachClassAndNothingElse) {
  const std::vector<std::pair<std::string, std::string>> cases = {
      // A forged second line stays in its message.
      {"x\n[2026-11-24 10:00:00.000] [Zel] [info] root logged in\rback\x1b[2K",
       "x\\n[2026-11-24 10:00:00.000] [Zel] [info] root logged in\\rback\\x1b[2K"},
      {"plain \\n\ttab caf\xc3\xa9 \xe2\x82\xac \xf0\x9f\x98\x80 \xc2\xa0 \xe2\x80\xaa",
       "plain \\n\ttab caf\xc3\xa9 \xe2\x82\xac \xf0\x9f\x98\x80 \xc2\xa0 \xe2\x80\xaa"},
      {"\x01\x1b\x1f\x7f|\x0b\x0c", "\\x01\\x1b\\x1f\\x7f|\\x0b\\x0c"},
      {"\xc2\x80\xc2\x85\xc2\x9f|\xe2\x80\xa8\xe2\x80\xa9", "\\u0080\\u0085\\u009f|\\u2028\\u2029"},
      // Stray continuation, overlong forms, a surrogate, above U+10FFFF (also
      // by a lead byte no sequence starts with), sequences cut short by
      // another character and by the end.
      {"\x80|\xc0\xaf|\xe0\x80\xaf|\xf0\x8f\xbf\xbf|\xed\xa0\x80|\xf4\x90\x80\x80|\xf5\x80\x80\x80|"
       "\xff",
       "\\x80|\\xc0\\xaf|\\xe0\\x80\\xaf|\\xf0\\x8f\\xbf\\xbf|\\xed\\xa0\\x80|\\xf4\\x90\\x80\\x80|"
       "\\xf5\\x80\\x80\\x80|\\xff"},
      {"\xf0\x9f\x98|x\xe2\x82", "\\xf0\\x9f\\x98|x\\xe2\\x82"},
  };
  ScratchDir dir;
  Log::Logger* logger = QvLogManager::initialize("esc", dir.path(), "info", 0, "")->get_logger("E");
  for (const auto& [message, escaped] : cases) logger->error(message.c_str(), 0);
  std::istringstream file(read_file(dir.file("esc.log")));
  std::vector<std::string> lines;  // the messages, without "[time] [E] [error] "
  for (std::string line; std::getline(file, line);)
    lines.push_back(line.substr(line.find("] [error] ") + 10));
  ASSERT_EQ(lines.size(), cases.size());
  for (std::size_t i = 0; i < cases.size(); ++i) EXPECT_EQ(lines[i], cases[i].second);
}

// New files, rotated ones included, are 0640 under the usual umask, and rotate
// at the size given; an existing file keeps its mode.
TEST(LogFile, CreatedOwnerAndGroupOnly) {
  const mode_t saved = ::umask(022);
  ScratchDir dir;
  Log::Logger* logger = QvLogManager::initialize("rot", dir.path(), "info", 1, "")->get_logger("R");
  for (int i = 0; i < 30; ++i) logger->error(std::string(100, 'x').c_str(), 0);
  write_file(dir.file("old.log"), "");
  ::chmod(dir.file("old.log").c_str(), 0604);
  EXPECT_NE(QvLogManager::initialize("old", dir.path(), "info", 0, ""), nullptr);
  ::umask(saved);
  EXPECT_EQ(std::filesystem::status(dir.file("rot.log")).permissions(), perms(0640));
  EXPECT_EQ(std::filesystem::status(dir.file("rot.1.log")).permissions(), perms(0640));
  EXPECT_EQ(std::filesystem::status(dir.file("old.log")).permissions(), perms(0604));
  EXPECT_LE(std::filesystem::file_size(dir.file("rot.log")), 1024u);
}

// Anything but a regular file in the log file's place makes initialize fail
// at once, and is left as it was.
TEST(LogFile, RefusesSymlinkFifoAndDirectory) {
  ScratchDir dir;
  write_file(dir.file("target"), "precious\n");
  std::filesystem::create_symlink(dir.file("target"), dir.file("link.log"));
  ASSERT_EQ(::mkfifo(dir.file("fifo.log").c_str(), 0600), 0);
  std::filesystem::create_directory(dir.file("dir.log"));
  for (const char* name : {"link", "fifo", "dir"}) {
    EXPECT_EQ(QvLogManager::initialize(name, dir.path(), "info", 0, ""), nullptr) << name;
    EXPECT_EQ(QvLogManager::initialize(name, dir.path(), "info", 8, ""), nullptr) << name;
  }
  EXPECT_EQ(read_file(dir.file("target")), "precious\n");
  EXPECT_TRUE(std::filesystem::is_symlink(dir.file("link.log")));
}

}  // namespace
