// Bare "%s" and "%d" formats are written by UMessage itself, everything else by
// the logging layer's formatter: both must give the same text for the same
// values, so each row's expected text is the formatter's own.

#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <vector>

#include "qvlogger/values.h"
#include "zel/umessage.h"

namespace Zel {
namespace {

using Arg = UMessage::Arg;

// What the formatter writes for `args`, decoded as UMessage decodes it.
std::string formatter_text(const char* format, const std::vector<Arg>& args) {
  std::vector<qvlogger_test::Value> values;
  for (const Arg& a : args) {
    const Arg::arg_union_t& v = a.value();
    values.push_back(a.tag() == Arg::INT64    ? qvlogger_test::Int(v.ll)
                     : a.tag() == Arg::DOUBLE ? qvlogger_test::Float(v.d)
                     : a.tag() == Arg::BYTES  ? qvlogger_test::Text(v.bytes)
                                              : qvlogger_test::Text(v.string->c_str()));
  }
  const std::string text = qvlogger_test::format(format, values);
  if (text == Log::QvMsg::NOT_FOUND) return UMessage::CATALOGUE_NOT_FOUND;
  return UString(Utf8String(text)).utf8_str();
}

TEST(UMessageFormatPaths, BareDirectivesReadAsTheFormatterWritesThem) {
  const std::string long_text(1500, 'x');
  const struct {
    const char* format;
    std::vector<Arg> args;
  } rows[] = {
      {"QZMLK0671E The selector '%s' is not valid: %s", {Arg("a:b"), Arg(std::string("why"))}},
      {"error %d, then %d", {Arg(-5LL), Arg(LLONG_MIN)}},
      {"a number as text: %s, a text as number: %d", {Arg(42LL), Arg("seven")}},
      {"100%% of %s%%", {Arg(UString(u"d\u00E9j\u00E0"))}},
      {"one value, two directives: %s %s", {Arg("only")}},
      {"a lone percent at the end %", {}},
      {"flags go to the formatter: %5s|%-4d|%x", {Arg("ab"), Arg(7LL), Arg(255LL)}},
      {"%s", {Arg(1.5)}},
      {"longer than the direct path writes: %s", {Arg(long_text)}},
      {"broken UTF-8: %s", {Arg("\xC3")}},
      {"%s", {Arg(Log::QvMsg::NOT_FOUND)}},
      {"", {}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.format);
    std::vector<const Arg*> pointers;
    for (const Arg& a : row.args) pointers.push_back(&a);
    EXPECT_EQ(UMessage::sprintf(row.format, pointers).utf8_str(),
              formatter_text(row.format, row.args));
  }
}

}  // namespace
}  // namespace Zel
