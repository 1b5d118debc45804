// XML tag lookups against the plainest structures that do the same work, and
// the start-up cost of the catalogue.
//
//   lookup_id/defined        lookup(Id) of defined tags      vs a vector of pointers, indexed
//   lookup_id/dynamic        lookup(Id) of run-time tags     vs the same under a std::mutex
//   lookup_name/defined      lookup(NsId, name), defined     vs std::unordered_map<std::u16string,
//                                                               int>, one per namespace
//   two_threads/defined_by_name  ours: 2 threads, each doing the work of
//   two_threads/dynamic_by_name  the baseline's 1 thread. A ratio of 1.0 is
//                            perfect scaling; the throughput gain is 2 / ratio (1.8 or more
//                            means a ratio of 1.11 or less). Defined names take no lock;
//                            run-time names take the registry's lock, so they scale less.
//   two_threads/unordered_map    the same for the baseline's maps: the machine's ceiling.
//                            Each also reports the CPU time per lookup, which does not
//                            depend on how busy the machine is.
//   startup/dlopen           dlopen + dlclose of a fresh copy of libzelutil vs of a small
//                            library without the catalogue; the difference bounds the
//                            catalogue's start-up.
//
// Names and ids are visited in a fixed shuffled order, the same for ours and
// the baseline.
#include "zel/xmltag.h"

#include <benchmark/benchmark.h>
#include <dlfcn.h>
#include <stdlib.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <fstream>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <unordered_map>
#include <utility>
#include <vector>

#include "ratio_main.h"
#include "zel/exception.h"

namespace {

using Zel::UString;
using Zel::XmlTag;

struct NameQuery {
  XmlTag::NsId ns;
  UString name;
  std::u16string units;
};

template <class T>
void shuffle(std::vector<T>& v) {
  std::mt19937 random(42);
  std::shuffle(v.begin(), v.end(), random);
}

std::vector<XmlTag::Id> defined_ids() {
  std::vector<XmlTag::Id> ids;
  for (XmlTag::Id id = 0; id < XmlTag::FIRST_DYNAMIC_ID; ++id) {
    try {
      XmlTag::lookup(id);
      ids.push_back(id);
    } catch (const Zel::QRPException&) {  // a free id
    }
  }
  shuffle(ids);
  return ids;
}

// Every defined name that lookup by name finds as its constant.
const std::vector<NameQuery>& defined_names() {
  static const std::vector<NameQuery> queries = [] {
    std::vector<NameQuery> all;
    for (XmlTag::Id id : defined_ids()) {
      const XmlTag& tag = XmlTag::lookup(id);
      if (tag.ns_id() < 0) continue;
      const std::u16string_view units = tag.simple_name().view();
      all.push_back({tag.ns_id(), tag.simple_name(), std::u16string(units)});
    }
    return all;
  }();
  return queries;
}

// Run-time names in "ATR:", registered once.
const std::vector<NameQuery>& dynamic_names() {
  static const std::vector<NameQuery> queries = [] {
    std::vector<NameQuery> all;
    for (const NameQuery& q : defined_names()) {
      XmlTag::lookup(2, q.name);
      all.push_back({2, q.name, q.units});
    }
    return all;
  }();
  return queries;
}

void lookup_id_defined_ours(benchmark::State& state) {
  const std::vector<XmlTag::Id> ids = defined_ids();
  std::size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(&XmlTag::lookup(ids[i]));
    if (++i == ids.size()) i = 0;
  }
}

void lookup_id_defined_baseline(benchmark::State& state) {
  const std::vector<XmlTag::Id> ids = defined_ids();
  std::vector<const XmlTag*> table(XmlTag::FIRST_DYNAMIC_ID, nullptr);
  for (XmlTag::Id id : ids) table[static_cast<std::size_t>(id)] = &XmlTag::lookup(id);
  std::size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(table[static_cast<std::size_t>(ids[i])]);
    if (++i == ids.size()) i = 0;
  }
}

std::vector<XmlTag::Id> dynamic_ids() {
  std::vector<XmlTag::Id> ids;
  for (const NameQuery& q : dynamic_names()) ids.push_back(XmlTag::lookup(q.ns, q.name).id());
  shuffle(ids);
  return ids;
}

