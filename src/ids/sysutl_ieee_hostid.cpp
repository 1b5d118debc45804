// The host's node for UUIDs, and the random source the generator falls back on.
#include <unistd.h>

#include <array>
#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "zel/oid.h"

namespace {

// The host number is handed over as decimal text, as the serial number of the
// hardware is on systems that have one; gethostid() is Linux's stable per-host
// 32-bit number. Only its low 32 bits count.
std::array<unsigned char, 6> read_host_node() {
  char text[64];
  std::snprintf(text, sizeof text, "%" PRIu32, static_cast<std::uint32_t>(gethostid()));
  const auto number = static_cast<std::uint32_t>(std::strtoul(text, nullptr, 10));
  return {0x00,
          0x01,
          static_cast<unsigned char>(number),
          static_cast<unsigned char>(number >> 8),
          static_cast<unsigned char>(number >> 16),
          static_cast<unsigned char>(number >> 24)};
}

}  // namespace

extern "C" int kzserver_sysutl_my_ieee_hostid(unsigned char* node6) {
  // Filled once, on first use; the initialisation of a local static is
  // thread-safe, so no lock of our own.
  static const std::array<unsigned char, 6> node = read_host_node();
  if (node6 != nullptr) std::memcpy(node6, node.data(), node.size());
  return 0;
}

extern "C" int kzserver_sysutl_get_random_bytes(unsigned char* /*buf*/, int /*count*/) { return 1; }
