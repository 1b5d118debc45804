#include "zel/version.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace {

TEST(VersionLine, NamePaddedVersionAndBuildTime) {
  char line[LIBZELUTIL_VERID_MAX];
  std::memset(line, 'X', sizeof line);
  libzelutil_sprintf_verid(line);
  const std::string text(line);
  // "libzelutil" padded to 33, the version, no label, ctime's 24 characters.
  const std::string head =
      std::string("libzelutil") + std::string(23, ' ') + " " + ZEL_TEST_PROJECT_VERSION + " (";
  ASSERT_EQ(text.substr(0, head.size()), head);
  EXPECT_THAT(text.substr(head.size()),
              testing::MatchesRegex("[A-Z][a-z][a-z] [A-Z][a-z][a-z] [ 0-9][0-9] "
                                    "[0-9][0-9]:[0-9][0-9]:[0-9][0-9] [0-9][0-9][0-9][0-9]\\)\n"));
  EXPECT_EQ(text.size(), head.size() + 24 + 2);
  EXPECT_EQ(text.find('"'), std::string::npos);
}

TEST(VersionLine, PrintWritesTheSameBytes) {
  char line[LIBZELUTIL_VERID_MAX];
  libzelutil_sprintf_verid(line);
  testing::internal::CaptureStdout();
  libzelutil_print_verid();
  std::fflush(stdout);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), line);
}

TEST(VersionMacros, SpellTheProjectVersionAndCompareAsOneNumber) {
  const std::string spelt =
      std::to_string(ZEL_VERSION_MAJOR) + "." + std::to_string(ZEL_VERSION_MINOR) + "." +
      std::to_string(ZEL_VERSION_PATCH) + "." + std::to_string(ZEL_VERSION_TWEAK);
  EXPECT_EQ(spelt, ZEL_TEST_PROJECT_VERSION);
  EXPECT_EQ(ZEL_VERSION, ZEL_VERSION_MAJOR * 1000000 + ZEL_VERSION_MINOR * 10000 +
                             ZEL_VERSION_PATCH * 100 + ZEL_VERSION_TWEAK);
}

}  // namespace
