// logmanager.cpp - the process's log manager and its named loggers.
//
// Every named logger writes through its own spdlog logger, and all of them
// share one sink: the log file. A restart opens a new sink and gives each named
// logger a new spdlog logger on it.
//
// Writes and restarts take one mutex. Writes into one file are serialised by
// its sink anyway, and the mutex buys an orderly handover: the old file is
// closed, its buffer written out, before the first line goes to the new one.
// Were the two open side by side on the same path (a restart that changes
// only the severity), their buffers would interleave and tear lines apart.
//
// The spdlog loggers are never registered with spdlog's global registry: the
// process may use spdlog itself, and its logger names are its own business.
//
// Every message is neutralised (detail/neutralise.h) before it is written, so
// that a message is one line whoever logs it.
//
// The log file holds user identities and resource names: it is created 0640,
// and a symlink, FIFO or device put in its place is refused rather than
// written through.

#include <fcntl.h>
#include <spdlog/logger.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/sinks/rotating_file_sink.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <exception>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "detail/neutralise.h"
#include "qvlogger/qvlogger.h"
#include "strings/detail/annotated_mutex.h"
#include "zel/thread_annotations.h"

namespace Log {

Logger::~Logger() = default;
LogManager::~LogManager() = default;

namespace {

constexpr char kPattern[] = "[%Y-%m-%d %H:%M:%S.%e] [%n] [%l] %v";

// Rotated files kept beside the current one ("<application>.1.log" and on);
// older ones are dropped.
constexpr std::size_t kRotatedFiles = 5;

std::unique_ptr<spdlog::logger> make_impl(const std::string& name, const spdlog::sink_ptr& sink,
                                          spdlog::level::level_enum level) {
  auto impl = std::make_unique<spdlog::logger>(name, sink);
  impl->set_level(level);
  impl->flush_on(spdlog::level::err);
  return impl;
}

class NamedLogger final : public Logger {
 public:
  NamedLogger(Zel::detail::AnnotatedMutex& mutex, std::unique_ptr<spdlog::logger> impl)
      : mutex_(mutex), impl_(std::move(impl)) {}

  void info(const char* utf8, int /*code*/) override { write(spdlog::level::info, utf8); }
  void warning(const char* utf8, int /*code*/) override { write(spdlog::level::warn, utf8); }
  void error(const char* utf8, int /*code*/) override { write(spdlog::level::err, utf8); }

  // Called with `mutex_` held.
  void replace(std::unique_ptr<spdlog::logger> impl) { impl_ = std::move(impl); }

 private:
  void write(spdlog::level::level_enum level, const char* utf8) {
    // Outside the lock: a long message to escape holds up no other thread.
    std::string escaped;
    const std::string_view line = detail::neutralise(utf8 != nullptr ? utf8 : "", escaped);
    Zel::detail::AnnotatedLock lock(mutex_);
    // Passed as a plain view so that braces in a message are never taken for
    // format fields.
    impl_->log(level, spdlog::string_view_t(line.data(), line.size()));
  }

  Zel::detail::AnnotatedMutex& mutex_;  // the manager's
  std::unique_ptr<spdlog::logger> impl_;
};

class FileLogManager final : public LogManager {
 public:
  Logger* get_logger(const std::string& name) override {
    Zel::detail::AnnotatedLock lock(mutex_);
    std::unique_ptr<NamedLogger>& slot = loggers_[name];
    if (slot == nullptr) {
      slot = std::make_unique<NamedLogger>(mutex_, make_impl(name, sink_, level_));
    }
    return slot.get();
  }

  // Moves every logger, present and future, to `sink` at `level`.
  void configure(spdlog::sink_ptr sink, spdlog::level::level_enum level) {
    Zel::detail::AnnotatedLock lock(mutex_);
    // Built first, so that running out of memory half way leaves the old
    // settings whole.
    std::map<std::string, std::unique_ptr<spdlog::logger>> impls;
    for (const auto& [name, logger] : loggers_) impls[name] = make_impl(name, sink, level);
    sink_ = std::move(sink);
    level_ = level;
    for (auto& [name, logger] : loggers_) logger->replace(std::move(impls[name]));
  }

