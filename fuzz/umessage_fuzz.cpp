// Formats fuzzed format strings with fuzzed typed arguments through
// UMessage::sprintf, and catalogue messages with the same arguments. Nothing
// may read past the arguments, crash or throw, whatever the directives say.
#include <fuzzer/FuzzedDataProvider.h>

#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "zel/resource.h"
#include "zel/umessage.h"

namespace {

using Arg = Zel::UMessage::Arg;

class FuzzResource : public Zel::Resource {
 public:
  explicit FuzzResource(std::string text) : text_(std::move(text)) {}
  Resource* copy() const override { return new FuzzResource(*this); }
  Zel::UString to_string() const override { return Zel::UString(Zel::Utf8String(text_)); }

 private:
  std::string text_;
};

Arg make_arg(FuzzedDataProvider& input) {
  switch (input.ConsumeIntegralInRange<int>(0, 10)) {
    case 0:
      return Arg::nil;
    case 1:
      return Arg(input.ConsumeIntegral<char>());
    case 2:
      return Arg(input.ConsumeIntegral<int>());
    case 3:
      return Arg(input.ConsumeIntegral<long>());
    case 4:
      return Arg(input.ConsumeIntegral<long long>());
    case 5:
      return Arg(input.ConsumeFloatingPoint<double>());
    case 6:
      return Arg(input.ConsumeRandomLengthString(16).c_str());
    case 7:
      return Arg(input.ConsumeRandomLengthString(16));
    case 8:
      return Arg(Zel::UString(Zel::Utf8String(input.ConsumeRandomLengthString(16))));
    case 9:
      return Arg(FuzzResource(input.ConsumeRandomLengthString(16)));
    default:
      return Arg(static_cast<const char*>(nullptr));
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzedDataProvider input(data, size);
  std::vector<Arg> args;
  const int count = input.ConsumeIntegralInRange<int>(0, 12);
  for (int i = 0; i < count; ++i) args.push_back(make_arg(input));
  std::vector<const Arg*> pointers;
  for (const Arg& arg : args) pointers.push_back(&arg);
  const int number = input.ConsumeIntegralInRange<int>(-2, 23);
  const std::string format = input.ConsumeRemainingBytesAsString();

  const Zel::UString text = Zel::UMessage::sprintf(format.c_str(), pointers);
  (void)text.utf8_str();
  (void)Zel::UMessage::sprintf(Zel::UString(Zel::Utf8String(format)), pointers);
  (void)Zel::UMessage::sprintf(Zel::zelutil, number, pointers, nullptr);
  if (!args.empty()) {
    const Zel::UMessage m(Zel::zelutil, number, args[0], args.size() > 1 ? args[1] : Arg::nil);
    const Zel::UMessage copy = m;
    (void)copy.message_string();
  }
  return 0;
}
