#include "converter_counter.h"

#include <dlfcn.h>
#include <unicode/ucnv.h>

#include <atomic>

namespace {

std::atomic<int> g_opened{0};

#define ZEL_TEST_STRINGIFY(x) #x
#define ZEL_TEST_SYMBOL(x) ZEL_TEST_STRINGIFY(x)

}  // namespace

namespace zel_test {
int converters_opened() { return g_opened.load(); }
}  // namespace zel_test

// ICU's headers rename ucnv_open to its versioned symbol, so this definition
// takes that symbol's place in the process.
extern "C" UConverter* ucnv_open(const char* name, UErrorCode* status) {
  using Open = UConverter* (*)(const char*, UErrorCode*);
  static const auto icu_open = reinterpret_cast<Open>(dlsym(RTLD_NEXT, ZEL_TEST_SYMBOL(ucnv_open)));
  ++g_opened;
  return icu_open(name, status);
}