void lookup_id_dynamic_ours(benchmark::State& state) {
  const std::vector<XmlTag::Id> ids = dynamic_ids();
  std::size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(&XmlTag::lookup(ids[i]));
    if (++i == ids.size()) i = 0;
  }
}

void lookup_id_dynamic_baseline(benchmark::State& state) {
  const std::vector<XmlTag::Id> ids = dynamic_ids();
  const XmlTag::Id first = *std::min_element(ids.begin(), ids.end());
  std::vector<const XmlTag*> table(ids.size());
  for (XmlTag::Id id : ids) table[static_cast<std::size_t>(id - first)] = &XmlTag::lookup(id);
  std::mutex lock;
  std::size_t i = 0;
  for (auto _ : state) {
    {
      std::lock_guard<std::mutex> guard(lock);
      benchmark::DoNotOptimize(table[static_cast<std::size_t>(ids[i] - first)]);
    }
    if (++i == ids.size()) i = 0;
  }
}

void lookup_name_defined_ours(benchmark::State& state) {
  const std::vector<NameQuery>& queries = defined_names();
  std::size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(&XmlTag::lookup(queries[i].ns, queries[i].name));
    if (++i == queries.size()) i = 0;
  }
}

void lookup_name_defined_baseline(benchmark::State& state) {
  const std::vector<NameQuery>& queries = defined_names();
  std::vector<std::unordered_map<std::u16string, int>> maps(XmlTag::FIRST_DYNAMIC_NS_ID);
  for (const NameQuery& q : queries) {
    maps[static_cast<std::size_t>(q.ns)][q.units] = XmlTag::lookup(q.ns, q.name).id();
  }
  std::size_t i = 0;
  for (auto _ : state) {
    const auto& map = maps[static_cast<std::size_t>(queries[i].ns)];
    benchmark::DoNotOptimize(map.find(queries[i].units));
    if (++i == queries.size()) i = 0;
  }
}

// The calling thread, and with `threads` == 2 one more, each do
// `kLookupsPerThread` lookups, starting at their own places in the shared list.
// The calling thread works too, so that its CPU time, by which the benchmark
// library sizes the run, follows the real time.
constexpr std::size_t kLookupsPerThread = 200000;

// The CPU time the calling thread has used, in nanoseconds.
double thread_cpu_ns() {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) * 1e9 + static_cast<double>(now.tv_nsec);
}

// Besides real time, reports each lookup's CPU time ("cpu_ns_per_lookup"):
// when the threads share nothing writable it stays as it is with one thread,
// even on a machine too busy to give the second thread a core of its own.
template <class Lookup>
void lookups_in_threads(benchmark::State& state, std::size_t count, int threads, Lookup lookup) {
  std::atomic<double> cpu_ns{0};
  auto work = [count, &lookup, &cpu_ns](std::size_t start) {
    const double started = thread_cpu_ns();
    std::size_t i = start % count;
    for (std::size_t n = 0; n < kLookupsPerThread; ++n) {
      lookup(i);
      if (++i == count) i = 0;
    }
    const double used = thread_cpu_ns() - started;
    double total = cpu_ns.load();
    while (!cpu_ns.compare_exchange_weak(total, total + used)) {
    }
  };
  for (auto _ : state) {
    std::thread helper;
    if (threads == 2) helper = std::thread(work, 500);
    work(0);
    if (helper.joinable()) helper.join();
  }
  const auto lookups = state.iterations() * threads * static_cast<std::int64_t>(kLookupsPerThread);
  state.SetItemsProcessed(lookups);
  state.counters["cpu_ns_per_lookup"] = cpu_ns.load() / static_cast<double>(lookups);
}

void registry_in_threads(benchmark::State& state, const std::vector<NameQuery>& queries,
                         int threads) {
  lookups_in_threads(state, queries.size(), threads, [&queries](std::size_t i) {
    benchmark::DoNotOptimize(&XmlTag::lookup(queries[i].ns, queries[i].name));
  });
}

// The same for the unordered maps: what the machine allows two threads.
void maps_in_threads(benchmark::State& state, int threads) {
  const std::vector<NameQuery>& queries = defined_names();
  std::vector<std::unordered_map<std::u16string, int>> maps(XmlTag::FIRST_DYNAMIC_NS_ID);
  for (const NameQuery& q : queries) maps[static_cast<std::size_t>(q.ns)][q.units] = 0;
  lookups_in_threads(state, queries.size(), threads, [&queries, &maps](std::size_t i) {
    benchmark::DoNotOptimize(maps[static_cast<std::size_t>(queries[i].ns)].find(queries[i].units));
  });
}

