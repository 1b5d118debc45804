// Identities from fuzzed text and from fuzzed constructor arguments.
//
// Text: from_str accepts or throws IllegalArgException with one of messages 8
// to 11 and the arguments "str" and the text; what it accepts prints a text that
// parses back equal. Arguments: any length, negative ones included, with a
// buffer of the size the caller promises; copies, assignments (which may keep
// an old buffer), comparison and printing must stay inside every buffer, as
// AddressSanitizer checks, and the printed text of those with a length of 0 or
// more parses back equal.
#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "zel/exception.h"
#include "zel/oid.h"

namespace {

void require(bool condition, const char* what) {
  if (condition) return;
  std::fprintf(stderr, "identity_fuzz: %s\n", what);
  std::abort();
}

void check_round_trip(const Zel::Identity& id) {
  const Zel::UString text = id.str();
  const Zel::Identity back = Zel::Identity::from_str(text);
  require(back == id, "printed text does not parse back equal");
  require(back.str() == text, "printed text of the parsed identity differs");
}

void parse_text(const Zel::UString& text) {
  try {
    check_round_trip(Zel::Identity::from_str(text));
  } catch (const Zel::IllegalArgException& e) {
    const int number = e.message().number();
    require(number >= 8 && number <= 11, "refused with a message outside 8 to 11");
    require(e.message().args().size() == 2, "refusal without its two arguments");
    require(std::string(e.message().args()[0].value().bytes) == "str", "first argument not str");
  }
}

Zel::Identity make(FuzzedDataProvider& input) {
  // Mostly short, so that many cases run; now and then any 16-bit value.
  const auto length = input.ConsumeIntegralInRange<int>(0, 31) == 0
                          ? input.ConsumeIntegral<short>()
                          : input.ConsumeIntegralInRange<short>(-64, 64);
  const auto type = input.ConsumeIntegral<Zel::Identity::type_t>();
  const std::size_t size = static_cast<std::size_t>(std::max<short>(length, 0));
  if (input.ConsumeBool()) {
    std::vector<char> data = input.ConsumeBytes<char>(size);
    data.resize(size);
    return Zel::Identity(length, type, input.ConsumeBool() ? data.data() : nullptr);
  }
  auto* raw = new Zel::Identity::identity_t[size + 1];
  raw[0] = type;
  std::fill(raw + 1, raw + size + 1, static_cast<Zel::Identity::identity_t>(0x5a));
  return Zel::Identity(length, input.ConsumeBool() ? raw : (delete[] raw, nullptr));
}

void exercise(FuzzedDataProvider& input) {
  std::vector<Zel::Identity> ids;
  const int count = input.ConsumeIntegralInRange<int>(1, 6);
  for (int i = 0; i < count; ++i) ids.push_back(make(input));
  for (int step = input.ConsumeIntegralInRange<int>(0, 16); step > 0; --step) {
    const std::size_t a = input.ConsumeIntegralInRange<std::size_t>(0, ids.size() - 1);
    const std::size_t b = input.ConsumeIntegralInRange<std::size_t>(0, ids.size() - 1);
    if (input.ConsumeBool()) {
      ids[a] = ids[b];
      // Nothing is copied from an identity without data or type byte.
      require(ids[a] == ids[b] || (ids[b].length() <= 0 && ids[b].type() == 0),
              "assignment did not copy");
    } else {
      ids.push_back(ids[b]);
      require(ids.back() == ids[b], "copy differs");
    }
  }
  for (const Zel::Identity& id : ids) {
    (void)(id == ids.front());
    // A negative length prints, but as a text from_str refuses.
    if (id.length() >= 0) {
      check_round_trip(id);
    } else {
      (void)id.str();
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzedDataProvider input(data, size);
  switch (input.ConsumeIntegralInRange<int>(0, 2)) {
    case 0:
      parse_text(Zel::UString(Zel::Utf8String(input.ConsumeRemainingBytesAsString())));
      break;
    case 1: {
      // Any UTF-16, unpaired surrogates included.
      const std::string bytes = input.ConsumeRemainingBytesAsString();
      std::u16string units(bytes.size() / 2, u'\0');
      for (std::size_t i = 0; i < units.size(); ++i) {
        units[i] = static_cast<char16_t>(static_cast<unsigned char>(bytes[2 * i]) |
                                         static_cast<unsigned char>(bytes[2 * i + 1]) << 8);
      }
      parse_text(Zel::UString(units));
      break;
    }
    default:
      exercise(input);
  }
  return 0;
}