 private:
  Zel::detail::AnnotatedMutex mutex_;  // guards all below, and every write
  spdlog::sink_ptr sink_ ZEL_GUARDED_BY(mutex_);
  spdlog::level::level_enum level_ ZEL_GUARDED_BY(mutex_) = spdlog::level::info;
  std::map<std::string, std::unique_ptr<NamedLogger>> loggers_ ZEL_GUARDED_BY(mutex_);
};

// Never destroyed: loggers are handed out for the life of the process, and
// static destructors of other libraries may still log while the process ends.
// The file's buffered lines are written out by the C library at exit.
FileLogManager& the_manager() {
  static FileLogManager* const manager = new FileLogManager;
  return *manager;
}

// A descriptor of the log file opened by us, waiting for spdlog's stream.
struct CheckedFile {
  int fd = -1;
  ~CheckedFile() {
    if (fd >= 0) ::close(fd);
  }
};

// Opens (creating it 0640) the regular file at `path` for appending, without
// following a symlink and without blocking on a FIFO; throws when the path is
// anything else.
int open_regular_file(const std::string& path) {
  const int fd = ::open(path.c_str(),
                        O_WRONLY | O_APPEND | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0640);
  if (fd < 0) throw spdlog::spdlog_ex("cannot open log file " + path, errno);
  struct stat info;
  if (::fstat(fd, &info) != 0 || !S_ISREG(info.st_mode) || ::fcntl(fd, F_SETFL, O_APPEND) != 0) {
    ::close(fd);
    throw spdlog::spdlog_ex("log file " + path + " is not a regular file");
  }
  return fd;
}

// spdlog opens its file with fopen, which follows symlinks, creates files
// 0666 less the umask and waits on a FIFO. So the file is first opened by
// open_regular_file, and the stream spdlog then opens is made to write
// through that checked descriptor: a symlink swapped in between the two opens
// is never written through. (What remains is that spdlog's own fopen of a
// swapped-in path may create or, on rotation, truncate its target; only
// someone who can write in the log directory can make that race.)
spdlog::file_event_handlers checked_file_events() {
  auto checked = std::make_shared<CheckedFile>();
  spdlog::file_event_handlers events;
  events.before_open = [checked](const spdlog::filename_t& path) {
    if (checked->fd >= 0) ::close(checked->fd);
    checked->fd = -1;
    checked->fd = open_regular_file(path);
  };
  events.after_open = [checked](const spdlog::filename_t& path, std::FILE* stream) {
    const int fd = checked->fd;
    checked->fd = -1;
    const bool moved = fd >= 0 && ::dup3(fd, ::fileno(stream), O_CLOEXEC) >= 0;
    const int error = errno;
    if (fd >= 0) ::close(fd);
    if (!moved) throw spdlog::spdlog_ex("cannot open log file " + path, error);
  };
  return events;
}

bool parse_severity(const std::string& severity, spdlog::level::level_enum* level) {
  if (severity.empty() || severity == "info") {
    *level = spdlog::level::info;
  } else if (severity == "warning") {
    *level = spdlog::level::warn;
  } else if (severity == "error") {
    *level = spdlog::level::err;
  } else {
    return false;
  }
  return true;
}

}  // namespace

LogManager* QvLogManager::initialize(const std::string& application, const std::string& directory,
                                     const std::string& severity, int rotate_kib,
                                     const std::string& /*reserved*/) {
  spdlog::level::level_enum level;
  if (!parse_severity(severity, &level)) return nullptr;

  // spdlog would create a missing directory; a mistyped path should fail
  // instead of scattering log files.
  const std::string folder = directory.empty() ? "." : directory;
  struct stat info;
  if (::stat(folder.c_str(), &info) != 0 || !S_ISDIR(info.st_mode)) return nullptr;
  std::string path = folder;
  if (path.back() != '/') path += '/';
  path += application;
  path += ".log";

  try {
    spdlog::sink_ptr sink;
    if (rotate_kib > 0) {
      sink = std::make_shared<spdlog::sinks::rotating_file_sink_mt>(
          path, static_cast<std::size_t>(rotate_kib) * 1024, kRotatedFiles, false,
          checked_file_events());
    } else {
      sink =
          std::make_shared<spdlog::sinks::basic_file_sink_mt>(path, false, checked_file_events());
    }
    sink->set_pattern(kPattern);
    FileLogManager& manager = the_manager();
    manager.configure(std::move(sink), level);
    return &manager;
  } catch (const std::exception&) {
    // spdlog reports a file it cannot open, or that is refused, by throwing.
    return nullptr;
  }
}

}  // namespace Log
