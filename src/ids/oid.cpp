// Uuid and Oid: conversions, text forms and parsing.
#include "zel/oid.h"

#include <cstdio>
#include <cstring>
#include <istream>
#include <ostream>

#include "strings/detail/ustring_units.h"
#include "zel/exception.h"
#include "zel/umessage.h"

namespace Zel {

namespace {

using Arg = UMessage::Arg;

// The exact shapes of the text forms: a template with the separators in place,
// where the two digits of each byte (in print order) go, and where the
// separators are.
struct shape_t {
  const char* text;
  std::size_t length;
  unsigned char digit_at[16];
  unsigned char separator_at[8];
  int separators;
};

constexpr shape_t kLongShape = {"xxxxxxxx.xxxxxxxx.xxxx.xx:xx:xx:xx:xx:xx",
                                40,
                                {0, 2, 4, 6, 9, 11, 13, 15, 18, 20, 23, 26, 29, 32, 35, 38},
                                {8, 17, 22, 25, 28, 31, 34, 37},
                                8};
constexpr shape_t kCompactShape = {"xxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxx",
                                   32,
                                   {0, 2, 4, 6, 8, 10, 12, 14, 16, 18, 20, 22, 24, 26, 28, 30},
                                   {},
                                   0};
constexpr shape_t kHyphenatedShape = {"xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx",
                                      36,
                                      {0, 2, 4, 6, 9, 11, 14, 16, 19, 21, 24, 26, 28, 30, 32, 34},
                                      {8, 13, 18, 23},
                                      4};
constexpr std::size_t kLongestShape = 40;

// Lower-case digit pairs for every byte value, and the value of every hex
// digit of either case (-1 for other bytes).
struct hex_tables_t {
  char pair[256][2];
  signed char value[256];
  constexpr hex_tables_t() : pair(), value() {
    constexpr char kDigits[] = "0123456789abcdef";
    for (int b = 0; b < 256; ++b) {
      pair[b][0] = kDigits[b >> 4];
      pair[b][1] = kDigits[b & 0xF];
      value[b] = -1;
    }
    for (int d = 0; d < 10; ++d) value['0' + d] = static_cast<signed char>(d);
    for (int d = 0; d < 6; ++d) {
      value['a' + d] = static_cast<signed char>(10 + d);
      value['A' + d] = static_cast<signed char>(10 + d);
    }
  }
};
constexpr hex_tables_t kHex;

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

// Writes the printed form as snprintf with the documented formats would: every
// field fits its width, so each is exactly that many digits. No terminator.
// A template, so that the positions are constants in each copy.
template <const shape_t& shape>
void format(const Uuid& u, char* out) {
  unsigned char bytes[16];
  to_print_order(u, bytes);
  std::memcpy(out, shape.text, shape.length);
  for (int i = 0; i < 16; ++i) std::memcpy(out + shape.digit_at[i], kHex.pair[bytes[i]], 2);
}

// The same widened to UTF-16 units; with the length a constant the compiler
// widens the whole text in a few vector moves.
template <const shape_t& shape>
void format(const Uuid& u, UChar* out) {
  char text[shape.length];
  format<shape>(u, text);
  for (std::size_t i = 0; i < shape.length; ++i) out[i] = static_cast<unsigned char>(text[i]);
}

// --- Parsing ------------------------------------------------------------------
//
// The accepted forms are those of three formatted scans. Scanning is slow, and
// nearly every text is one of the exact shapes the scans were written for, so
// those shapes are decoded directly; anything else (short groups, signs, blanks,
// other separators) goes to the scans, which define what is accepted.
//
// A text that begins with one of the shapes is read by the matching scan exactly
// so: each group is as wide as its field's maximum width, and the scans tried
// before it fail at their first separator, which the shape does not have there.

// Decodes `text` when it begins with `shape`, into the 16 bytes in print order.
// A template, so that the positions are constants in each copy.
template <const shape_t& shape>
bool decode_shape(const std::string& text, unsigned char bytes[16]) {
  if (text.size() < shape.length) return false;
  const auto* in = reinterpret_cast<const unsigned char*>(text.data());
  for (int i = 0; i < shape.separators; ++i) {
    const unsigned char at = shape.separator_at[i];
    if (in[at] != static_cast<unsigned char>(shape.text[at])) return false;
  }
  int invalid = 0;  // negative once any digit is not a hex digit
  for (int i = 0; i < 16; ++i) {
    const int high = kHex.value[in[shape.digit_at[i]]];
    const int low = kHex.value[in[shape.digit_at[i] + 1]];
    invalid |= high | low;
    // Unsigned: a digit that is not one (-1) must not be shifted as a signed value.
    bytes[i] =
        static_cast<unsigned char>(static_cast<unsigned>(high) << 4 | static_cast<unsigned>(low));
  }
  return invalid >= 0;
}

// The documented scan formats, in the order they are tried. The byte fields are
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
  // The digits are widened straight into the string's own buffer: one
  // allocation, and no bytes to decode again.
  UString printed;
  const shape_t& shape = compact ? kCompactShape : kLongShape;
  UChar* units = detail::UStringUnits::reserve(printed, static_cast<std::int32_t>(shape.length));
  if (units == nullptr) return printed;
  compact ? format<kCompactShape>(*this, units) : format<kLongShape>(*this, units);
  detail::UStringUnits::commit(printed, static_cast<std::int32_t>(shape.length));
  return printed;
}

const std::string Uuid::std_str(const bool compact) const {
  char text[kLongestShape];
  if (compact) {
    format<kCompactShape>(*this, text);
    return std::string(text, kCompactShape.length);
  }
  format<kLongShape>(*this, text);
  return std::string(text, kLongShape.length);
}

Uuid Uuid::from_string(const std::string& text) {
  unsigned char bytes[16];
  if (decode_shape<kHyphenatedShape>(text, bytes) || decode_shape<kLongShape>(text, bytes) ||
      decode_shape<kCompactShape>(text, bytes)) {
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
