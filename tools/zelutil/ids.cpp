#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "commands.h"
#include "zel/exception.h"
#include "zel/oid.h"

namespace zelutil {
namespace {

// The generator's epoch offset in 100 ns units, 2^32 above the usual one for
// version-1 UUIDs; its timestamps are read back with the same offset.
constexpr std::int64_t kShiftedGregorianOffset = 0x01B21DD313814000LL;

// The library's failures carry a catalogued message; that is what the user sees.
[[noreturn]] void fail_with(const Zel::QRPException& e) {
  throw CommandError(e.message().message_string().utf8_str());
}

void print_lines(int count, bool compact, bool object_ids) {
  try {
    for (int i = 0; i < count; ++i) {
      std::cout << (object_ids ? Zel::Oid::gen().std_str(compact)
                               : Zel::Uuid::gen().std_str(compact))
                << '\n';
    }
  } catch (const Zel::QRPException& e) {
    fail_with(e);
  }
}

// "2026-11-22 10:15:00.1048576 UTC" for a count of 100 ns units since 1970.
std::string format_timestamp(std::int64_t units) {
  std::int64_t seconds = units / 10000000;
  std::int64_t fraction = units % 10000000;
  if (fraction < 0) {
    fraction += 10000000;
    --seconds;
  }
  const auto time = static_cast<std::time_t>(seconds);
  std::tm parts{};
  char date[64] = "?";
  if (gmtime_r(&time, &parts) != nullptr) {
    std::strftime(date, sizeof date, "%Y-%m-%d %H:%M:%S", &parts);
  }
  char text[96];
  std::snprintf(text, sizeof text, "%s.%07" PRId64 " UTC", date, fraction);
  return text;
}

void describe_uuid(const std::string& text) {
  Zel::Uuid u;
  try {
    u = Zel::Uuid::from_string(text);
  } catch (const Zel::QRPException& e) {
    fail_with(e);
  }
  const int version = u.time_hi_and_version >> 12;
  std::cout << "long:      " << u.std_str(false) << '\n'
            << "compact:   " << u.std_str(true) << '\n'
            << "version:   " << version << '\n';
  if (version != 1) {
    std::cout << "(not a time-based UUID: no timestamp, counter or process bits)\n";
    return;
  }
  // The low 20 bits of the timestamp hold the counter and process bits, so the
  // time is known to one window of 2^20 x 100 ns.
  const std::uint64_t timestamp = static_cast<std::uint64_t>(u.time_hi_and_version & 0x0FFF) << 48 |
                                  static_cast<std::uint64_t>(u.time_mid) << 32 |
                                  (u.time_low & 0xFFF00000u);
  const std::uint32_t process =
      (u.time_low & 3) | static_cast<std::uint32_t>(u.clock_seq_low) << 2 |
      static_cast<std::uint32_t>(u.clock_seq_hi_and_reserved & 0x3F) << 10;
  char node[32];
  std::snprintf(node, sizeof node, "%02x:%02x:%02x:%02x:%02x:%02x", u.node[0], u.node[1], u.node[2],
                u.node[3], u.node[4], u.node[5]);
  std::cout << "timestamp: "
            << format_timestamp(static_cast<std::int64_t>(timestamp) - kShiftedGregorianOffset)
            << " (start of a 104.8576 ms window)\n"
            << "counter:   " << ((u.time_low >> 2) & 0x3FFFF) << '\n'
            << "process:   " << process << " (the low 16 bits of the process id)\n"
            << "node:      " << node;
  if (u.node[0] == 0x00 && u.node[1] == 0x01) {
    const std::uint32_t host = u.node[2] | static_cast<std::uint32_t>(u.node[3]) << 8 |
                               static_cast<std::uint32_t>(u.node[4]) << 16 |
                               static_cast<std::uint32_t>(u.node[5]) << 24;
    std::cout << " (host number " << host << ')';
  }
  std::cout << '\n';
}

std::string hex_of(const char* bytes, std::size_t count) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string hex;
  for (std::size_t i = 0; i < count; ++i) {
    const auto byte = static_cast<unsigned char>(bytes[i]);
    hex += kDigits[byte >> 4];
    hex += kDigits[byte & 0xF];
  }
  return hex;
}

void describe_identity(const std::string& text) {
  try {
    const Zel::Identity id = Zel::Identity::from_str(Zel::UString(Zel::Utf8String(text)));
    std::cout << "text:    " << id.str().utf8_str() << '\n'
              << "length:  " << id.length() << '\n'
              << "type:    " << static_cast<int>(id.type()) << '\n'
              << "data:    " << hex_of(id.bits(), static_cast<std::size_t>(id.length())) << '\n'
              << "nobody:  " << (id.is_nobody() ? "yes" : "no") << '\n';
  } catch (const Zel::QRPException& e) {
    fail_with(e);
  }
}

int hex_digit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

void make_identity(int type, const std::string& hex) {
  if (hex.size() % 2 != 0) throw CommandError("HEXDATA must have an even number of hex digits");
  if (hex.size() / 2 > 32767) throw CommandError("HEXDATA is longer than 32767 bytes");
  std::string data;
  for (std::size_t i = 0; i < hex.size(); i += 2) {
    const int high = hex_digit(hex[i]);
    const int low = hex_digit(hex[i + 1]);
    if (high < 0 || low < 0) {
      throw CommandError("HEXDATA holds a character that is not a hex digit: '" + hex + "'");
    }
    data += static_cast<char>(high << 4 | low);
  }
  const Zel::Identity id(static_cast<short>(data.size()), static_cast<Zel::Identity::type_t>(type),
                         data.data());
  std::cout << id.str().utf8_str() << '\n';
}

}  // namespace

