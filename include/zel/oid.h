// zel/oid.h - identifiers: UUIDs, object ids and user identities.
//
// Uuid is the library's 16-byte version-1 UUID. Uuid::gen() makes a new one
// from the wall clock, the process id and this host's number; it prints in two
// forms and parses three:
//
//   Zel::Uuid u = Zel::Uuid::gen();
//   std::string text = u.std_str(false);  // "1f2e3d40.5c6b17ee.8a3c.00:01:00:01:7f:00"
//   std::string hex = u.std_str(true);    // "1f2e3d405c6b17ee8a3c000100017f00"
//   Zel::Uuid back = Zel::Uuid::from_string("1f2e3d40-5c6b-17ee-8a3c-000100017f00");
//
// Oid is the server's object id: the same 16 bytes held as four 32-bit words,
// cheap to compare, order and hash, so it keys maps and hash tables:
//
//   std::map<Zel::Oid, Object> objects;
//   objects[Zel::Oid::gen()] = ...;
//   Zel::Oid id = Zel::Oid::from_string(text);  // throws IllegalArgException
//
// Identity is the opaque identity of a user or group: a one-byte type and up to
// 32767 data bytes, which the library stores, compares, prints and parses
// ("2:010aff" is type 1 with the data bytes 0a ff) without interpreting them.
//
// What the generator guarantees:
//   - One process never returns the same UUID twice, at any rate and from any
//     number of threads. The layout leaves 18 counter bits per timestamp window
//     of 2^20 x 100 ns (about 105 ms), so the generator hands out at most 2^18
//     values per window and then waits for the next window: a tight loop gets
//     about 2.5 million UUIDs a second, no more. If the wall clock is set back,
//     the generator stays in the last window it used, so it never returns to a
//     window it has left; when that window is used up it waits for the clock
//     if it is less than about a second behind, and otherwise moves on to the
//     next window ahead of the clock.
//   - Processes alive at the same time on one host differ, because every UUID
//     carries the low 16 bits of its process id; a child made by fork() goes on
//     from its parent's state under its own pid, also when another thread of
//     the parent was generating at the moment of the fork.
//   - Hosts differ by their host number (gethostid()), which fills the node.
// What it does not guarantee: distinct values from two processes whose ids
// agree in their low 16 bits (possible where pid_max is above 65536), from a
// process that reuses the pid of one that generated less than a window ago,
// from children created without fork() (a raw clone), or from two hosts that
// share a host number.

#ifndef ZEL_OID_H_
#define ZEL_OID_H_

#include <cstddef>
#include <cstdint>
#include <functional>
#include <iosfwd>
#include <string>
#include <string_view>

#include "zel/export.h"
#include "zel/ustring.h"

// The 16 bytes of a UUID as plain C records. qbs_oid_s has the same layout
// under its own name, for interfaces that carry object ids.
struct qbs_uuid_s {
  std::uint32_t time_low;
  std::uint16_t time_mid;
  std::uint16_t time_hi_and_version;
  std::uint8_t clock_seq_hi_and_reserved;
  std::uint8_t clock_seq_low;
  std::uint8_t node[6];
};

struct qbs_oid_s {
  std::uint32_t time_low;
  std::uint16_t time_mid;
  std::uint16_t time_hi_and_version;
  std::uint8_t clock_seq_hi_and_reserved;
  std::uint8_t clock_seq_low;
  std::uint8_t node[6];
};

extern "C" {

// Writes a new version-1 UUID into `out`: the timestamp with its low 20 bits
// replaced by 18 counter bits and the low 2 bits of the process id, the next 14
// bits of the process id in the clock sequence, and the host's node. Returns 0,
// or 1001 when no node can be had (then the fields other than the node are
// written all the same, and every later call fails too) or `out` is null.
// Thread-safe; may sleep up to one window (about 105 ms) when the current one
// is used up.
// Deliberately never goes back in time and waits past 2^18 UUIDs in one clock
// window: a repeated window and counter would repeat a UUID.
ZEL_EXPORT int kzserver_qbs_uuid_gen(qbs_uuid_s* out);

// Copies this host's 6-byte node into `node6`: 00 01 and the host number
// (gethostid(), passed through its decimal text) least significant byte first.
// Always returns 0; does nothing when `node6` is null.
ZEL_EXPORT int kzserver_sysutl_my_ieee_hostid(unsigned char* node6);

// No random source is provided: writes nothing and always returns 1 (failure).
ZEL_EXPORT int kzserver_sysutl_get_random_bytes(unsigned char* buf, int count);

}  // extern "C"

namespace Zel {

class ZEL_EXPORT Uuid {
 public:
  // The nil UUID: all 16 bytes zero.
  Uuid() = default;
  Uuid(const qbs_uuid_s& u);
  Uuid(const qbs_oid_s& u);
  operator qbs_uuid_s() const;
  operator qbs_oid_s() const;

