// Identifiers against libuuid and against plain byte operations.
//
// gen: Uuid::gen at a normal rate (never more than half a timestamp window's
// 2^18 values per window, so it never waits) against libuuid's time-based and
// random generators; gen/tight_loop: as fast as possible, waits for used-up
// windows included. print and parse: our text forms against uuid_unparse and
// uuid_parse of the hyphenated form. compare and hash: Oid against memcmp and
// std::hash of the 16 bytes.
#include <benchmark/benchmark.h>
#include <sys/time.h>
#include <time.h>
#include <uuid/uuid.h>

#include <array>
#include <cstring>
#include <functional>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "ratio_main.h"
#include "zel/oid.h"

namespace {

constexpr char kHyphenated[] = "123e4567-e89b-12d3-a456-426614174000";

// --- gen ----------------------------------------------------------------------

// Sleeps, with the timing paused, until the clock enters the next timestamp
// window (2^20 x 100 ns with the generator's epoch).
void wait_for_next_window(benchmark::State& state) {
  state.PauseTiming();
  timeval now;
  gettimeofday(&now, nullptr);
  const std::uint64_t t = static_cast<std::uint64_t>(now.tv_sec) * 10000000 +
                          static_cast<std::uint64_t>(now.tv_usec) * 10 + 0x01B21DD313814000ULL;
  const std::uint64_t remaining = (((t >> 20) + 1) << 20) - t + 10;
  timespec pause{0, static_cast<long>(remaining * 100)};
  nanosleep(&pause, nullptr);
  state.ResumeTiming();
}

void gen_ours(benchmark::State& state) {
  std::uint32_t left_in_batch = 0;
  for (auto _ : state) {
    if (left_in_batch-- == 0) {
      left_in_batch = (1u << 17) - 1;
      wait_for_next_window(state);
    }
    benchmark::DoNotOptimize(Zel::Uuid::gen());
  }
}

void gen_tight_loop_ours(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(Zel::Uuid::gen());
}

void gen_time_baseline(benchmark::State& state) {
  uuid_t u;
  for (auto _ : state) {
    uuid_generate_time(u);
    benchmark::DoNotOptimize(u);
  }
}

void gen_random_baseline(benchmark::State& state) {
  uuid_t u;
  for (auto _ : state) {
    uuid_generate_random(u);
    benchmark::DoNotOptimize(u);
  }
}

// --- print --------------------------------------------------------------------

void print_ours(benchmark::State& state, bool compact) {
  const Zel::Uuid u = Zel::Uuid::from_string(kHyphenated);
  for (auto _ : state) benchmark::DoNotOptimize(u.std_str(compact));
}

void print_ustring_ours(benchmark::State& state) {
  const Zel::Uuid u = Zel::Uuid::from_string(kHyphenated);
  for (auto _ : state) benchmark::DoNotOptimize(u.str(false));
}

void print_baseline(benchmark::State& state) {
  uuid_t u;
  uuid_parse(kHyphenated, u);
  char text[37];
  for (auto _ : state) {
    uuid_unparse(u, text);
    benchmark::DoNotOptimize(text);
  }
}

// Our text forms return an owned string, so this baseline owns its text too.
void print_string_baseline(benchmark::State& state) {
  uuid_t u;
  uuid_parse(kHyphenated, u);
  char text[37];
  for (auto _ : state) {
    uuid_unparse(u, text);
    benchmark::DoNotOptimize(std::string(text, 36));
  }
}

// --- parse --------------------------------------------------------------------

void parse_ours(benchmark::State& state, const std::string& text) {
  for (auto _ : state) benchmark::DoNotOptimize(Zel::Uuid::from_string(text));
}

void parse_baseline(benchmark::State& state) {
  const std::string text = kHyphenated;
  uuid_t u;
  for (auto _ : state) {
    benchmark::DoNotOptimize(uuid_parse(text.c_str(), u));
    benchmark::DoNotOptimize(u);
  }
}

// --- compare and hash -----------------------------------------------------------

// Random ids, many sharing their first word as generated ids from one window do.
std::vector<Zel::Oid> sample_ids() {
  std::mt19937 engine(1);
  const auto random = [&engine] { return static_cast<std::uint32_t>(engine()); };
  std::vector<Zel::Oid> ids;
  for (int i = 0; i < 1024; ++i) {
    const std::uint32_t w0 = random() % 4;
    ids.push_back(Zel::Oid(Zel::Oid::bits{w0, random(), random(), random()}));
  }
  return ids;
}

std::vector<std::array<unsigned char, 16>> sample_bytes() {
  std::vector<std::array<unsigned char, 16>> bytes;
  for (const Zel::Oid& id : sample_ids()) {
    std::array<unsigned char, 16> b;
    std::memcpy(b.data(), &id.get_bits(), 16);
    bytes.push_back(b);
  }
  return bytes;
}

void less_ours(benchmark::State& state) {
  const auto ids = sample_ids();
  std::size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(ids[i] < ids[(i + 1) & 1023]);
    i = (i + 1) & 1023;
  }
}

