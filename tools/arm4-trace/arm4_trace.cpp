// arm4-trace: an ARM 4.0 runtime that writes down what it is asked to measure.
//
// Loaded as libarm4.so in place of a measurement agent, it hands out ids,
// handles and correlators (layout in arm4_trace.h) and appends one JSON object
// per line to a trace file for each application registered and started, each
// transaction registered, started and stopped. `zelutil arm report` sums a
// trace up per transaction.
//
// Environment:
//   ZEL_ARM_TRACE       the trace file, read each time an application registers;
//                       without it nothing is written.
//   ZEL_ARM_TRACE_FAIL  entry points to fail with ERROR_REQUESTED, read on every
//                       call, comma-separated: "arm_start_transaction" fails every
//                       start, "arm_register_transaction=Checkout" only those of
//                       that transaction (or application) name.
//
// Thread-safe: one lock guards the tables and the file.

#include "arm4_trace.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>

#include "arm4_bookkeeping.h"
#include "strings/detail/annotated_mutex.h"
#include "zel/arm4.h"
#include "zel/thread_annotations.h"

// The entry points are this library's whole interface: exported, unlike
// everything else in it.
#define ARM4_TRACE_EXPORT __attribute__((visibility("default")))

namespace {

using arm4_trace::correlator_fields_t;
using Json = nlohmann::ordered_json;  // keeps the fields in the order written

struct Running {
  std::string name;
  arm_id_t tran_id;
  std::int64_t started_ns;
  correlator_fields_t fields;
  Json parent;  // the parent correlator in hex, or null
};

// Everything below is guarded by g_lock.
Zel::detail::AnnotatedMutex g_lock;
int g_trace_fd ZEL_GUARDED_BY(g_lock) = -1;
std::string g_trace_path ZEL_GUARDED_BY(g_lock);
arm4_common::Bookkeeping<Running> g_book ZEL_GUARDED_BY(g_lock);

std::int64_t clock_ns(clockid_t clock) {
  timespec now{};
  clock_gettime(clock, &now);
  return static_cast<std::int64_t>(now.tv_sec) * 1000000000 + now.tv_nsec;
}

bool requested_failure(const char* function, const std::string& subject) {
  const char* list = std::getenv("ZEL_ARM_TRACE_FAIL");
  if (list == nullptr) return false;
  const std::string named = std::string(function) + "=" + subject;
  std::istringstream items(list);
  for (std::string item; std::getline(items, item, ',');) {
    if (item == function || item == named) return true;
  }
  return false;
}

// --- JSON ---------------------------------------------------------------------

Json text(const char* text) { return text != nullptr ? Json(text) : Json(nullptr); }

std::string hex(const std::uint8_t* bytes, std::size_t n) {
  static const char digits[] = "0123456789abcdef";
  std::string out;
  for (std::size_t i = 0; i < n; ++i) {
    out += digits[bytes[i] >> 4];
    out += digits[bytes[i] & 15];
  }
  return out;
}

Json id_text(const arm_id_t* id) {
  return id != nullptr ? Json(hex(id->id_u.uint8, 16)) : Json(nullptr);
}

Json correlator_text(const arm_correlator_t* c) {
  const std::size_t length = c != nullptr ? arm4_trace::correlator_length(*c) : 0;
  return length != 0 ? Json(hex(c->opaque, length)) : Json(nullptr);
}

Json subbuffer_formats(const arm_buffer4_t* buffer4) {
  Json out = Json::array();
  if (buffer4 != nullptr && buffer4->subbuffer_array != nullptr) {
    for (arm_int32_t i = 0; i < buffer4->count; ++i) {
      const arm_subbuffer_t* sub = buffer4->subbuffer_array[i];
      out.push_back(sub != nullptr ? Json(sub->format) : Json(nullptr));
    }
  }
  return out;
}

// Appends one event line: "event", "time_ns" and "pid", then `fields`. Bytes
// of a name that are not UTF-8 become U+FFFD, so that every line stays JSON.
void write_event(const char* event, const Json& fields) ZEL_REQUIRES(g_lock) {
  if (g_trace_fd < 0) return;
  Json object = {{"event", event}, {"time_ns", clock_ns(CLOCK_REALTIME)}, {"pid", getpid()}};
  for (const auto& [key, value] : fields.items()) object[key] = value;
  const std::string line = object.dump(-1, ' ', false, Json::error_handler_t::replace) + '\n';
  const char* at = line.data();
  std::size_t left = line.size();
  while (left > 0) {
    const ssize_t written = ::write(g_trace_fd, at, left);
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return;  // a full disk loses lines, never the measured program
    at += written;
    left -= static_cast<std::size_t>(written);
  }
}

// Opens `path` for appending if it is a regular file, creating it 0600: the
// trace names users and resources. A symlink is not followed (the runtime often
// runs in a privileged server, and the trace may sit in a shared directory),
// and a FIFO is opened without blocking, then refused with devices and
// directories. -1 when refused.
int open_regular_file(const std::string& path) {
  const int fd = ::open(path.c_str(),
                        O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0600);
  if (fd < 0) return -1;
  struct stat info;
  if (::fstat(fd, &info) != 0 || !S_ISREG(info.st_mode) || ::fcntl(fd, F_SETFL, O_APPEND) != 0) {
    ::close(fd);
    return -1;
  }
  return fd;
}

// Opens the file ZEL_ARM_TRACE names, unless it is the one already open.
bool open_trace_file() ZEL_REQUIRES(g_lock) {
  const char* path = std::getenv("ZEL_ARM_TRACE");
  const std::string wanted = path != nullptr ? path : "";
  if (wanted == g_trace_path && (g_trace_fd >= 0 || wanted.empty())) return true;
  if (g_trace_fd >= 0) ::close(g_trace_fd);
  g_trace_fd = -1;
  g_trace_path.clear();
  if (wanted.empty()) return true;
  g_trace_fd = open_regular_file(wanted);
  if (g_trace_fd < 0) return false;
  g_trace_path = wanted;
  return true;
}

const char* error_text(arm_error_t code) {
  switch (code) {
    case arm4_trace::ERROR_REQUESTED:
      return "arm4-trace: failure requested through ZEL_ARM_TRACE_FAIL";
    case arm4_trace::ERROR_NULL_ARGUMENT:
      return "arm4-trace: a required argument is null";
    case arm4_trace::ERROR_UNKNOWN_ID:
      return "arm4-trace: unknown application or transaction id";
    case arm4_trace::ERROR_UNKNOWN_HANDLE:
      return "arm4-trace: unknown application or transaction handle";
    case arm4_trace::ERROR_TRACE_FILE:
      return "arm4-trace: the file named by ZEL_ARM_TRACE cannot be opened";
    default:
      return nullptr;
  }
}

}  // namespace

