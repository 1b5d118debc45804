// What a call throws, as one comparable text: the exception's class and its
// formatted message.
#ifndef ZEL_TESTS_SUPPORT_FAILURE_H_
#define ZEL_TESTS_SUPPORT_FAILURE_H_

#include <functional>
#include <string>

#include "zel/exception.h"

namespace Zel {

inline std::string failure_of(const std::function<void()>& call) {
  try {
    call();
  } catch (const IllegalArgException& e) {
    return "IllegalArgException: " + e.message().message_string().utf8_str();
  } catch (const StateException& e) {
    return "StateException: " + e.message().message_string().utf8_str();
  } catch (...) {
    return "another exception";
  }
  return "no exception";
}

}  // namespace Zel

#endif  // ZEL_TESTS_SUPPORT_FAILURE_H_
