// Uses the library, installed or built alongside, through its umbrella header only.
#include <zel/zel.h>

#include <cstdio>

#if !defined(ZEL_VERSION) || ZEL_VERSION < 1000000
#error "<zel/version.h> lacks the version macros"
#endif

int main() {
  const Zel::UString text(Zel::Utf8String("caf\xC3\xA9"));
  bool failed = false;
  const std::string latin1 = text.std_str("ISO-8859-1", failed);
  if (failed || latin1 != "caf\xE9" || text.length() != 4) return 1;

  // Measured when an ARM runtime is found (LD_LIBRARY_PATH), silently not otherwise.
  static Zel::ArmApplication::OperationRegistrar operation(Zel::UString(u"consumer"));
  Zel::ArmBuffer none(false);
  if (Zel::ArmApplication::register_application(1, Zel::UString(u"consumer"), &none) >= 0 &&
      Zel::ArmApplication::start_application(nullptr, Zel::UString(), Zel::UString()) >= 0) {
    Zel::ArmPerThreadOperationStack::get_base_correlator();
    if (Zel::ArmPerThreadOperationStack::start_transaction(operation.tran_id, nullptr, true) < 0 ||
        Zel::ArmPerThreadOperationStack::stop_transaction(ARM_STATUS_GOOD, nullptr) < 0) {
      return 1;
    }
  }
  libzelutil_print_verid();
  std::puts("consumer: ok");
  return 0;
}
