// UString conversions and search against the bare ICU calls doing the same work.
//
// Texts of 16 B, 1 KiB and 64 KiB (their UTF-8 size), ASCII and mixed scripts.
// Each baseline produces the same result as our operation, in a buffer it
// reuses where ours reuses one too.
#include <benchmark/benchmark.h>
#include <unicode/ucnv.h>
#include <unicode/unistr.h>
#include <unicode/ustring.h>

#include <string>
#include <vector>

#include "ratio_main.h"
#include "zel/ustring.h"

namespace {

// Named set for std_str: GB18030 can encode every text used here.
constexpr char kCharset[] = "GB18030";
// A single-byte character set: the conversion itself is cheap, so what the call
// costs around it shows.
constexpr char kLatin1[] = "ISO-8859-1";

struct Sample {
  std::string name;
  std::string utf8;
  icu::UnicodeString text;
};

// Repeats `unit` (UTF-8) up to `size` bytes, never splitting a character.
std::string fill(const std::string& unit, std::size_t size) {
  std::string out;
  std::size_t i = 0;
  while (true) {
    std::size_t len = 1;
    const auto lead = static_cast<unsigned char>(unit[i]);
    if (lead >= 0xF0)
      len = 4;
    else if (lead >= 0xE0)
      len = 3;
    else if (lead >= 0xC0)
      len = 2;
    if (out.size() + len > size) break;
    out.append(unit, i, len);
    i = (i + len) % unit.size();
  }
  return out;
}

std::vector<Sample> make_samples() {
  const std::string ascii = "The quick brown fox jumps over the lazy dog; ";
  const std::string mixed =
      "Gr\xC3\xBC\xC3\x9F"
      "e \xCE\xB1\xCE\xB2\xCE\xB3 \xD0\xB4\xD0\xB0 "
      "\xE6\x97\xA5\xE6\x9C\xAC\xE8\xAA\x9E \xF0\x9F\x98\x80 ";
  std::vector<Sample> samples;
  for (const auto& [size, size_name] : std::vector<std::pair<std::size_t, std::string>>{
           {16, "16B"}, {1024, "1KiB"}, {65536, "64KiB"}}) {
    for (const auto& [unit, kind] :
         std::vector<std::pair<std::string, std::string>>{{ascii, "ascii"}, {mixed, "mixed"}}) {
      Sample s;
      s.name = size_name + "_" + kind;
      s.utf8 = fill(unit, size);
      s.text = icu::UnicodeString::fromUTF8(s.utf8);
      samples.push_back(std::move(s));
    }
  }
  return samples;
}

Zel::UString to_ustring(const icu::UnicodeString& text) {
  return Zel::UString(std::u16string(text.getBuffer(), text.length()));
}

void set_bytes(benchmark::State& state, const Sample& s) {
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * s.utf8.size()));
}

// --- utf8_str -------------------------------------------------------------

void utf8_str_ours(benchmark::State& state, const Sample& s) {
  const Zel::UString text = to_ustring(s.text);
  for (auto _ : state) benchmark::DoNotOptimize(text.utf8_str());
  set_bytes(state, s);
}

void utf8_str_baseline(benchmark::State& state, const Sample& s) {
  for (auto _ : state) {
    UErrorCode status = U_ZERO_ERROR;
    int32_t needed = 0;
    u_strToUTF8(nullptr, 0, &needed, s.text.getBuffer(), s.text.length(), &status);
    std::string out(static_cast<std::size_t>(needed), '\0');
    status = U_ZERO_ERROR;
    u_strToUTF8(out.data(), needed + 1, &needed, s.text.getBuffer(), s.text.length(), &status);
    benchmark::DoNotOptimize(out);
  }
  set_bytes(state, s);
}

// --- std_str with a named character set -------------------------------------

template <const char* charset>
void std_str_ours(benchmark::State& state, const Sample& s) {
  const Zel::UString text = to_ustring(s.text);
  bool failed = false;
  for (auto _ : state) benchmark::DoNotOptimize(text.std_str(charset, failed));
  set_bytes(state, s);
}

template <const char* charset>
void std_str_baseline(benchmark::State& state, const Sample& s) {
  UErrorCode status = U_ZERO_ERROR;
  UConverter* converter = ucnv_open(charset, &status);
  for (auto _ : state) {
    std::string out(static_cast<std::size_t>(ucnv_getMaxCharSize(converter)) * s.text.length() + 1,
                    '\0');
    status = U_ZERO_ERROR;
    const int32_t written = ucnv_fromUChars(converter, out.data(), static_cast<int32_t>(out.size()),
                                            s.text.getBuffer(), s.text.length(), &status);
    out.resize(static_cast<std::size_t>(written));
    benchmark::DoNotOptimize(out);
  }
  ucnv_close(converter);
  set_bytes(state, s);
}

// --- utf8_assign ------------------------------------------------------------

void utf8_assign_ours(benchmark::State& state, const Sample& s) {
  Zel::UString text;
  const Zel::Utf8String bytes(s.utf8);
  for (auto _ : state) {
    text.utf8_assign(bytes);
    benchmark::DoNotOptimize(text.c_str());
  }
  set_bytes(state, s);
}

void utf8_assign_baseline(benchmark::State& state, const Sample& s) {
  std::u16string out;
  const auto size = static_cast<int32_t>(s.utf8.size());
  for (auto _ : state) {
    UErrorCode status = U_ZERO_ERROR;
    int32_t needed = 0;
    u_strFromUTF8(nullptr, 0, &needed, s.utf8.data(), size, &status);
    out.resize(static_cast<std::size_t>(needed));
    status = U_ZERO_ERROR;
    u_strFromUTF8(out.data(), needed + 1, &needed, s.utf8.data(), size, &status);
    benchmark::DoNotOptimize(out.data());
  }
  set_bytes(state, s);
}

// --- find -------------------------------------------------------------------

// A needle that occurs only at the very end, so the whole text is searched.
constexpr char16_t kNeedle[] = u"#end#";

void find_ours(benchmark::State& state, const Sample& s) {
  Zel::UString text = to_ustring(s.text);
  text.append(kNeedle);
  const Zel::UString needle(kNeedle);
  for (auto _ : state) benchmark::DoNotOptimize(text.find(needle, 0));
  set_bytes(state, s);
}

void find_baseline(benchmark::State& state, const Sample& s) {
  icu::UnicodeString text(s.text);
  text.append(kNeedle);
  const icu::UnicodeString needle(kNeedle);
  for (auto _ : state) benchmark::DoNotOptimize(text.indexOf(needle, 0));
  set_bytes(state, s);
}

const std::vector<Sample>& samples() {
  static const std::vector<Sample> all = make_samples();
  return all;
}

using Body = void (*)(benchmark::State&, const Sample&);

void register_pair(const char* operation, Body ours, Body baseline) {
  for (const Sample& s : samples()) {
    const std::string base = std::string(operation) + "/" + s.name;
    benchmark::RegisterBenchmark((base + "/ours").c_str(), ours, s);
    benchmark::RegisterBenchmark((base + "/baseline").c_str(), baseline, s);
  }
}

const bool registered = [] {
  register_pair("utf8_str", utf8_str_ours, utf8_str_baseline);
  register_pair("std_str_gb18030", std_str_ours<kCharset>, std_str_baseline<kCharset>);
  register_pair("std_str_latin1", std_str_ours<kLatin1>, std_str_baseline<kLatin1>);
  register_pair("utf8_assign", utf8_assign_ours, utf8_assign_baseline);
  register_pair("find", find_ours, find_baseline);
  return true;
}();

}  // namespace

ZEL_BENCHMARK_RATIO_MAIN()
