// The generator in one thread: field layout, node, counter and C entry points.
// Uniqueness is checked across threads and processes, windows against a set clock.
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

}  // namespace
}  // namespace Zel
