// Uuid and Oid as values: text forms, parsing, packing, order, hash, streams.
#include "zel/oid.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <random>
#include <sstream>
#include <string>

#include "support/failure.h"
#include "zel/exception.h"

namespace Zel {
namespace {

const Uuid kSample(qbs_uuid_s{
    0x123e4567, 0xe89b, 0x12d3, 0xa4, 0x56, {0x42, 0x66, 0x14, 0x17, 0x40}});
// Every byte distinct, to see where each one goes.
const Uuid kCounting(qbs_uuid_s{0x01020304, 0x0506, 0x0708, 0x09, 0x0a, {11, 12, 13, 14, 15, 16}});

// Random UUIDs against snprintf with the documented formats, and through every
// conversion between Uuid, Oid and the two plain records.
TEST(Uuid, TextFormsAndConversionsRoundTrip) {
  EXPECT_TRUE(Uuid().is_nil());
  EXPECT_TRUE(Oid().is_nil());
  EXPECT_FALSE(kSample.is_nil());

  std::mt19937 random(20240611);
  for (int i = 0; i < 2000; ++i) {
    qbs_uuid_s raw;
    auto* bytes = reinterpret_cast<unsigned char*>(&raw);
    for (std::size_t b = 0; b < sizeof raw; ++b) bytes[b] = static_cast<unsigned char>(random());
    const Uuid u(raw);
    const Oid packed(u);
    for (const char* format : {"%08x.%04hx%04hx.%02x%02x.%02x:%02x:%02x:%02x:%02x:%02x",
                               "%08x%04hx%04hx%02x%02x%02x%02x%02x%02x%02x%02x"}) {
      char expected[64];
      std::snprintf(expected, sizeof expected, format, u.time_low, u.time_mid,
                    u.time_hi_and_version, u.clock_seq_hi_and_reserved, u.clock_seq_low, u.node[0],
                    u.node[1], u.node[2], u.node[3], u.node[4], u.node[5]);
      const bool compact = format[4] != '.';
      ASSERT_EQ(u.std_str(compact), expected);
      ASSERT_EQ(packed.std_str(compact), expected);
      ASSERT_EQ(u.str(compact), UString(Utf8String(expected)));
      ASSERT_EQ(Uuid::from_string(expected), u);
    }
    ASSERT_EQ(packed.uuid(), u);
    ASSERT_EQ(Uuid(static_cast<qbs_uuid_s>(packed)), u);
    ASSERT_EQ(Uuid(static_cast<qbs_oid_s>(packed)), u);
    ASSERT_EQ(Oid(static_cast<qbs_uuid_s>(u)), packed);
    ASSERT_EQ(Oid(static_cast<qbs_oid_s>(u)), packed);
  }
}

TEST(UuidParse, AcceptsWhatTheScanFormatsAccept) {
  const char* const kSampleText = "123e4567e89b12d3a456426614174000";
  // Each text and the compact form of what it reads as.
  const std::pair<std::string, const char*> cases[] = {
      {"123E4567-E89B-12D3-A456-426614174000", kSampleText},
      // Text after the last field is ignored.
      {"123e4567-e89b-12d3-a456-426614174000 and more", kSampleText},
      // Widths are maximum widths: a separator may end a group early.
      {"1-2-3-0405-060708090a0b", "00000001000200030405060708090a0b"},
      {"1.00023.045.6:7:8:9:a:b", "00000001000200030405060708090a0b"},
      // A ':' is no hex digit: the last byte is read as its first digit alone.
      {"123e4567e89b12d3a45642661417400:", "123e4567e89b12d3a456426614174000"},
      // Byte fields keep the low 8 bits of the 16 they are scanned as.
      {"123e4567-e89b-12d3--1-1-426614174000", "123e4567e89b12d3ffff426614174000"},
  };
  for (const auto& [text, expected] : cases) {
    SCOPED_TRACE(text);
    EXPECT_EQ(Uuid::from_string(text).std_str(true), expected);
    EXPECT_EQ(Oid::from_string(text).std_str(true), expected);
  }
}

// Two UUIDs are equal only when every byte is: each one alone tells them apart.
TEST(Uuid, EqualityLooksAtEveryByte) {
  const qbs_uuid_s raw = kCounting;
  for (std::size_t b = 0; b < sizeof raw; ++b) {
    qbs_uuid_s changed = raw;
    reinterpret_cast<unsigned char*>(&changed)[b] ^= 0x80;
    EXPECT_FALSE(Uuid(changed) == kCounting) << "byte " << b;
  }
}

TEST(UuidParse, RefusesWithMessage7NamingTheTextTwice) {
  for (const std::string& text : {
           std::string("123e4567.e89b12d3.a456.42:66:14:17:40"),       // five node bytes
           std::string("123e4567_e89b_12d3_a456_426614174000"),        // unknown separator
           std::string("g23e4567-e89b-12d3-a456-426614174000"),        // not a hex digit
           std::string("123e4567-e89b-12d3-a456\0-426614174000", 36),  // the scan stops at the zero
       }) {
    SCOPED_TRACE(text);
    const std::string shown = text.c_str();
    EXPECT_EQ(
        zel_test::message_of<IllegalArgException>([&] { Uuid::from_string(text); }),
        "QZMLK0657E Invalid Oid/Uuid format for arg: '" + shown + "' with value: '" + shown + "'");
  }
}

TEST(Oid, OrdersWordByWordNotByText) {
  const std::pair<const char*, const char*> lower_then_higher[] = {
      // time_hi_and_version decides before time_mid.
      {"00000000.00020001.0000.00:00:00:00:00:00", "00000000.00010002.0000.00:00:00:00:00:00"},
      // Inside w2 and w3 the later byte is the more significant.
      {"00000000.00000000.0100.00:00:00:00:00:00", "00000000.00000000.0001.00:00:00:00:00:00"},
      {"00000000.00000000.0000.00:00:ff:ff:ff:00", "00000000.00000000.0000.00:00:00:00:00:01"},
      // w0 first, compared unsigned.
      {"7fffffff.ffffffff.ffff.ff:ff:ff:ff:ff:ff", "80000000.00000000.0000.00:00:00:00:00:00"},
  };
  for (const auto& [lower_text, higher_text] : lower_then_higher) {
    SCOPED_TRACE(lower_text);
    const Oid lower = Oid::from_string(std::string(lower_text));
    const Oid higher = Oid::from_string(std::string(higher_text));
    EXPECT_TRUE(lower < higher);
    EXPECT_FALSE(higher < lower);
    EXPECT_FALSE(lower < lower);
    EXPECT_NE(lower, higher);
  }
}

// The bytes go into four words, least significant first; the hash is their XOR.
TEST(Oid, PacksFourWordsAndHashesTheirExclusiveOr) {
  Oid assigned;
  assigned = Oid::bits{0x01020304, 0x07080506, 0x0c0b0a09, 0x100f0e0d};
  EXPECT_EQ(assigned, Oid(kCounting));
  EXPECT_EQ(Oid(Oid::bits{0xdeadbeef, 0xdeadbeef, 0, 0}).hash(), 0);
  EXPECT_EQ(Oid(Oid::bits{0x80000000, 0, 0, 1}).hash(), static_cast<int>(0x80000001u));
}

TEST(Oid, WideStreams) {
  // Insertion writes a pointer, deliberately, not the text.
  std::wostringstream out;
  out << Oid(kSample);
  EXPECT_EQ(out.str().find(L"123e4567"), std::wstring::npos);
  EXPECT_EQ(out.str().rfind(L"0x", 0), 0u);

  std::wistringstream in(L"123e4567.e89b12d3.a456.42:66:14:17:40:00  x");
  Oid id;
  in >> id;
  EXPECT_EQ(id, Oid(kSample));
  EXPECT_THROW(in >> id, IllegalArgException);
  in >> id;  // at the end of the input the id is left as it was
  EXPECT_TRUE(in.fail());
  EXPECT_EQ(id, Oid(kSample));
}

}  // namespace
}  // namespace Zel
