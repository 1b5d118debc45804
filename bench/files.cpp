// Dates, temporary files and credentials files against the C library calls
// doing the same work: gmtime_r + strftime/snprintf for formatting, strptime +
// timegm for parsing, mkstemp + unlink for a temporary file, one fread or
// fwrite of the same bytes for a credentials file.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>

#include "ratio_main.h"
#include "zel/credentials.h"
#include "zel/davtime.h"
#include "zel/fileutl.h"

namespace {

constexpr time_t kTime = 1146711721;

void iso8601_ours(benchmark::State& state) {
  const Zel::DavTime date(kTime);
  for (auto _ : state) benchmark::DoNotOptimize(date.to_string(Zel::DavTime::ISO8601));
}

void iso8601_baseline(benchmark::State& state) {
  for (auto _ : state) {
    std::tm utc;
    gmtime_r(&kTime, &utc);
    char text[30];
    const std::size_t length = std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &utc);
    benchmark::DoNotOptimize(std::string(text, length));
  }
}

void rfc1123_ours(benchmark::State& state) {
  const Zel::DavTime date(kTime);
  for (auto _ : state) benchmark::DoNotOptimize(date.to_string(Zel::DavTime::RFC1123));
}

void rfc1123_baseline(benchmark::State& state) {
  static const char* const kDays[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
  static const char* const kMonths[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                        "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  for (auto _ : state) {
    std::tm utc;
    gmtime_r(&kTime, &utc);
    char text[64];
    const int length = std::snprintf(text, sizeof text, "%s, %02d %s %04d %02d:%02d:%02d GMT",
                                     kDays[utc.tm_wday], utc.tm_mday, kMonths[utc.tm_mon],
                                     utc.tm_year + 1900, utc.tm_hour, utc.tm_min, utc.tm_sec);
    benchmark::DoNotOptimize(std::string(text, length));
  }
}

void parse_ours(benchmark::State& state, const char* text) {
  const Zel::UString input(Zel::Utf8String{text});
  Zel::DavTime date;
  for (auto _ : state) {
    date.parse(input);
    benchmark::DoNotOptimize(date.get_time());
  }
}

void parse_baseline(benchmark::State& state, const char* text, const char* format) {
  for (auto _ : state) {
    std::tm fields = {};
    strptime(text, format, &fields);
    benchmark::DoNotOptimize(timegm(&fields));
  }
}

void tmp_file_ours(benchmark::State& state) {
  for (auto _ : state) Zel::Fileutl::delete_tmp_file(Zel::Fileutl::create_tmp_file(1));
}

void tmp_file_baseline(benchmark::State& state) {
  const std::string directory = Zel::Fileutl::sys_tmpdir().utf8_str();
  for (auto _ : state) {
    std::string name = directory + "/TMPXXXXXX";
    const int fd = mkstemp(name.data());
    close(fd);
    unlink(name.c_str());
  }
}

// A credentials file with 32 groups of 28-byte identities, against reading or
// writing the same bytes with one fread or fwrite.
std::string credentials_path() {
  static const std::string path = [] {
    const std::string p = Zel::Fileutl::create_tmp_file(2).utf8_str();
    Zel::Credentials c;
    const std::string data(28, 'd');
    c.set_user(Zel::Identity(28, 1, data.c_str()));
    c.set_primary_group(Zel::Identity(28, 2, data.c_str()));
    for (int g = 0; g < 32; ++g) c.groups().push_back(Zel::Identity(28, 2, data.c_str()));
    c.write_to_file(p);
    return p;
  }();
  return path;
}

void credentials_read_ours(benchmark::State& state) {
  Zel::Credentials c;
  for (auto _ : state) c.read_from_file(credentials_path(), false);
}

void credentials_read_baseline(benchmark::State& state) {
  char buffer[4096];
  for (auto _ : state) {
    FILE* file = std::fopen(credentials_path().c_str(), "rb");
    benchmark::DoNotOptimize(std::fread(buffer, 1, sizeof buffer, file));
    std::fclose(file);
  }
}

void credentials_write_ours(benchmark::State& state) {
  Zel::Credentials c;
  c.read_from_file(credentials_path(), false);
  const std::string path = credentials_path() + ".w";
  for (auto _ : state) c.write_to_file(path);
  std::remove(path.c_str());
}

void credentials_write_baseline(benchmark::State& state) {
  char buffer[4096];
  FILE* in = std::fopen(credentials_path().c_str(), "rb");
  const std::size_t size = std::fread(buffer, 1, sizeof buffer, in);
  std::fclose(in);
  const std::string path = credentials_path() + ".b";
  for (auto _ : state) {
    FILE* file = std::fopen(path.c_str(), "wb");
    std::fwrite(buffer, 1, size, file);
    std::fclose(file);
  }
  std::remove(path.c_str());
}

BENCHMARK(credentials_read_ours)->Name("credentials/read_32_groups/ours");
BENCHMARK(credentials_read_baseline)->Name("credentials/read_32_groups/baseline");
BENCHMARK(credentials_write_ours)->Name("credentials/write_32_groups/ours");
BENCHMARK(credentials_write_baseline)->Name("credentials/write_32_groups/baseline");

constexpr char kIso[] = "2006-05-04T03:02:01Z";
constexpr char kRfc[] = "Thu, 04 May 2006 03:02:01 GMT";

BENCHMARK(iso8601_ours)->Name("to_string/iso8601/ours");
BENCHMARK(iso8601_baseline)->Name("to_string/iso8601/baseline");
BENCHMARK(rfc1123_ours)->Name("to_string/rfc1123/ours");
BENCHMARK(rfc1123_baseline)->Name("to_string/rfc1123/baseline");
BENCHMARK_CAPTURE(parse_ours, iso, kIso)->Name("parse/iso8601/ours");
BENCHMARK_CAPTURE(parse_baseline, iso, kIso, "%Y-%m-%dT%H:%M:%SZ")->Name("parse/iso8601/baseline");
BENCHMARK_CAPTURE(parse_ours, rfc, kRfc)->Name("parse/rfc1123/ours");
BENCHMARK_CAPTURE(parse_baseline, rfc, kRfc, "%a, %d %b %Y %H:%M:%S GMT")
    ->Name("parse/rfc1123/baseline");
BENCHMARK(tmp_file_ours)->Name("tmp_file/create_delete/ours");
BENCHMARK(tmp_file_baseline)->Name("tmp_file/create_delete/baseline");

}  // namespace

ZEL_BENCHMARK_RATIO_MAIN()
