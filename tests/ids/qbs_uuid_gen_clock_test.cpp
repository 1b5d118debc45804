// The generator against a clock and a host number of the test's choosing.
//
// This program defines gettimeofday() and gethostid() itself; the library's
// calls resolve to these definitions. The host number is fixed for the whole
// process, as the library caches it on first use, and each test sets the clock
// later than the one before, since the generator never goes back to a window.
#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <vector>

#include "generated_fields.h"
#include "support/threads.h"
#include "zel/oid.h"

namespace {

std::atomic<std::int64_t> g_now_us{0};  // 0: the real clock
std::atomic<int> g_reads{0};
// After this many more reads the clock jumps by g_jump_us (0: never).
std::atomic<int> g_reads_before_jump{0};
std::atomic<std::int64_t> g_jump_us{0};

}  // namespace

// Visible outside this program, so that they take the C library's place.
#define ZEL_TEST_EXPORTED __attribute__((visibility("default")))

extern "C" ZEL_TEST_EXPORTED long gethostid() { return 305419896; }  // 0x12345678

extern "C" ZEL_TEST_EXPORTED int gettimeofday(struct timeval* __restrict tv,
                                              void* __restrict) noexcept {
  const std::int64_t now = g_now_us.load();
  if (now == 0) return static_cast<int>(syscall(SYS_gettimeofday, tv, nullptr));
  ++g_reads;
  tv->tv_sec = static_cast<time_t>(now / 1000000);
  tv->tv_usec = static_cast<suseconds_t>(now % 1000000);
  if (g_reads_before_jump.load() > 0 && --g_reads_before_jump == 0) g_now_us += g_jump_us.load();
  return 0;
}

namespace Zel {
namespace {

using zel_test::counter_bits_of;
using zel_test::kCounterMask;
using zel_test::kWindowCapacity;
using zel_test::window_of;

constexpr std::int64_t kWindowUs = (std::int64_t{1} << 20) / 10 + 1;  // a little over one window

// Microseconds since the epoch of the last whole microsecond of the window that
// holds `approximate_us`.
std::int64_t end_of_window_us(std::int64_t approximate_us) {
  const std::uint64_t t =
      static_cast<std::uint64_t>(approximate_us) * 10 + zel_test::kShiftedGregorianOffset;
  const std::uint64_t next_window = ((t >> 20) + 1) << 20;
  return static_cast<std::int64_t>((next_window - zel_test::kShiftedGregorianOffset - 1) / 10);
}

void set_clock(std::int64_t us) {
  g_reads_before_jump = 0;
  g_now_us = us;
  g_reads = 0;
}

// A whole second about `n` years after 2030-01-01 00:00:00 UTC: each test starts
// its clock in a year of its own.
constexpr std::int64_t year_us(int n) { return (1893456000LL + n * 31536000LL) * 1000000; }

// Must stay the first test that generates, for the counter's first value.
TEST(UuidGeneratorClock, FirstCallSeedsTheCounterWithTheMicroseconds) {
  set_clock(year_us(0) + 123456);
  const Uuid first = Uuid::gen();
  EXPECT_EQ(counter_bits_of(first), 123456u);
  EXPECT_EQ(window_of(first),
            (zel_test::kShiftedGregorianOffset + 10 * year_us(0) + 10 * 123456) >> 20);
  const Uuid second = Uuid::gen();
  EXPECT_EQ(counter_bits_of(second), 123457u);
}

TEST(UuidGeneratorClock, NodeComesFromTheHostNumberInDecimal) {
  unsigned char node[6];
  ASSERT_EQ(kzserver_sysutl_my_ieee_hostid(node), 0);
  const unsigned char expected[6] = {0x00, 0x01, 0x78, 0x56, 0x34, 0x12};
  EXPECT_EQ(0, std::memcmp(node, expected, 6));
}

// With the clock standing still, a window takes 2^18 values; the next call
// waits until the clock reaches the next window.
TEST(UuidGeneratorClock, AUsedUpWindowWaitsForTheNext) {
  const std::int64_t start = end_of_window_us(year_us(1));
  set_clock(start);
  std::vector<Uuid> ids;
  ids.reserve(kWindowCapacity + 1);
  for (std::uint32_t i = 0; i < kWindowCapacity; ++i) ids.push_back(Uuid::gen());
  const std::uint64_t window = window_of(ids.front());
  ASSERT_EQ(window_of(ids.back()), window);
  EXPECT_EQ(g_reads.load(), static_cast<int>(kWindowCapacity)) << "no waiting so far";

  g_reads = 0;
  g_jump_us = 1;  // one microsecond later is the next window
  g_reads_before_jump = 3;
  ids.push_back(Uuid::gen());
  EXPECT_EQ(window_of(ids.back()), window + 1);
  EXPECT_EQ(g_reads.load(), 4) << "read the clock until it moved on";
  EXPECT_EQ(counter_bits_of(ids.back()), (counter_bits_of(ids[ids.size() - 2]) + 1) & kCounterMask);
  zel_test::expect_all_distinct(ids);
}

// A clock set back far does not take the generator back to earlier windows;
// when the window it stays in is used up, it moves on without waiting.
TEST(UuidGeneratorClock, AClockSetBackNeverRevisitsAWindow) {
  // Not on a whole second: a counter seeded with 0 microseconds is seeded again.
  set_clock(year_us(2) + 1);
  const Uuid before = Uuid::gen();
  const std::uint64_t window = window_of(before);

  set_clock(year_us(2) - 10 * 1000000);  // ten seconds back
  std::vector<Uuid> ids{before};
  for (std::uint32_t i = 0; i < kWindowCapacity + 10; ++i) ids.push_back(Uuid::gen());
  EXPECT_EQ(g_reads.load(), static_cast<int>(kWindowCapacity + 10)) << "one read each: no waiting";
  EXPECT_EQ(window_of(ids[kWindowCapacity - 1]), window);
  EXPECT_EQ(window_of(ids[kWindowCapacity]), window + 1);
  EXPECT_EQ(window_of(ids.back()), window + 1);

  set_clock(year_us(2) + 2 * kWindowUs);  // the clock catches up
  ids.push_back(Uuid::gen());
  EXPECT_GT(window_of(ids.back()), window + 1);
  zel_test::expect_all_distinct(ids);
}

// Threads that use up a window together: whichever waits for the next one
// takes the generator's lock again before it goes on.
TEST(UuidGeneratorClock, ThreadsSharingAUsedUpWindowNeverRepeat) {
  set_clock(end_of_window_us(year_us(4)));
  g_jump_us = kWindowUs;
  g_reads_before_jump = static_cast<int>(kWindowCapacity) + 100;
  constexpr int kThreads = 2;
  std::vector<std::vector<qbs_uuid_s>> ids(kThreads);
  zel_test::run_together(kThreads, [&ids](int t) {
    ids[t].resize(kWindowCapacity / 2 + 1000);
    for (qbs_uuid_s& u : ids[t]) ASSERT_EQ(kzserver_qbs_uuid_gen(&u), 0);
  });
  ids[0].insert(ids[0].end(), ids[1].begin(), ids[1].end());
  zel_test::expect_all_distinct(ids[0]);
}

}  // namespace
}  // namespace Zel
