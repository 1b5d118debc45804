// Message formatting and logging against the plain calls doing the same work:
// snprintf of the catalogue text, and a bare spdlog logger on the same kind of
// file sink with the same pattern (which also shows what the neutraliser of
// each message costs).
#include <benchmark/benchmark.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>
#include <stdlib.h>

#include <cstdio>
#include <filesystem>
#include <mutex>
#include <string>
#include <system_error>

#include "ratio_main.h"
#include "zel/logadaptor.h"
#include "zel/umessage.h"

namespace {

using Arg = Zel::UMessage::Arg;

constexpr char kSelector[] = "lw.brtype:main@/store/project";
constexpr char kReason[] = "the name is empty";

// Building the message and formatting it.
void message21_ours(benchmark::State& state) {
  for (auto _ : state) {
    const Zel::UMessage m(Zel::zelutil, 21, Arg(kSelector), Arg(kReason));
    benchmark::DoNotOptimize(m.message_string(nullptr));
  }
}

// Formatting alone, of a message built once (as an exception's text is).
void message21_format_ours(benchmark::State& state) {
  const Zel::UMessage m(Zel::zelutil, 21, Arg(kSelector), Arg(kReason));
  for (auto _ : state) benchmark::DoNotOptimize(m.message_string(nullptr));
}

void message21_baseline(benchmark::State& state) {
  char buffer[256];
  for (auto _ : state) {
    std::snprintf(buffer, sizeof buffer, Zel::zelutil[21], kSelector, kReason);
    benchmark::DoNotOptimize(buffer);
  }
}

void message1_ours(benchmark::State& state) {
  int code = 0;
  for (auto _ : state) {
    const Zel::UMessage m(Zel::zelutil, 1, Arg(++code));
    benchmark::DoNotOptimize(m.message_string(nullptr));
  }
}

void message1_baseline(benchmark::State& state) {
  char buffer[256];
  int code = 0;
  for (auto _ : state) {
    std::snprintf(buffer, sizeof buffer, Zel::zelutil[1], ++code);
    benchmark::DoNotOptimize(buffer);
  }
}

// Both loggers write to files in one scratch directory, with the same pattern
// and flush policy.
// Removed, with the log files, when the program ends: a long run writes
// gigabytes of lines.
class ScratchDirectory {
 public:
  ScratchDirectory() {
    char name[] = "/tmp/zel-bench-XXXXXX";
    if (mkdtemp(name) != nullptr) path_ = name;
  }
  ~ScratchDirectory() {
    std::error_code ignored;
    if (!path_.empty()) std::filesystem::remove_all(path_, ignored);
  }
  ScratchDirectory(const ScratchDirectory&) = delete;
  ScratchDirectory& operator=(const ScratchDirectory&) = delete;

  std::string path() const { return path_.empty() ? "/tmp" : path_; }

 private:
  std::string path_;
};

std::string scratch_directory() {
  static const ScratchDirectory directory;
  return directory.path();
}

constexpr char kLine[] = "QZMLK0671E The selector 'lw.brtype:main@/store' is not valid: no name";

void log_line_ours(benchmark::State& state) {
  if (Log::LogAdaptor::initialize("bench", scratch_directory().c_str(), "info", 0) == nullptr) {
    state.SkipWithError("cannot start the logging layer");
    return;
  }
  for (auto _ : state) Log::LogAdaptor::logger_zel->info(kLine, 0);
}

void log_line_baseline(benchmark::State& state) {
  auto sink =
      std::make_shared<spdlog::sinks::basic_file_sink_mt>(scratch_directory() + "/baseline.log");
  spdlog::logger logger("Zel", sink);
  logger.set_pattern("[%Y-%m-%d %H:%M:%S.%e] [%n] [%l] %v");
  logger.flush_on(spdlog::level::err);
  for (auto _ : state) logger.info(kLine);
}

// A clean message of 100 bytes, which the neutraliser scans and passes on
// without a copy. The baseline is the logger's write without the neutraliser:
// the same kind of spdlog logger, behind a mutex as each of ours is.
constexpr char kCleanLine[] =
    "QZMLK0671E The selector 'lw.brtype:main@/store/project' is not valid: no name given (client "
    "424242).";
static_assert(sizeof kCleanLine - 1 == 100, "a 100-byte message");

void log_clean_ours(benchmark::State& state) {
  if (Log::LogAdaptor::initialize("bench", scratch_directory().c_str(), "info", 0) == nullptr) {
    state.SkipWithError("cannot start the logging layer");
    return;
  }
  for (auto _ : state) Log::LogAdaptor::logger_zel->info(kCleanLine, 0);
}

void log_clean_baseline(benchmark::State& state) {
  auto sink =
      std::make_shared<spdlog::sinks::basic_file_sink_mt>(scratch_directory() + "/unescaped.log");
  spdlog::logger logger("Zel", sink);
  logger.set_pattern("[%Y-%m-%d %H:%M:%S.%e] [%n] [%l] %v");
  logger.flush_on(spdlog::level::err);
  std::mutex mutex;
  for (auto _ : state) {
    std::lock_guard<std::mutex> lock(mutex);
    logger.log(spdlog::level::info, spdlog::string_view_t(kCleanLine));
  }
}

BENCHMARK(message21_ours)->Name("message21/two_texts/ours");
BENCHMARK(message21_baseline)->Name("message21/two_texts/baseline");
BENCHMARK(message21_format_ours)->Name("message21/format_only/ours");
BENCHMARK(message21_baseline)->Name("message21/format_only/baseline");
BENCHMARK(message1_ours)->Name("message1/integer/ours");
BENCHMARK(message1_baseline)->Name("message1/integer/baseline");
BENCHMARK(log_line_ours)->Name("log_line/info/ours");
BENCHMARK(log_line_baseline)->Name("log_line/info/baseline");
BENCHMARK(log_clean_ours)->Name("log_line/clean_100_bytes_neutralised/ours");
BENCHMARK(log_clean_baseline)->Name("log_line/clean_100_bytes_neutralised/baseline");

}  // namespace

ZEL_BENCHMARK_RATIO_MAIN()