extern "C" {

ARM4_TRACE_EXPORT arm_error_t arm_register_application(const arm_char_t* app_name,
                                                       const arm_id_t* input_app_id,
                                                       arm_int32_t flags,
                                                       const arm_buffer4_t* buffer4,
                                                       arm_id_t* output_app_id) {
  if (app_name == nullptr || output_app_id == nullptr) return arm4_trace::ERROR_NULL_ARGUMENT;
  if (requested_failure("arm_register_application", app_name)) {
    return arm4_trace::ERROR_REQUESTED;
  }
  const Zel::detail::AnnotatedLock guard(g_lock);
  if (!open_trace_file()) return arm4_trace::ERROR_TRACE_FILE;
  *output_app_id = g_book.register_application(app_name);
  write_event("register_application", {{"app", app_name},
                                       {"app_id", id_text(output_app_id)},
                                       {"input_id", id_text(input_app_id)},
                                       {"flags", flags},
                                       {"buffers", subbuffer_formats(buffer4)}});
  return 0;
}

ARM4_TRACE_EXPORT arm_error_t arm_start_application(const arm_id_t* app_id,
                                                    const arm_char_t* app_group,
                                                    const arm_char_t* app_instance,
                                                    arm_int32_t flags, const arm_buffer4_t* buffer4,
                                                    arm_app_start_handle_t* app_handle) {
  if (app_id == nullptr || app_handle == nullptr) return arm4_trace::ERROR_NULL_ARGUMENT;
  const Zel::detail::AnnotatedLock guard(g_lock);
  const std::string* application = g_book.application_name(*app_id);
  if (application == nullptr) return arm4_trace::ERROR_UNKNOWN_ID;
  if (requested_failure("arm_start_application", *application)) {
    return arm4_trace::ERROR_REQUESTED;
  }
  *app_handle = g_book.start_application();
  write_event("start_application", {{"app", *application},
                                    {"app_id", id_text(app_id)},
                                    {"group", text(app_group)},
                                    {"instance", text(app_instance)},
                                    {"app_handle", *app_handle},
                                    {"flags", flags},
                                    {"buffers", subbuffer_formats(buffer4)}});
  return 0;
}

ARM4_TRACE_EXPORT arm_error_t arm_register_transaction(
    const arm_id_t* app_id, const arm_char_t* tran_name, const arm_id_t* input_tran_id,
    arm_int32_t flags, const arm_buffer4_t* buffer4, arm_id_t* output_tran_id) {
  if (app_id == nullptr || tran_name == nullptr || output_tran_id == nullptr) {
    return arm4_trace::ERROR_NULL_ARGUMENT;
  }
  if (requested_failure("arm_register_transaction", tran_name)) {
    return arm4_trace::ERROR_REQUESTED;
  }
  const Zel::detail::AnnotatedLock guard(g_lock);
  const auto* definition = g_book.register_transaction(*app_id, tran_name);
  if (definition == nullptr) return arm4_trace::ERROR_UNKNOWN_ID;
  *output_tran_id = definition->id;
  write_event("register_transaction", {{"app", definition->application},
                                       {"name", tran_name},
                                       {"tran_id", id_text(output_tran_id)},
                                       {"input_id", id_text(input_tran_id)},
                                       {"flags", flags},
                                       {"buffers", subbuffer_formats(buffer4)}});
  return 0;
}

ARM4_TRACE_EXPORT arm_error_t arm_start_transaction(arm_app_start_handle_t app_handle,
                                                    const arm_id_t* tran_id,
                                                    const arm_correlator_t* parent_correlator,
                                                    arm_int32_t flags, const arm_buffer4_t* buffer4,
                                                    arm_tran_start_handle_t* tran_handle,
                                                    arm_correlator_t* current_correlator) {
  if (tran_id == nullptr || tran_handle == nullptr) return arm4_trace::ERROR_NULL_ARGUMENT;
  const std::int64_t started = clock_ns(CLOCK_MONOTONIC);
  const Zel::detail::AnnotatedLock guard(g_lock);
  if (!g_book.started(app_handle)) return arm4_trace::ERROR_UNKNOWN_HANDLE;
  const auto* definition = g_book.definition(*tran_id);
  if (definition == nullptr) return arm4_trace::ERROR_UNKNOWN_ID;
  if (requested_failure("arm_start_transaction", definition->name)) {
    return arm4_trace::ERROR_REQUESTED;
  }

  Running running{definition->name, *tran_id, started, {}, correlator_text(parent_correlator)};
  running.fields.handle = static_cast<std::uint64_t>(g_book.new_transaction_handle());
  running.fields.tran_id = *tran_id;
  running.fields.process = static_cast<std::uint32_t>(getpid());
  correlator_fields_t parent;
  if (parent_correlator != nullptr && arm4_trace::read_correlator(*parent_correlator, &parent)) {
    running.fields.parent_handle = parent.handle;
    running.fields.parent_tran_id = parent.tran_id;
  }
  *tran_handle = static_cast<arm_tran_start_handle_t>(running.fields.handle);
  arm_correlator_t own;
  arm4_trace::write_correlator(running.fields, &own);
  if (current_correlator != nullptr) *current_correlator = own;

  write_event("start_transaction", {{"thread", syscall(SYS_gettid)},
                                    {"name", running.name},
                                    {"tran_id", id_text(tran_id)},
                                    {"handle", *tran_handle},
                                    {"flags", flags},
                                    {"parent_handle", running.fields.parent_handle},
                                    {"parent", running.parent},
                                    {"correlator", correlator_text(&own)},
                                    {"buffers", subbuffer_formats(buffer4)}});
  g_book.start_transaction(*tran_handle, std::move(running));
  return 0;
}

ARM4_TRACE_EXPORT arm_error_t arm_stop_transaction(arm_tran_start_handle_t tran_handle,
                                                   arm_tran_status_t tran_status, arm_int32_t flags,
                                                   const arm_buffer4_t* buffer4) {
  const std::int64_t stopped = clock_ns(CLOCK_MONOTONIC);
  const Zel::detail::AnnotatedLock guard(g_lock);
  const Running* running = g_book.running(tran_handle);
  if (running == nullptr) return arm4_trace::ERROR_UNKNOWN_HANDLE;
  if (requested_failure("arm_stop_transaction", running->name)) {
    return arm4_trace::ERROR_REQUESTED;
  }
  arm_correlator_t own;
  arm4_trace::write_correlator(running->fields, &own);
  write_event("stop_transaction", {{"thread", syscall(SYS_gettid)},
                                   {"name", running->name},
                                   {"tran_id", id_text(&running->tran_id)},
                                   {"handle", tran_handle},
                                   {"status", tran_status},
                                   {"response_ns", stopped - running->started_ns},
                                   {"flags", flags},
                                   {"parent_handle", running->fields.parent_handle},
                                   {"parent", running->parent},
                                   {"correlator", correlator_text(&own)},
                                   {"buffers", subbuffer_formats(buffer4)}});
  g_book.stop_transaction(tran_handle);
  return 0;
}

ARM4_TRACE_EXPORT arm_error_t arm_get_error_message(arm_charset_t charset, arm_error_t code,
                                                    arm_message_buffer_t msg) {
  if (msg == nullptr) return arm4_trace::ERROR_NULL_ARGUMENT;
  if (requested_failure("arm_get_error_message", "")) return arm4_trace::ERROR_REQUESTED;
  // Every text is ASCII, the same in each character set a caller may ask for.
  static_cast<void>(charset);
  arm4_common::write_error_message("arm4-trace", error_text(code), code, msg);
  return 0;
}

// Left out of the copy the tests build to stand for an incomplete runtime.
#ifndef ARM4_TRACE_WITHOUT_ARRIVAL_TIME
ARM4_TRACE_EXPORT arm_error_t arm_get_arrival_time(arm_arrival_time_t* opaque_time) {
  if (opaque_time == nullptr) return arm4_trace::ERROR_NULL_ARGUMENT;
  if (requested_failure("arm_get_arrival_time", "")) return arm4_trace::ERROR_REQUESTED;
  *opaque_time = clock_ns(CLOCK_MONOTONIC);
  return 0;
}
#endif

}  // extern "C"