void less_baseline(benchmark::State& state) {
  const auto bytes = sample_bytes();
  std::size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(std::memcmp(bytes[i].data(), bytes[(i + 1) & 1023].data(), 16) < 0);
    i = (i + 1) & 1023;
  }
}

void equal_ours(benchmark::State& state) {
  const auto ids = sample_ids();
  std::size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(ids[i] == ids[(i + 1) & 1023]);
    i = (i + 1) & 1023;
  }
}

void equal_baseline(benchmark::State& state) {
  const auto bytes = sample_bytes();
  std::size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(std::memcmp(bytes[i].data(), bytes[(i + 1) & 1023].data(), 16) == 0);
    i = (i + 1) & 1023;
  }
}

void hash_ours(benchmark::State& state) {
  const auto ids = sample_ids();
  std::size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(ids[i].hash());
    i = (i + 1) & 1023;
  }
}

void hash_baseline(benchmark::State& state) {
  const auto bytes = sample_bytes();
  const std::hash<std::string_view> hasher;
  std::size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(
        hasher(std::string_view(reinterpret_cast<const char*>(bytes[i].data()), 16)));
    i = (i + 1) & 1023;
  }
}

void register_all() {
  benchmark::RegisterBenchmark("gen/time/ours", gen_ours);
  benchmark::RegisterBenchmark("gen/time/baseline", gen_time_baseline);
  benchmark::RegisterBenchmark("gen/random/ours", gen_ours);
  benchmark::RegisterBenchmark("gen/random/baseline", gen_random_baseline);
  benchmark::RegisterBenchmark("gen/tight_loop/ours", gen_tight_loop_ours);
  benchmark::RegisterBenchmark("gen/tight_loop/baseline", gen_time_baseline);

  benchmark::RegisterBenchmark("print/long/ours", print_ours, false);
  benchmark::RegisterBenchmark("print/long/baseline", print_baseline);
  benchmark::RegisterBenchmark("print/compact/ours", print_ours, true);
  benchmark::RegisterBenchmark("print/compact/baseline", print_baseline);
  benchmark::RegisterBenchmark("print/long_ustring/ours", print_ustring_ours);
  benchmark::RegisterBenchmark("print/long_ustring/baseline", print_string_baseline);

  // Each of our forms against libuuid's one (hyphenated) form; "scanned" is a
  // text off the exact shapes (leading blanks), read by the formatted scans.
  const std::pair<const char*, std::string> forms[] = {
      {"hyphenated", kHyphenated},
      {"long", "123e4567.e89b12d3.a456.42:66:14:17:40:00"},
      {"compact", "123e4567e89b12d3a456426614174000"},
      {"scanned", std::string("  ") + kHyphenated},
  };
  for (const auto& [name, text] : forms) {
    const std::string base = std::string("parse/") + name;
    benchmark::RegisterBenchmark((base + "/ours").c_str(), parse_ours, text);
    benchmark::RegisterBenchmark((base + "/baseline").c_str(), parse_baseline);
  }

  benchmark::RegisterBenchmark("compare/less/ours", less_ours);
  benchmark::RegisterBenchmark("compare/less/baseline", less_baseline);
  benchmark::RegisterBenchmark("compare/equal/ours", equal_ours);
  benchmark::RegisterBenchmark("compare/equal/baseline", equal_baseline);
  benchmark::RegisterBenchmark("hash/oid/ours", hash_ours);
  benchmark::RegisterBenchmark("hash/oid/baseline", hash_baseline);
}

const int g_registered = (register_all(), 0);

}  // namespace

ZEL_BENCHMARK_RATIO_MAIN()