  bool operator==(const Uuid& other) const;
  bool operator!=(const Uuid& other) const { return !(*this == other); }
  bool is_nil() const;

  // A new UUID from kzserver_qbs_uuid_gen. Throws RuntimeException QZMLK0651E
  // with the generator's status when it fails.
  static const Uuid gen();

  // The long form, "%08x.%04hx%04hx.%02x%02x.%02x:%02x:%02x:%02x:%02x:%02x"
  // (40 characters), or with `compact` the 32 hex digits alone; lower case.
  const UString str(const bool compact) const;
  const std::string std_str(const bool compact) const;

  // Parses the long form, the hyphenated form ("%08x-%04hx-%04hx-%02hx%02hx-..."
  // with the six node bytes run together) or the compact form, tried in that
  // order with the rules of a formatted scan: the widths are maximum widths, so
  // shorter hex groups are accepted where a separator ends them, a group may
  // carry a sign, text after the last field is ignored, and of each byte field
  // scanned as 16 bits only the low 8 bits are kept. Throws
  // IllegalArgException QZMLK0657E naming `text` twice when no form matches.
  static Uuid from_string(const std::string& text);

  std::uint32_t time_low = 0;
  std::uint16_t time_mid = 0;
  std::uint16_t time_hi_and_version = 0;
  std::uint8_t clock_seq_hi_and_reserved = 0;
  std::uint8_t clock_seq_low = 0;
  std::uint8_t node[6] = {};
};

class ZEL_EXPORT Oid {
 public:
  // The UUID's 16 bytes taken four at a time, least significant byte first:
  // w0 time_low; w1 time_mid | time_hi_and_version << 16; w2 the two clock
  // sequence bytes and node bytes 0 and 1; w3 node bytes 2 to 5.
  struct bits {
    std::uint32_t w0;
    std::uint32_t w1;
    std::uint32_t w2;
    std::uint32_t w3;
  };

  // The nil id: all four words zero.
  Oid() : bits_{0, 0, 0, 0} {}
  Oid(const bits& b) : bits_(b) {}
  Oid& operator=(const bits& b) {
    bits_ = b;
    return *this;
  }
  Oid(const Uuid& u);
  Oid(const qbs_uuid_s& u);
  Oid(const qbs_oid_s& u);
  operator qbs_oid_s() const;
  operator qbs_uuid_s() const;
  const Uuid uuid() const;
  const bits& get_bits() const { return bits_; }

  bool is_nil() const { return (bits_.w0 | bits_.w1 | bits_.w2 | bits_.w3) == 0; }
  bool operator==(const Oid& other) const {
    return bits_.w0 == other.bits_.w0 && bits_.w1 == other.bits_.w1 && bits_.w2 == other.bits_.w2 &&
           bits_.w3 == other.bits_.w3;
  }
  bool operator!=(const Oid& other) const { return !(*this == other); }
  // Word by word, w0 first, each unsigned. Deliberately not the order of the
  // printed texts (w1 puts time_hi_and_version above time_mid, w2 and w3 hold
  // their bytes reversed): ordered containers of ids depend on this order.
  bool operator<(const Oid& other) const {
    if (bits_.w0 != other.bits_.w0) return bits_.w0 < other.bits_.w0;
    if (bits_.w1 != other.bits_.w1) return bits_.w1 < other.bits_.w1;
    if (bits_.w2 != other.bits_.w2) return bits_.w2 < other.bits_.w2;
    return bits_.w3 < other.bits_.w3;
  }
  // w0 ^ w1 ^ w3 ^ w2; 0 for the nil id.
  int hash() const { return static_cast<int>(bits_.w0 ^ bits_.w1 ^ bits_.w3 ^ bits_.w2); }

  // Oid(Uuid::gen()); throws as Uuid::gen() does.
  static const Oid gen();

  // The text of the UUID with the same 16 bytes (Uuid::str, Uuid::std_str).
  const UString str(const bool compact) const;
  const std::string std_str(const bool compact) const;

  // Oid(Uuid::from_string(text)); throws as it does.
  static const Oid from_string(const std::string& text);
  // The same for the UTF-8 encoding of `text`.
  static const Oid from_string(const UString& text);

 private:
  bits bits_;
};

// Inserts the ADDRESS of a temporary wide text of the id, through the stream's
// pointer insertion, not the text itself. Deliberate and kept for the callers
// that rely on it; use str() for the text.
ZEL_EXPORT std::wostream& operator<<(std::wostream& out, const Oid& id);
// Reads one word as UString's wide extractor does; when the stream is still
// good, `id` becomes Oid::from_string of it (which may throw), otherwise `id`
// is left as it was.
ZEL_EXPORT std::wistream& operator>>(std::wistream& in, Oid& id);

class ZEL_EXPORT Identity {
 public:
  // The type byte, and the element of the raw form: a buffer holding the type
  // byte followed by the data bytes.
  typedef unsigned char type_t;
  typedef unsigned char identity_t;

