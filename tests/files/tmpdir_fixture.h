// A test fixture that points $TMP at a fresh directory before the test runs.
// The temporary directory is found once per process, so each test of a
// binary run by CTest (one process per test) gets its own.
#ifndef ZEL_TESTS_FILES_TMPDIR_FIXTURE_H_
#define ZEL_TESTS_FILES_TMPDIR_FIXTURE_H_

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <filesystem>
#include <string>

#include "zel/fileutl.h"

namespace zel_test {

class ScratchTmpdir : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    directory_ = (std::filesystem::temp_directory_path() / "zel-tmp-XXXXXX").string();
    if (::mkdtemp(directory_.data()) == nullptr) std::abort();
    // With a trailing separator, which the library strips.
    ::setenv("TMP", (directory_ + "/").c_str(), 1);
  }
  static void TearDownTestSuite() {
    ::chmod(directory_.c_str(), 0700);
    std::filesystem::remove_all(directory_);
  }
  void TearDown() override { Zel::Fileutl::delete_tmp_files(0); }

  static const std::string& directory() { return directory_; }

 private:
  static inline std::string directory_;
};

}  // namespace zel_test

#endif  // ZEL_TESTS_FILES_TMPDIR_FIXTURE_H_
