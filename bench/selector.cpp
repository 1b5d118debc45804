// Selector parsing and formatting against the least work the grammar needs.
//
//   parse/<case>     Selector(text)                   vs copy the UString, find ":" and the
//                                                        "@" after it
//   parse/failure    a text without "@": ours throws  vs the same search, then throw and
//                    StateException with its message     catch a std::invalid_argument with a
//                                                        fixed text (the least a throwing
//                                                        interface can do)
//   format/<form>    the first to_string_with_domain() or selector() of a fresh selector
//                                                     vs appending the same fields to a
//                                                        UString of reserved length
//   format/cached    a later call (from the cache)    vs copying a UString
//
// Cases: short (a branch type in a repository), long (a 70-unit name and a 60-unit
// repository, beyond UString's inline buffer), vob (a repository namespace), repo_type
// (namespace "repo" with the resource type "vob"). Each parse benchmark also reports
// parses per second of CPU time.
#include "zel/selector.h"

#include <benchmark/benchmark.h>

#include <cstddef>
#include <stdexcept>
#include <string>
#include <vector>

#include "ratio_main.h"
#include "zel/exception.h"

namespace {

using Zel::Selector;
using Zel::UString;

UString ustr(const std::string& utf8) { return UString(Zel::Utf8String(utf8)); }

struct Case {
  const char* name;
  UString text;
};

const std::vector<Case>& cases() {
  static const std::vector<Case> all = {
      {"short", ustr("lw.brtype:main@/store/proj")},
      {"long", ustr("lw.brtype:release_2024_maintenance_integration_branch_for_the_team/"
                    "private@/net/storage/vobs/projects/component_sources/main")},
      {"vob", ustr("lw.vob:/store/proj")},
      {"repo_type", ustr("lw.repo.vob:@/store/proj")},
  };
  return all;
}

void count_parses(benchmark::State& state) {
  state.counters["parses/s"] =
      benchmark::Counter(static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
}

void parse_ours(benchmark::State& state, const UString& text) {
  for (auto _ : state) {
    Selector s(text);
    benchmark::DoNotOptimize(s);
  }
  count_parses(state);
}

void parse_baseline(benchmark::State& state, const UString& text) {
  for (auto _ : state) {
    UString copy(text);
    const UString::size_type colon = copy.find(u':');
    const UString::size_type at = copy.find(u'@', colon + 1);
    benchmark::DoNotOptimize(colon);
    benchmark::DoNotOptimize(at);
    benchmark::DoNotOptimize(copy);
  }
  count_parses(state);
}

void parse_failure_ours(benchmark::State& state) {
  const UString text = ustr("lw.brtype:main");
  for (auto _ : state) {
    try {
      Selector s(text);
      benchmark::DoNotOptimize(s);
    } catch (const Zel::StateException& e) {
      benchmark::DoNotOptimize(&e);
    }
  }
  count_parses(state);
}

void parse_failure_baseline(benchmark::State& state) {
  const UString text = ustr("lw.brtype:main");
  for (auto _ : state) {
    try {
      UString copy(text);
      const UString::size_type colon = copy.find(u':');
      if (colon == UString::npos || copy.find(u'@', colon + 1) == UString::npos) {
        throw std::invalid_argument("not a selector");
      }
      benchmark::DoNotOptimize(copy);
    } catch (const std::invalid_argument& e) {
      benchmark::DoNotOptimize(&e);
    }
  }
  count_parses(state);
}

// Fresh selectors are formatted one after the other from a batch that is rebuilt,
// outside the timing, when used up. The baseline walks the same batch.
constexpr std::size_t kBatch = 1024;

template <class Format>
void over_fresh_selectors(benchmark::State& state, const UString& text, Format format) {
  const Selector parsed(text);
  std::vector<Selector> batch(kBatch, parsed);
  std::size_t i = 0;
  for (auto _ : state) {
    if (i == kBatch) {
      state.PauseTiming();
      batch.assign(kBatch, parsed);
      i = 0;
      state.ResumeTiming();
    }
    UString formatted = format(batch[i++]);
    benchmark::DoNotOptimize(formatted);
  }
}

void format_full_ours(benchmark::State& state, const UString& text) {
  over_fresh_selectors(state, text, [](const Selector& s) { return s.to_string_with_domain(); });
}

void format_short_ours(benchmark::State& state, const UString& text) {
  over_fresh_selectors(state, text, [](const Selector& s) { return s.selector(); });
}

// The full form of a selector with a domain, a shown namespace and no resource type.
void format_baseline(benchmark::State& state, const UString& text) {
  over_fresh_selectors(state, text, [](const Selector& s) {
    const UString& domain = Selector::provider_domain_string(s.provider_domain());
    const UString& ns = Selector::namespace_string(s.name_space());
    UString formatted;
    formatted.reserve(domain.length() + ns.length() + s.name().length() + s.repository().length() +
                      3);
    formatted.append(domain).append(u'.').append(ns).append(u':').append(s.name());
    formatted.append(u'@').append(s.repository());
    return formatted;
  });
}

void format_cached_ours(benchmark::State& state) {
  const Selector s(cases()[0].text);
  s.to_string_with_domain();
  for (auto _ : state) {
    UString formatted = s.to_string_with_domain();
    benchmark::DoNotOptimize(formatted);
  }
}

void format_cached_baseline(benchmark::State& state) {
  const UString cached = Selector(cases()[0].text).to_string_with_domain();
  for (auto _ : state) {
    UString formatted = cached;
    benchmark::DoNotOptimize(formatted);
  }
}

int register_all() {
  for (const Case& c : cases()) {
    const std::string name = c.name;
    benchmark::RegisterBenchmark(("parse/" + name + "/ours").c_str(), parse_ours, c.text);
    benchmark::RegisterBenchmark(("parse/" + name + "/baseline").c_str(), parse_baseline, c.text);
  }
  benchmark::RegisterBenchmark("parse/failure/ours", parse_failure_ours);
  benchmark::RegisterBenchmark("parse/failure/baseline", parse_failure_baseline);
  for (const Case& c : {cases()[0], cases()[1]}) {
    const std::string name = c.name;
    benchmark::RegisterBenchmark(("format/full_" + name + "/ours").c_str(), format_full_ours,
                                 c.text);
    benchmark::RegisterBenchmark(("format/full_" + name + "/baseline").c_str(), format_baseline,
                                 c.text);
    benchmark::RegisterBenchmark(("format/short_" + name + "/ours").c_str(), format_short_ours,
                                 c.text);
    benchmark::RegisterBenchmark(("format/short_" + name + "/baseline").c_str(), format_baseline,
                                 c.text);
  }
  benchmark::RegisterBenchmark("format/cached/ours", format_cached_ours);
  benchmark::RegisterBenchmark("format/cached/baseline", format_cached_baseline);
  return 0;
}

[[maybe_unused]] const int kRegistered = register_all();

}  // namespace

ZEL_BENCHMARK_RATIO_MAIN()
