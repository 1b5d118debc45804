#include "zel/version.h"

#include <gtest/gtest.h>

#include <string>

namespace {

// The tool's end-to-end test pins the rest of the line and the build time.
TEST(VersionLine, NamePaddedThenTheProjectVersion) {
  char line[LIBZELUTIL_VERID_MAX];
  libzelutil_sprintf_verid(line);
  const std::string head = "libzelutil" + std::string(24, ' ') + ZEL_TEST_PROJECT_VERSION + " (";
  EXPECT_EQ(std::string(line).substr(0, head.size()), head);
}

}  // namespace
