#include "zel/credentials.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>

#include "zel/exception.h"

namespace Zel {

namespace {

using Arg = UMessage::Arg;

// Message numbers of the file failures.
constexpr int kOpen = 15;   // QZMLK0665E
constexpr int kRead = 16;   // QZMLK0666E
constexpr int kWrite = 17;  // QZMLK0667E
constexpr int kClose = 18;  // QZMLK0668E

// The system's text for `error`; a read that stops at the end of the file
// sets no error, and says so instead.
std::string error_text(int error) {
  if (error == 0) return "unexpected end of file";
  char buffer[256];
  return strerror_r(error, buffer, sizeof buffer);
}

[[noreturn]] void fail(int message, const std::string& path, int error) {
  throw RuntimeException(UMessage(zelutil, message, Arg(path), Arg(error_text(error))));
}

// Reads exactly `size` bytes, or throws QZMLK0666E (the file is closed by its
// owner as the exception leaves).
void read_bytes(const std::string& path, UtlFileIoPtr& file, void* into, std::size_t size) {
  if (size == 0) return;
  errno = 0;
  if (std::fread(into, 1, size, file.get()) != size) {
    fail(kRead, path, std::ferror(file.get()) != 0 ? errno : 0);
  }
}

// Counts and lengths: two signed bytes, high * 256 + low, so that a byte of
// 0x80 or more counts as negative. Deliberate: files written by this library
// stay readable while both bytes are below 0x80.
short read_short(const std::string& path, UtlFileIoPtr& file) {
  signed char bytes[2];
  read_bytes(path, file, bytes, sizeof bytes);
  return static_cast<short>(bytes[1] * 256 + bytes[0]);
}

// An identity: length L, then the type byte and L bytes. A negative length
// has no bytes after it.
Identity read_identity(const std::string& path, UtlFileIoPtr& file) {
  const short length = read_short(path, file);
  if (length < 0) return Identity(length, static_cast<Identity::identity_t*>(nullptr));
  std::unique_ptr<Identity::identity_t[]> raw(new Identity::identity_t[length + 1]);
  read_bytes(path, file, raw.get(), static_cast<std::size_t>(length) + 1);
  return Identity(length, raw.release());
}

void write_bytes(const std::string& path, FILE* file, const void* from, std::size_t size) {
  if (size == 0) return;
  errno = 0;
  if (std::fwrite(from, 1, size, file) != size) fail(kWrite, path, errno);
}

void write_short(const std::string& path, FILE* file, int value) {
  const unsigned char bytes[2] = {static_cast<unsigned char>(value & 0xFF),
                                  static_cast<unsigned char>((value >> 8) & 0xFF)};
  write_bytes(path, file, bytes, sizeof bytes);
}

void write_identity(const std::string& path, FILE* file, const Identity& id) {
  write_short(path, file, id.length());
  if (id.length() < 0) return;
  const unsigned char type = id.type();
  write_bytes(path, file, &type, 1);
  if (id.length() > 0) write_bytes(path, file, id.bits(), static_cast<std::size_t>(id.length()));
}

}  // namespace

bool Credentials::in_group_list(const Identity& id) const {
  if (id == primary_group_) return true;
  for (const Identity& group : groups_) {
    if (id == group) return true;
  }
  return false;
}

UString Credentials::read_string(const std::string& path, UtlFileIoPtr& file) {
  const short length = read_short(path, file);
  UString text;
  if (length <= 0) return text;
  std::string bytes(static_cast<std::size_t>(length), '\0');
  read_bytes(path, file, bytes.data(), bytes.size());
  return text.utf8_assign(bytes.data(), bytes.size());
}

void Credentials::read_from_file(const std::string& path, bool with_strings) {
  errno = 0;
  UtlFileIoPtr file(std::fopen(path.c_str(), "rb"));
  if (file.get() == nullptr) fail(kOpen, path, errno);

  const short count = read_short(path, file);
  groups_.clear();
  if (count > 0) groups_.reserve(static_cast<unsigned>(count));
  // Index -2 is the user, -1 the primary group, then the groups; a count
  // below -1 reads nothing.
  for (int i = -2; i < count; ++i) {
    Identity id = read_identity(path, file);
    if (i == -2) {
      user_ = id;
    } else if (i == -1) {
      primary_group_ = id;
    } else {
      groups_.push_back(id);
    }
  }
  if (with_strings) {
    text1_ = read_string(path, file);
    text2_ = read_string(path, file);
    text3_ = read_string(path, file);
  }
}

void Credentials::write_to_file(const std::string& path) const {
  errno = 0;
  UtlFileIoPtr file(std::fopen(path.c_str(), "wb"));
  if (file.get() == nullptr) fail(kOpen, path, errno);
  write_short(path, file.get(), static_cast<int>(groups_.size()));
  write_identity(path, file.get(), user_);
  write_identity(path, file.get(), primary_group_);
  for (const Identity& group : groups_) write_identity(path, file.get(), group);
  errno = 0;
  if (file.close() != 0) fail(kClose, path, errno);
}

}  // namespace Zel
