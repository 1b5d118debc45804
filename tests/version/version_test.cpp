#include "zel/version.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace {

TEST(VersionLine, NamePaddedVersionAndBuildTimeAndPrintWritesTheSameBytes) {
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
  testing::internal::CaptureStdout();
  libzelutil_print_verid();
  std::fflush(stdout);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), text);
}

}  // namespace
