// Shared by the ARM tests that run against the arm4-trace runtime (CTest puts
// its directory on LD_LIBRARY_PATH): a fixture that gives each test its own
// trace file and registrar list, and readers for the trace's JSON lines.
#ifndef ZEL_TESTS_SUPPORT_ARM_TRACE_H_
#define ZEL_TESTS_SUPPORT_ARM_TRACE_H_

#include <gtest/gtest.h>
#include <stdlib.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "zel/arm.h"

namespace zel_test {

// The value of `key` in one of the runtime's lines: a string without its
// quotes, anything else as JSON text ("12", "null", "[7]").
inline std::string field(const std::string& line, const std::string& key) {
  const auto object = nlohmann::json::parse(line, nullptr, false);
  const auto found = object.is_object() ? object.find(key) : object.end();
  if (found == object.end()) return "<missing>";
  return found->is_string() ? found->get<std::string>() : found->dump();
}

inline std::uint64_t number(const std::string& line, const std::string& key) {
  return std::stoull(field(line, key));
}

class ArmTrace : public testing::Test {
 protected:
  // Each test registers the registrars it constructs and no others; those of
  // a derived fixture are constructed after this.
  ArmTrace() {
    if (Zel::ArmApplication::g_registrars == nullptr) {
      Zel::ArmApplication::g_registrars = new std::vector<Zel::ArmApplication::OperationRegistrar*>;
    }
    saved_registrars_.swap(*Zel::ArmApplication::g_registrars);
  }
  ~ArmTrace() override { saved_registrars_.swap(*Zel::ArmApplication::g_registrars); }

  void SetUp() override {
    directory_ = (std::filesystem::temp_directory_path() / "zel-arm-XXXXXX").string();
    ASSERT_NE(::mkdtemp(directory_.data()), nullptr);
    ::setenv("ZEL_ARM_TRACE", trace_path().c_str(), 1);
    ::unsetenv("ZEL_ARM_TRACE_FAIL");
  }

  void TearDown() override {
    ::unsetenv("ZEL_ARM_TRACE_FAIL");
    Zel::ArmApplication::g_level = 0;
    std::filesystem::remove_all(directory_);
  }

  // Registers and starts the application with the registrars constructed so
  // far; fails the test unless ARM ends up on.
  void switch_on() {
    Zel::ArmBuffer none(false);
    ASSERT_GE(Zel::ArmApplication::register_application(1, Zel::UString(u"tests"), &none), 0);
    ASSERT_GE(Zel::ArmApplication::start_application(nullptr, Zel::UString(u"group"),
                                                     Zel::UString(u"instance")),
              0);
  }

  std::string trace_path() const { return directory_ + "/trace.jsonl"; }

  // The trace's lines of one event, in order.
  std::vector<std::string> events(const std::string& event) const {
    std::ifstream in(trace_path());
    std::vector<std::string> lines;
    for (std::string line; std::getline(in, line);) {
      if (field(line, "event") == event) lines.push_back(line);
    }
    return lines;
  }

 private:
  std::string directory_;
  std::vector<Zel::ArmApplication::OperationRegistrar*> saved_registrars_;
};

}  // namespace zel_test

#endif  // ZEL_TESTS_SUPPORT_ARM_TRACE_H_
