// Uuid and Oid: conversions, text forms and parsing.
#include "zel/oid.h"

#include <cstdio>
#include <cstring>
#include <istream>
#include <ostream>

#include "zel/exception.h"
#include "zel/umessage.h"

namespace Zel {

namespace {

using Arg = UMessage::Arg;

constexpr std::size_t kLongLength = 40;
constexpr std::size_t kCompactLength = 32;

constexpr char kHexDigits[] = "0123456789abcdef";

// 0 to 15 for the hex digits of either case, -1 for every other byte.
struct hex_table_t {
  signed char value[256];
  constexpr hex_table_t() : value() {
    for (int c = 0; c < 256; ++c) value[c] = -1;
    for (int d = 0; d < 10; ++d) value['0' + d] = static_cast<signed char>(d);
    for (int d = 0; d < 6; ++d) {
      value['a' + d] = static_cast<signed char>(10 + d);
      value['A' + d] = static_cast<signed char>(10 + d);
    }
  }
};
constexpr hex_table_t kHex;

// The UUID's 16 bytes in the order their digits are printed: the fields most
// significant byte first, then the node bytes.
void to_print_order(const Uuid& u, unsigned char bytes[16]) {
  bytes[0] = static_cast<unsigned char>(u.time_low >> 24);
  bytes[1] = static_cast<unsigned char>(u.time_low >> 16);
  bytes[2] = static_cast<unsigned char>(u.time_low >> 8);
  bytes[3] = static_cast<unsigned char>(u.time_low);
  bytes[4] = static_cast<unsigned char>(u.time_mid >> 8);
  bytes[5] = static_cast<unsigned char>(u.time_mid);
  bytes[6] = static_cast<unsigned char>(u.time_hi_and_version >> 8);
  bytes[7] = static_cast<unsigned char>(u.time_hi_and_version);
  bytes[8] = u.clock_seq_hi_and_reserved;
  bytes[9] = u.clock_seq_low;
  std::memcpy(bytes + 10, u.node, 6);
}

Uuid from_print_order(const unsigned char bytes[16]) {
  Uuid u;
  u.time_low = static_cast<std::uint32_t>(bytes[0]) << 24 |
               static_cast<std::uint32_t>(bytes[1]) << 16 |
               static_cast<std::uint32_t>(bytes[2]) << 8 | bytes[3];
  u.time_mid = static_cast<std::uint16_t>(bytes[4] << 8 | bytes[5]);
  u.time_hi_and_version = static_cast<std::uint16_t>(bytes[6] << 8 | bytes[7]);
  u.clock_seq_hi_and_reserved = bytes[8];
  u.clock_seq_low = bytes[9];
  std::memcpy(u.node, bytes + 10, 6);
  return u;
}

// Writes the printed form the same as snprintf with the published formats
// would: every field fits its width, so each is exactly that many digits.
// Returns the number of characters written (40 or 32, no terminator).
std::size_t format(const Uuid& u, bool compact, char* out) {
  // Separator after print-order byte i in the long form, 0 for none.
  static constexpr char kLongSeparators[16] = {0, 0,   0,   '.', 0,   0,   0,   '.',
                                               0, '.', ':', ':', ':', ':', ':', 0};
  unsigned char bytes[16];
  to_print_order(u, bytes);
  char* p = out;
  for (int i = 0; i < 16; ++i) {
    *p++ = kHexDigits[bytes[i] >> 4];
    *p++ = kHexDigits[bytes[i] & 0xF];
    if (!compact && kLongSeparators[i] != 0) *p++ = kLongSeparators[i];
  }
  return static_cast<std::size_t>(p - out);
}

UString ascii_to_ustring(const char* text, std::size_t length) {
  std::basic_string<UChar> units(length, u'\0');
  for (std::size_t i = 0; i < length; ++i) units[i] = static_cast<UChar>(text[i]);
  return UString(units);
}

// --- Parsing ------------------------------------------------------------------
//
// The accepted forms are those of three formatted scans. Scanning is slow, and
// nearly every text is one of the exact shapes the scans were written for, so
// those shapes are decoded directly; anything else (short groups, signs, blanks,
// other separators) goes to the scans, which define what is accepted.

// 'x' stands for one hex digit, anything else for itself.
constexpr char kLongShape[] = "xxxxxxxx.xxxxxxxx.xxxx.xx:xx:xx:xx:xx:xx";
constexpr char kHyphenatedShape[] = "xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx";

// Decodes `text` when it begins with `shape`; the 32 digits fill the 16 bytes in
// print order. A text that begins with one of the three shapes is read by the
// matching scan exactly so: each group is as wide as its field's maximum width,
// and the first scan to fail on the other two shapes fails at a separator.
bool decode_shape(const std::string& text, const char* shape, std::size_t shape_length,
                  unsigned char bytes[16]) {
  if (text.size() < shape_length) return false;
  const auto* in = reinterpret_cast<const unsigned char*>(text.data());
  int nibble = 0;
  for (std::size_t i = 0; i < shape_length; ++i) {
    if (shape[i] != 'x') {
      if (in[i] != static_cast<unsigned char>(shape[i])) return false;
      continue;
    }
    const int value = kHex.value[in[i]];
    if (value < 0) return false;
    if ((nibble & 1) == 0) {
      bytes[nibble >> 1] = static_cast<unsigned char>(value << 4);
    } else {
      bytes[nibble >> 1] |= static_cast<unsigned char>(value);
    }
    ++nibble;
  }
  return true;
}

bool decode_compact(const std::string& text, unsigned char bytes[16]) {
  if (text.size() < kCompactLength) return false;
  const auto* in = reinterpret_cast<const unsigned char*>(text.data());
  for (std::size_t i = 0; i < 16; ++i) {
    const int high = kHex.value[in[2 * i]];
    const int low = kHex.value[in[2 * i + 1]];
    if ((high | low) < 0) return false;
    bytes[i] = static_cast<unsigned char>(high << 4 | low);
  }
  return true;
}

// The published scan formats, in the order they are tried. The byte fields are
// scanned as 16-bit values (a signed group such as "-1" gives 0xffff) and only
// their low 8 bits are kept.
constexpr const char* kScanFormats[] = {
    "%08x.%04hx%04hx.%02hx%02hx.%02hx:%02hx:%02hx:%02hx:%02hx:%02hx",
    "%08x-%04hx-%04hx-%02hx%02hx-%02hx%02hx%02hx%02hx%02hx%02hx",
    "%08x%04hx%04hx%02hx%02hx%02hx%02hx%02hx%02hx%02hx%02hx",
};

bool scan(const std::string& text, Uuid& u) {
  for (const char* scan_format : kScanFormats) {
    unsigned int time_low = 0;
    unsigned short time_mid = 0;
    unsigned short time_hi = 0;
    unsigned short bytes[8] = {};
    const int assigned =
        std::sscanf(text.c_str(), scan_format, &time_low, &time_mid, &time_hi, &bytes[0], &bytes[1],
                    &bytes[2], &bytes[3], &bytes[4], &bytes[5], &bytes[6], &bytes[7]);
    if (assigned != 11) continue;
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

Oid::bits pack(std::uint32_t time_low, std::uint16_t time_mid, std::uint16_t time_hi,
               std::uint8_t clock_seq_hi, std::uint8_t clock_seq_low, const std::uint8_t* node) {
  return Oid::bits{
      time_low, static_cast<std::uint32_t>(time_mid) | static_cast<std::uint32_t>(time_hi) << 16,
      static_cast<std::uint32_t>(clock_seq_hi) | static_cast<std::uint32_t>(clock_seq_low) << 8 |
          static_cast<std::uint32_t>(node[0]) << 16 | static_cast<std::uint32_t>(node[1]) << 24,
      static_cast<std::uint32_t>(node[2]) | static_cast<std::uint32_t>(node[3]) << 8 |
          static_cast<std::uint32_t>(node[4]) << 16 | static_cast<std::uint32_t>(node[5]) << 24};
}

// Copies the fields between the three records of one layout.
template <typename To, typename From>
To copy_fields(const From& from) {
  To to;
  to.time_low = from.time_low;
  to.time_mid = from.time_mid;
  to.time_hi_and_version = from.time_hi_and_version;
  to.clock_seq_hi_and_reserved = from.clock_seq_hi_and_reserved;
  to.clock_seq_low = from.clock_seq_low;
  std::memcpy(to.node, from.node, sizeof to.node);
  return to;
}

}  // namespace

// --- Uuid -----------------------------------------------------------------------

Uuid::Uuid(const qbs_uuid_s& u) { *this = copy_fields<Uuid>(u); }
Uuid::Uuid(const qbs_oid_s& u) { *this = copy_fields<Uuid>(u); }
Uuid::operator qbs_uuid_s() const { return copy_fields<qbs_uuid_s>(*this); }
Uuid::operator qbs_oid_s() const { return copy_fields<qbs_oid_s>(*this); }

bool Uuid::operator==(const Uuid& other) const {
  return time_low == other.time_low && time_mid == other.time_mid &&
         time_hi_and_version == other.time_hi_and_version &&
         clock_seq_hi_and_reserved == other.clock_seq_hi_and_reserved &&
         clock_seq_low == other.clock_seq_low && std::memcmp(node, other.node, sizeof node) == 0;
}

bool Uuid::is_nil() const { return *this == Uuid(); }

const Uuid Uuid::gen() {
  qbs_uuid_s raw;
  const int status = kzserver_qbs_uuid_gen(&raw);
  if (status != 0) throw RuntimeException(UMessage(zelutil, 1, Arg(status)));
  return Uuid(raw);
}

const UString Uuid::str(const bool compact) const {
  char text[kLongLength];
  return ascii_to_ustring(text, format(*this, compact, text));
}

const std::string Uuid::std_str(const bool compact) const {
  char text[kLongLength];
  return std::string(text, format(*this, compact, text));
}

Uuid Uuid::from_string(const std::string& text) {
  unsigned char bytes[16];
  if (decode_shape(text, kHyphenatedShape, sizeof kHyphenatedShape - 1, bytes) ||
      decode_shape(text, kLongShape, sizeof kLongShape - 1, bytes) || decode_compact(text, bytes)) {
    return from_print_order(bytes);
  }
  Uuid u;
  if (scan(text, u)) return u;
  throw IllegalArgException(
      UMessage(zelutil, 7, Arg(text.c_str()), Arg(UString(Utf8String(text)))));
}

// --- Oid ------------------------------------------------------------------------

Oid::Oid(const Uuid& u)
    : bits_(pack(u.time_low, u.time_mid, u.time_hi_and_version, u.clock_seq_hi_and_reserved,
                 u.clock_seq_low, u.node)) {}
Oid::Oid(const qbs_uuid_s& u) : Oid(Uuid(u)) {}
Oid::Oid(const qbs_oid_s& u) : Oid(Uuid(u)) {}

const Uuid Oid::uuid() const {
  Uuid u;
  u.time_low = bits_.w0;
  u.time_mid = static_cast<std::uint16_t>(bits_.w1);
  u.time_hi_and_version = static_cast<std::uint16_t>(bits_.w1 >> 16);
  u.clock_seq_hi_and_reserved = static_cast<std::uint8_t>(bits_.w2);
  u.clock_seq_low = static_cast<std::uint8_t>(bits_.w2 >> 8);
  u.node[0] = static_cast<std::uint8_t>(bits_.w2 >> 16);
  u.node[1] = static_cast<std::uint8_t>(bits_.w2 >> 24);
  for (int i = 0; i < 4; ++i) u.node[2 + i] = static_cast<std::uint8_t>(bits_.w3 >> (8 * i));
  return u;
}

Oid::operator qbs_oid_s() const { return uuid(); }
Oid::operator qbs_uuid_s() const { return uuid(); }

const Oid Oid::gen() { return Oid(Uuid::gen()); }

const UString Oid::str(const bool compact) const { return uuid().str(compact); }
const std::string Oid::std_str(const bool compact) const { return uuid().std_str(compact); }

const Oid Oid::from_string(const std::string& text) { return Oid(Uuid::from_string(text)); }
const Oid Oid::from_string(const UString& text) { return from_string(text.utf8_str()); }

std::wostream& operator<<(std::wostream& out, const Oid& id) {
  const UString text = id.str(false);
  return out << static_cast<const void*>(text.c_str());
}

std::wistream& operator>>(std::wistream& in, Oid& id) {
  UString text;
  in >> text;
  if (!in.fail()) id = Oid::from_string(text);
  return in;
}

}  // namespace Zel
