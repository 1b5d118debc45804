#include "zel/logadaptor.h"

#include <string>

#include "zel/critsec.h"

namespace Log {

LogManager* LogAdaptor::log_manager = nullptr;
Logger* LogAdaptor::logger_qrprpc = nullptr;
Logger* LogAdaptor::logger_zel = nullptr;
Logger* LogAdaptor::logger_lwrpc = nullptr;
Logger* LogAdaptor::logger_mxrpc = nullptr;

LogManager* LogAdaptor::initialize(const char* first, const char* second, const char* third,
                                   int fourth) {
  // Created on the first call and destroyed at unload. A function-local static
  // is constructed safely even if two first calls race.
  static const Zel::CriticalSectionLock initialize_lock;
  Zel::CriticalSection guard(initialize_lock);

  const std::string application = first != nullptr ? first : "";
  const std::string directory = second != nullptr ? second : ".";
  const std::string severity = third != nullptr ? third : "";
  log_manager = QvLogManager::initialize(application, directory, severity, fourth, "");
  if (log_manager == nullptr) return nullptr;

  logger_qrprpc = log_manager->get_logger("QrpRpc");
  logger_zel = log_manager->get_logger("Zel");
  logger_lwrpc = log_manager->get_logger("LwRpc");
  logger_mxrpc = log_manager->get_logger("MxRpc");
  return log_manager;
}

LogManager* LogAdaptor::get_log_manager() { return log_manager; }

}  // namespace Log
