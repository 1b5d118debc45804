// Several threads register overlapping names and namespaces at once, directly
// or through the failed parses of selectors naming unknown resource types. Run
// under ThreadSanitizer in the tsan build.
#include <gtest/gtest.h>

#include <atomic>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "support/failure.h"
#include "support/text.h"
#include "support/threads.h"
#include "zel/selector.h"
#include "zel/xmltag.h"

namespace Zel {
namespace {

using zel_test::failure_of;

constexpr int kThreads = 4;
constexpr int kNames = 128;  // a power of two: any odd stride visits every name
constexpr int kUris = 3;
// Besides the run-time namespaces: "ATR:", well-known but open, and "RES:",
// where a selector's failed parse registers an unknown resource type.
constexpr int kPlaces = kUris + 2;

using zel_test::ustr;

std::string name_of(int i) { return "name-" + std::to_string(i); }
UString uri_of(int i) { return UString(Utf8String("urn:example:stress:" + std::to_string(i))); }

TEST(XmlTagConcurrency, OverlappingRegistrationsAgree) {
  // What each thread saw: per (namespace id, name) the id it was given.
  using Seen = std::map<std::pair<XmlTag::NsId, int>, XmlTag::Id>;
  std::vector<Seen> seen(kThreads);
  std::atomic<int> mismatches{0};
  zel_test::run_together(kThreads, [&](int t) {
    for (int step = 0; step < kNames * kPlaces; ++step) {
      // Each thread visits every name of every place once, in its own order.
      const int i = (step * (2 * t + 1) + t * 37) % kNames;
      const int where = (step / kNames + t) % kPlaces;
      const UString name(Utf8String{name_of(i)});
      const XmlTag* tag;
      if (where == kUris) {
        tag = &XmlTag::lookup(2, name);
      } else if (where == kUris + 1) {
        const std::string parse =
            failure_of([&] { Selector(ustr("lw.repo." + name_of(i) + ":x@y")); });
        if (parse.find("unknown resource type") == std::string::npos) ++mismatches;
        tag = &XmlTag::lookup(16, name);
      } else {
        XmlTag probe(uri_of(where), name);
        tag = &XmlTag::lookup(probe);
      }
      seen[t][{tag->ns_id(), i}] = tag->id();
      // Defined tags are read alongside, without the lock.
      if (&XmlTag::lookup(0, UString(u"acl-entry")) != &XmlTag::lookup(XmlTag::ACL_ENTRY)) {
        ++mismatches;
      }
      if (&XmlTag::lookup(tag->id()) != tag) ++mismatches;
    }
  });
  EXPECT_EQ(mismatches.load(), 0);

  // Every thread got the same id for every name and the same namespaces.
  for (int t = 1; t < kThreads; ++t) EXPECT_EQ(seen[t], seen[0]) << "thread " << t;
  ASSERT_EQ(seen[0].size(), static_cast<std::size_t>(kNames * kPlaces));
  // Ids form one dense run: nothing was handed out twice or skipped. Distinct
  // namespaces show in the count of keys above.
  std::set<XmlTag::Id> ids;
  for (const auto& entry : seen[0]) ids.insert(entry.second);
  EXPECT_EQ(ids.size(), seen[0].size());
  EXPECT_EQ(*ids.rbegin() - *ids.begin() + 1, static_cast<XmlTag::Id>(ids.size()));
}

}  // namespace
}  // namespace Zel
