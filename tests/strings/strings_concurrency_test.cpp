// The recursive lock, and UString's conversions on several threads at once. Run
// under ThreadSanitizer in the tsan build.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/threads.h"
#include "zel/critsec.h"
#include "zel/ustring.h"

namespace Zel {
namespace {

TEST(CriticalSection, NestsAndExcludesOtherThreads) {
  CriticalSectionLock lock;
  long counter = 0;  // deliberately not atomic: the lock must protect it
  constexpr int kThreads = 4;
  constexpr int kRounds = 20000;
  zel_test::run_together(kThreads, [&](int) {
    for (int i = 0; i < kRounds; ++i) {
      CriticalSection outer(lock);
      CriticalSection inner(lock);  // would deadlock on a non-recursive mutex
      ++counter;
    }
  });
  EXPECT_EQ(counter, long{kThreads} * kRounds);
}

// Distinct strings converted on distinct threads share only the lazily filled
// default character-set name.
TEST(UStringConcurrency, DistinctObjectsConvertIndependently) {
  constexpr int kThreads = 4;
  std::vector<int> mismatches(kThreads, 0);
  zel_test::run_together(kThreads, [&mismatches](int t) {
    const std::string word = "thread-" + std::to_string(t) + "-caf\xC3\xA9";
    for (int i = 0; i < 200; ++i) {
      UString text(Utf8String{word});
      bool failed = false;
      const std::string local = text.std_str(DANGEROUS_DEFAULT_CHARSET_NAME, failed);
      UString back;
      back.assign(text.std_str("ISO-8859-1", failed), "ISO-8859-1");
      if (back != text || local.empty()) ++mismatches[t];
    }
  });
  for (int t = 0; t < kThreads; ++t) EXPECT_EQ(mismatches[t], 0) << "thread " << t;
}

}  // namespace
}  // namespace Zel
