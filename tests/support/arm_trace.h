// Shared by the ARM tests that run against the arm4-trace runtime (CTest puts
// its directory on LD_LIBRARY_PATH): a fixture that gives each test its own
// trace file and registrar list, and a reader for the trace's JSON lines.
#ifndef ZEL_TESTS_SUPPORT_ARM_TRACE_H_
#define ZEL_TESTS_SUPPORT_ARM_TRACE_H_

#include <gtest/gtest.h>
#include <stdlib.h>

#include <fstream>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "support/scratch.h"
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

class ArmTrace : public testing::Test {
 protected:
  // Each test registers the registrars it constructs and no others; those of
  // a derived fixture are constructed after this.
  ArmTrace() {
    auto*& registrars = Zel::ArmApplication::g_registrars;
    if (registrars == nullptr)
      registrars = new std::vector<Zel::ArmApplication::OperationRegistrar*>;
    saved_registrars_.swap(*registrars);
    ::setenv("ZEL_ARM_TRACE", trace_path().c_str(), 1);
    ::unsetenv("ZEL_ARM_TRACE_FAIL");
  }
  ~ArmTrace() override {
    saved_registrars_.swap(*Zel::ArmApplication::g_registrars);
    ::unsetenv("ZEL_ARM_TRACE_FAIL");
    Zel::ArmApplication::g_level = 0;
  }

  static int register_application(Zel::arm_level_t level = 1) {
    const Zel::ArmBuffer none(false);
    return Zel::ArmApplication::register_application(level, Zel::UString(u"tests"), &none);
  }

  // Registers and starts the application with the registrars constructed so
  // far; fails the test unless ARM ends up on.
  void switch_on() {
    ASSERT_GE(register_application(), 0);
    ASSERT_GE(Zel::ArmApplication::start_application(nullptr, Zel::UString(u"group"),
                                                     Zel::UString(u"instance")),
              0);
  }

  std::string trace_path() const { return directory_.file("trace.jsonl"); }

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
  ScratchDir directory_;
  std::vector<Zel::ArmApplication::OperationRegistrar*> saved_registrars_;
};

}  // namespace zel_test

#endif  // ZEL_TESTS_SUPPORT_ARM_TRACE_H_
