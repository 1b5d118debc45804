// The arm4-trace runtime's trace file: created private, never a symlink, FIFO
// or directory in its place. A refused file fails the registration, and the
// program goes on with ARM off.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "arm4_trace.h"
#include "support/arm_trace.h"

namespace {

using Zel::ArmApplication;

class TraceFile : public zel_test::ArmTrace {
 protected:
  int register_application() {
    Zel::ArmBuffer none(false);
    return ArmApplication::register_application(1, Zel::UString(u"tests"), &none);
  }
};

TEST_F(TraceFile, RegularFileOnlyCreatedForTheOwner) {
  const std::filesystem::path trace = trace_path();
  const std::filesystem::path target = trace.parent_path() / "target";
  std::ofstream(target) << "precious\n";
  for (const std::string kind : {"symlink", "dangling symlink", "fifo", "directory"}) {
    std::filesystem::remove_all(trace);
    if (kind == "symlink") std::filesystem::create_symlink(target, trace);
    if (kind == "dangling symlink")
      std::filesystem::create_symlink(trace.parent_path() / "no", trace);
    if (kind == "fifo") ::mkfifo(trace.c_str(), 0600);
    if (kind == "directory") std::filesystem::create_directory(trace);
    EXPECT_EQ(register_application(), arm4_trace::ERROR_TRACE_FILE) << kind;
    EXPECT_EQ(ArmApplication::start_application(nullptr, Zel::UString(u"g"), Zel::UString(u"i")),
              Zel::ARM_OFF)
        << kind;
  }
  std::filesystem::remove_all(trace);
  std::filesystem::create_symlink(target, trace);
  EXPECT_EQ(register_application(), arm4_trace::ERROR_TRACE_FILE);
  EXPECT_TRUE(std::filesystem::is_symlink(trace));
  EXPECT_EQ(std::filesystem::file_size(target), 9u);  // "precious\n", untouched
  EXPECT_FALSE(std::filesystem::exists(trace.parent_path() / "no"));

  std::filesystem::remove(trace);
  const mode_t saved = ::umask(022);
  EXPECT_GE(register_application(), 0);
  ::umask(saved);
  struct stat info {};
  ASSERT_EQ(::lstat(trace.c_str(), &info), 0);
  EXPECT_EQ(info.st_mode, S_IFREG | 0600u);
}

}  // namespace
