#include "zel/fileutl.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string>
#include <vector>

#include "zel/critsec.h"
#include "zel/exception.h"
#include "zel/pname.h"
#include "zel/qrpexception.h"

namespace Zel {

std::map<UString, Fileutl::tmp_file_info_t> Fileutl::g_tmp_table;
CriticalSectionLock Fileutl::g_lock;

namespace {

using Arg = UMessage::Arg;

constexpr int kNames = 10000;  // TMP0 .. TMP9999
constexpr int kMaxAttempts = 10000;

// Numbers the names. Read and advanced without the table's lock: uniqueness
// rests on exclusive creation, the counter only spreads the names.
std::atomic<int> g_counter{0};

[[noreturn]] void raise_cannot_create(const std::string& reason) {
  QRPException::raise(QRPException::QRP_RC_FILE_SYSTEM, UMessage(zelutil, 14, Arg(reason)), nullptr,
                      nullptr, QRPException::QRP_LOG_ERROR);
}

// Throws QZMLK0669E when `path` cannot be written in the default character set.
void require_convertible(const UString& path) {
  bool failed = false;
  const std::string bytes = path.std_str(DANGEROUS_DEFAULT_CHARSET_NAME, failed);
  if (failed || (bytes.empty() && !path.empty())) {
    throw RuntimeException(UMessage(zelutil, 19, Arg(path)));
  }
}

UString find_tmpdir() {
  std::vector<const char*> candidates = {std::getenv("TMP"), std::getenv("TMPDIR"), "/var/tmp/",
                                         "/tmp"};
  for (const char* candidate : candidates) {
    if (candidate == nullptr || ::access(candidate, W_OK) != 0) continue;
    Pname directory;
    directory = UString(candidate, DANGEROUS_DEFAULT_CHARSET_NAME);
    if (directory.path().empty()) {
      throw RuntimeException(UMessage(zelutil, 19, Arg(candidate)));
    }
    directory.strip_trailing_separator();
    return directory.path();
  }
  return UString(Utf8String("."));
}

// Creates `name` exclusively; 0 on success, else the errno of the failure.
int create_exclusively(const Utf8String& name, bool is_dir) {
  if (is_dir) return ::mkdir(name.c_str(), 0777) == 0 ? 0 : errno;
  const int fd = ::open(name.c_str(), O_CREAT | O_EXCL | O_RDWR, 0600);
  if (fd < 0) return errno;
  ::close(fd);
  return 0;
}

}  // namespace

UString Fileutl::sys_tmpdir() {
  // Found once. A failed search (a name that cannot be converted) throws, and
  // the next call searches again.
  static std::once_flag found;
  static UString directory;
  std::call_once(found, [] { directory = find_tmpdir(); });
  return directory;
}

UString Fileutl::make_tmp_object(const UString& prefix, bool is_dir) {
  const UString directory = sys_tmpdir();
  for (int attempt = 0; attempt < kMaxAttempts;) {
    int number = g_counter.load(std::memory_order_relaxed);
    UString name(directory);
    name.append(u'/').append(prefix).append(UString(Utf8String(std::to_string(number))));
    const int error = create_exclusively(name.utf8_str(), is_dir);
    // The counter stays where it is after a success: the next caller tries
    // the same number first and moves on when it finds it taken.
    if (error == 0) return name;
    if (error == EINTR) continue;
    g_counter.compare_exchange_strong(number, (number + 1) % kNames, std::memory_order_relaxed);
    if (error != EEXIST) {
      char buffer[256];
      raise_cannot_create(strerror_r(error, buffer, sizeof buffer));
    }
    ++attempt;
  }
  raise_cannot_create("too many retries");
}

UString Fileutl::create_tmp_file(unsigned file_id) {
  // Held over creation and recording, so that a name is in the table before
  // another thread can ask for one.
  CriticalSection guard(g_lock);
  UString path = make_tmp_object(UString(u"TMP"), false);
  g_tmp_table[path] = tmp_file_info_t{false, file_id};
  return path;
}

UString Fileutl::create_tmp_file(const UString& leaf, unsigned file_id) {
  CriticalSection guard(g_lock);
  UString path = make_tmp_object(UString(u"DIR"), true);
  path.append(u'/').append(leaf);
  g_tmp_table[path] = tmp_file_info_t{true, file_id};
  return path;
}

UString Fileutl::set_file_id(const UString& path, unsigned file_id) {
  CriticalSection guard(g_lock);
  const auto found = g_tmp_table.find(path);
  if (found != g_tmp_table.end()) {
    found->second.file_id = file_id;
  } else {
    g_tmp_table.emplace(path, tmp_file_info_t{false, file_id});
  }
  return path;
}

UString Fileutl::delete_tmp_file(const UString& path) {
  CriticalSection guard(g_lock);
  require_convertible(path);
  std::remove(path.utf8_str().c_str());
  const auto found = g_tmp_table.find(path);
  if (found != g_tmp_table.end()) {
    if (found->second.in_private_dir) {
      const Pname name(path);
      require_convertible(name.parent_dir());
      ::rmdir(name.parent_dir().utf8_str().c_str());
    }
    g_tmp_table.erase(found);
  }
  return path;
}

void Fileutl::delete_tmp_files(unsigned file_id) {
  CriticalSection guard(g_lock);
  std::vector<UString> doomed;
  for (const auto& [path, info] : g_tmp_table) {
    if (file_id == 0 || info.file_id == file_id) doomed.push_back(path);
  }
  for (const UString& path : doomed) delete_tmp_file(path);
}

}  // namespace Zel
