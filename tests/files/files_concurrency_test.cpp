#include <gtest/gtest.h>

#include <set>
#include <vector>

#include "support/scratch.h"
#include "support/threads.h"
#include "zel/davtime.h"
#include "zel/fileutl.h"

namespace Zel {
namespace {

class FilesConcurrency : public zel_test::ScratchTmpdir {};

TEST_F(FilesConcurrency, ThreadsGetDistinctTemporaryObjects) {
  constexpr int kThreads = 4;
  constexpr int kEach = 40;
  std::vector<std::vector<UString>> made(kThreads);
  zel_test::run_together(kThreads, [&made](int t) {
    for (int i = 0; i < kEach; ++i) {
      made[t].push_back(i % 2 == 0 ? Fileutl::create_tmp_file(t + 1)
                                   : Fileutl::make_tmp_object(UString(u"RAW"), true));
    }
  });
  std::set<UString> all;
  for (const auto& paths : made) all.insert(paths.begin(), paths.end());
  EXPECT_EQ(all.size(), std::size_t{kThreads * kEach});
  EXPECT_EQ(Fileutl::g_tmp_table.size(), std::size_t{kThreads * kEach / 2});
}

// Each thread reads back what it wrote: a result left in the C library's shared
// storage by another thread shows as another date. (Formatting with the C
// library here would race with the zone lookups the library makes.)
TEST(DavTimeConcurrency, ThreadsFormatTheirOwnDates) {
  std::vector<int> wrong(4, 0);
  zel_test::run_together(4, [&wrong](int i) {
    for (int n = 0; n < 2000; ++n) {
      const time_t t = 1000000000 + i * 86400 * 40 + n * 3671;
      for (const DavTime::Format form : {DavTime::RFC1123, DavTime::ISO8601}) {
        DavTime back;
        back.parse(DavTime(t).to_string(form));
        if (back.get_time() != t) ++wrong[i];
      }
      (void)DavTime::get_tz_offset(t);
    }
  });
  for (int i = 0; i < 4; ++i) EXPECT_EQ(wrong[i], 0);
}

}  // namespace
}  // namespace Zel
