#include <dlfcn.h>

#include <cstring>
#include <string>

#include "detail/thread_record.h"
#include "zel/arm.h"
#include "zel/logadaptor.h"
#include "zel/oid.h"

namespace Zel {

arm_level_t ArmApplication::g_level = 0;
arm_id_t ArmApplication::g_app_id = {};
arm_app_start_handle_t ArmApplication::g_app_handle = 0;
std::vector<ArmApplication::OperationRegistrar*>* ArmApplication::g_registrars = nullptr;
pthread_key_t ArmApplication::global_data = {};

void* ArmApplication::ArmRuntimeLoader::g_arm4_handle = nullptr;
decltype(&::arm_register_application)
    ArmApplication::ArmRuntimeLoader::g_fnc_arm_register_application = nullptr;
decltype(&::arm_start_application) ArmApplication::ArmRuntimeLoader::g_fnc_arm_start_application =
    nullptr;
decltype(&::arm_start_transaction) ArmApplication::ArmRuntimeLoader::g_fnc_arm_start_transaction =
    nullptr;
decltype(&::arm_stop_transaction) ArmApplication::ArmRuntimeLoader::g_fnc_arm_stop_transaction =
    nullptr;
decltype(&::arm_register_transaction)
    ArmApplication::ArmRuntimeLoader::g_fnc_arm_register_transaction = nullptr;
decltype(&::arm_get_error_message) ArmApplication::ArmRuntimeLoader::g_fnc_arm_get_error_message =
    nullptr;
decltype(&::arm_get_arrival_time) ArmApplication::ArmRuntimeLoader::g_fnc_arm_get_arrival_time =
    nullptr;

namespace {

using Loader = ArmApplication::ArmRuntimeLoader;

constexpr char kRuntimeName[] = "libarm4.so";

// The file name alone: the build directory means nothing to whoever reads the log.
constexpr const char* source_file_name(const char* path) {
  const char* name = path;
  for (const char* p = path; *p != '\0'; ++p) {
    if (*p == '/') name = p + 1;
  }
  return name;
}

// Writes "<file>:<line> <function>: <text>" to the "Zel" logger at error
// severity, when the program has started its logging.
void log_error(int line, const char* function, const char* text) {
  Log::Logger* logger = Log::LogAdaptor::logger_zel;
  if (logger == nullptr) return;
  const std::string message = std::string(source_file_name(__FILE__)) + ":" + std::to_string(line) +
                              " " + function + ": " + text;
  logger->error(message.c_str(), 0);
}

// Looks `name` up and stores it in `slot`; false, with the loader's message
// logged, when the runtime lacks it.
template <typename Function>
bool bind(void* handle, const char* name, Function& slot) {
  dlerror();
  void* symbol = dlsym(handle, name);
  if (symbol == nullptr) {
    const char* error = dlerror();
    const std::string text = error != nullptr ? error : std::string(name) + ": no such symbol";
    log_error(__LINE__, "ArmRuntimeLoader::load_runtime", text.c_str());
    return false;
  }
  slot = reinterpret_cast<Function>(symbol);
  return true;
}

arm_id_t fresh_input_id() {
  const Oid::bits bits = Oid::gen().get_bits();
  arm_id_t id;
  id.id_u.uint32[0] = bits.w0;
  id.id_u.uint32[1] = bits.w1;
  id.id_u.uint32[2] = bits.w2;
  id.id_u.uint32[3] = bits.w3;
  return id;
}

}  // namespace

int ArmApplication::ArmRuntimeLoader::load_runtime() {
  if (g_arm4_handle != nullptr) return 0;
  void* handle = dlopen(kRuntimeName, RTLD_NOW);
  if (handle == nullptr) {
    const char* error = dlerror();
    log_error(__LINE__, "ArmRuntimeLoader::load_runtime", error != nullptr ? error : kRuntimeName);
    return ARM_OFF;
  }
  g_arm4_handle = handle;
  // In this order; pointers bound before a missing one are left as they are,
  // harmless while ARM is off.
  const bool complete = bind(handle, "arm_register_application", g_fnc_arm_register_application) &&
                        bind(handle, "arm_start_application", g_fnc_arm_start_application) &&
                        bind(handle, "arm_start_transaction", g_fnc_arm_start_transaction) &&
                        bind(handle, "arm_stop_transaction", g_fnc_arm_stop_transaction) &&
                        bind(handle, "arm_register_transaction", g_fnc_arm_register_transaction) &&
                        bind(handle, "arm_get_error_message", g_fnc_arm_get_error_message) &&
                        bind(handle, "arm_get_arrival_time", g_fnc_arm_get_arrival_time);
  if (!complete) {
    dlclose(handle);
    g_arm4_handle = nullptr;
    return ARM_OFF;
  }
  return 0;
}

ArmApplication::OperationRegistrar::OperationRegistrar(const UString& operation_name)
    : name(operation_name), tran_id{} {
  if (g_registrars == nullptr) g_registrars = new std::vector<OperationRegistrar*>();
  g_registrars->push_back(this);
}

ArmApplication::OperationRegistrar::~OperationRegistrar() = default;

void ArmApplication::OperationRegistrar::user_data(ArmBuffer& /*buffer*/) const {}

void ArmApplication::global_data_t::delete_stack(void* data) {
  delete static_cast<arm_detail::thread_record_t*>(data);
}

int ArmApplication::register_application(arm_level_t level, const UString& app_name,
                                         const ArmBuffer* buffer) {
  // Whatever the state was, only a registration that succeeds through to the
  // last registrar leaves ARM on.
  g_level = 0;
  if (level == 0) return 0;

  if (ArmRuntimeLoader::load_runtime() != 0) {
    log_error(__LINE__, "ArmApplication::register_application",
              "Failed to load ARM runtime. ARM is disabled.");
    return ARM_OFF;
  }
  if (pthread_key_create(&global_data, &global_data_t::delete_stack) != 0) return ARM_OFF;

  const arm_id_t input_id = fresh_input_id();
  const char* name = ArmBuffer::pool_string(app_name, ArmBuffer::g_str_pool);
  const arm_buffer4_t* buffer4 = buffer->count() != 0 ? buffer->buffer4() : nullptr;
  int result =
      ArmRuntimeLoader::g_fnc_arm_register_application(name, &input_id, 0, buffer4, &g_app_id);
  if (result < 0) return result;

  // On before the registrars, so that register_transaction accepts them.
  g_level = level;
  if (g_registrars == nullptr) return result;

  ArmBuffer scratch(true);
  try {
    for (OperationRegistrar* registrar : *g_registrars) {
      registrar->user_data(scratch);
      const char* tran_name = ArmBuffer::pool_string(registrar->name, ArmBuffer::g_str_pool);
      result = register_transaction(tran_name, 0, ArmBuffer::passed(&scratch), &registrar->tran_id);
      if (result < 0) {
        // Asked for, as a runtime may want the failure reported, but not used.
        arm_message_buffer_t message;
        get_error_message(ARM_CHARSET_UTF8, result, message);
        g_level = 0;
        break;
      }
      if (!scratch.empty()) scratch.clear();
    }
  } catch (...) {
    g_level = 0;  // a registrar's buffer could not be built: its definition is missing
    throw;
  }
  return result;
}

int ArmApplication::start_application(const ArmBuffer* buffer, const UString& app_group,
                                      const UString& app_instance) {
  if (g_level == 0) return ARM_OFF;
  const char* group =
      app_group.empty() ? nullptr : ArmBuffer::pool_string(app_group, ArmBuffer::g_str_pool);
  const char* instance =
      app_instance.empty() ? nullptr : ArmBuffer::pool_string(app_instance, ArmBuffer::g_str_pool);
  const int result = ArmRuntimeLoader::g_fnc_arm_start_application(
      &g_app_id, group, instance, 0, ArmBuffer::passed(buffer), &g_app_handle);
  if (result < 0) g_level = 0;
  if (buffer != nullptr) buffer->release();
  return result;
}

int ArmApplication::register_transaction(const char* name, const int flags,
                                         const arm_buffer4* buffer, arm_id* out_id) {
  if (g_level == 0) return ARM_OFF;
  const arm_id_t input_id = fresh_input_id();
  return ArmRuntimeLoader::g_fnc_arm_register_transaction(&g_app_id, name, &input_id, flags, buffer,
                                                          out_id);
}

int ArmApplication::get_error_message(const int charset, const int code, char* buf) {
  if (g_level == 0) return ARM_OFF;
  return ArmRuntimeLoader::g_fnc_arm_get_error_message(charset, code, buf);
}

int ArmApplication::get_arrival_time(long long* arrival) {
  if (g_level == 0) return ARM_OFF;
  arm_arrival_time_t time = 0;
  const int result = ArmRuntimeLoader::g_fnc_arm_get_arrival_time(&time);
  if (arrival != nullptr) *arrival = time;
  return result;
}

}  // namespace Zel
