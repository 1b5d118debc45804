// Bare "%s" and "%d" formats are written by UMessage itself, everything else by
// the logging layer's formatter: both must give the same text for the same
// values, so each row's expected text is the formatter's own.

#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <string>
#include <vector>

#include "qvlogger/qvlogger.h"
#include "zel/umessage.h"

namespace Zel {
namespace {

using Arg = UMessage::Arg;
using Log::qvPrintfArgVal;

// What the formatter writes for `args`, decoded as UMessage decodes it.
std::string formatter_text(const char* format, const std::vector<Arg>& args) {
  std::vector<qvPrintfArgVal> values(args.size() + 1);  // value-initialised: the last is END
  for (std::size_t i = 0; i < args.size(); ++i) {
    const Arg::arg_union_t& v = args[i].value();
    switch (args[i].tag()) {
      case Arg::INT64:
        values[i] = {qvPrintfArgVal::INTEGER, {v.ll}};
        break;
      case Arg::DOUBLE:
        values[i].kind = qvPrintfArgVal::FLOATING;
        values[i].floating = v.d;
        break;
      default:  // the texts of these rows
        values[i].kind = qvPrintfArgVal::TEXT;
        values[i].text = args[i].tag() == Arg::BYTES ? v.bytes : v.string->c_str();
    }
  }
  const char* text = Log::QvMsg::format(format, values.data());
  if (std::strcmp(text, Log::QvMsg::NOT_FOUND) == 0) return UMessage::CATALOGUE_NOT_FOUND;
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
      {"null: %s", {Arg(static_cast<const char*>(nullptr))}},
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
