// Feeds the logging layer's neutraliser any bytes. Whatever goes in, what comes
// out must be one safe line: well-formed UTF-8 with no line break, no control
// character other than tab, no C1 control and no line or paragraph separator.
// Text that needs nothing escaped comes back as it is, without a copy, and so
// does everything the neutraliser writes.
#include <unicode/utf8.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "detail/neutralise.h"

namespace {

bool is_safe_line(std::string_view text) {
  const auto* bytes = reinterpret_cast<const std::uint8_t*>(text.data());
  const auto length = static_cast<std::int32_t>(text.size());
  for (std::int32_t at = 0; at < length;) {
    UChar32 c;
    U8_NEXT(bytes, at, length, c);
    if (c < 0) return false;  // ill-formed, or a surrogate
    if ((c < 0x20 && c != '\t') || (c >= 0x7F && c <= 0x9F) || c == 0x2028 || c == 0x2029) {
      return false;
    }
  }
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view input(reinterpret_cast<const char*>(data), size);
  std::string scratch;
  const std::string_view output = Log::detail::neutralise(input, scratch);
  if (!is_safe_line(output)) std::abort();
  // Clean text is passed through untouched, as the same bytes.
  if (is_safe_line(input) && output.data() != input.data()) std::abort();
  if (output.size() < input.size()) std::abort();  // nothing is dropped

  std::string again;
  const std::string_view twice = Log::detail::neutralise(output, again);
  if (twice.data() != output.data() || twice.size() != output.size()) std::abort();
  return 0;
}
