// Several threads register overlapping names and namespaces at once, directly
// or through the failed parses of selectors naming unknown resource types. Run
// under ThreadSanitizer in the tsan build.
#include <gtest/gtest.h>

#include <atomic>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "support/threads.h"
#include "zel/exception.h"
#include "zel/selector.h"
#include "zel/xmltag.h"

namespace Zel {
namespace {

constexpr int kThreads = 4;
constexpr int kNames = 128;  // a power of two: any odd stride visits every name
constexpr int kUris = 3;

UString name_of(int i) { return UString(Utf8String("name-" + std::to_string(i))); }
UString uri_of(int i) { return UString(Utf8String("urn:example:stress:" + std::to_string(i))); }

TEST(XmlTagConcurrency, OverlappingRegistrationsAgree) {
  // What each thread saw: per (namespace id, name) the id it was given.
  using Seen = std::map<std::pair<XmlTag::NsId, int>, XmlTag::Id>;
  std::vector<Seen> seen(kThreads);
  std::atomic<int> mismatches{0};
  zel_test::run_together(kThreads, [&](int t) {
    for (int step = 0; step < kNames * (kUris + 1); ++step) {
      // Each thread visits every name of every namespace once, in its own order.
      const int i = (step * (2 * t + 1) + t * 37) % kNames;
      const int where = (step / kNames + t) % (kUris + 1);
      const XmlTag* tag;
      if (where == kUris) {
        tag = &XmlTag::lookup(2, name_of(i));  // "ATR:", well-known but open
      } else {
        XmlTag probe(uri_of(where), name_of(i));
        tag = &XmlTag::lookup(probe);
        if (probe.id() != 0 && probe.id() != tag->id()) ++mismatches;
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
  ASSERT_EQ(seen[0].size(), static_cast<std::size_t>(kNames * (kUris + 1)));
  // Ids and run-time namespace ids each form one dense run: nothing was handed
  // out twice or skipped.
  std::set<XmlTag::Id> ids;
  std::set<XmlTag::NsId> namespaces;
  for (const auto& [key, id] : seen[0]) {
    ids.insert(id);
    if (key.first != 2) namespaces.insert(key.first);
  }
  EXPECT_EQ(ids.size(), seen[0].size());
  EXPECT_EQ(*ids.rbegin() - *ids.begin() + 1, static_cast<XmlTag::Id>(ids.size()));
  EXPECT_EQ(namespaces.size(), static_cast<std::size_t>(kUris));
  EXPECT_EQ(*namespaces.rbegin() - *namespaces.begin() + 1, kUris);
}

// Besides, selectors share only read-only tables while they parse and format.
TEST(SelectorConcurrency, ParsingSharesOnlyReadOnlyTables) {
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
