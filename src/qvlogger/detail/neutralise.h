// detail/neutralise.h - turning a message into one safe log line.
//
// Internal to libqvlogger (not exported); the fuzz target links it directly.
#ifndef QVLOGGER_DETAIL_NEUTRALISE_H_
#define QVLOGGER_DETAIL_NEUTRALISE_H_

#include <string>
#include <string_view>

namespace Log {
namespace detail {

// `text` with everything that could end a line, move the cursor or drive a
// terminal escaped, as the rule in qvlogger/qvlogger.h states. Returns `text`
// itself, not a copy, when nothing needs escaping; otherwise the escaped text,
// built in `scratch`, which must be empty. The result is valid UTF-8 either
// way.
std::string_view neutralise(std::string_view text, std::string& scratch);

}  // namespace detail
}  // namespace Log

#endif  // QVLOGGER_DETAIL_NEUTRALISE_H_