void two_threads_defined_ours(benchmark::State& state) {
  registry_in_threads(state, defined_names(), 2);
}
void two_threads_defined_baseline(benchmark::State& state) {
  registry_in_threads(state, defined_names(), 1);
}
void two_threads_dynamic_ours(benchmark::State& state) {
  registry_in_threads(state, dynamic_names(), 2);
}
void two_threads_dynamic_baseline(benchmark::State& state) {
  registry_in_threads(state, dynamic_names(), 1);
}
void two_threads_maps_ours(benchmark::State& state) { maps_in_threads(state, 2); }
void two_threads_maps_baseline(benchmark::State& state) { maps_in_threads(state, 1); }

// A copy of the library under another name, so that dlopen loads and
// initialises it afresh although the original is already loaded.
class LibraryCopy {
 public:
  LibraryCopy() {
    char directory[] = "/tmp/zel-bench-xmltag-XXXXXX";
    if (mkdtemp(directory) == nullptr) return;
    directory_ = directory;
    path_ = directory_ + "/libzelutil-copy.so";
    std::ifstream from(ZEL_BENCH_LIBRARY_FILE, std::ios::binary);
    std::ofstream to(path_, std::ios::binary);
    to << from.rdbuf();
    if (!from || !to) path_.clear();
  }
  ~LibraryCopy() {
    if (!path_.empty()) unlink(path_.c_str());
    if (!directory_.empty()) rmdir(directory_.c_str());
  }
  const std::string& path() const { return path_; }

 private:
  std::string directory_;
  std::string path_;
};

// Deep binding keeps the fresh copy's references inside the copy, so that its
// start-up builds its own registry rather than reaching the loaded one.
void dlopen_and_close(benchmark::State& state, const std::string& path) {
  constexpr int kFlags = RTLD_NOW | RTLD_LOCAL | RTLD_DEEPBIND;
  for (auto _ : state) {
    void* handle = dlopen(path.c_str(), kFlags);
    if (handle == nullptr) {
      state.SkipWithError(dlerror());
      return;
    }
    dlclose(handle);
  }
  // A library that cannot be unloaded would be initialised only once.
  if (void* still = dlopen(path.c_str(), RTLD_NOW | RTLD_NOLOAD); still != nullptr) {
    dlclose(still);
    state.SkipWithError("the library stays loaded after dlclose: its start-up ran only once");
  }
}

void startup_ours(benchmark::State& state) {
  static const LibraryCopy copy;
  if (copy.path().empty()) {
    state.SkipWithError("cannot copy the library");
    return;
  }
  dlopen_and_close(state, copy.path());
}

void startup_baseline(benchmark::State& state) {
  dlopen_and_close(state, ZEL_BENCH_BASELINE_LIBRARY_FILE);
}

BENCHMARK(lookup_id_defined_ours)->Name("lookup_id/defined/ours");
BENCHMARK(lookup_id_defined_baseline)->Name("lookup_id/defined/baseline");
BENCHMARK(lookup_id_dynamic_ours)->Name("lookup_id/dynamic/ours");
BENCHMARK(lookup_id_dynamic_baseline)->Name("lookup_id/dynamic/baseline");
BENCHMARK(lookup_name_defined_ours)->Name("lookup_name/defined/ours");
BENCHMARK(lookup_name_defined_baseline)->Name("lookup_name/defined/baseline");
BENCHMARK(two_threads_defined_ours)->Name("two_threads/defined_by_name/ours");
BENCHMARK(two_threads_defined_baseline)->Name("two_threads/defined_by_name/baseline");
BENCHMARK(two_threads_dynamic_ours)->Name("two_threads/dynamic_by_name/ours");
BENCHMARK(two_threads_dynamic_baseline)->Name("two_threads/dynamic_by_name/baseline");
BENCHMARK(two_threads_maps_ours)->Name("two_threads/unordered_map/ours");
BENCHMARK(two_threads_maps_baseline)->Name("two_threads/unordered_map/baseline");
BENCHMARK(startup_ours)->Name("startup/dlopen/ours");
BENCHMARK(startup_baseline)->Name("startup/dlopen/baseline");

}  // namespace

ZEL_BENCHMARK_RATIO_MAIN()
