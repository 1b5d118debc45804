// Parses fuzzed text as a UUID. from_string must accept exactly the texts of
// which one of the three documented scans reads all eleven fields, in order, and
// give what that scan gives: this checks the direct decoding of the usual
// shapes against the scans. A refusal is IllegalArgException message 7 naming
// the text twice; what is accepted prints back in both forms and parses equal.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "zel/exception.h"
#include "zel/oid.h"

namespace {

bool scan(const std::string& text, Zel::Uuid& u) {
  static const char* const kFormats[] = {
      "%08x.%04hx%04hx.%02hx%02hx.%02hx:%02hx:%02hx:%02hx:%02hx:%02hx",
      "%08x-%04hx-%04hx-%02hx%02hx-%02hx%02hx%02hx%02hx%02hx%02hx",
      "%08x%04hx%04hx%02hx%02hx%02hx%02hx%02hx%02hx%02hx%02hx",
  };
  for (const char* format : kFormats) {
    unsigned int time_low = 0;
    unsigned short time_mid = 0, time_hi = 0, bytes[8] = {};
    if (std::sscanf(text.c_str(), format, &time_low, &time_mid, &time_hi, &bytes[0], &bytes[1],
                    &bytes[2], &bytes[3], &bytes[4], &bytes[5], &bytes[6], &bytes[7]) != 11) {
      continue;
    }
    u.time_low = time_low;
    u.time_mid = time_mid;
    u.time_hi_and_version = time_hi;
    u.clock_seq_hi_and_reserved = static_cast<std::uint8_t>(bytes[0]);
    u.clock_seq_low = static_cast<std::uint8_t>(bytes[1]);
    for (int i = 0; i < 6; ++i) u.node[i] = static_cast<std::uint8_t>(bytes[2 + i]);
    return true;
  }
  return false;
}

void require(bool condition, const char* what, const std::string& text) {
  if (condition) return;
  std::fprintf(stderr, "uuid_fuzz: %s for input '%s'\n", what, text.c_str());
  std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  Zel::Uuid expected;
  const bool scanned = scan(text, expected);
  try {
    const Zel::Uuid u = Zel::Uuid::from_string(text);
    require(scanned, "accepted a text no scan reads", text);
    require(u == expected, "read a value other than the scan's", text);
    const std::string long_form = u.std_str(false);
    const std::string compact = u.std_str(true);
    require(long_form.size() == 40 && compact.size() == 32, "printed a form of the wrong size",
            text);
    require(Zel::Uuid::from_string(long_form) == u, "long form does not parse back", text);
    require(Zel::Uuid::from_string(compact) == u, "compact form does not parse back", text);
    require(Zel::Oid::from_string(u.str(false)) == Zel::Oid(u), "Oid differs", text);
  } catch (const Zel::IllegalArgException& e) {
    require(!scanned, "refused a text a scan reads", text);
    require(e.message().number() == 7 && e.message().args().size() == 2,
            "refused with the wrong message", text);
    require(std::string(e.message().args()[0].value().bytes) == text.c_str(),
            "refusal names another text", text);
  }
  return 0;
}
