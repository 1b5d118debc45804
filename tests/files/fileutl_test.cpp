#include "zel/fileutl.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "support/scratch.h"
#include "zel/pname.h"

namespace Zel {
namespace {

bool exists(const UString& path) {
  struct stat info;
  return ::stat(path.utf8_str().c_str(), &info) == 0;
}

class FileutlTest : public zel_test::ScratchTmpdir {};

// The number of the name TMP<n> at `path`.
int number_of(const UString& path) {
  const std::string leaf = Pname(path).leaf().utf8_str();
  EXPECT_EQ(leaf.rfind("TMP", 0), 0u) << leaf;
  return std::atoi(leaf.c_str() + 3);
}

TEST_F(FileutlTest, NamesCountUpWhileTaken) {
  const UString first = Fileutl::create_tmp_file(1);
  const UString second = Fileutl::create_tmp_file(1);
  // $TMP was set with a trailing separator.
  EXPECT_EQ(Pname(first).parent_dir(), UString(Utf8String(directory())));
  EXPECT_EQ(number_of(second), number_of(first) + 1);
  EXPECT_TRUE(exists(first));
  Fileutl::delete_tmp_file(first);
  EXPECT_FALSE(exists(first));
  // The counter does not move after a success: the second's number is
  // tried again, found taken, and the next one is used.
  const UString third = Fileutl::make_tmp_object(UString(u"TMP"), false);
  EXPECT_EQ(number_of(third), number_of(second) + 1);
  Fileutl::delete_tmp_file(third);
}

TEST_F(FileutlTest, PrivateDirectoryHoldsTheLeaf) {
  const UString path = Fileutl::create_tmp_file(UString(u"x.xml"), 7);
  const Pname name(path);
  EXPECT_EQ(name.leaf(), UString(u"x.xml"));
  EXPECT_TRUE(exists(name.parent_dir()));
  EXPECT_FALSE(exists(path));
  std::fclose(std::fopen(path.utf8_str().c_str(), "w"));
  ASSERT_EQ(Fileutl::g_tmp_table.count(path), 1u);
  EXPECT_TRUE(Fileutl::g_tmp_table[path].in_private_dir);
  Fileutl::delete_tmp_file(path);
  EXPECT_FALSE(exists(path));
  EXPECT_FALSE(exists(name.parent_dir()));
  EXPECT_EQ(Fileutl::g_tmp_table.count(path), 0u);
}

TEST_F(FileutlTest, DeletesByFileId) {
  const UString a = Fileutl::create_tmp_file(7);
  const UString b = Fileutl::create_tmp_file(UString(u"leaf"), 7);
  const UString c = Fileutl::create_tmp_file(8);
  const UString outside(Utf8String(directory() + "/outside"));
  Fileutl::set_file_id(outside, 7);  // an unknown path is recorded as a plain file
  EXPECT_FALSE(Fileutl::g_tmp_table[outside].in_private_dir);
  Fileutl::set_file_id(c, 9);
  EXPECT_EQ(Fileutl::g_tmp_table[c].file_id, 9u);

  Fileutl::delete_tmp_files(7);
  EXPECT_FALSE(exists(a));
  EXPECT_FALSE(exists(Pname(b).parent_dir()));
  EXPECT_TRUE(exists(c));
  EXPECT_EQ(Fileutl::g_tmp_table.size(), 1u);
  Fileutl::delete_tmp_files(0);
  EXPECT_TRUE(Fileutl::g_tmp_table.empty());
  EXPECT_FALSE(exists(c));
}

// Each process numbers its names on its own: only exclusive creation keeps two
// children from returning the same file.
TEST_F(FileutlTest, ForkedProcessesGetDistinctFiles) {
  constexpr int kChildren = 4;
  constexpr int kFiles = 50;
  std::vector<pid_t> children;
  for (int child = 0; child < kChildren; ++child) {
    const pid_t pid = ::fork();
    ASSERT_GE(pid, 0);
    if (pid == 0) {
      for (int i = 0; i < kFiles; ++i) Fileutl::create_tmp_file(1);
      ::_exit(0);
    }
    children.push_back(pid);
  }
  for (const pid_t pid : children) {
    int status = -1;
    ::waitpid(pid, &status, 0);
    EXPECT_EQ(status, 0) << "child " << pid;
  }
  using std::filesystem::directory_iterator;
  EXPECT_EQ(std::distance(directory_iterator(directory()), directory_iterator()),
            kChildren * kFiles);
}

}  // namespace
}  // namespace Zel
