// zel/format.h - the library's value types in fmt and spdlog.
//
// Include this header to pass the value types straight to fmt::format,
// fmt::print and spdlog's logging calls. Each prints the library's own text
// form, so a log line reads as the same value does elsewhere:
//
//   #include <zel/format.h>
//   spdlog::info("{} made {}", selector, uuid);
//   // "brtype:main@lw./store/proj made 1f2e3d40.5c6b17ee.8a3c.00:01:00:01:7f:00"
//   fmt::format("[{:>12}]", Zel::UString(u"caf\u00e9"));  // "[        café]"
//
//   UString, Utf8String  the text as UTF-8
//   Selector             selector(), the short form "brtype:main@lw./store/proj"
//   Uuid, Oid            the long form, str(false)
//   Identity             str(), "2:010aff"
//   DavTime              the RFC 1123 form, "Thu, 04 May 2006 03:02:01 GMT"
//
// Every one takes the format options of a string: width, fill and
// alignment ("{:*^20}") and precision, which cuts the text ("{:.8}"), counted
// as fmt counts them for any UTF-8 string (characters, not bytes).
//
// Opt-in: the library itself does not depend on fmt, so <zel/zel.h> does not
// include this header. A program that includes it links fmt (fmt::fmt), as any
// spdlog user already does. Formatting a Selector fills its text cache, as
// selector() does, so the one-thread-per-object rule of Selector applies.

#ifndef ZEL_FORMAT_H_
#define ZEL_FORMAT_H_

#include <fmt/format.h>

#include <string>
#include <string_view>

#include "zel/davtime.h"
#include "zel/oid.h"
#include "zel/selector.h"
#include "zel/ustring.h"

namespace Zel::detail {

inline std::string format_text(const UString& s) { return s.utf8_str(); }
inline std::string format_text(const Utf8String& s) { return s; }
inline std::string format_text(const Selector& s) { return s.selector().utf8_str(); }
inline std::string format_text(const Uuid& id) { return id.std_str(false); }
inline std::string format_text(const Oid& id) { return id.std_str(false); }
inline std::string format_text(const Identity& id) { return id.str().utf8_str(); }
inline std::string format_text(const DavTime& t) {
  return t.to_string(DavTime::RFC1123).utf8_str();
}

// Prints format_text(value) through fmt's string formatter, which parses and
// honours the options after the colon.
template <typename T>
struct TextFormatter : fmt::formatter<std::string_view> {
  template <typename FormatContext>
  auto format(const T& value, FormatContext& ctx) const -> decltype(ctx.out()) {
    const std::string text = format_text(value);
    return fmt::formatter<std::string_view>::format(std::string_view(text), ctx);
  }
};

}  // namespace Zel::detail

namespace fmt {

template <>
struct formatter<Zel::UString> : Zel::detail::TextFormatter<Zel::UString> {};
template <>
struct formatter<Zel::Utf8String> : Zel::detail::TextFormatter<Zel::Utf8String> {};
template <>
struct formatter<Zel::Selector> : Zel::detail::TextFormatter<Zel::Selector> {};
template <>
struct formatter<Zel::Uuid> : Zel::detail::TextFormatter<Zel::Uuid> {};
template <>
struct formatter<Zel::Oid> : Zel::detail::TextFormatter<Zel::Oid> {};
template <>
struct formatter<Zel::Identity> : Zel::detail::TextFormatter<Zel::Identity> {};
template <>
struct formatter<Zel::DavTime> : Zel::detail::TextFormatter<Zel::DavTime> {};

}  // namespace fmt

#endif  // ZEL_FORMAT_H_
