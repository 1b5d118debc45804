// qvlogger/qvlogger.h - the logging layer under libzelutil.
//
// A small library of its own (libqvlogger.so) on spdlog. A process starts it once
// with QvLogManager::initialize, which opens "<directory>/<application>.log";
// named loggers then write one line per message, from any thread:
//
//   Log::LogManager* manager = Log::QvLogManager::initialize("server", "/var/log/srv",
//                                                            "info", 10240, "");
//   if (manager != nullptr) manager->get_logger("Zel")->error("disk full", 0);
//
// A line reads "[2026-11-22 10:15:00.123] [Zel] [error] disk full".
//
// One message is always one line: whatever a message holds (text a client
// chose, say), it can neither forge a second line nor drive the terminal of
// whoever reads the log. Before a message is written,
//   - a line feed becomes \n and a carriage return \r;
//   - every other C0 control character except tab, and DEL, becomes \xNN;
//   - the C1 controls U+0080..U+009F and the separators U+2028 and U+2029
//     become \uNNNN;
//   - a byte that is not part of well-formed UTF-8 becomes \xNN;
// with lower-case hex digits. Everything else, backslashes, tabs and non-ASCII
// letters included, is written unchanged, so an ordinary message reads as it
// was given; the escapes are for the eye and are deliberately not reversible.
// A message with nothing to escape costs a scan and no copy.
//
// The log file is created with mode 0640 (an existing file keeps its mode);
// a symlink, FIFO, directory or device in its place makes initialize fail.
//
// QvMsg formats catalogued messages: it looks a message's format text up in a
// catalogue array (or in a translated catalogue for the current locale) and
// substitutes printf-style values into it.

#ifndef QVLOGGER_QVLOGGER_H_
#define QVLOGGER_QVLOGGER_H_

#include <cstdint>
#include <string>

#if defined(QVLOGGER_BUILDING)
#define QVLOGGER_EXPORT __attribute__((visibility("default")))
#else
#define QVLOGGER_EXPORT
#endif

namespace Log {

// A named logger. The three operations write one message (UTF-8 bytes,
// escaped as above into one line) at their severity; `code` is reserved and
// callers pass 0. Safe to call from any thread.
class QVLOGGER_EXPORT Logger {
 public:
  virtual ~Logger();
  virtual void info(const char* utf8, int code) = 0;
  virtual void warning(const char* utf8, int code) = 0;
  virtual void error(const char* utf8, int code) = 0;
};

class QVLOGGER_EXPORT LogManager {
 public:
  virtual ~LogManager();
  // The logger of that name, created on first request; the same object for
  // the same name for the life of the process. Never null.
  virtual Logger* get_logger(const std::string& name) = 0;
};

class QVLOGGER_EXPORT QvLogManager {
 public:
  // Starts, or restarts with new settings, the process's log manager:
  //   application  the log file's base name: "<directory>/<application>.log";
  //   directory    where the file lives (empty: the current directory); a
  //                missing directory is not created: the call fails instead;
  //   severity     the lowest severity written: "info", "warning" or "error"
  //                (empty means "info");
  //   rotate_kib   size in KiB at which the file is rotated (0: never); the
  //                five most recent rotated files are kept, "<application>.1.log"
  //                the newest;
  //   reserved     unused; pass "".
  // Returns the manager (always the same object), or null when the file cannot
  // be opened, is not a regular file (a symlink is not followed) or `severity`
  // is not one of the three names; the settings in
  // force before stay in force then. Loggers handed out earlier stay valid and
  // write to the new file after a restart. Error lines are flushed at once.
  static LogManager* initialize(const std::string& application, const std::string& directory,
                                const std::string& severity, int rotate_kib,
                                const std::string& reserved);
};

// One value for QvMsg::format(format, values). An array of them ends with a
// record of kind END.
struct qvPrintfArgVal {
  enum Kind : std::int32_t { END = 0, INTEGER = 1, FLOATING = 2, TEXT = 3 };
  Kind kind;
  union {
    std::int64_t integer;
    long double floating;
    const char* text;  // zero-terminated UTF-8; null prints as "(null)"
  };
};

class QVLOGGER_EXPORT QvMsg {
 public:
  // The text that format(catalogue, ...) returns for a message it has no text for.
  static constexpr const char* NOT_FOUND = "default QvLogger message";

  // The format text of message `number` of `catalogue`: an array whose element
  // 0 is the header "<name> <count>" and whose elements 1..count are the texts.
  // When a translated catalogue for the locale is installed (see
  // set_catalogue_directory), its text wins. `extra`, when not null, names the
  // locale to use instead of the current one (e.g. "de_DE"). Returns NOT_FOUND
  // for a number outside 1..count, and null for a null catalogue or a header that
  // does not parse. Works before any initialize. The text lives as long as the
  // process.
  static const char* format(const char** catalogue, int number, const char* extra);

  // printf-style formatting of `format` with `values` in order (up to the END
  // record). Directives: flags, width, precision (also '*'), length modifiers,
  // positional "%N$", and the conversions d i o u x X e E f F g G a A c s p %.
  // Never reads past the values and never fails: a directive with no value left,
  // a malformed or unsupported directive (%n among them) is written out as it
  // stands, and a value of another kind than its directive wants is converted
  // (a text under %d is written as text, a number under %s as a number).
  // Integers are 64 bits wide whatever the length modifier, except that "hh"
  // and "h" narrow them as C does; "L" makes a floating directive use the whole
  // long double. A width or precision above 4096 counts as malformed, and %c of
  // a zero byte writes nothing. A directive written out as it stands uses up no
  // values. A null `format` gives "".
  // The result lives until the calling thread's next call of this function.
  static const char* format(const char* format, const qvPrintfArgVal* values);

  // Names the directory of translated catalogues: the texts of catalogue "<name>"
  // for locale L are read from "<directory>/<L>/<name>.msg", a file of the
  // same layout as the array: the header line "<name> <count>", then one text per
  // line; an empty line leaves that message untranslated. Each file is read
  // once, on first use; naming the directory again reads the files afresh. A
  // file that is missing, unreadable, or whose header names another catalogue
  // counts as no translation.
  // L is tried as given ("de_DE.UTF-8"), without its encoding and modifier
  // ("de_DE"), and as the bare language ("de"); the first of them that has a
  // text for the message gives it. The current locale is taken from the
  // environment as gettext does: LC_ALL, else LC_MESSAGES, else LANG; "C" and
  // "POSIX" have no translations.
  // An empty directory switches translations off (the default).
  static void set_catalogue_directory(const std::string& directory);
};

}  // namespace Log

#endif  // QVLOGGER_QVLOGGER_H_
