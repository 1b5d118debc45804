// zel/exception.h - the library's exception classes.
//
// Failures are thrown by value and caught by reference. Three everyday classes
// derive from QRPException (zel/qrpexception.h) and differ only in their type,
// so that callers can catch by kind of fault; all three carry reason code 39:
//
//   RuntimeException     an operation failed for a reason outside the caller's
//                        control (conversion, file system, outside library);
//   IllegalArgException  an argument's value is not acceptable;
//   StateException       an object is not in a state that allows the operation.
//
//   try {
//     throw Zel::IllegalArgException(
//         Zel::UMessage(Zel::zelutil, 4, Zel::UMessage::Arg("Oid::from_string")));
//   } catch (const Zel::QRPException& e) {
//     std::cerr << e.message().message_string().utf8_str() << '\n';
//     // QZMLK0654E Oid::from_string(): called with illegal value.
//   }
//
// Exception is a separate, text-only root: a handler for one of the two roots
// never catches the other.

#ifndef ZEL_EXCEPTION_H_
#define ZEL_EXCEPTION_H_

#include "zel/export.h"
#include "zel/qrpexception.h"
#include "zel/umessage.h"
#include "zel/ustring.h"

namespace Zel {

// A light exception that carries only a text.
class ZEL_EXPORT Exception {
 public:
  // Kinds of text-only exception; subclasses of code built on the library
  // return their own values from kind().
  enum kind_t : int { EXCEPTION = 0 };

  explicit Exception(const UString& text);
  Exception(const Exception& other) = default;
  Exception& operator=(const Exception& other) = default;
  virtual ~Exception();

  // A copy of the text.
  virtual UString msg() const;
  // Appends `s` to the text, without separator, so that a handler can extend
  // the text before rethrowing.
  virtual Exception& add(const UString& s);
  // EXCEPTION (0) for this class.
  virtual kind_t kind() const;

  // Does nothing: the hook for a subclass that logs before it is thrown.
  void log_throw() {}

  // Throws an Exception holding a copy of `text`.
  [[noreturn]] static void raise(const UString& text);

 private:
  UString text_;
};

class ZEL_EXPORT RuntimeException : public QRPException {
 public:
  // Reason code 39, a copy of `m`, no resource, no cause. Does not log.
  explicit RuntimeException(const UMessage& m);
  ~RuntimeException() override;
  QRPException* clone() const override;
};

class ZEL_EXPORT IllegalArgException : public QRPException {
 public:
  explicit IllegalArgException(const UMessage& m);
  ~IllegalArgException() override;
  QRPException* clone() const override;
};

class ZEL_EXPORT StateException : public QRPException {
 public:
  explicit StateException(const UMessage& m);
  ~StateException() override;
  QRPException* clone() const override;
};

}  // namespace Zel

#endif  // ZEL_EXCEPTION_H_
