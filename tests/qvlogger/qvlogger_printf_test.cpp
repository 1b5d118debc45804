#include <gtest/gtest.h>

#include <climits>
#include <cstdio>
#include <string>
#include <vector>

#include "qvlogger/qvlogger.h"
#include "values.h"

namespace qvlogger_test {
namespace {

template <typename T>
std::string c_printf(const std::string& directive, T value) {
  std::vector<char> buffer(6000);
  std::snprintf(buffer.data(), buffer.size(), directive.c_str(), value);
  return buffer.data();
}

// Numbers under their own conversions come out as C writes them; integers keep
// their 64 bits, as C's "ll" directives do.
TEST(QvMsgPrintf, NumbersMatchTheCLibrary) {
  for (const char* d : {"d", "5d", "-5d", "05d", "+d", " d", ".3d", "i", "x", "#x", "08X", "#o",
                        "u", ".0d", "+.0i", "#.0o", "#.0x", " .0d", "+.0u"}) {
    for (const long long n : {0LL, 1LL, -1LL, 42LL, -42LL, 255LL, LLONG_MAX, LLONG_MIN}) {
      std::string c = std::string("[%") + d + "]";
      EXPECT_EQ(format(c.c_str(), {Int(n)}), c_printf(c.insert(c.size() - 2, "ll"), n)) << c << n;
    }
  }
  for (const char* d : {"f", ".2f", "-10.3f", "010.2f", "+f", " f", "#.0f", "+.3e", "E", "g", "#g",
                        ".10g", "a", "12g", "F"}) {
    for (const double x : {0.0, -0.0, 1.5, -2.25, 1e-5, 123456789.0, 1e300, 0.1, 1e-310}) {
      const std::string c = std::string("[%") + d + "]";
      EXPECT_EQ(format(c.c_str(), {Float(x)}), c_printf(c, x)) << c << " " << x;
    }
  }
  for (const char* c : {"[%Lf]", "[%-12.4Lg]", "[%+.30Le]"}) {
    for (const long double x : {0.0L, -1.5L, 2.0L / 3, 1e4800L, -1e-4900L}) {
      EXPECT_EQ(format(c, {Float(x)}), c_printf(c, x)) << c << " " << static_cast<double>(x);
    }
  }
}

TEST(QvMsgPrintf, Rules) {
  struct Case {
    const char* format;
    std::vector<Value> values;
    std::string expected;
  };
  const std::vector<Case> cases = {
      {"[%8s|%-4s|%.3s]", {Text("right"), Text("l"), Text("truncated")}, "[   right|l   |tru]"},
      {"[%s|%.2s]", {Text(nullptr), Text(nullptr)}, "[(null)|(n]"},
      {"[%.2s|%4s]", {Text("\xC3\xA4x"), Text("\xC3\xA4")}, "[\xC3\xA4|  \xC3\xA4]"},  // bytes
      {"[%c%3c|%c|%c]", {Int('o'), Int('k'), Int(0x141), Int(0)}, "[o  k|A|]"},
      // Length modifiers: only hh and h narrow.
      {"%ld %lu", {Int(-1), Int(-1)}, "-1 18446744073709551615"},
      {"%hhd %hhu %hd %qd %zd", {Int(300), Int(-1), Int(70000), Int(1), Int(2)}, "44 255 4464 1 2"},
      // Percent signs, malformed and unsupported directives: written as they stand.
      {"100%% %%s%%%s", {Text("x")}, "100% %s%x"},
      {"50%", {Int(1)}, "50%"},
      {"%n|%y|%-5k|%'d|%0$s|%l|%d", {Int(5)}, "%n|%y|%-5k|%'d|%0$s|%l|5"},
      {"%5000d %.5000f", {Int(1), Float(1)}, "%5000d %.5000f"},
      {"[%-08.3f] %d%%", {}, "[%-08.3f] %d%"},
      // Mismatched kinds: a text as %s writes it, without the precision...
      {"[%d|%5x|%-4f|%.1d|%c]",
       {Text("a"), Text("b"), Text("c"), Text("de"), Text("fg")},
       "[a|    b|c   |de|fg]"},
      // ...a number under %s as its text, a floating one elsewhere as %g...
      {"[%s|%5s|%.2s|%s]", {Int(-7), Int(42), Int(12345), Float(0.5)}, "[-7|   42|12|0.5]"},
      {"[%d|%+5d|%.3x|%c|%p]",
       {Float(2.5), Float(2.5), Float(3.25), Float(1.5), Float(2)},
       "[2.5| +2.5|3.25|1.5|2]"},
      // ...an integer under a floating directive as floating, and under %p as an address.
      {"[%f|%p|%-6p]", {Int(3), Int(0x1234), Int(0xff)}, "[3.000000|0x1234|0xff  ]"},
      // '*' takes an integer, else the directive stands and uses no values.
      {"[%*d|%-*d|%*d]", {Int(4), Int(1), Int(4), Int(2), Int(-4), Int(3)}, "[   1|2   |3   ]"},
      {"[%.*f|%.*s|%*.*f]",
       {Int(2), Float(3.14159), Int(-1), Text("abc"), Int(6), Int(1), Float(2.26)},
       "[3.14|abc|   2.3]"},
      {"[%*d] %s", {Text("x"), Int(42)}, "[%*d] x"},
      {"[%*d|%*d]", {Int(100000), Int(1)}, "[%*d|%*d]"},
      // Positional values, mixed with the next-in-order ones.
      {"%2$s %1$s %1$s", {Text("world"), Text("hello")}, "hello world world"},
      {"%3$s %99999$s", {Text("a"), Text("b")}, "%3$s %99999$s"},
      {"%2$s %s %s", {Text("a"), Text("b")}, "b a b"},
      {"[%1$*2$d|%3$.*1$f]", {Int(2), Int(5), Float(2.26)}, "[    2|2.26]"},
  };
  for (const Case& c : cases) EXPECT_EQ(format(c.format, c.values), c.expected) << c.format;
  EXPECT_STREQ(Log::QvMsg::format("%s|%d", nullptr), "%s|%d");
  EXPECT_STREQ(Log::QvMsg::format(nullptr, nullptr), "");
}

// Values after the END record do not exist: reading them would fault here.
TEST(QvMsgPrintf, StopsAtTheEndRecord) {
  const Value values[] = {Int(1), End(), Text(reinterpret_cast<const char*>(1))};
  EXPECT_STREQ(Log::QvMsg::format("%d %s %3$s %.*s", values), "1 %s %3$s %.*s");
  // A kind there is not: written as it stands, but the value is used up.
  Value odd[] = {Int(3), Int(4), End()};
  odd[0].kind = static_cast<Value::Kind>(7);
  EXPECT_STREQ(Log::QvMsg::format("%d %d", odd), "%d 4");
}

}  // namespace
}  // namespace qvlogger_test
