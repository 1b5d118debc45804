// Value records for QvMsg::format, shared by the logging layer's tests.
#ifndef TESTS_QVLOGGER_VALUES_H_
#define TESTS_QVLOGGER_VALUES_H_

#include <cstdint>
#include <string>
#include <vector>

#include "qvlogger/qvlogger.h"

namespace qvlogger_test {

using Value = Log::qvPrintfArgVal;

template <typename T>
Value make_value(Value::Kind kind, T Value::*member, T x) {
  Value v{kind, {0}};
  v.*member = x;
  return v;
}
inline Value Int(std::int64_t n) { return make_value(Value::INTEGER, &Value::integer, n); }
inline Value Float(long double x) { return make_value(Value::FLOATING, &Value::floating, x); }
inline Value Text(const char* s) { return make_value(Value::TEXT, &Value::text, s); }
inline Value End() { return make_value(Value::END, &Value::integer, std::int64_t{0}); }

// QvMsg::format with `values` and the END record after them.
inline std::string format(const char* format, std::vector<Value> values) {
  values.push_back(End());
  return Log::QvMsg::format(format, values.data());
}

}  // namespace qvlogger_test

#endif  // TESTS_QVLOGGER_VALUES_H_
