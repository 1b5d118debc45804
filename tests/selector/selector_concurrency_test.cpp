// Threads parse, format and derive selectors at once, each with its own
// objects, while failing parses register unknown resource types. Run under
// ThreadSanitizer in the tsan build.
#include <gtest/gtest.h>

#include <atomic>
#include <string>

#include "support/threads.h"
#include "zel/exception.h"
#include "zel/selector.h"

namespace Zel {
namespace {

TEST(SelectorConcurrency, ParsingSharesOnlyReadOnlyTables) {
  constexpr int kThreads = 4;
  constexpr int kRounds = 500;
  std::atomic<int> mismatches{0};
  zel_test::run_together(kThreads, [&](int t) {
    for (int i = 0; i < kRounds; ++i) {
      const Selector s(UString(u"lw.repo.vob:a/b@/store/proj"));
      if (s.to_string_with_domain() != UString(u"lw.repo.vob:a/b@/store/proj") ||
          s.parent().selector() != UString(u"repo/vob:a@lw./store/proj") ||
          Selector::namespace_string(s.name_space()) != UString(u"repo")) {
        ++mismatches;
      }
      // A name no other thread uses, and one all threads share.
      const std::string type = i % 2 == 0 ? "t" + std::to_string(t * kRounds + i) : "shared";
      try {
        Selector(UString(Utf8String("lw.repo." + type + ":x@y")));
        ++mismatches;
      } catch (const StateException&) {
      }
    }
  });
  EXPECT_EQ(mismatches.load(), 0);
}

}  // namespace
}  // namespace Zel
