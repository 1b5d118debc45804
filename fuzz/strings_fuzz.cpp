// Feeds arbitrary bytes to UString's decoders, encodes the text back, and runs
// the position-taking operations with positions taken from the input.
//
// Input: byte 0 picks the character set, bytes 1-4 a position, the rest is text.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "zel/ustring.h"

namespace {

const char* const kCharsets[] = {
    "UTF-8",    "utf-8",   "ISO-8859-1",       "Shift_JIS",      "UTF-16LE",
    "UTF-16BE", "GB18030", "ISO-2022-JP",      "UTF-7",          "SCSU",
    "BOCU-1",   "DEFAULT", "ibm-37_P100-1995", "no-such-charset"};
constexpr std::size_t kCharsetCount = sizeof kCharsets / sizeof kCharsets[0];

void exercise_positions(const Zel::UString& text, Zel::UString::size_type pos) {
  Zel::UString copy(text);
  (void)copy[pos];
  (void)copy.substr(pos, pos / 2);
  (void)copy.find(u'a', pos);
  (void)copy.find_last(copy.substr(0, 2), pos);
  (void)copy.find_first_of(u"/\\:@", pos);
  (void)copy.compare(pos, pos, text);
  copy.insert(pos, u'x').replace(pos / 3, pos, text.substr(1, 3)).set_at(pos, u'y');
  copy.erase(pos, pos % 7);
  if (copy.c_str()[copy.length()] != 0) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 5) return 0;
  const char* charset = kCharsets[data[0] % kCharsetCount];
  Zel::UString::size_type pos;
  std::memcpy(&pos, data + 1, sizeof pos);
  const std::string bytes(reinterpret_cast<const char*>(data) + 5, size - 5);

  // Valid UTF-8 without zero bytes comes back byte for byte.
  Zel::UString utf8;
  utf8.utf8_assign(bytes);
  const Zel::Utf8String again = utf8.utf8_str();
  if (!utf8.empty() && bytes.find('\0') == std::string::npos && again != bytes) std::abort();

  Zel::UString text;
  text.assign(bytes, charset);
  bool failed = false;
  (void)text.std_str(charset, failed);
  (void)text.std_str("UTF-16BE", failed);
  (void)text.std_str(charset, failed);
  (void)text.utf8_str();
  exercise_positions(text, pos);
  exercise_positions(utf8, pos);
  return 0;
}