  // Nobody: no buffer, length 0.
  Identity() = default;
  // Copies `length` bytes of `data` after `type`. With length 0 and type 0 it
  // is nobody without a buffer. A null `data` gives zero bytes.
  Identity(const short length, const type_t type, const char* data);
  // Adopts `raw` (from new identity_t[length + 1]) without copying and frees it
  // with delete[]. A null `raw` with a positive length gives nobody.
  //
  // Negative lengths: length() gives back a negative length passed to either
  // constructor (files of credentials carry such lengths), but it counts as no
  // data bytes: nothing is read, copied, printed or compared beyond the type
  // byte, which is all a buffer then holds.
  Identity(const short length, identity_t* raw);
  // Copies the type and data; nobody copies as nobody without a buffer.
  Identity(const Identity& other);
  // Reuses this identity's buffer when it is long enough and keeps what the
  // copy does not overwrite: assigning nobody to a typed identity leaves its
  // type byte, so the result has length 0 but is not nobody. Deliberate and kept.
  Identity& operator=(const Identity& other);
  ~Identity();

  // Equal lengths, and equal type and data bytes (a missing buffer is type 0).
  bool operator==(const Identity& other) const;
  bool operator!=(const Identity& other) const { return !(*this == other); }
  // Byte 0 of the buffer, or 0 without one.
  type_t type() const;
  // Length 0 and type 0.
  bool is_nobody() const;
  // The data bytes after the type byte, or null without a buffer.
  const char* bits() const;
  // The number of data bytes, or the negative length a constructor was given.
  short length() const { return length_; }

  // The length in decimal, ":", then two lower-case hex digits per buffer byte,
  // type byte first: "2:010aff". Nobody without a buffer prints "0:00"; a
  // negative length prints with the type byte alone ("-56:01"), which from_str
  // refuses.
  const UString str() const;
  // Parses the text form. Throws IllegalArgException with the arguments "str"
  // and `text`: QZMLK0658E without ":", QZMLK0659E when the decimal length
  // before it (leading blanks and a sign allowed, trailing text ignored) is
  // negative or above 32767 (the most a 16-bit length holds), QZMLK0660E when
  // the text does not hold exactly 2 x (length + 1) digits after the ":", and
  // QZMLK0661E for any character but "0"-"9" and "a"-"f" among them (upper
  // case is refused, deliberately).
  // Lengths above 32,767 are refused on purpose: the length is a signed 16-bit
  // field, and a larger one would come back negative.
  static const Identity from_str(const UString& text);

 private:
  // max(length_, 0): the data bytes the buffer holds after the type byte.
  std::size_t data_size() const;

  // Invariant: a positive length has a buffer; a buffer holds at least
  // data_size() + 1 bytes.
  identity_t* bits_ = nullptr;
  short length_ = 0;
};

}  // namespace Zel

// Hashes of the three identifiers, consistent with their operator==, so that
// they key std::unordered_map and std::unordered_set. An Oid hashes its 16
// bytes; a Uuid hashes as the Oid of the same bytes.
namespace std {

template <>
struct hash<Zel::Oid> {
  std::size_t operator()(const Zel::Oid& id) const noexcept {
    const Zel::Oid::bits& b = id.get_bits();
    return std::hash<std::string_view>()(
        std::string_view(reinterpret_cast<const char*>(&b), sizeof b));
  }
};

template <>
struct hash<Zel::Uuid> {
  std::size_t operator()(const Zel::Uuid& id) const noexcept {
    return std::hash<Zel::Oid>()(Zel::Oid(id));
  }
};

// The length, the type byte and the data bytes: what operator== compares. A
// negative length counts no data bytes, as there.
template <>
struct hash<Zel::Identity> {
  std::size_t operator()(const Zel::Identity& id) const noexcept {
    const std::size_t data_size =
        id.length() > 0 && id.bits() != nullptr ? static_cast<std::size_t>(id.length()) : 0;
    const std::size_t data = std::hash<std::string_view>()(std::string_view(id.bits(), data_size));
    const std::size_t head = static_cast<std::size_t>(static_cast<unsigned short>(id.length())) |
                             static_cast<std::size_t>(id.type()) << 16;
    // An odd multiplier spreads the few bits of `head` over the word.
    return data ^ (head * static_cast<std::size_t>(0x9e3779b97f4a7c15ULL));
  }
};

}  // namespace std

#endif  // ZEL_OID_H_
