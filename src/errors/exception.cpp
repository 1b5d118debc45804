#include "zel/exception.h"

namespace Zel {

Exception::Exception(const UString& text) : text_(text) {}

Exception::~Exception() = default;

UString Exception::msg() const { return text_; }

Exception& Exception::add(const UString& s) {
  text_.append(s);
  return *this;
}

Exception::kind_t Exception::kind() const { return EXCEPTION; }

void Exception::raise(const UString& text) { throw Exception(text); }

// The three everyday exceptions differ only in their type.

RuntimeException::RuntimeException(const UMessage& m)
    : QRPException(QRP_RC_ZELUTIL, m, nullptr, nullptr, QRP_LOG_ERROR) {}
RuntimeException::~RuntimeException() = default;
QRPException* RuntimeException::clone() const { return new RuntimeException(*this); }

IllegalArgException::IllegalArgException(const UMessage& m)
    : QRPException(QRP_RC_ZELUTIL, m, nullptr, nullptr, QRP_LOG_ERROR) {}
IllegalArgException::~IllegalArgException() = default;
QRPException* IllegalArgException::clone() const { return new IllegalArgException(*this); }

StateException::StateException(const UMessage& m)
    : QRPException(QRP_RC_ZELUTIL, m, nullptr, nullptr, QRP_LOG_ERROR) {}
StateException::~StateException() = default;
QRPException* StateException::clone() const { return new StateException(*this); }

}  // namespace Zel
