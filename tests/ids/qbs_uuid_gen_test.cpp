// The generator in one thread: field layout, node, counter, and uniqueness in
// a tight loop that uses up many timestamp windows.
#include <gtest/gtest.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <vector>

#include "generated_fields.h"
#include "zel/oid.h"

namespace Zel {
namespace {

using zel_test::counter_bits_of;
using zel_test::kCounterMask;
using zel_test::kWindowCapacity;
using zel_test::pid_bits_of;
using zel_test::timestamp_of;
using zel_test::window_of;

TEST(UuidGenerator, FieldsFollowTheLayout) {
  unsigned char node[6];
  ASSERT_EQ(kzserver_sysutl_my_ieee_hostid(node), 0);
  const auto pid = static_cast<std::uint32_t>(getpid());

  timeval before;
  gettimeofday(&before, nullptr);
  std::vector<Uuid> ids;
  for (int i = 0; i < 1000; ++i) ids.push_back(Uuid::gen());
  timeval after;
  gettimeofday(&after, nullptr);

  for (const Uuid& u : ids) {
    EXPECT_EQ(u.time_hi_and_version >> 12, 1) << "version 1";
    EXPECT_EQ(u.clock_seq_hi_and_reserved & 0xC0, 0x80) << "variant bits 10";
    EXPECT_EQ(u.time_low & 3, pid & 3);
    EXPECT_EQ(u.clock_seq_low, (pid >> 2) & 0xFF);
    EXPECT_EQ(u.clock_seq_hi_and_reserved & 0x3F, (pid >> 10) & 0x3F);
    EXPECT_EQ(pid_bits_of(u), pid & 0xFFFF);
    EXPECT_EQ(0, std::memcmp(u.node, node, 6));
    // The shifted epoch offset: the window lies between the two clock readings.
    EXPECT_GE(window_of(u), window_of(timestamp_of(before)));
    EXPECT_LE(window_of(u), window_of(timestamp_of(after)));
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

  // 00 01, then the host number least significant byte first.
  const auto host = static_cast<std::uint32_t>(gethostid());
  const unsigned char expected[6] = {0,
                                     1,
                                     static_cast<unsigned char>(host),
                                     static_cast<unsigned char>(host >> 8),
                                     static_cast<unsigned char>(host >> 16),
                                     static_cast<unsigned char>(host >> 24)};
  unsigned char node[6];
  ASSERT_EQ(kzserver_sysutl_my_ieee_hostid(node), 0);
  EXPECT_EQ(0, std::memcmp(node, expected, 6));
  EXPECT_EQ(0, std::memcmp(Oid::gen().uuid().node, expected, 6));
}

// Several million in a tight loop use up a window every 2^18 values; none may
// repeat, windows never go back, and none holds more than 2^18 values.
TEST(UuidGenerator, TightLoopNeverRepeats) {
  constexpr std::size_t kCount = 3000000;
  std::vector<qbs_uuid_s> ids(kCount);
  for (auto& id : ids) ASSERT_EQ(kzserver_qbs_uuid_gen(&id), 0);

  std::uint64_t window = 0;
  std::size_t in_window = 0;
  for (const auto& id : ids) {
    const std::uint64_t w = window_of(Uuid(id));
    ASSERT_GE(w, window);
    in_window = w == window ? in_window + 1 : 1;
    window = w;
    ASSERT_LE(in_window, kWindowCapacity);
  }

  std::vector<std::pair<std::uint64_t, std::uint64_t>> keys;
  keys.reserve(kCount);
  for (const auto& id : ids) keys.push_back(zel_test::key_of(id));
  std::sort(keys.begin(), keys.end());
  EXPECT_EQ(std::adjacent_find(keys.begin(), keys.end()), keys.end());
}

}  // namespace
}  // namespace Zel
