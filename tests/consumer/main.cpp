// Uses the installed library through its umbrella header only.
#include <zel/zel.h>

#include <cstdio>

int main() {
  const Zel::UString text(Zel::Utf8String("caf\xC3\xA9"));
  bool failed = false;
  const std::string latin1 = text.std_str("ISO-8859-1", failed);
  if (failed || latin1 != "caf\xE9" || text.length() != 4) return 1;
  libzelutil_print_verid();
  std::puts("consumer: ok");
  return 0;
}
