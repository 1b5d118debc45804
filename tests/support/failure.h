// What a call throws, as one comparable text: the catalogued message of the
// exception, so that a test states the whole message its caller would see.
#ifndef ZEL_TESTS_SUPPORT_FAILURE_H_
#define ZEL_TESTS_SUPPORT_FAILURE_H_

#include <functional>
#include <string>

#include "zel/exception.h"

namespace zel_test {

// The formatted message of the `Exception` that `call` throws, or "no exception".
template <typename Exception, typename Call>
std::string message_of(Call call) {
  try {
    call();
  } catch (const Exception& e) {
    return e.message().message_string().utf8_str();
  }
  return "no exception";
}

// The class and formatted message of the argument or state failure `call` throws.
inline std::string failure_of(const std::function<void()>& call) {
  try {
    call();
  } catch (const Zel::IllegalArgException& e) {
    return "IllegalArgException: " + e.message().message_string().utf8_str();
  } catch (const Zel::StateException& e) {
    return "StateException: " + e.message().message_string().utf8_str();
  } catch (...) {
    return "another exception";
  }
  return "no exception";
}

}  // namespace zel_test

#endif  // ZEL_TESTS_SUPPORT_FAILURE_H_
