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

namespace fs = std::filesystem;
using Zel::ArmApplication;

class TraceFile : public zel_test::ArmTrace {};

TEST_F(TraceFile, RegularFileOnlyCreatedForTheOwner) {
  const fs::path trace = trace_path();
  const fs::path target = trace.parent_path() / "target";
  std::ofstream(target) << "precious\n";
  // The symlink last, so that what it points to can be looked at afterwards.
  for (const std::string kind : {"dangling symlink", "fifo", "directory", "symlink"}) {
    fs::remove_all(trace);
    if (kind == "dangling symlink") fs::create_symlink(trace.parent_path() / "no", trace);
    if (kind == "fifo") ::mkfifo(trace.c_str(), 0600);
    if (kind == "directory") fs::create_directory(trace);
    if (kind == "symlink") fs::create_symlink(target, trace);
    EXPECT_EQ(register_application(), arm4_trace::ERROR_TRACE_FILE) << kind;
    EXPECT_EQ(ArmApplication::start_application(nullptr, Zel::UString(u"g"), Zel::UString(u"i")),
              Zel::ARM_OFF)
        << kind;
  }
  EXPECT_TRUE(fs::is_symlink(trace));
  EXPECT_EQ(fs::file_size(target), 9u);  // "precious\n", untouched
  EXPECT_FALSE(fs::exists(trace.parent_path() / "no"));

  fs::remove(trace);
  const mode_t saved = ::umask(022);
  EXPECT_GE(register_application(), 0);
  ::umask(saved);
  struct stat info {};
  ASSERT_EQ(::lstat(trace.c_str(), &info), 0);
  EXPECT_EQ(info.st_mode, S_IFREG | 0600u);
}

}  // namespace
