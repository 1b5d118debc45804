#include "zel/qrpexception.h"

#include "zel/logadaptor.h"
#include "zel/resource.h"

namespace Zel {

bool QRPException::g_logging_enabled = false;

QRPException::QRPException(qrp_reason_code_t code, const UMessage& m, const Resource* r,
                           const QRPException* cause, qrp_log_level_t /*level*/)
    : code_(code), message_(m) {
  clone_from(r, &cause, cause != nullptr ? 1 : 0);
}

QRPException::QRPException(qrp_reason_code_t code, const UMessage& m, const Resource* r,
                           const std::vector<QRPException*>& causes, qrp_log_level_t /*level*/)
    : code_(code), message_(m) {
  clone_from(r, causes.data(), causes.size());
}

QRPException::QRPException(const QRPException& other)
    : code_(other.code_), message_(other.message_) {
  clone_from(other.resource_, other.causes_.data(), other.causes_.size());
}

QRPException& QRPException::operator=(const QRPException& other) {
  if (this != &other) {
    code_ = other.code_;
    message_ = other.message_;
    clear_owned();
    clone_from(other.resource_, other.causes_.data(), other.causes_.size());
  }
  return *this;
}

QRPException::~QRPException() { clear_owned(); }

QRPException* QRPException::clone() const { return new QRPException(*this); }

void QRPException::clear_owned() {
  delete resource_;
  resource_ = nullptr;
  for (QRPException* cause : causes_) delete cause;
  causes_.clear();
}

void QRPException::clone_from(const Resource* r, const QRPException* const* causes,
                              std::size_t count) {
  // A constructor that throws runs no destructor, so undo here what was cloned.
  try {
    if (r != nullptr) resource_ = r->clone();
    causes_.reserve(count);
    for (std::size_t i = 0; i < count; ++i) {
      if (causes[i] != nullptr) causes_.push_back(causes[i]->clone());
    }
  } catch (...) {
    clear_owned();
    throw;
  }
}

void QRPException::log(const UMessage& m, qrp_log_level_t level) {
  if (!g_logging_enabled) return;
  using LogOperation = void (Log::Logger::*)(const char*, int);
  LogOperation operation = nullptr;
  switch (level) {
    case QRP_LOG_INFO:
      operation = &Log::Logger::info;
      break;
    case QRP_LOG_WARNING:
      operation = &Log::Logger::warning;
      break;
    case QRP_LOG_ERROR:
      operation = &Log::Logger::error;
      break;
    default:
      return;
  }
  const Utf8String text = m.message_string(nullptr).utf8_str();
  (Log::LogAdaptor::logger_zel->*operation)(text.c_str(), 0);
}

void QRPException::raise(qrp_reason_code_t code, const UMessage& m, const Resource* r,
                         const QRPException* cause, qrp_log_level_t level) {
  log(m, level);
  throw QRPException(code, m, r, cause, level);
}

void QRPException::raise(qrp_reason_code_t code, const UMessage& m, const Resource* r,
                         const std::vector<QRPException*>& causes, qrp_log_level_t level) {
  log(m, level);
  throw QRPException(code, m, r, causes, level);
}

void QRPException::raise(const QRPException& e, qrp_log_level_t level) {
  log(e.message(), level);
  throw QRPException(e);
}

}  // namespace Zel
