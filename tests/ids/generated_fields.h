// Decoding of generated UUIDs for the generator tests: the timestamp window,
// the counter bits and the process-id bits, read back out of the 16 bytes.
#ifndef ZEL_TESTS_IDS_GENERATED_FIELDS_H_
#define ZEL_TESTS_IDS_GENERATED_FIELDS_H_

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <vector>

#include "zel/oid.h"

namespace zel_test {

// The generator's epoch offset, 2^32 above the usual one.
constexpr std::uint64_t kShiftedGregorianOffset = 122192932294967296ULL;
constexpr std::uint32_t kCounterMask = 0x3FFFF;
constexpr std::uint32_t kWindowCapacity = kCounterMask + 1;

// The 40-bit window written into the time fields.
inline std::uint64_t window_of(const Zel::Uuid& u) {
  const std::uint64_t t = static_cast<std::uint64_t>(u.time_hi_and_version & 0x0FFF) << 48 |
                          static_cast<std::uint64_t>(u.time_mid) << 32 | (u.time_low & 0xFFF00000u);
  return t >> 20;
}

inline std::uint32_t counter_bits_of(const Zel::Uuid& u) {
  return (u.time_low >> 2) & kCounterMask;
}

// The 16 bits of the process id spread over time_low and the clock sequence.
inline std::uint32_t pid_bits_of(const Zel::Uuid& u) {
  return (u.time_low & 3) | static_cast<std::uint32_t>(u.clock_seq_low) << 2 |
         static_cast<std::uint32_t>(u.clock_seq_hi_and_reserved & 0x3F) << 10;
}

// Sorts sortable copies of the 16 bytes: duplicate checks run over millions of ids.
template <typename Id>
void expect_all_distinct(const std::vector<Id>& ids) {
  std::vector<std::array<unsigned char, sizeof(qbs_uuid_s)>> keys(ids.size());
  for (std::size_t i = 0; i < ids.size(); ++i) {
    const qbs_uuid_s raw = ids[i];
    std::memcpy(keys[i].data(), &raw, sizeof raw);
  }
  std::sort(keys.begin(), keys.end());
  EXPECT_EQ(std::adjacent_find(keys.begin(), keys.end()), keys.end())
      << "a UUID was generated twice";
}

}  // namespace zel_test

#endif  // ZEL_TESTS_IDS_GENERATED_FIELDS_H_
