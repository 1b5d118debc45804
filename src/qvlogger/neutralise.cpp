// neutralise.cpp - one message, one line.
//
// A message often carries text that a client chose. Written as it stands, a
// line break in it forges a second log line, and a carriage return or an
// escape sequence rewrites the terminal of whoever reads the log. Such bytes
// are written as visible escapes instead; everything else passes untouched, so
// that ordinary lines read as they always did.
//
// Nearly every message is clean, so the scan for the first byte to escape is
// the part that has to be fast; the escaping itself is rare.

#include "detail/neutralise.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

namespace Log {
namespace detail {
namespace {

using Bytes = const unsigned char*;

constexpr std::uint64_t kEachByte = 0x0101010101010101ULL;
constexpr std::uint64_t kHighBits = 0x8080808080808080ULL;

// Zero exactly when all eight bytes of `word` lie in 0x20..0x7E. A tab, which
// is written as it is, counts as unprintable here; the byte loop lets it
// through.
std::uint64_t unprintable_bits(std::uint64_t word) {
  // A byte below 0x20 borrows into its high bit; a byte of 0x7F or more has
  // its high bit set once 1 is added. Carries between bytes only start at
  // bytes that are caught anyway.
  const std::uint64_t below_space = (word - 0x20 * kEachByte) & ~word;
  const std::uint64_t from_delete = (word + kEachByte) | word;
  return (below_space | from_delete) & kHighBits;
}

// How many bytes from `p` on are printable ASCII, counted in whole blocks of
// sixteen: the clean stretch that needs no byte-by-byte look.
std::size_t printable_prefix(Bytes p, std::size_t size) {
  std::size_t at = 0;
  for (; size - at >= 16; at += 16) {
    std::uint64_t words[2];
    std::memcpy(words, p + at, sizeof words);
    if ((unprintable_bits(words[0]) | unprintable_bits(words[1])) != 0) break;
  }
  return at;
}

// The length of the well-formed UTF-8 sequence at `p` (Unicode's table of
// well-formed byte sequences: no overlong forms, no surrogates, nothing above
// U+10FFFF), or 0 when the byte there does not start one.
std::size_t sequence_length(Bytes p, std::size_t left) {
  const unsigned char lead = p[0];
  auto continues = [&](std::size_t i, unsigned char low, unsigned char high) {
    return i < left && p[i] >= low && p[i] <= high;
  };
  if (lead >= 0xC2 && lead <= 0xDF) return continues(1, 0x80, 0xBF) ? 2 : 0;
  if (lead >= 0xE0 && lead <= 0xEF) {
    const unsigned char low = lead == 0xE0 ? 0xA0 : 0x80;
    const unsigned char high = lead == 0xED ? 0x9F : 0xBF;
    return continues(1, low, high) && continues(2, 0x80, 0xBF) ? 3 : 0;
  }
  if (lead >= 0xF0 && lead <= 0xF4) {
    const unsigned char low = lead == 0xF0 ? 0x90 : 0x80;
    const unsigned char high = lead == 0xF4 ? 0x8F : 0xBF;
    return continues(1, low, high) && continues(2, 0x80, 0xBF) && continues(3, 0x80, 0xBF) ? 4 : 0;
  }
  return 0;
}

// The C1 controls U+0080..U+009F and the line and paragraph separators
// U+2028 and U+2029, given a well-formed sequence.
bool is_unsafe_sequence(Bytes p, std::size_t length) {
  if (length == 2) return p[0] == 0xC2 && p[1] <= 0x9F;
  return length == 3 && p[0] == 0xE2 && p[1] == 0x80 && (p[2] == 0xA8 || p[2] == 0xA9);
}

// The offset of the first byte that starts something to escape, or `size`.
std::size_t first_unsafe(Bytes p, std::size_t size) {
  std::size_t at = 0;
  while (at < size) {
    at += printable_prefix(p + at, size - at);
    // Byte by byte through the block that stopped the fast scan, or the tail.
    const std::size_t block_end = std::min(size, at + 16);
    while (at < block_end) {
      const unsigned char c = p[at];
      if ((c >= 0x20 && c < 0x7F) || c == '\t') {
        ++at;
        continue;
      }
      if (c < 0x80) return at;
      const std::size_t length = sequence_length(p + at, size - at);
      if (length == 0 || is_unsafe_sequence(p + at, length)) return at;
      at += length;
    }
  }
  return size;
}

constexpr char kHex[] = "0123456789abcdef";

void append_hex(std::string& out, const char* prefix, unsigned value, int digits) {
  out += prefix;
  for (int shift = 4 * (digits - 1); shift >= 0; shift -= 4) out += kHex[(value >> shift) & 0xF];
}

// Appends the escape of what starts at `p` (known to need one) and returns the
// number of bytes it stands for.
std::size_t append_escape(std::string& out, Bytes p, std::size_t left) {
  const unsigned char c = p[0];
  if (c == '\n') {
    out += "\\n";
    return 1;
  }
  if (c == '\r') {
    out += "\\r";
    return 1;
  }
  const std::size_t length = c < 0x80 ? 0 : sequence_length(p, left);
  if (length == 0) {
    // A control character, or a byte that is not UTF-8.
    append_hex(out, "\\x", c, 2);
    return 1;
  }
  // Only two- and three-byte sequences are escaped.
  const unsigned code_point = length == 2
                                  ? (c & 0x1Fu) << 6 | (p[1] & 0x3Fu)
                                  : (c & 0x0Fu) << 12 | (p[1] & 0x3Fu) << 6 | (p[2] & 0x3Fu);
  append_hex(out, "\\u", code_point, 4);
  return length;
}

}  // namespace

std::string_view neutralise(std::string_view text, std::string& scratch) {
  const Bytes p = reinterpret_cast<Bytes>(text.data());
  const std::size_t size = text.size();
  std::size_t at = first_unsafe(p, size);
  if (at == size) return text;

  scratch.reserve(size + size / 8 + 8);
  std::size_t clean_from = 0;
  while (at < size) {
    scratch.append(text.data() + clean_from, at - clean_from);
    at += append_escape(scratch, p + at, size - at);
    clean_from = at;
    at += first_unsafe(p + at, size - at);
  }
  scratch.append(text.data() + clean_from, size - clean_from);
  return scratch;
}

}  // namespace detail
}  // namespace Log
