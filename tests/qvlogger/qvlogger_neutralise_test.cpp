// One message, one line: what the logging layer escapes, whoever logs, and how
// it opens its file.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "qvlogger/qvlogger.h"
#include "scratch.h"
#include "zel/logadaptor.h"
#include "zel/qrpexception.h"

namespace {

using qvlogger_test::read_file;
using qvlogger_test::ScratchDir;
using qvlogger_test::write_file;

// The messages of the file's lines, each without its "[time] [name] [level] ".
std::vector<std::string> messages(const std::string& path) {
  std::vector<std::string> out;
  std::istringstream lines(read_file(path));
  for (std::string line; std::getline(lines, line);) {
    std::size_t at = 0;
    for (int field = 0; field < 3; ++field) at = line.find("] ", at) + 2;
    out.push_back(line.substr(at));
  }
  return out;
}

bool has_raw_control(const std::string& text) {
  return std::any_of(text.begin(), text.end(), [](char c) {
    const auto byte = static_cast<unsigned char>(c);
    return (byte < 0x20 && byte != '\t') || byte == 0x7F;
  });
}

mode_t file_mode(const std::string& path) {
  struct stat info {};
  EXPECT_EQ(::lstat(path.c_str(), &info), 0) << path;
  return info.st_mode & 07777;
}

// Restores the process's umask after a test that sets it.
class Umask {
 public:
  explicit Umask(mode_t mask) : saved_(::umask(mask)) {}
  ~Umask() { ::umask(saved_); }

 private:
  mode_t saved_;
};

constexpr char kForged[] =
    "x\n[2026-11-24 10:00:00.000] [Zel] [info] user root logged in\rback\x1b[2Kgone";
constexpr char kForgedEscaped[] =
    "x\\n[2026-11-24 10:00:00.000] [Zel] [info] user root logged in\\rback\\x1b[2Kgone";

// Through the logger and through a raised exception, a message stays one line.
TEST(Neutralise, ForgedLinesStayInTheirMessage) {
  ScratchDir dir;
  ASSERT_NE(Log::LogAdaptor::initialize("srv", dir.path().c_str(), "info", 0), nullptr);
  Log::LogAdaptor::logger_zel->error(kForged, 0);
  Zel::QRPException::g_logging_enabled = true;
  const Zel::UMessage m(Zel::zelutil, 21, Zel::UMessage::Arg(kForged),
                        Zel::UMessage::Arg("no\nname"));
  EXPECT_THROW(Zel::QRPException::raise(static_cast<Zel::QRPException::qrp_reason_code_t>(39), m,
                                        nullptr, nullptr, Zel::QRPException::qrp_log_level_t(2)),
               Zel::QRPException);
  Zel::QRPException::g_logging_enabled = false;

  const std::vector<std::string> lines = messages(dir.file("srv.log"));
  ASSERT_EQ(lines.size(), 2u) << read_file(dir.file("srv.log"));
  EXPECT_EQ(lines[0], kForgedEscaped);
  EXPECT_EQ(lines[1], std::string("QZMLK0671E The selector '") + kForgedEscaped +
                          "' is not valid: no\\nname");
  for (const std::string& line : lines) EXPECT_FALSE(has_raw_control(line));
}

TEST(Neutralise, EscapesEachClassAndNothingElse) {
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"plain \\n text\twith tab, caf\xc3\xa9 \xe2\x82\xac \xf0\x9f\x98\x80 \xc2\xa0",
       "plain \\n text\twith tab, caf\xc3\xa9 \xe2\x82\xac \xf0\x9f\x98\x80 \xc2\xa0"},
      {"a\nb\rc", "a\\nb\\rc"},
      {"\x01\x1b\x1f\x7f|\x0b\x0c", "\\x01\\x1b\\x1f\\x7f|\\x0b\\x0c"},
      {"\xc2\x80\xc2\x85\xc2\x9f|\xe2\x80\xa8\xe2\x80\xa9\xe2\x80\xaa",
       "\\u0080\\u0085\\u009f|\\u2028\\u2029\xe2\x80\xaa"},
      // Stray continuation, overlong forms, a surrogate, above U+10FFFF, a
      // sequence cut short by the end and by another character.
      {"\x80|\xc0\xaf|\xe0\x80\xaf|\xed\xa0\x80|\xf4\x90\x80\x80|\xff|\xe2\x82",
       "\\x80|\\xc0\\xaf|\\xe0\\x80\\xaf|\\xed\\xa0\\x80|\\xf4\\x90\\x80\\x80|\\xff|\\xe2\\x82"},
      {"\xf0\x9f\x98|x|\xf0\x8f\xbf\xbf", "\\xf0\\x9f\\x98|x|\\xf0\\x8f\\xbf\\xbf"},
      {"\xc3", "\\xc3"},
      {"", ""},
  };
  ScratchDir dir;
  Log::LogManager* manager = Log::QvLogManager::initialize("esc", dir.path(), "info", 0, "");
  ASSERT_NE(manager, nullptr);
  for (const auto& [message, expected] : cases) manager->get_logger("E")->info(message.c_str(), 0);
  manager->get_logger("E")->error("end", 0);

  const std::vector<std::string> lines = messages(dir.file("esc.log"));
  ASSERT_EQ(lines.size(), cases.size() + 1);
  for (std::size_t i = 0; i < cases.size(); ++i) EXPECT_EQ(lines[i], cases[i].second) << i;
}

