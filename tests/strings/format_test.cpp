// The fmt formatters of the value types, and the std::hash specialisations
// that key unordered containers.
#include "zel/format.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <utility>

namespace Zel {
namespace {

const char kUuidText[] = "1f2e3d40.5c6b17ee.8a3c.00:01:00:01:7f:00";

TEST(Format, EachTypePrintsItsOwnTextFormAndOptionsCountCharacters) {
  const Uuid uuid = Uuid::from_string(kUuidText);
  const std::pair<std::string, std::string> cases[] = {
      {fmt::format("{}", UString(u"caf\u00e9")), "caf\xc3\xa9"},
      {fmt::format("{}", Utf8String("caf\xc3\xa9")), "caf\xc3\xa9"},
      {fmt::format("{}", Selector(UString(u"lw.brtype:main@/store/proj"))),
       "brtype:main@lw./store/proj"},
      {fmt::format("{}", uuid), kUuidText},
      {fmt::format("{}", Oid(uuid)), kUuidText},
      {fmt::format("{}", Identity(2, 1, "\x0a\xff")), "2:010aff"},
      {fmt::format("{}", DavTime(1146711721)), "Thu, 04 May 2006 03:02:01 GMT"},
  };
  for (const auto& [formatted, expected] : cases) EXPECT_EQ(formatted, expected);
  // Format options count characters, not UTF-8 bytes.
  const UString cafe(u"caf\u00e9");
  EXPECT_EQ(fmt::format("[{:>6}|{:*<6}|{:^7}|{:.3}]", cafe, cafe, cafe, cafe),
            "[  caf\xc3\xa9|caf\xc3\xa9**| caf\xc3\xa9  |caf]");
}

// Values equal by operator== but built by different routes hash alike; values
// that differ only in a field a hash might skip hash apart.
template <typename T>
void expect_hashed_alike(const T& a, const T& b, bool alike = true) {
  EXPECT_EQ(a == b, alike);
  EXPECT_EQ(std::hash<T>()(a) == std::hash<T>()(b), alike);
}

TEST(Hash, AgreesWithEquality) {
  UString built(u"ab");
  built.append(u'c');
  expect_hashed_alike(UString(u"xabcx").substr(1, 3), built);
  const Uuid uuid = Uuid::from_string(kUuidText);
  expect_hashed_alike(uuid, Uuid::from_string("1f2e3d40-5c6b-17ee-8a3c-000100017f00"));
  expect_hashed_alike(Oid(uuid), Oid::from_string(UString(u"1f2e3d405c6b17ee8a3c000100017f00")));
  expect_hashed_alike(Oid(uuid), Oid(), false);
  expect_hashed_alike(Identity(2, 1, "\x0a\xff"), Identity::from_str(UString(u"2:010aff")));
  // A negative length carries no data bytes, so only length and type count.
  expect_hashed_alike(Identity(-3, 1, "abc"), Identity(-3, 1, "xyz"));
  expect_hashed_alike(Identity(1, 1, "a"), Identity(1, 2, "a"), false);
  expect_hashed_alike(Identity(-1, 1, "a"), Identity(-2, 1, "a"), false);
}

}  // namespace
}  // namespace Zel
