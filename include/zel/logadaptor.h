// zel/logadaptor.h - the library's connection to its logging layer.
//
// The embedding program calls Log::LogAdaptor::initialize once at start-up,
// from one thread; it starts the logging layer (qvlogger/qvlogger.h) and fetches
// the four named loggers the library and its server-side users write to. Then
// it sets Zel::QRPException::g_logging_enabled, after which every raised
// QRPException is logged through logger_zel.
//
//   if (Log::LogAdaptor::initialize("server", "/var/log/srv", "info", 0) != nullptr) {
//     Zel::QRPException::g_logging_enabled = true;
//   }

#ifndef ZEL_LOGADAPTOR_H_
#define ZEL_LOGADAPTOR_H_

#include "qvlogger/qvlogger.h"
#include "zel/export.h"

namespace Log {

class ZEL_EXPORT LogAdaptor {
 public:
  // Starts the logging layer with the application name `first`, the log
  // directory `second` ("." when null), the lowest severity `third` and the
  // rotation size `fourth` in KiB, then fetches the loggers "QrpRpc", "Zel",
  // "LwRpc" and "MxRpc". Returns the manager, or null when the logging layer
  // could not start; the loggers then keep the values they had. Calls are
  // serialised; a later call replaces the manager and the loggers.
  static LogManager* initialize(const char* first, const char* second, const char* third,
                                int fourth);

  // The manager stored by the last initialize (null when it failed), or null.
  static LogManager* get_log_manager();

  // Null until initialize succeeds; read without a lock.
  static LogManager* log_manager;
  static Logger* logger_qrprpc;
  static Logger* logger_zel;  // the library's general logger
  static Logger* logger_lwrpc;
  static Logger* logger_mxrpc;
};

}  // namespace Log

#endif  // ZEL_LOGADAPTOR_H_
