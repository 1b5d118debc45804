// zel/qrpexception.h - the library's coded exception.
//
// A QRPException carries a reason code for programs, a catalogued message for
// people (zel/umessage.h), optionally the resource the failure concerns, and
// the earlier exceptions that caused it. Resource and causes are owned clones,
// so the exception never points into its caller's objects.
//
// Most code throws one of the three subclasses of zel/exception.h by value and
// catches QRPException& or the subclass. raise() writes the message to the log
// first, once the program has switched logging on:
//
//   Log::LogAdaptor::initialize("server", "/var/log/srv", "info", 0);
//   Zel::QRPException::g_logging_enabled = true;
//   ...
//   Zel::QRPException::raise(Zel::QRPException::QRP_RC_ZELUTIL, message, nullptr, nullptr,
//                            Zel::QRPException::QRP_LOG_ERROR);

#ifndef ZEL_QRPEXCEPTION_H_
#define ZEL_QRPEXCEPTION_H_

#include <cstddef>
#include <cstdint>
#include <vector>

#include "zel/export.h"
#include "zel/umessage.h"

namespace Zel {

class Resource;

class ZEL_EXPORT QRPException {
 public:
  // What kind of failure this is, for programs. The library's own exceptions
  // all use QRP_RC_ZELUTIL (39); code built on the library adds its own values.
  enum qrp_reason_code_t : std::int32_t {
    QRP_RC_NONE = 0,
    QRP_RC_ZELUTIL = 39,
    QRP_RC_FILE_SYSTEM = 40,  // a file system object could not be made
  };

  // The level at which raise() and log() write the message: 0, 1 and 2 go to the
  // "Zel" logger's info, warning and error operations; other values log nothing.
  enum qrp_log_level_t : std::int32_t {
    QRP_LOG_INFO = 0,
    QRP_LOG_WARNING = 1,
    QRP_LOG_ERROR = 2,
  };

  // Stores the code, a copy of `m`, a clone of `r` and a clone of `cause` (each
  // when not null). `level` is accepted for symmetry with raise() but not kept.
  QRPException(qrp_reason_code_t code, const UMessage& m, const Resource* r = nullptr,
               const QRPException* cause = nullptr, qrp_log_level_t level = QRP_LOG_ERROR);
  // The same with a clone of every element of `causes`, in order.
  QRPException(qrp_reason_code_t code, const UMessage& m, const Resource* r,
               const std::vector<QRPException*>& causes, qrp_log_level_t level = QRP_LOG_ERROR);
  // Deep copies: message copied, resource and causes cloned.
  QRPException(const QRPException& other);
  QRPException& operator=(const QRPException& other);
  virtual ~QRPException();

  // A heap copy of the same dynamic type, owned by the caller.
  virtual QRPException* clone() const;

  qrp_reason_code_t qrp_reason_code() const { return code_; }
  const UMessage& message() const { return message_; }
  const Resource* resource() const { return resource_; }
  const std::vector<QRPException*>& causes() const { return causes_; }

  // Writes `m`, formatted, to the "Zel" logger at `level` when
  // g_logging_enabled is set. Logging before Log::LogAdaptor::initialize has
  // succeeded is a usage error.
  static void log(const UMessage& m, qrp_log_level_t level);

  // log(m, level), then throw a QRPException built from the other arguments.
  [[noreturn]] static void raise(qrp_reason_code_t code, const UMessage& m, const Resource* r,
                                 const QRPException* cause, qrp_log_level_t level);
  [[noreturn]] static void raise(qrp_reason_code_t code, const UMessage& m, const Resource* r,
                                 const std::vector<QRPException*>& causes, qrp_log_level_t level);
  // log(e.message(), level), then throw a copy of `e`. The copy is a plain
  // QRPException even when `e` is a subclass: deliberately, only a handler for
  // QRPException catches it.
  [[noreturn]] static void raise(const QRPException& e, qrp_log_level_t level);

  // False at load; set by the program once the log adaptor is initialised.
  // Read without a lock: set it before threads start.
  static bool g_logging_enabled;

 private:
  void clear_owned();
  // Clones `r` and the `count` causes; on failure releases what it cloned.
  void clone_from(const Resource* r, const QRPException* const* causes, std::size_t count);

  qrp_reason_code_t code_;
  Resource* resource_ = nullptr;  // owned
  UMessage message_;
  std::vector<QRPException*> causes_;  // each owned
};

}  // namespace Zel

#endif  // ZEL_QRPEXCEPTION_H_
