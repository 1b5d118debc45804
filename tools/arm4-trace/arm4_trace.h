// arm4_trace.h - what the arm4-trace runtime hands out, for those who read it.
//
// arm4-trace is an ARM 4.0 runtime of the project's own (libarm4.so, built from
// arm4_trace.cpp). Its correlators are 64 bytes: the standard's two-byte length
// in network order, the tag "ZTR1", then the transaction's handle, its parent's
// handle, its definition's id, its parent's definition id and the process id,
// the numbers big-endian. A child's correlator thus names its parent:
//
//   arm4_trace::correlator_fields_t fields;
//   if (arm4_trace::read_correlator(*child, &fields)) {
//     fields.parent_handle;  // the handle arm_start_transaction gave the parent
//   }
//
// Its negative results are the error_t values below.

#ifndef ZEL_TOOLS_ARM4_TRACE_ARM4_TRACE_H_
#define ZEL_TOOLS_ARM4_TRACE_ARM4_TRACE_H_

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "zel/arm4.h"

namespace arm4_trace {

enum error_t : arm_error_t {
  ERROR_REQUESTED = -1,       // named in ZEL_ARM_TRACE_FAIL
  ERROR_NULL_ARGUMENT = -2,   // a required pointer is null
  ERROR_UNKNOWN_ID = -3,      // no such application or transaction definition
  ERROR_UNKNOWN_HANDLE = -4,  // no such started application or running transaction
  ERROR_TRACE_FILE = -5,      // ZEL_ARM_TRACE names a file that cannot be opened, a
                              // symlink, or anything but a regular file
};

constexpr std::size_t CORRELATOR_LENGTH = 64;
constexpr char CORRELATOR_TAG[4] = {'Z', 'T', 'R', '1'};

struct correlator_fields_t {
  std::uint64_t handle = 0;
  std::uint64_t parent_handle = 0;  // 0 for a transaction without a traced parent
  arm_id_t tran_id = {};
  arm_id_t parent_tran_id = {};
  std::uint32_t process = 0;
};

namespace detail {

inline void put(std::uint8_t* at, std::uint64_t value, int bytes) {
  for (int i = bytes - 1; i >= 0; --i, value >>= 8) at[i] = static_cast<std::uint8_t>(value);
}

inline std::uint64_t get(const std::uint8_t* at, int bytes) {
  std::uint64_t value = 0;
  for (int i = 0; i < bytes; ++i) value = value << 8 | at[i];
  return value;
}

}  // namespace detail

// The length a correlator says it has (its first two bytes); 0 for an empty one.
inline std::size_t correlator_length(const arm_correlator_t& c) {
  const std::size_t length = static_cast<std::size_t>(detail::get(c.opaque, 2));
  return length <= ARM_CORR_MAX_LENGTH ? length : ARM_CORR_MAX_LENGTH;
}

inline void write_correlator(const correlator_fields_t& fields, arm_correlator_t* c) {
  std::memset(c->opaque, 0, CORRELATOR_LENGTH);
  detail::put(c->opaque, CORRELATOR_LENGTH, 2);
  std::memcpy(c->opaque + 2, CORRELATOR_TAG, 4);
  detail::put(c->opaque + 8, fields.handle, 8);
  detail::put(c->opaque + 16, fields.parent_handle, 8);
  std::memcpy(c->opaque + 24, &fields.tran_id, 16);
  std::memcpy(c->opaque + 40, &fields.parent_tran_id, 16);
  detail::put(c->opaque + 56, fields.process, 4);
}

// True, with `out` filled, when `c` is a correlator of this runtime.
inline bool read_correlator(const arm_correlator_t& c, correlator_fields_t* out) {
  if (correlator_length(c) != CORRELATOR_LENGTH ||
      std::memcmp(c.opaque + 2, CORRELATOR_TAG, 4) != 0) {
    return false;
  }
  out->handle = detail::get(c.opaque + 8, 8);
  out->parent_handle = detail::get(c.opaque + 16, 8);
  std::memcpy(&out->tran_id, c.opaque + 24, 16);
  std::memcpy(&out->parent_tran_id, c.opaque + 40, 16);
  out->process = static_cast<std::uint32_t>(detail::get(c.opaque + 56, 4));
  return true;
}

}  // namespace arm4_trace

#endif  // ZEL_TOOLS_ARM4_TRACE_ARM4_TRACE_H_
