#include "zel/umessage.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "support/text.h"
#include "test_resource.h"

namespace Zel {
namespace {

using zel_test::text;

using Arg = UMessage::Arg;

TEST(UMessageFormat, CatalogueTextsWithArguments) {
  const std::string missing = "Could not locate Catalog File";
  const std::pair<UString, std::string> rows[] = {
      // A nil argument is skipped, so later ones move up.
      {UMessage::sprintf(zelutil, 4, Arg::nil, Arg("Oid::from_string"), Arg::nil, Arg::nil,
                         Arg::nil, Arg::nil, Arg::nil, Arg::nil, Arg::nil, Arg::nil),
       "QZMLK0654E Oid::from_string(): called with illegal value."},
      {UMessage(zelutil, 21, Arg::nil, Arg("a"), Arg::nil, Arg::nil, Arg("b")).message_string(),
       "QZMLK0671E The selector 'a' is not valid: b"},
      {UMessage::sprintf("%s-%s", Arg::nil, Arg("p"), Arg::nil, Arg("q"), Arg::nil, Arg::nil,
                         Arg::nil, Arg::nil, Arg::nil, Arg::nil),
       "p-q"},
      {UMessage(zelutil, 22).message_string(), missing},
      {UMessage(zelutil, 0).message_string(), missing},
      {UMessage::sprintf(zelutil, 99, Arg("dropped")), missing},
      // A formatter result that is the not-found text is treated as not found too.
      {UMessage::sprintf("default QvLogger message", Arg::nil), missing},
      {UMessage().message_string(), ""},
      {UMessage(nullptr, 3).message_string(), ""},
      {UMessage(zelutil, -1).message_string(), ""},
  };
  for (std::size_t i = 0; i < std::size(rows); ++i) {
    EXPECT_EQ(text(rows[i].first), rows[i].second) << "row " << i;
  }
  EXPECT_EQ(UMessage(zelutil, 21, Arg::nil, Arg("x")).args().size(), 1u);
  EXPECT_TRUE(UMessage().is_nil());
  EXPECT_FALSE(UMessage(zelutil, 1).is_nil());
}

TEST(UMessageFormat, EveryArgumentKind) {
  const TestResource resource(u"brtype:main@/store");
  const std::string bytes = "std";
  const UString format(u"%d|%d|%ld|%lld|%.2f|%s|%s|%s|%s|%s|%c");
  EXPECT_EQ(text(UMessage::sprintf(format, Arg('A'), Arg(-7), Arg(1L << 40), Arg(1LL << 62),
                                   Arg(2.5), Arg("bytes"), Arg(bytes), Arg(UString(u"\u00FC")),
                                   Arg(resource), Arg(u"utf16"))) +
                text(UMessage::sprintf("%c", Arg('z'))),
            "65|-7|1099511627776|4611686018427387904|2.50|bytes|std|\xC3\xBC|"
            "brtype:main@/store|utf16|%cz");
}

TEST(UMessageArg, CopiesOwnTheirValues) {
  std::string source = "original";
  Arg a(source.c_str());
  source.assign("changed!");
  Arg copy(a);
  Arg assigned(5);
  assigned = copy;
  const TestResource resource(u"r1");
  Arg with_resource(resource);
  Arg resource_copy(with_resource);
  EXPECT_NE(resource_copy.value().resource, with_resource.value().resource);
  with_resource = Arg::nil;
  EXPECT_EQ(text(UMessage::sprintf("%s %s %s", Arg(a), assigned, resource_copy, Arg::nil, Arg::nil,
                                   Arg::nil, Arg::nil, Arg::nil, Arg::nil, Arg::nil)),
            "original original r1");
  EXPECT_EQ(with_resource.tag(), Arg::NIL);
  EXPECT_EQ(text(UMessage::sprintf("%s", Arg(static_cast<const char*>(nullptr)))), "(null)");
}

TEST(UMessageCollection, AppendsCopies) {
  UMessage::collection_t list;
  list.push_back(UMessage(zelutil, 4, Arg("f")));
  UMessage::collection_t other;
  other.push_back(UMessage(zelutil, 6));
  (list += other) += list;  // appending a collection to itself doubles it
  std::vector<int> numbers;
  for (const UMessage& m : list) numbers.push_back(m.number());
  EXPECT_EQ(numbers, (std::vector<int>{4, 6, 4, 6}));
  EXPECT_EQ(text(list[2].message_string()), "QZMLK0654E f(): called with illegal value.");
}

}  // namespace
}  // namespace Zel
