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
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <unordered_map>

#include "strings/detail/annotated_mutex.h"
#include "zel/arm4.h"
#include "zel/thread_annotations.h"

// The entry points are this library's whole interface: exported, unlike
// everything else in it.
#define ARM4_TRACE_EXPORT __attribute__((visibility("default")))

namespace {

using arm4_trace::correlator_fields_t;

struct Definition {
  std::string name;
  std::string application;
};

struct Running {
  std::string name;
  arm_id_t tran_id;
  std::int64_t started_ns;
  correlator_fields_t fields;
  std::string parent_hex;  // "null" or a JSON string
};

std::string id_key(const arm_id_t& id) {
  return std::string(reinterpret_cast<const char*>(id.id_u.uint8), sizeof id.id_u.uint8);
}

// Everything below is guarded by g_lock.
Zel::detail::AnnotatedMutex g_lock;
int g_trace_fd ZEL_GUARDED_BY(g_lock) = -1;
std::string g_trace_path ZEL_GUARDED_BY(g_lock);
std::uint64_t g_next_id ZEL_GUARDED_BY(g_lock) = 1;
std::int64_t g_next_handle ZEL_GUARDED_BY(g_lock) = 1;
std::map<std::string, std::string> g_applications ZEL_GUARDED_BY(g_lock);  // id -> name
std::map<std::string, arm_id_t> g_application_ids ZEL_GUARDED_BY(g_lock);  // name -> id
std::map<std::string, Definition> g_definitions ZEL_GUARDED_BY(g_lock);    // id -> definition
// application + '\0' + name -> id
std::map<std::string, arm_id_t> g_definition_ids ZEL_GUARDED_BY(g_lock);
// handle -> application id
std::map<arm_app_start_handle_t, std::string> g_started ZEL_GUARDED_BY(g_lock);
std::unordered_map<arm_tran_start_handle_t, Running> g_running ZEL_GUARDED_BY(g_lock);

std::int64_t clock_ns(clockid_t clock) {
  timespec now{};
  clock_gettime(clock, &now);
  return static_cast<std::int64_t>(now.tv_sec) * 1000000000 + now.tv_nsec;
}

bool requested_failure(const char* function, const std::string& subject) {
  const char* list = std::getenv("ZEL_ARM_TRACE_FAIL");
  if (list == nullptr) return false;
  const std::string all = list;
  const std::string named = std::string(function) + "=" + subject;
  std::size_t start = 0;
  while (start <= all.size()) {
    std::size_t end = all.find(',', start);
    if (end == std::string::npos) end = all.size();
    const std::string item = all.substr(start, end - start);
    if (item == function || item == named) return true;
    start = end + 1;
  }
  return false;
}

arm_id_t new_id() ZEL_REQUIRES(g_lock) {
  arm_id_t id{};
  id.id_u.uint64[0] = static_cast<std::uint64_t>(getpid());
  id.id_u.uint64[1] = g_next_id++;
  return id;
}

// --- JSON ---------------------------------------------------------------------

std::string quoted(const char* text) {
  if (text == nullptr) return "null";
  std::string out = "\"";
  for (const char* p = text; *p != '\0'; ++p) {
    const auto c = static_cast<unsigned char>(*p);
    if (c == '"' || c == '\\') {
      out += '\\';
      out += static_cast<char>(c);
    } else if (c < 0x20) {
      char escaped[8];
      std::snprintf(escaped, sizeof escaped, "\\u%04x", c);
      out += escaped;
    } else {
      out += static_cast<char>(c);
    }
  }
  return out + "\"";
}

std::string quoted(const std::string& text) { return quoted(text.c_str()); }

std::string hex(const std::uint8_t* bytes, std::size_t n) {
  static const char digits[] = "0123456789abcdef";
  std::string out;
  for (std::size_t i = 0; i < n; ++i) {
    out += digits[bytes[i] >> 4];
    out += digits[bytes[i] & 15];
  }
  return out;
}

std::string id_text(const arm_id_t& id) { return "\"" + hex(id.id_u.uint8, 16) + "\""; }

std::string correlator_text(const arm_correlator_t* c) {
  if (c == nullptr) return "null";
  const std::size_t length = arm4_trace::correlator_length(*c);
  return length == 0 ? "null" : "\"" + hex(c->opaque, length) + "\"";
}

std::string subbuffer_formats(const arm_buffer4_t* buffer4) {
  std::string out = "[";
  if (buffer4 != nullptr && buffer4->subbuffer_array != nullptr) {
    for (arm_int32_t i = 0; i < buffer4->count; ++i) {
      if (i != 0) out += ',';
      const arm_subbuffer_t* sub = buffer4->subbuffer_array[i];
      out += sub != nullptr ? std::to_string(sub->format) : "null";
    }
  }
  return out + "]";
}

// Appends one event line; `fields` is the rest of the object after "event".
void write_event(const char* event, const std::string& fields) ZEL_REQUIRES(g_lock) {
  if (g_trace_fd < 0) return;
  const std::string line = "{\"event\":\"" + std::string(event) +
                           "\",\"time_ns\":" + std::to_string(clock_ns(CLOCK_REALTIME)) +
                           ",\"pid\":" + std::to_string(getpid()) + "," + fields + "}\n";
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

// Opens the file ZEL_ARM_TRACE names, unless it is the one already open.
bool open_trace_file() ZEL_REQUIRES(g_lock) {
  const char* path = std::getenv("ZEL_ARM_TRACE");
  const std::string wanted = path != nullptr ? path : "";
  if (wanted == g_trace_path && (g_trace_fd >= 0 || wanted.empty())) return true;
  if (g_trace_fd >= 0) ::close(g_trace_fd);
  g_trace_fd = -1;
  g_trace_path.clear();
  if (wanted.empty()) return true;
  g_trace_fd = ::open(wanted.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
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
  auto known = g_application_ids.find(app_name);
  if (known == g_application_ids.end()) {
    known = g_application_ids.emplace(app_name, new_id()).first;
    g_applications[id_key(known->second)] = app_name;
  }
  *output_app_id = known->second;
  write_event("register_application",
              "\"app\":" + quoted(app_name) + ",\"app_id\":" + id_text(*output_app_id) +
                  ",\"input_id\":" + (input_app_id ? id_text(*input_app_id) : "null") +
                  ",\"flags\":" + std::to_string(flags) +
                  ",\"buffers\":" + subbuffer_formats(buffer4));
  return 0;
}

ARM4_TRACE_EXPORT arm_error_t arm_start_application(const arm_id_t* app_id,
                                                    const arm_char_t* app_group,
                                                    const arm_char_t* app_instance,
                                                    arm_int32_t flags, const arm_buffer4_t* buffer4,
                                                    arm_app_start_handle_t* app_handle) {
  if (app_id == nullptr || app_handle == nullptr) return arm4_trace::ERROR_NULL_ARGUMENT;
  const Zel::detail::AnnotatedLock guard(g_lock);
  const auto application = g_applications.find(id_key(*app_id));
  if (application == g_applications.end()) return arm4_trace::ERROR_UNKNOWN_ID;
  if (requested_failure("arm_start_application", application->second)) {
    return arm4_trace::ERROR_REQUESTED;
  }
  *app_handle = g_next_handle++;
  g_started[*app_handle] = application->first;
  write_event("start_application",
              "\"app\":" + quoted(application->second) + ",\"app_id\":" + id_text(*app_id) +
                  ",\"group\":" + quoted(app_group) + ",\"instance\":" + quoted(app_instance) +
                  ",\"app_handle\":" + std::to_string(*app_handle) + ",\"flags\":" +
                  std::to_string(flags) + ",\"buffers\":" + subbuffer_formats(buffer4));
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
  const std::string application = id_key(*app_id);
  const auto app = g_applications.find(application);
  if (app == g_applications.end()) return arm4_trace::ERROR_UNKNOWN_ID;
  // The same name within one application is the same definition.
  const std::string key = application + '\0' + tran_name;
  auto known = g_definition_ids.find(key);
  if (known == g_definition_ids.end()) {
    known = g_definition_ids.emplace(key, new_id()).first;
    g_definitions[id_key(known->second)] = Definition{tran_name, application};
  }
  *output_tran_id = known->second;
  write_event("register_transaction",
              "\"app\":" + quoted(app->second) + ",\"name\":" + quoted(tran_name) +
                  ",\"tran_id\":" + id_text(*output_tran_id) +
                  ",\"input_id\":" + (input_tran_id ? id_text(*input_tran_id) : "null") +
                  ",\"flags\":" + std::to_string(flags) +
                  ",\"buffers\":" + subbuffer_formats(buffer4));
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
  if (g_started.count(app_handle) == 0) return arm4_trace::ERROR_UNKNOWN_HANDLE;
  const auto definition = g_definitions.find(id_key(*tran_id));
  if (definition == g_definitions.end()) return arm4_trace::ERROR_UNKNOWN_ID;
  if (requested_failure("arm_start_transaction", definition->second.name)) {
    return arm4_trace::ERROR_REQUESTED;
  }

  Running running{
      definition->second.name, *tran_id, started, {}, correlator_text(parent_correlator)};
  running.fields.handle = static_cast<std::uint64_t>(g_next_handle++);
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

  write_event("start_transaction",
              "\"thread\":" + std::to_string(syscall(SYS_gettid)) +
                  ",\"name\":" + quoted(running.name) + ",\"tran_id\":" + id_text(*tran_id) +
                  ",\"handle\":" + std::to_string(*tran_handle) +
                  ",\"flags\":" + std::to_string(flags) +
                  ",\"parent_handle\":" + std::to_string(running.fields.parent_handle) +
                  ",\"parent\":" + running.parent_hex + ",\"correlator\":" + correlator_text(&own) +
                  ",\"buffers\":" + subbuffer_formats(buffer4));
  g_running.emplace(*tran_handle, std::move(running));
  return 0;
}

ARM4_TRACE_EXPORT arm_error_t arm_stop_transaction(arm_tran_start_handle_t tran_handle,
                                                   arm_tran_status_t tran_status, arm_int32_t flags,
                                                   const arm_buffer4_t* buffer4) {
  const std::int64_t stopped = clock_ns(CLOCK_MONOTONIC);
  const Zel::detail::AnnotatedLock guard(g_lock);
  const auto found = g_running.find(tran_handle);
  if (found == g_running.end()) return arm4_trace::ERROR_UNKNOWN_HANDLE;
  const Running& running = found->second;
  if (requested_failure("arm_stop_transaction", running.name)) {
    return arm4_trace::ERROR_REQUESTED;
  }
  arm_correlator_t own;
  arm4_trace::write_correlator(running.fields, &own);
  write_event("stop_transaction",
              "\"thread\":" + std::to_string(syscall(SYS_gettid)) +
                  ",\"name\":" + quoted(running.name) + ",\"tran_id\":" + id_text(running.tran_id) +
                  ",\"handle\":" + std::to_string(tran_handle) +
                  ",\"status\":" + std::to_string(tran_status) +
                  ",\"response_ns\":" + std::to_string(stopped - running.started_ns) +
                  ",\"flags\":" + std::to_string(flags) +
                  ",\"parent_handle\":" + std::to_string(running.fields.parent_handle) +
                  ",\"parent\":" + running.parent_hex + ",\"correlator\":" + correlator_text(&own) +
                  ",\"buffers\":" + subbuffer_formats(buffer4));
  g_running.erase(found);
  return 0;
}

ARM4_TRACE_EXPORT arm_error_t arm_get_error_message(arm_charset_t charset, arm_error_t code,
                                                    arm_message_buffer_t msg) {
  if (msg == nullptr) return arm4_trace::ERROR_NULL_ARGUMENT;
  if (requested_failure("arm_get_error_message", "")) return arm4_trace::ERROR_REQUESTED;
  // Every text is ASCII, the same in each character set a caller may ask for.
  static_cast<void>(charset);
  const char* text = error_text(code);
  if (text != nullptr) {
    std::snprintf(msg, ARM_MSG_BUFFER_LENGTH, "%s", text);
  } else {
    std::snprintf(msg, ARM_MSG_BUFFER_LENGTH, "arm4-trace: unknown error code %d", code);
  }
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
