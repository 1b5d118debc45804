// arm4_bookkeeping.h - the ids and handles the project's ARM 4.0 runtimes hand out.
//
// arm4-trace and arm4-prometheus answer the same calls the same way: one id per
// application name, one per transaction name within an application, and handles
// counted up from 1 for started applications and running transactions. Bookkeeping
// holds those tables; each runtime adds what it keeps per transaction definition
// (DefinitionData) and per running transaction (Running).
//
//   arm4_common::Bookkeeping<Children, Running> book;  // under the runtime's own lock
//   const arm_id_t app = book.register_application("server");
//   auto* definition = book.register_transaction(app, "Checkout");
//   if (definition->data == nullptr) definition->data = ...;  // first registration
//
// Not locked: the runtime holds its own lock around every call.

#ifndef ZEL_TOOLS_ARM4_COMMON_ARM4_BOOKKEEPING_H_
#define ZEL_TOOLS_ARM4_COMMON_ARM4_BOOKKEEPING_H_

#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <map>
#include <set>
#include <string>
#include <unordered_map>

#include "zel/arm4.h"

namespace arm4_common {

struct NoData {};

template <typename Running, typename DefinitionData = NoData>
class Bookkeeping {
 public:
  struct Definition {
    arm_id_t id;
    std::string name;
    std::string application;  // the application's name
    DefinitionData data;
  };

  // The id of the application `name`, the same for each registration of that name.
  arm_id_t register_application(const std::string& name) {
    auto known = application_ids_.find(name);
    if (known == application_ids_.end()) {
      known = application_ids_.emplace(name, new_id()).first;
      applications_[key(known->second)] = name;
    }
    return known->second;
  }

  // The name of the application `id`; null when no application has that id.
  const std::string* application_name(const arm_id_t& id) const {
    const auto found = applications_.find(key(id));
    return found != applications_.end() ? &found->second : nullptr;
  }

  // A new handle for an instance of a registered application.
  arm_app_start_handle_t start_application() {
    const arm_app_start_handle_t handle = next_handle_++;
    started_.insert(handle);
    return handle;
  }

  bool started(arm_app_start_handle_t handle) const { return started_.count(handle) != 0; }

  // The definition of the transaction `name` of the application `app_id`, made
  // at its first registration with its data value-initialised; null when the
  // application is unknown.
  Definition* register_transaction(const arm_id_t& app_id, const std::string& name) {
    const std::string* application = application_name(app_id);
    if (application == nullptr) return nullptr;
    const std::string name_key = key(app_id) + '\0' + name;
    auto known = definition_ids_.find(name_key);
    if (known == definition_ids_.end()) {
      known = definition_ids_.emplace(name_key, new_id()).first;
      definitions_[key(known->second)] = Definition{known->second, name, *application, {}};
    }
    return &definitions_[key(known->second)];
  }

  // The definition with id `tran_id`; null when there is none.
  Definition* definition(const arm_id_t& tran_id) {
    const auto found = definitions_.find(key(tran_id));
    return found != definitions_.end() ? &found->second : nullptr;
  }

  // The handle for a transaction about to start, which start_transaction records.
  arm_tran_start_handle_t new_transaction_handle() { return next_handle_++; }

  void start_transaction(arm_tran_start_handle_t handle, Running running) {
    running_.emplace(handle, std::move(running));
  }

  // The running transaction `handle`; null when none runs under it.
  Running* running(arm_tran_start_handle_t handle) {
    const auto found = running_.find(handle);
    return found != running_.end() ? &found->second : nullptr;
  }

  void stop_transaction(arm_tran_start_handle_t handle) { running_.erase(handle); }

 private:
  static std::string key(const arm_id_t& id) {
    return std::string(reinterpret_cast<const char*>(id.id_u.uint8), sizeof id.id_u.uint8);
  }

  // Unique within the process, and unlike those of another process.
  arm_id_t new_id() {
    arm_id_t id{};
    id.id_u.uint64[0] = static_cast<std::uint64_t>(getpid());
    id.id_u.uint64[1] = next_id_++;
    return id;
  }

  std::uint64_t next_id_ = 1;
  std::int64_t next_handle_ = 1;
  std::map<std::string, std::string> applications_;  // id -> name
  std::map<std::string, arm_id_t> application_ids_;  // name -> id
  std::map<std::string, Definition> definitions_;    // id -> definition
  std::map<std::string, arm_id_t> definition_ids_;   // application id + '\0' + name -> id
  std::set<arm_app_start_handle_t> started_;
  std::unordered_map<arm_tran_start_handle_t, Running> running_;
};

// Writes `text` into the standard's message buffer, or "<runtime>: unknown
// error code <code>" when `text` is null.
inline void write_error_message(const char* runtime, const char* text, arm_error_t code,
                                arm_message_buffer_t msg) {
  if (text != nullptr) {
    std::snprintf(msg, ARM_MSG_BUFFER_LENGTH, "%s", text);
  } else {
    std::snprintf(msg, ARM_MSG_BUFFER_LENGTH, "%s: unknown error code %d", runtime, code);
  }
}

}  // namespace arm4_common

#endif  // ZEL_TOOLS_ARM4_COMMON_ARM4_BOOKKEEPING_H_
