// Shared by the logging layer's tests: a scratch directory, files in it, and
// value records for QvMsg::format.
#ifndef TESTS_QVLOGGER_SCRATCH_H_
#define TESTS_QVLOGGER_SCRATCH_H_

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "qvlogger/qvlogger.h"

namespace qvlogger_test {

// A fresh directory under the system's temporary one, removed with its contents.
class ScratchDir {
 public:
  ScratchDir() : path_((std::filesystem::temp_directory_path() / "qvlogger-XXXXXX").string()) {
    if (::mkdtemp(path_.data()) == nullptr) std::abort();
  }
  ~ScratchDir() { std::filesystem::remove_all(path_); }
  ScratchDir(const ScratchDir&) = delete;
  ScratchDir& operator=(const ScratchDir&) = delete;

  const std::string& path() const { return path_; }
  std::string file(const std::string& name) const { return path_ + "/" + name; }

 private:
  std::string path_;
};

inline void write_file(const std::string& path, const std::string& contents) {
  std::filesystem::create_directories(std::filesystem::path(path).parent_path());
  std::ofstream(path, std::ios::binary) << contents;
}

inline std::string read_file(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

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

#endif  // TESTS_QVLOGGER_SCRATCH_H_
