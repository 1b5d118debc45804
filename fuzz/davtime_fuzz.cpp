// Parses fuzzed date texts. Parsing never fails loudly; what parses to a time
// in the years 1 to 9999 (the years both forms have four digits for) must read
// back to the same time from either form.
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <string>

#include "zel/davtime.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string bytes(reinterpret_cast<const char*>(data), size);
  Zel::DavTime date;
  date.parse(Zel::UString(Zel::Utf8String(bytes)));
  for (const auto form : {Zel::DavTime::ISO8601, Zel::DavTime::RFC1123}) {
    const Zel::UString text = date.to_string(form);
    constexpr time_t kYear1 = -62135596800;      // 0001-01-01T00:00:00Z
    constexpr time_t kYear10000 = 253402300800;  // 10000-01-01T00:00:00Z
    const time_t t = date.get_time();
    if (text.empty() || t == 0 || t < kYear1 || t >= kYear10000) continue;
    Zel::DavTime back;
    back.parse(text);
    if (back.get_time() != date.get_time()) std::abort();
  }
  return 0;
}
