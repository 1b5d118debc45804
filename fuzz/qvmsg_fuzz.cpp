// Feeds QvMsg::format(format, values) a format text and a short array of typed
// values, both taken from the input.
//
// Input: byte 0 gives the number of values (0-7); then each value: a selector
// byte (kind, and for a floating value whether its bytes are a raw long double)
// and its bytes (8 for an integer or a double, 10 for a long double, a length
// byte and that many bytes for a text); the rest is the format text. The value
// array is exactly as long as it needs to be, so that reading past its END
// record is a heap overflow.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "qvlogger/qvlogger.h"

namespace {

using Log::qvPrintfArgVal;

class Input {
 public:
  Input(const std::uint8_t* data, std::size_t size) : data_(data), size_(size) {}

  bool take(void* out, std::size_t n) {
    if (size_ - used_ < n) return false;
    std::memcpy(out, data_ + used_, n);
    used_ += n;
    return true;
  }

  std::string rest() const {
    return std::string(reinterpret_cast<const char*>(data_) + used_, size_ - used_);
  }

 private:
  const std::uint8_t* data_;
  std::size_t size_;
  std::size_t used_ = 0;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Input input(data, size);
  std::uint8_t count = 0;
  if (!input.take(&count, 1)) return 0;
  count %= 8;

  std::vector<std::string> texts;
  texts.reserve(count);  // their c_str() must not move
  std::vector<qvPrintfArgVal> values(count + 1u);
  for (std::uint8_t i = 0; i < count; ++i) {
    std::uint8_t selector = 0;
    if (!input.take(&selector, 1)) return 0;
    qvPrintfArgVal& value = values[i];
    std::memset(&value, 0, sizeof value);
    switch (selector % 4) {
      case 0:
        value.kind = qvPrintfArgVal::INTEGER;
        if (!input.take(&value.integer, sizeof value.integer)) return 0;
        break;
      case 1: {
        value.kind = qvPrintfArgVal::FLOATING;
        if ((selector & 0x80) != 0) {
          // Any ten bytes, the x87 encodings no arithmetic produces included.
          if (!input.take(&value.floating, 10)) return 0;
        } else {
          double number;
          if (!input.take(&number, sizeof number)) return 0;
          value.floating = number;
        }
        break;
      }
      case 2: {
        value.kind = qvPrintfArgVal::TEXT;
        std::uint8_t length = 0;
        if (!input.take(&length, 1)) return 0;
        if ((selector & 0x80) != 0) {
          value.text = nullptr;
          break;
        }
        std::string text(length % 32, '\0');
        if (!input.take(text.data(), text.size())) return 0;
        texts.push_back(std::move(text));
        value.text = texts.back().c_str();
        break;
      }
      default:
        // A kind the caller should not have made: 4 up to 67.
        value.kind = static_cast<qvPrintfArgVal::Kind>(4 + (selector >> 2));
        value.integer = selector;
        break;
    }
  }
  values[count].kind = qvPrintfArgVal::END;

  const std::string format = input.rest();
  const char* result = Log::QvMsg::format(format.c_str(), values.data());
  if (result == nullptr) std::abort();
  // Text without a '%' comes back as it is, whatever the values.
  if (std::strchr(format.c_str(), '%') == nullptr && std::strcmp(result, format.c_str()) != 0) {
    std::abort();
  }
  return 0;
}