// A long message with control characters all through it is one line, and
// nothing of it is lost.
TEST(Neutralise, LongMessageIsOneWholeLine) {
  const std::string controls = "\n\r\x1b\x7f";
  const std::vector<std::string> escapes = {"\\n", "\\r", "\\x1b", "\\x7f"};
  std::string message(1 << 20, 'a');
  std::string expected;
  for (std::size_t i = 0; i < message.size(); ++i) {
    if (i % 997 != 0) {
      expected += 'a';
      continue;
    }
    message[i] = controls[i % 4];
    expected += escapes[i % 4];
  }
  ScratchDir dir;
  Log::LogManager* manager = Log::QvLogManager::initialize("long", dir.path(), "info", 0, "");
  ASSERT_NE(manager, nullptr);
  manager->get_logger("L")->error(message.c_str(), 0);
  const std::vector<std::string> lines = messages(dir.file("long.log"));
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_TRUE(lines[0] == expected)
      << lines[0].size() << " bytes, " << expected.size() << " wanted";
}

TEST(LogFile, CreatedOwnerAndGroupOnlyExistingKeepsItsMode) {
  Umask umask(022);
  ScratchDir dir;
  ASSERT_NE(Log::QvLogManager::initialize("new", dir.path(), "info", 0, ""), nullptr);
  EXPECT_EQ(file_mode(dir.file("new.log")), 0640u);
  // A rotated file's successor is created by the same path.
  ASSERT_NE(Log::QvLogManager::initialize("rot", dir.path(), "info", 1, ""), nullptr);
  Log::Logger* logger =
      Log::QvLogManager::initialize("rot", dir.path(), "info", 1, "")->get_logger("R");
  for (int i = 0; i < 30; ++i) logger->error("a line of some length to fill a kibibyte", 0);
  EXPECT_EQ(file_mode(dir.file("rot.1.log")), 0640u);
  EXPECT_EQ(file_mode(dir.file("rot.log")), 0640u);

  write_file(dir.file("old.log"), "");
  ASSERT_EQ(::chmod(dir.file("old.log").c_str(), 0604), 0);
  ASSERT_NE(Log::QvLogManager::initialize("old", dir.path(), "info", 0, ""), nullptr);
  EXPECT_EQ(file_mode(dir.file("old.log")), 0604u);
}

// Anything but a regular file in the log file's place makes initialize fail,
// at once, and leaves it as it was.
TEST(LogFile, RefusesSymlinkFifoAndDirectory) {
  ScratchDir dir;
  write_file(dir.file("target"), "precious\n");
  std::filesystem::create_symlink(dir.file("target"), dir.file("link.log"));
  std::filesystem::create_symlink(dir.file("absent"), dir.file("dangling.log"));
  ASSERT_EQ(::mkfifo(dir.file("fifo.log").c_str(), 0600), 0);
  std::filesystem::create_directory(dir.file("dir.log"));
  for (const char* name : {"link", "dangling", "fifo", "dir"}) {
    EXPECT_EQ(Log::QvLogManager::initialize(name, dir.path(), "info", 0, ""), nullptr) << name;
    EXPECT_EQ(Log::QvLogManager::initialize(name, dir.path(), "info", 8, ""), nullptr) << name;
  }
  EXPECT_EQ(read_file(dir.file("target")), "precious\n");
  EXPECT_TRUE(std::filesystem::is_symlink(dir.file("link.log")));
  EXPECT_FALSE(std::filesystem::exists(dir.file("absent")));
}

}  // namespace
