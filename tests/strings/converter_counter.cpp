#include "converter_counter.h"

#include <dlfcn.h>
#include <unicode/ucnv.h>

#include <atomic>

namespace {

std::atomic<int> g_opened{0};
// U_ZERO_ERROR: no status to report.
std::atomic<int> g_next_status{U_ZERO_ERROR};

#define ZEL_TEST_STRINGIFY(x) #x
#define ZEL_TEST_SYMBOL(x) ZEL_TEST_STRINGIFY(x)

}  // namespace

namespace zel_test {
int converters_opened() { return g_opened.load(); }
void report_on_next_conversion(int status) { g_next_status = status; }
}  // namespace zel_test

// ICU's headers rename ucnv_open to its versioned symbol, so this definition
// takes that symbol's place in the process.
extern "C" UConverter* ucnv_open(const char* name, UErrorCode* status) {
  using Open = UConverter* (*)(const char*, UErrorCode*);
  static const auto icu_open = reinterpret_cast<Open>(dlsym(RTLD_NEXT, ZEL_TEST_SYMBOL(ucnv_open)));
  ++g_opened;
  return icu_open(name, status);
}

extern "C" int32_t ucnv_fromUChars(UConverter* converter, char* dest, int32_t capacity,
                                   const UChar* src, int32_t length, UErrorCode* status) {
  using FromUChars = int32_t (*)(UConverter*, char*, int32_t, const UChar*, int32_t, UErrorCode*);
  static const auto icu_from_uchars =
      reinterpret_cast<FromUChars>(dlsym(RTLD_NEXT, ZEL_TEST_SYMBOL(ucnv_fromUChars)));
  const int32_t written = icu_from_uchars(converter, dest, capacity, src, length, status);
  const int reported = g_next_status.exchange(U_ZERO_ERROR);
  if (reported != U_ZERO_ERROR) *status = static_cast<UErrorCode>(reported);
  return written;
}
