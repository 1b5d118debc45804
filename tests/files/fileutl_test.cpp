#include "zel/fileutl.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <set>
#include <sstream>
#include <string>

#include "support/scratch.h"
#include "zel/exception.h"
#include "zel/pname.h"

namespace Zel {
namespace {

bool exists(const UString& path) {
  struct stat info;
  return ::stat(path.utf8_str().c_str(), &info) == 0;
}

class FileutlTest : public zel_test::ScratchTmpdir {};

TEST_F(FileutlTest, FindsTheDirectoryWithoutTrailingSeparator) {
  EXPECT_EQ(Fileutl::sys_tmpdir(), UString(Utf8String(directory())));
}

// The number of the name TMP<n> at `path`.
int number_of(const UString& path) {
  const std::string leaf = Pname(path).leaf().utf8_str();
  EXPECT_EQ(leaf.rfind("TMP", 0), 0u) << leaf;
  return std::atoi(leaf.c_str() + 3);
}

TEST_F(FileutlTest, NamesCountUpWhileTaken) {
  const UString first = Fileutl::create_tmp_file(1);
  const UString second = Fileutl::create_tmp_file(1);
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

TEST_F(FileutlTest, CreationFailureIsReported) {
  try {
    Fileutl::make_tmp_object(UString(u"no-such-directory/TMP"), false);
    FAIL() << "no exception";
  } catch (const QRPException& e) {
    EXPECT_EQ(e.qrp_reason_code(), 40);
    EXPECT_EQ(e.message().message_string().utf8_str(),
              "QZMLK0664E Cannot create temporary file system object: No such file or directory");
  }
}

TEST_F(FileutlTest, ForkedProcessesGetDistinctFiles) {
  constexpr int kChildren = 4;
  constexpr int kFiles = 50;
  int pipe_ends[2];
  ASSERT_EQ(::pipe(pipe_ends), 0);
  for (int child = 0; child < kChildren; ++child) {
    if (::fork() == 0) {
      ::close(pipe_ends[0]);
      for (int i = 0; i < kFiles; ++i) {
        const std::string line = Fileutl::create_tmp_file(1).utf8_str() + "\n";
        if (::write(pipe_ends[1], line.data(), line.size()) < 0) ::_exit(1);
      }
      ::_exit(0);
    }
  }
  ::close(pipe_ends[1]);
  std::stringstream all;
  char buffer[4096];
  for (ssize_t n; (n = ::read(pipe_ends[0], buffer, sizeof buffer)) > 0;) all.write(buffer, n);
  ::close(pipe_ends[0]);
  for (int child = 0; child < kChildren; ++child) ::wait(nullptr);
  std::multiset<std::string> names;
  for (std::string line; std::getline(all, line);) names.insert(line);
  EXPECT_EQ(names.size(), std::size_t{kChildren * kFiles});
  EXPECT_EQ(std::set<std::string>(names.begin(), names.end()).size(), names.size());
}

}  // namespace
}  // namespace Zel
