// The trace file of the arm4-trace runtime: created private, and never a
// symlink, FIFO or directory put in its place. A refused file fails the
// registration, and the program goes on with ARM off.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "arm4_trace.h"
#include "arm_test_support.h"

namespace {

using Zel::ArmApplication;

std::string contents(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

class TraceFile : public zel_test::ArmTrace {
 protected:
  int register_application() {
    Zel::ArmBuffer none(false);
    return ArmApplication::register_application(1, Zel::UString(u"tests"), &none);
  }
};

TEST_F(TraceFile, CreatedForTheOwnerOnly) {
  const mode_t saved = ::umask(022);
  const int result = register_application();
  ::umask(saved);
  ASSERT_GE(result, 0);
  struct stat info {};
  ASSERT_EQ(::lstat(trace_path().c_str(), &info), 0);
  EXPECT_TRUE(S_ISREG(info.st_mode));
  EXPECT_EQ(info.st_mode & 07777, 0600u);
  EXPECT_EQ(events("register_application").size(), 1u);
}

TEST_F(TraceFile, RefusesWhatIsNotARegularFile) {
  const std::filesystem::path directory = std::filesystem::path(trace_path()).parent_path();
  const std::string target = (directory / "target").string();
  std::ofstream(target) << "precious\n";
  const std::string dangling = (directory / "absent").string();
  auto plant = [&](const std::string& kind) {
    std::filesystem::remove_all(trace_path());
    if (kind == "symlink") std::filesystem::create_symlink(target, trace_path());
    if (kind == "dangling symlink") std::filesystem::create_symlink(dangling, trace_path());
    if (kind == "fifo") {
      ASSERT_EQ(::mkfifo(trace_path().c_str(), 0600), 0);
    }
    if (kind == "directory") std::filesystem::create_directory(trace_path());
  };
  for (const std::string kind : {"symlink", "dangling symlink", "fifo", "directory"}) {
    plant(kind);
    EXPECT_EQ(register_application(), arm4_trace::ERROR_TRACE_FILE) << kind;
    EXPECT_EQ(ArmApplication::g_level, 0) << kind;
    EXPECT_EQ(ArmApplication::start_application(nullptr, Zel::UString(u"g"), Zel::UString(u"i")),
              Zel::ARM_OFF)
        << kind;
  }
  EXPECT_EQ(contents(target), "precious\n");
  EXPECT_FALSE(std::filesystem::exists(dangling));
  plant("symlink");
  EXPECT_EQ(register_application(), arm4_trace::ERROR_TRACE_FILE);
  EXPECT_TRUE(std::filesystem::is_symlink(trace_path()));
}

}  // namespace