void add_ids_commands(CLI::App& app) {
  // "uuid" generates unless its "parse" subcommand is given.
  auto* uuid = app.add_subcommand("uuid", "Generate UUIDs (long form unless --compact)");
  auto count = std::make_shared<int>(1);
  auto compact = std::make_shared<bool>(false);
  uuid->add_option("-n,--count", *count, "How many to generate (default 1)")
      ->check(CLI::Range(0, 100000000));
  uuid->add_flag("--compact", *compact, "Print the 32 hex digits alone");
  auto* parse = uuid->add_subcommand(
      "parse", "Parse a UUID (long, hyphenated or compact form) and show its fields");
  auto text = std::make_shared<std::string>();
  parse->add_option("TEXT", *text, "The UUID text")->required();
  // The subcommand's callback runs before its parent's.
  parse->callback([uuid, text, compact] {
    if (uuid->count("--count") > 0 || *compact) {
      throw CLI::ValidationError("uuid parse", "--count and --compact only go with generation");
    }
    describe_uuid(*text);
  });
  uuid->callback([parse, count, compact] {
    if (!parse->parsed()) print_lines(*count, *compact, false);
  });

  auto* oid = app.add_subcommand("oid", "Generate object ids (long form)");
  auto oid_count = std::make_shared<int>(1);
  oid->add_option("-n,--count", *oid_count, "How many to generate (default 1)")
      ->check(CLI::Range(0, 100000000));
  oid->callback([oid_count] { print_lines(*oid_count, false, true); });

  auto* identity = app.add_subcommand("identity", "Read or make identity texts");
  identity->require_subcommand(1);
  auto* identity_parse =
      identity->add_subcommand("parse", "Parse an identity text such as 2:010aff");
  auto identity_text = std::make_shared<std::string>();
  identity_parse->add_option("TEXT", *identity_text, "The identity text")->required();
  identity_parse->callback([identity_text] { describe_identity(*identity_text); });

  auto* make = identity->add_subcommand("make", "Print the text form of a type and data bytes");
  auto type = std::make_shared<int>(0);
  auto hex = std::make_shared<std::string>();
  make->add_option("TYPE", *type, "The type byte, 0 to 255")->required()->check(CLI::Range(0, 255));
  make->add_option("HEXDATA", *hex, "The data bytes as hex digits (may be empty)")->required();
  make->callback([type, hex] { make_identity(*type, *hex); });
}

}  // namespace zelutil
