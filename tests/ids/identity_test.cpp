// Identity: construction, comparison, the text form and its failures, and the
// assignment that keeps a type byte.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "zel/exception.h"
#include "zel/oid.h"

namespace Zel {
namespace {

UString u8(const std::string& text) { return UString(Utf8String(text)); }

TEST(Identity, PrintsLengthColonAndHexOfEveryBufferByte) {
  struct Case {
    Identity id;
    const char* text;
  };
  const Case cases[] = {
      {Identity(), "0:00"},
      {Identity(0, 0, nullptr), "0:00"},
      {Identity(2, 1, "\x0a\xff"), "2:010aff"},
      {Identity(0, 0xff, nullptr), "0:ff"},
      {Identity(3, 0x7f, "ab\0"), "3:7f616200"},
      {Identity(1, 0, "\x10"), "1:0010"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(c.id.str().utf8_str(), c.text);
    EXPECT_EQ(Identity::from_str(u8(c.text)), c.id) << c.text;
  }
}

TEST(Identity, AccessorsAndEquality) {
  const Identity typed(2, 1, "\x0a\xff");
  EXPECT_EQ(typed.type(), 1);
  EXPECT_EQ(typed.length(), 2);
  EXPECT_FALSE(typed.is_nobody());
  ASSERT_NE(typed.bits(), nullptr);
  EXPECT_EQ(std::string(typed.bits(), 2), "\x0a\xff");

  const Identity nobody;
  EXPECT_TRUE(nobody.is_nobody());
  EXPECT_EQ(nobody.type(), 0);
  EXPECT_EQ(nobody.bits(), nullptr);

  // "0:00" has a one-byte buffer of type 0, and is nobody all the same.
  const Identity parsed_nobody = Identity::from_str(u8("0:00"));
  EXPECT_TRUE(parsed_nobody.is_nobody());
  EXPECT_NE(parsed_nobody.bits(), nullptr);
  EXPECT_EQ(parsed_nobody, nobody);

  EXPECT_NE(typed, Identity(2, 1, "\x0a\xfe"));  // data differs
  EXPECT_NE(typed, Identity(2, 2, "\x0a\xff"));  // type differs
  EXPECT_NE(typed, Identity(1, 1, "\x0a"));      // length differs
  EXPECT_NE(Identity(0, 1, nullptr), nobody);    // both empty, types differ
  EXPECT_EQ(Identity(0, 1, nullptr), Identity(0, 1, "ignored"));
}

TEST(Identity, CopiesOwnTheirBuffer) {
  Identity original(3, 5, "abc");
  const Identity copy(original);
  original = Identity(3, 6, "xyz");
  EXPECT_EQ(copy.str().utf8_str(), "3:05616263");

  // Copying nobody with a buffer gives nobody without one.
  const Identity parsed_nobody = Identity::from_str(u8("0:00"));
  const Identity copied_nobody(parsed_nobody);
  EXPECT_EQ(copied_nobody.bits(), nullptr);
}

TEST(Identity, AssignmentKeepsALargerBufferAndItsTypeByte) {
  // Deliberate: assigning nobody to a typed identity keeps the type byte.
  Identity id(4, 1, "abcd");
  id = Identity();
  EXPECT_EQ(id.type(), 1);
  EXPECT_EQ(id.length(), 0);
  EXPECT_FALSE(id.is_nobody());
  EXPECT_EQ(id.str().utf8_str(), "0:01");

  // Shorter and longer identities are copied whole.
  Identity target(4, 1, "abcd");
  const Identity shorter(2, 2, "xy");
  target = shorter;
  EXPECT_EQ(target, shorter);
  EXPECT_EQ(target.str().utf8_str(), "2:027879");
  const Identity longer(6, 3, "uvwxyz");
  target = longer;
  EXPECT_EQ(target, longer);

  Identity nobody;
  nobody = longer;
  EXPECT_EQ(nobody, longer);

  Identity& self = target;
  target = self;
  EXPECT_EQ(target, longer);
}

// Negative and missing inputs never lead outside a buffer (ASan watches).
TEST(Identity, NegativeLengthsCountAsZero) {
  const char data[] = "abcdef";
  const Identity negative_typed(-5, 3, data);
  EXPECT_EQ(negative_typed.length(), 0);
  EXPECT_EQ(negative_typed.type(), 3);
  EXPECT_EQ(negative_typed.str().utf8_str(), "0:03");

  const Identity negative_untyped(-1, 0, data);
  EXPECT_TRUE(negative_untyped.is_nobody());
  EXPECT_EQ(negative_untyped.bits(), nullptr);

  const Identity zeros(3, 9, nullptr);
  EXPECT_EQ(zeros.str().utf8_str(), "3:09000000");

  const Identity adopted(-32768, new Identity::identity_t[1]{7});
  EXPECT_EQ(adopted.length(), 0);
  EXPECT_EQ(adopted.type(), 7);
  const Identity copy(adopted);
  EXPECT_EQ(copy, adopted);

  const Identity no_buffer(12, nullptr);
  EXPECT_TRUE(no_buffer.is_nobody());
  EXPECT_EQ(no_buffer.str().utf8_str(), "0:00");

  Identity target(2, 1, "ab");
  target = negative_typed;
  EXPECT_EQ(target, negative_typed);
}

TEST(IdentityParse, AcceptsTheTextForm) {
  struct Case {
    std::string text;
    short length;
    Identity::type_t type;
    std::string data;
  };
  const Case cases[] = {
      {"2:010aff", 2, 1, "\x0a\xff"},
      {"0:00", 0, 0, ""},
      {"0:05", 0, 5, ""},
      // The length is read as strtol reads it.
      {" 2:010aff", 2, 1, "\x0a\xff"},
      {"+2:010aff", 2, 1, "\x0a\xff"},
      {"02:010aff", 2, 1, "\x0a\xff"},
      {"2x:010aff", 2, 1, "\x0a\xff"},
      {":00", 0, 0, ""},
      {"1:ff00", 1, 0xff, std::string(1, '\0')},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.text);
    const Identity id = Identity::from_str(u8(c.text));
    EXPECT_EQ(id.length(), c.length);
    EXPECT_EQ(id.type(), c.type);
    EXPECT_EQ(std::string(id.bits(), static_cast<std::size_t>(id.length())), c.data);
  }

  // The longest length a 16-bit length holds.
  const std::string longest = "32767:01" + std::string(2 * 32767, 'a');
  const Identity big = Identity::from_str(u8(longest));
  EXPECT_EQ(big.length(), 32767);
  EXPECT_EQ(big.str().utf8_str(), longest);
}

TEST(IdentityParse, EachFailureHasItsMessage) {
  struct Case {
    std::string text;
    int number;
    const char* message;
  };
  const Case cases[] = {
      {"0100", 8, "QZMLK0658E Invalid Identity length format for arg: 'str' with value: '0100'"},
      {"", 8, "QZMLK0658E Invalid Identity length format for arg: 'str' with value: ''"},
      {"-1:00", 9, "QZMLK0659E Invalid Identity length string for arg: 'str' with value: '-1:00'"},
      {"65536:00", 9, nullptr},
      {"99999999999999999999999:00", 9, nullptr},
      // Above what the 16-bit length holds, whatever the digits after it.
      {"32768:" + std::string(2 * 32769, '0'), 9, nullptr},
      {"3:010aff", 10,
       "QZMLK0660E Invalid Identity - bad string size for arg: 'str' with value: '3:010aff'"},
      {"2:010aff0", 10, nullptr},
      {"0:", 10, nullptr},
      {"2:010AFF", 11,
       "QZMLK0661E Invalid Identity - hex conversion error for arg: 'str' with value: "
       "'2:010AFF'"},
      {"2:010ag0", 11, nullptr},
      {"1:0 1f", 11, nullptr},
      {"0:x0", 11, nullptr},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.text.substr(0, 40));
    try {
      Identity::from_str(u8(c.text));
      ADD_FAILURE() << "accepted";
    } catch (const IllegalArgException& e) {
      EXPECT_EQ(e.message().catalogue(), zelutil);
      EXPECT_EQ(e.message().number(), c.number);
      ASSERT_EQ(e.message().args().size(), 2u);
      EXPECT_EQ(std::string(e.message().args()[0].value().bytes), "str");
      EXPECT_EQ(*e.message().args()[1].value().string, c.text);
      if (c.message != nullptr) {
        EXPECT_EQ(e.message().message_string().utf8_str(), c.message);
      }
    }
  }
}

}  // namespace
}  // namespace Zel
