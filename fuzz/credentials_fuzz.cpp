// Reads fuzzed bytes as a credentials file, with and without the text fields.
// Whatever the file holds, reading either succeeds or throws RuntimeException
// (QZMLK0666E), and never reads or writes outside a buffer.
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <string>

#include "zel/credentials.h"
#include "zel/exception.h"

namespace {

// One in-memory file for the whole run, rewritten for each input.
const std::string& file_path() {
  static const std::string path = [] {
    const int fd = memfd_create("credentials", 0);
    if (fd < 0) std::abort();
    return "/proc/self/fd/" + std::to_string(fd);
  }();
  return path;
}

void read_as(bool with_strings) {
  Zel::Credentials credentials;
  try {
    credentials.read_from_file(file_path(), with_strings);
  } catch (const Zel::RuntimeException& e) {
    if (e.message().number() != 16) std::abort();
    return;
  }
  // What was read is whole: it compares, tests membership and prints.
  (void)credentials.in_group_list(credentials.user());
  (void)credentials.user().str();
  for (const Zel::Identity& group : credentials.groups()) (void)group.str();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const int fd = std::stoi(file_path().substr(14));
  if (ftruncate(fd, 0) != 0 || pwrite(fd, data, size, 0) != static_cast<ssize_t>(size)) {
    std::abort();
  }
  read_as(false);
  read_as(true);
  return 0;
}
