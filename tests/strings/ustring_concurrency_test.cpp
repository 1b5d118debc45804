#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/threads.h"
#include "zel/ustring.h"

namespace Zel {
namespace {

// Distinct strings converted on distinct threads share only the lazily filled
// default character-set name; ThreadSanitizer checks that this is race-free.
TEST(UStringConcurrency, DistinctObjectsConvertIndependently) {
  constexpr int kThreads = 4;
  std::vector<int> mismatches(kThreads, 0);
  zel_test::run_together(kThreads, [&mismatches](int t) {
    const std::string word = "thread-" + std::to_string(t) + "-caf\xC3\xA9";
    for (int i = 0; i < 200; ++i) {
      UString text(Utf8String{word});
      bool failed = false;
      const std::string local = text.std_str(DANGEROUS_DEFAULT_CHARSET_NAME, failed);
      const std::string latin1 = text.std_str("ISO-8859-1", failed);
      UString back;
      back.assign(latin1, "ISO-8859-1");
      if (back != text || local.empty() || back.utf8_str() != word) ++mismatches[t];
    }
  });
  for (int t = 0; t < kThreads; ++t) EXPECT_EQ(mismatches[t], 0) << "thread " << t;
}

}  // namespace
}  // namespace Zel
