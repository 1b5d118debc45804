// The version-1 UUID generator.
//
// A UUID is made of the timestamp window (the 100 ns timestamp without its low
// 20 bits), 18 bits of a per-process counter, 16 bits of the process id and the
// host's node. Within one process the window and the counter bits must never
// repeat together, so the generator keeps, for the window it last wrote, the
// run of counter values it has written there: a window takes one contiguous run
// of at most 2^18 values, and windows only ever go forward.
#include <pthread.h>
#include <sys/time.h>
#include <time.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>

#include "zel/oid.h"
#include "zel/thread_annotations.h"

namespace {

// Deliberately 2^32 above the usual offset between 1582-10-15 and 1970-01-01 in
// 100 ns units (122192932294967296 instead of 122192928000000000): identifiers
// already issued carry it, and new ones must stay comparable with them.
constexpr std::uint64_t kGregorianOffset = 0x01B21DD313814000ULL;

constexpr int kWindowShift = 20;
constexpr std::uint32_t kCounterMask = 0x3FFFF;
constexpr std::uint32_t kWindowCapacity = kCounterMask + 1;
// A clock set back by up to this many windows (about a second) is waited for
// when the current window is used up; one set back further is run ahead of.
constexpr std::uint64_t kMostWindowsWaitedFor = 10;
constexpr int kNodeUnavailable = 1001;

struct generator_state_t {
  // The counter and node flags keep the generator's fixed rules: the counter is 0
  // until the first call, which seeds it with the microseconds of the clock.
  std::uint32_t counter = 0;
  unsigned char node[6] = {};
  bool node_initialised = false;
  bool node_failed = false;

  // The window last written and the run of counter bits written in it.
  bool have_window = false;
  std::uint64_t window = 0;
  std::uint32_t run_start = 0;
  std::uint32_t run_length = 0;

  // getpid() is a system call on every use; the child handler of fork()
  // refreshes this copy instead.
  pid_t pid = 0;
};

// A plain, statically initialised mutex (usable before any constructor has
// run), declared a lock for the thread-safety analysis.
class ZEL_CAPABILITY("mutex") GeneratorMutex {
 public:
  void lock() ZEL_ACQUIRE() { pthread_mutex_lock(&mutex_); }
  void unlock() ZEL_RELEASE() { pthread_mutex_unlock(&mutex_); }

 private:
  pthread_mutex_t mutex_ = PTHREAD_MUTEX_INITIALIZER;
};

// Guards g_state. Held across fork() by the handlers below, so that a child
// never inherits it locked by a thread that does not exist there.
GeneratorMutex g_lock;
generator_state_t g_state ZEL_GUARDED_BY(g_lock);

void lock_before_fork() ZEL_ACQUIRE(g_lock) { g_lock.lock(); }
void unlock_in_parent() ZEL_RELEASE(g_lock) { g_lock.unlock(); }
void unlock_in_child() ZEL_RELEASE(g_lock) {
  g_state.pid = getpid();
  g_lock.unlock();
}

[[maybe_unused]] const int g_fork_handlers =
    pthread_atfork(lock_before_fork, unlock_in_parent, unlock_in_child);

class ZEL_SCOPED_CAPABILITY StateLock {
 public:
  StateLock() ZEL_ACQUIRE(g_lock) { g_lock.lock(); }
  ~StateLock() ZEL_RELEASE() { g_lock.unlock(); }
  StateLock(const StateLock&) = delete;
  StateLock& operator=(const StateLock&) = delete;
};

// Sleeps, without the lock, until the clock is past `window`.
void wait_for_window_after(std::uint64_t window, std::uint64_t now) ZEL_REQUIRES(g_lock) {
  const std::uint64_t remaining = ((window + 1) << kWindowShift) - now;  // 100 ns units
  timespec pause{static_cast<time_t>(remaining / 10000000),
                 static_cast<long>(remaining % 10000000 * 100)};
  g_lock.unlock();
  while (nanosleep(&pause, &pause) != 0) {
  }
  g_lock.lock();
}

// Picks the window and counter value of the next UUID and commits them.
// Called with the lock held; may release it while it waits.
void next_window_and_counter(std::uint64_t& window, std::uint32_t& counter) ZEL_REQUIRES(g_lock) {
  generator_state_t& s = g_state;
  for (;;) {
    timeval now;
    gettimeofday(&now, nullptr);
    const std::uint64_t t = static_cast<std::uint64_t>(now.tv_sec) * 10000000 +
                            static_cast<std::uint64_t>(now.tv_usec) * 10 + kGregorianOffset;
    window = t >> kWindowShift;
    counter = s.counter == 0 ? static_cast<std::uint32_t>(now.tv_usec) : s.counter + 1;
    const std::uint32_t bits = counter & kCounterMask;

    if (!s.have_window || window > s.window) {
      s.run_start = bits;
      s.run_length = 1;
    } else {
      // The clock is in the last window, or behind it after being set back:
      // go on in that window while its run can grow by exactly this value.
      const std::uint64_t clock_window = window;
      window = s.window;
      if (s.run_length < kWindowCapacity && bits == ((s.run_start + s.run_length) & kCounterMask)) {
        ++s.run_length;
      } else if (s.window - clock_window > kMostWindowsWaitedFor) {
        // Waiting for a clock set back further could take hours: run ahead of
        // it by one window instead.
        window = s.window + 1;
        s.run_start = bits;
        s.run_length = 1;
      } else {
        // The window is used up (or the counter was reseeded into its run):
        // wait until the clock has passed it.
        wait_for_window_after(window, t);
        continue;
      }
    }
    s.have_window = true;
    s.window = window;
    s.counter = counter;
    return;
  }
}

}  // namespace

extern "C" int kzserver_qbs_uuid_gen(qbs_uuid_s* out) {
  if (out == nullptr) return kNodeUnavailable;
  StateLock guard;
  generator_state_t& s = g_state;
  if (s.pid == 0) s.pid = getpid();
  const auto pid = static_cast<std::uint32_t>(s.pid);

  std::uint64_t window = 0;
  std::uint32_t counter = 0;
  next_window_and_counter(window, counter);
  const std::uint64_t t = window << kWindowShift;
  out->time_low = static_cast<std::uint32_t>(t) | ((counter & kCounterMask) << 2) | (pid & 3);
  out->time_mid = static_cast<std::uint16_t>(t >> 32);
  out->time_hi_and_version = static_cast<std::uint16_t>(((t >> 48) & 0x0FFF) | 0x1000);
  out->clock_seq_low = static_cast<std::uint8_t>(pid >> 2);
  out->clock_seq_hi_and_reserved = static_cast<std::uint8_t>(((pid >> 10) & 0x3F) | 0x80);

  if (!s.node_initialised) {
    if (kzserver_sysutl_my_ieee_hostid(s.node) != 0) {
      if (kzserver_sysutl_get_random_bytes(s.node, 6) != 0) {
        s.node_initialised = true;
        s.node_failed = true;
        return kNodeUnavailable;
      }
      s.node[0] |= 0x80;  // a random node is marked as not a hardware address
    }
    s.node_initialised = true;
    s.node_failed = false;
  } else if (s.node_failed) {
    return kNodeUnavailable;
  }
  std::memcpy(out->node, s.node, sizeof s.node);
  return 0;
}
