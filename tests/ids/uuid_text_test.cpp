// The printed forms are written digit-word by digit-word rather than by
// snprintf: for any bytes they must read as the documented formats write them.

#include <gtest/gtest.h>

#include <cstdio>
#include <random>
#include <string>

#include "zel/oid.h"

namespace Zel {
namespace {

TEST(UuidText, BothFormsMatchTheirPrintfFormatsForAnyBytes) {
  std::mt19937 engine(18);
  for (int round = 0; round < 2000; ++round) {
    Uuid u;
    u.time_low = static_cast<std::uint32_t>(engine());
    u.time_mid = static_cast<std::uint16_t>(engine());
    u.time_hi_and_version = static_cast<std::uint16_t>(engine());
    u.clock_seq_hi_and_reserved = static_cast<std::uint8_t>(engine());
    u.clock_seq_low = static_cast<std::uint8_t>(engine());
    for (std::uint8_t& b : u.node) b = static_cast<std::uint8_t>(engine());
    const auto& n = u.node;
    char expected[64];
    std::snprintf(expected, sizeof expected,
                  "%08x.%04hx%04hx.%02x%02x.%02x:%02x:%02x:%02x:%02x:%02x", u.time_low, u.time_mid,
                  u.time_hi_and_version, u.clock_seq_hi_and_reserved, u.clock_seq_low, n[0], n[1],
                  n[2], n[3], n[4], n[5]);
    ASSERT_EQ(u.std_str(false), expected);
    ASSERT_EQ(u.str(false).utf8_str(), expected);
    std::snprintf(expected, sizeof expected, "%08x%04hx%04hx%02x%02x%02x%02x%02x%02x%02x%02x",
                  u.time_low, u.time_mid, u.time_hi_and_version, u.clock_seq_hi_and_reserved,
                  u.clock_seq_low, n[0], n[1], n[2], n[3], n[4], n[5]);
    ASSERT_EQ(u.std_str(true), expected);
    ASSERT_EQ(u.str(true).utf8_str(), expected);
  }
}

}  // namespace
}  // namespace Zel
