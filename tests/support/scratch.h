// Scratch files for the tests: a fresh directory removed with its contents,
// whole-file reads and writes, and a fixture that points $TMP at a directory of
// its own (the library finds its temporary directory once per process, and
// CTest runs each test in a process of its own).
#ifndef ZEL_TESTS_SUPPORT_SCRATCH_H_
#define ZEL_TESTS_SUPPORT_SCRATCH_H_

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "zel/fileutl.h"

namespace zel_test {

class ScratchDir {
 public:
  ScratchDir() : path_((std::filesystem::temp_directory_path() / "zel-test-XXXXXX").string()) {
    if (::mkdtemp(path_.data()) == nullptr) ::abort();
  }
  ~ScratchDir() {
    ::chmod(path_.c_str(), 0700);  // a test may have taken the permissions away
    std::filesystem::remove_all(path_);
  }
  ScratchDir(const ScratchDir&) = delete;
  ScratchDir& operator=(const ScratchDir&) = delete;

  const std::string& path() const { return path_; }
  std::string file(const std::string& name) const { return path_ + "/" + name; }

 private:
  std::string path_;
};

inline void write_file(const std::string& path, const std::string& contents) {
  std::filesystem::create_directories(std::filesystem::path(path).parent_path());
  std::ofstream(path, std::ios::binary) << contents;
}

inline std::string read_file(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

class ScratchTmpdir : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    scratch_ = new ScratchDir;
    // With a trailing separator, which the library strips.
    ::setenv("TMP", (scratch_->path() + "/").c_str(), 1);
  }
  static void TearDownTestSuite() {
    delete scratch_;
    scratch_ = nullptr;
  }
  void TearDown() override { Zel::Fileutl::delete_tmp_files(0); }

  static const std::string& directory() { return scratch_->path(); }

 private:
  static inline ScratchDir* scratch_ = nullptr;
};

}  // namespace zel_test

#endif  // ZEL_TESTS_SUPPORT_SCRATCH_H_
