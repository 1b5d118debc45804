// The generator in one thread: field layout, node, counter, and uniqueness in
// a tight loop that uses up many timestamp windows.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdint>
#include <vector>

#include "generated_fields.h"
#include "zel/oid.h"

namespace Zel {
namespace {

using zel_test::counter_bits_of;
using zel_test::kCounterMask;
using zel_test::window_of;

// The window's timestamp and the node's bytes are checked against a clock and a
// host number of the test's choosing in qbs_uuid_gen_clock_test.cpp.
TEST(UuidGenerator, FieldsFollowTheLayout) {
  unsigned char node[6];
  ASSERT_EQ(kzserver_sysutl_my_ieee_hostid(node), 0);
  const auto pid = static_cast<std::uint32_t>(getpid());
  std::vector<Uuid> ids;
  for (int i = 0; i < 1000; ++i) ids.push_back(i % 2 == 0 ? Uuid::gen() : Oid::gen().uuid());

  for (const Uuid& u : ids) {
    EXPECT_EQ(u.time_hi_and_version >> 12, 1) << "version 1";
    EXPECT_EQ(u.clock_seq_hi_and_reserved & 0xC0, 0x80) << "variant bits 10";
    EXPECT_EQ(zel_test::pid_bits_of(u), pid & 0xFFFF);
    EXPECT_EQ(0, std::memcmp(u.node, node, 6));
  }
  // The counter goes up by one per call, whether or not the window changes.
  for (std::size_t i = 1; i < ids.size(); ++i) {
    EXPECT_EQ(counter_bits_of(ids[i]), (counter_bits_of(ids[i - 1]) + 1) & kCounterMask) << i;
  }
}

TEST(UuidGenerator, CEntryPoints) {
  EXPECT_EQ(kzserver_qbs_uuid_gen(nullptr), 1001);
  EXPECT_EQ(kzserver_sysutl_my_ieee_hostid(nullptr), 0);
  unsigned char buffer[6] = {1};
  EXPECT_EQ(kzserver_sysutl_get_random_bytes(buffer, 6), 1) << "no random source";
  EXPECT_EQ(buffer[0], 1) << "and nothing written";
}

// A tight loop (an optimised build uses up a window every 2^18 values): none may
// repeat, windows never go back, and none holds more than 2^18 values.
TEST(UuidGenerator, TightLoopNeverRepeats) {
  std::vector<qbs_uuid_s> ids(500000);
  for (auto& id : ids) ASSERT_EQ(kzserver_qbs_uuid_gen(&id), 0);

  std::uint64_t window = 0;
  std::size_t in_window = 0;
  for (const auto& id : ids) {
    const std::uint64_t w = window_of(Uuid(id));
    ASSERT_GE(w, window);
    in_window = w == window ? in_window + 1 : 1;
    window = w;
    ASSERT_LE(in_window, zel_test::kWindowCapacity);
  }
  zel_test::expect_all_distinct(ids);
}

}  // namespace
}  // namespace Zel
