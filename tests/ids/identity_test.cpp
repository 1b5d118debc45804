// Identity: the text form and its failures, equality, copies, the assignment
// that keeps a type byte, and lengths that are negative or have no buffer.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "support/failure.h"
#include "support/text.h"
#include "zel/exception.h"
#include "zel/oid.h"

namespace Zel {
namespace {

using testing::EndsWith;
using testing::StartsWith;
using zel_test::ustr;

std::string text_of(const Identity& id) { return id.str().utf8_str(); }

TEST(Identity, TextFormRoundTrips) {
  const std::pair<Identity, const char*> cases[] = {
      {Identity(), "0:00"},
      {Identity(2, 1, "\x0a\xff"), "2:010aff"},
      {Identity(0, 0xff, nullptr), "0:ff"},
      {Identity(3, 0x7f, "ab\0"), "3:7f616200"},
  };
  for (const auto& [id, text] : cases) {
    EXPECT_EQ(text_of(id), text);
    EXPECT_EQ(Identity::from_str(ustr(text)), id) << text;
  }
  const std::string longest = "32767:01" + std::string(2 * 32767, 'a');
  EXPECT_EQ(text_of(Identity::from_str(ustr(longest))), longest);
}

TEST(Identity, EachParseFailureHasItsMessage) {
  const std::pair<std::string, int> cases[] = {
      {"0100", 8},
      {"-1:00", 9},
      {"65536:00", 9},
      // From 32768 bytes the text form still fits but the 16-bit length does not.
      {"32768:" + std::string(2 * 32769, '0'), 9},
      {"3:010aff", 10},
      {"2:010aff0", 10},
      {"2:010AFF", 11},  // upper case is refused
      {"2:010ag0", 11},
  };
  // Every refusal names the argument and shows the whole text.
  for (const auto& [text, number] : cases) {
    SCOPED_TRACE(text.substr(0, 40));
    const std::string message =
        zel_test::message_of<IllegalArgException>([&] { Identity::from_str(ustr(text)); });
    EXPECT_THAT(message, StartsWith("QZMLK06" + std::to_string(50 + number) + "E "));
    EXPECT_THAT(message, EndsWith(" for arg: 'str' with value: '" + text + "'"));
  }
}

TEST(Identity, EqualityCopiesAndAccessors) {
  const Identity typed(2, 1, "\x0a\xff");
  EXPECT_NE(typed, Identity(2, 1, "\x0a\xfe"));
  EXPECT_NE(typed, Identity(2, 2, "\x0a\xff"));
  EXPECT_NE(typed, Identity(1, 1, "\x0a"));
  EXPECT_NE(Identity(0, 1, nullptr), Identity());

  // "0:00" parses to a buffer holding type 0: still nobody.
  EXPECT_TRUE(Identity::from_str(ustr("0:00")).is_nobody());

  Identity original(3, 5, "abc");
  const Identity copy(original);
  original = Identity(3, 6, "xyz");
  EXPECT_EQ(text_of(copy), "3:05616263");
}

TEST(Identity, AssignmentKeepsALargerBufferAndItsTypeByte) {
  Identity id(4, 1, "abcd");
  id = Identity();  // deliberately keeps the type byte
  EXPECT_EQ(text_of(id), "0:01");
  EXPECT_FALSE(id.is_nobody());

  Identity target(4, 1, "abcd");
  target = Identity(2, 2, "xy");  // into the old buffer
  EXPECT_EQ(text_of(target), "2:027879");
  target = Identity(6, 3, "uvwxyz");  // a new, larger buffer
  EXPECT_EQ(text_of(target), "6:0375767778797a");
  Identity& self = target;
  target = self;
  EXPECT_EQ(text_of(target), "6:0375767778797a");
}

// A negative length is kept but counts as no data bytes: nothing may read or
// write outside a buffer here (AddressSanitizer watches).
TEST(Identity, NegativeLengthsHoldNoData) {
  const Identity negative_typed(-5, 3, "abcdef");
  EXPECT_EQ(text_of(negative_typed), "-5:03");
  EXPECT_FALSE(negative_typed.is_nobody());
  EXPECT_EQ(Identity(negative_typed), Identity(-5, 3, nullptr));
  EXPECT_NE(negative_typed, Identity(-5, 4, nullptr));
  EXPECT_EQ(text_of(Identity(-1, 0, "abcdef")), "-1:00");
  EXPECT_EQ(text_of(Identity(3, 9, nullptr)), "3:09000000");

  // As a file of credentials gives it: a length and no bytes.
  const Identity from_file(-56, static_cast<Identity::identity_t*>(nullptr));
  EXPECT_EQ(from_file.length(), -56);
  EXPECT_EQ(Identity(from_file), from_file);
  EXPECT_EQ(text_of(Identity(12, static_cast<Identity::identity_t*>(nullptr))), "0:00");

  Identity target(2, 1, "ab");
  target = negative_typed;
  EXPECT_EQ(target, negative_typed);
  target = Identity(4, 2, "wxyz");
  EXPECT_EQ(text_of(target), "4:027778797a");  // from a negative length to a positive one
}

}  // namespace
}  // namespace Zel
