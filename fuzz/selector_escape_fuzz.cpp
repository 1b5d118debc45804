// Splits, joins, encodes and decodes fuzzed texts. Nothing may crash, and:
// segments are never empty and hold a one-unit separator only right after "%";
// an encoded segment holds ":", "/" and "\" only right after "%"; decoding an
// encoded text without "%" gives the text back; decoding never lengthens a text.
#include <fuzzer/FuzzedDataProvider.h>

#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "zel/selector.h"

namespace {

using Zel::Selector;
using Zel::UString;

void require(bool condition) {
  if (!condition) std::abort();
}

UString from_utf8(const std::string& bytes) { return UString(Zel::Utf8String(bytes)); }

// Every `unit` of `text` stands right after a "%".
bool always_escaped(std::u16string_view text, char16_t unit) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == unit && (i == 0 || text[i - 1] != u'%')) return false;
  }
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzedDataProvider input(data, size);
  const UString sep = from_utf8(input.ConsumeRandomLengthString(4));
  const unsigned first = input.ConsumeIntegralInRange<unsigned>(0, 8);
  const unsigned count = input.ConsumeBool() ? ~0u : input.ConsumeIntegralInRange<unsigned>(0, 8);
  const UString text = from_utf8(input.ConsumeRemainingBytesAsString());

  const std::vector<UString> segments = Selector::split_segments(text, sep);
  std::size_t total = 0;
  for (const UString& segment : segments) {
    require(!segment.empty());
    total += segment.length();
    if (sep.length() == 1) require(always_escaped(segment.view(), sep.view()[0]));
  }
  require(total <= text.length());
  const UString joined = Selector::join_segments(segments, sep, first, count);
  require(joined.length() <= total + segments.size() * sep.length());

  const UString encoded = Selector::encode_segment(text);
  for (char16_t unit : {u':', u'/', u'\\'}) require(always_escaped(encoded.view(), unit));
  const UString decoded = Selector::decode_string(encoded);
  if (text.find(u'%') == UString::npos) require(decoded == text);
  require(Selector::decode_string(text).length() <= text.length());
  return 0;
}
