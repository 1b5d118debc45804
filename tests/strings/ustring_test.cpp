#include "zel/ustring.h"

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <unicode/ucnv.h>
#include <unicode/utypes.h>

#include <atomic>
#include <sstream>
#include <string>
#include <utility>

#include "support/text.h"

// This binary defines ICU's ucnv_open and ucnv_fromUChars itself (ICU's headers
// rename both to their versioned symbols), so the library's calls land here
// first: openings are counted, and the next conversion to bytes can be made to
// report a status of the test's choosing before ICU's own functions take over.
namespace {

std::atomic<int> g_converters_opened{0};
std::atomic<int> g_next_status{U_ZERO_ERROR};  // U_ZERO_ERROR: nothing to report

#define ZEL_TEST_STRINGIFY(x) #x
#define ZEL_TEST_SYMBOL(x) ZEL_TEST_STRINGIFY(x)

}  // namespace

extern "C" UConverter* ucnv_open(const char* name, UErrorCode* status) {
  using Open = UConverter* (*)(const char*, UErrorCode*);
  static const auto icu_open = reinterpret_cast<Open>(dlsym(RTLD_NEXT, ZEL_TEST_SYMBOL(ucnv_open)));
  ++g_converters_opened;
  return icu_open(name, status);
}

extern "C" int32_t ucnv_fromUChars(UConverter* converter, char* dest, int32_t capacity,
                                   const UChar* src, int32_t length, UErrorCode* status) {
  using FromUChars = int32_t (*)(UConverter*, char*, int32_t, const UChar*, int32_t, UErrorCode*);
  static const auto icu_from_uchars =
      reinterpret_cast<FromUChars>(dlsym(RTLD_NEXT, ZEL_TEST_SYMBOL(ucnv_fromUChars)));
  const int32_t written = icu_from_uchars(converter, dest, capacity, src, length, status);
  const int reported = g_next_status.exchange(U_ZERO_ERROR);
  if (reported != U_ZERO_ERROR) *status = static_cast<UErrorCode>(reported);
  return written;
}

namespace Zel {
namespace {

using zel_test::units;

constexpr auto npos = UString::npos;

TEST(UStringConstruct, FromEachKindOfSource) {
  EXPECT_EQ(units(UString('a')), u"a");
  EXPECT_EQ(units(UString(static_cast<char>(0xE9))), u"i");  // a char is masked to seven bits
  // Wide characters are code points; those out of Unicode's range, negative
  // wchar_t values included, are dropped.
  const std::wstring wide{L'a', 0x1F600, 0x10FFFF, 0x110000, static_cast<wchar_t>(-1), L'b'};
  EXPECT_EQ(units(UString(wide)), (std::u16string{u'a', 0xD83D, 0xDE00, 0xDBFF, 0xDFFF, u'b'}));
  EXPECT_EQ(units(UString("caf\xE9", "ISO-8859-1")), u"caf\u00E9");
  EXPECT_EQ(units(UString(std::u16string(u"a\0b", 3))), std::u16string(u"a\0b", 3));
  EXPECT_TRUE(UString(static_cast<const UChar*>(nullptr)).empty());
  EXPECT_TRUE(UString(static_cast<const char*>(nullptr), "UTF-8").empty());
}

TEST(UStringAccess, OutOfRangeIndexGivesFFFFAndCStrKeepsTheLength) {
  UString s(u"abc");
  EXPECT_EQ(s[2], u'c');
  EXPECT_EQ(s[3], 0xFFFF);
  EXPECT_EQ(s[npos], 0xFFFF);
  // Fill the storage exactly, so that the terminator needs room of its own.
  while (s.length() < s.capacity()) s.append(u'x');
  const auto length = s.length();
  const auto capacity = s.capacity();
  EXPECT_EQ(s.c_str()[length], 0);
  EXPECT_EQ(s.length(), length);
  EXPECT_GT(s.capacity(), capacity);
}

TEST(UStringCompare, OrdersByCodeUnits) {
  EXPECT_EQ(UString(u"abc").compare(UString(u"abd")), -1);
  // U+FF21 sorts after a surrogate unit in code-unit order.
  EXPECT_EQ(UString(u"\uFF21").compare(UString(u"\U0001F600")), 1);
  EXPECT_EQ(UString(u"xabcx").compare(1, 3, UString(u"abc")), 0);
  EXPECT_EQ(UString(u"xabcx").compare(1, npos, UString(u"abcx")), 0);
  EXPECT_EQ(UString(u"abc").compare(u"abc"), 0);
  EXPECT_EQ(UString(u"abc").compare(static_cast<const UChar*>(nullptr)), 1);
}

TEST(UStringModify, PositionsPastTheEndArePinned) {
  UString s(u"old");
  s.assign(u"abcdef", 2);
  EXPECT_EQ(units(s), u"ab");
  s.assign(u"abc", 0);  // a zero count takes the whole text
  EXPECT_EQ(units(s), u"abc");
  s.insert(1, u'X').insert(99, UString(u"END")).insert(0, u"<");
  EXPECT_EQ(units(s), u"<aXbcEND");
  s.replace(1, 3, UString(u"--")).replace(5, npos, u"!");
  EXPECT_EQ(units(s), u"<--cE!");
  s.set_at(0, u'[').set_at(6, u'?').set_at(npos, u'?');
  EXPECT_EQ(units(s), u"[--cE!");

  const UString abc(u"abc");
  EXPECT_EQ(units(abc.substr(3)), u"");
  EXPECT_EQ(units(abc.substr(1, 99)), u"bc");
}

TEST(UStringModify, EraseReserveTrimAndClear) {
  auto erased = [](UString::size_type pos, UString::size_type n) {
    UString s(u"abcdef");
    s.erase(pos, n);
    return units(s);
  };
  EXPECT_EQ(erased(2, npos), u"ab");
  EXPECT_EQ(erased(99, npos), u"abcdef");
  EXPECT_EQ(erased(0, 0x7FFFFFFF), u"");
  EXPECT_EQ(erased(1, 2), u"adef");

  UString s(u"  a b \t\n");
  s.reserve(1000);
  EXPECT_GE(s.capacity(), 1000u);
  EXPECT_EQ(units(s.trim()), u"a b");
  s.reserve(npos);  // more than ICU can hold: ignored, text intact
  EXPECT_EQ(units(s), u"a b");
  s.clear();
  EXPECT_TRUE(s.empty());
}

TEST(UStringSearch, StartIsReadAsSignedAndEmptyNeedlesFindNothing) {
  const UString s(u"abcabc");
  EXPECT_EQ(s.find(u'b', 2), 4u);
  EXPECT_EQ(s.find(u'b', npos), 1u);  // negative: whole string
  EXPECT_EQ(s.find(u'b', 99), npos);  // past the end: nothing
  EXPECT_EQ(s.find(u"ca", 0), 2u);
  EXPECT_EQ(s.find(UString(u"bc"), 2), 4u);
  EXPECT_EQ(s.find(UString()), npos);
  EXPECT_EQ(s.find(static_cast<const UChar*>(nullptr)), npos);
  EXPECT_EQ(s.find_last(UString()), npos);
  EXPECT_EQ(s.find_first_of(u""), npos);
  // find_last takes a lower bound, find_first_of the least index of any unit.
  EXPECT_EQ(UString(u"aXaXb").find_last(u'a', 2), 2u);
  EXPECT_EQ(UString(u"aXaXb").find_last(u'a', 3), npos);
  EXPECT_EQ(UString(u"abab").find_last(u"ab", 0), 2u);
  EXPECT_EQ(UString(u"abab").find_last(UString(u"ab"), npos), 2u);
  const UString path(u"path/to\\file");
  EXPECT_EQ(path.find_first_of(u"\\/"), 4u);
  EXPECT_EQ(path.find_first_of(UString(u"\\/"), 5), 7u);
  EXPECT_EQ(path.find_first_of(u"xyz"), npos);
}

// --- Conversions --------------------------------------------------------------

TEST(UStringEncode, Utf8StopsAtTheFirstZeroByte) {
  EXPECT_EQ(UString(u"\U0001F600").utf8_str(), "\xF0\x9F\x98\x80");
  EXPECT_EQ(UString(u"\u0080").utf8_str(), "\xC2\x80");  // the least unit that is not ASCII
  EXPECT_EQ(UString(std::u16string(u"ab\0cd", 5)).utf8_str(), "ab");
}

TEST(UStringEncode, FailuresGiveEmptyOrSubstitutedTextAndAnyOtherStatusIsFlagged) {
  const UString lone_surrogate(std::u16string{u'a', 0xD800, u'b'});
  bool failed = true;
  EXPECT_EQ(lone_surrogate.std_str("UTF-8", failed), "");
  EXPECT_FALSE(failed);
  // Characters a set cannot map are substituted.
  EXPECT_EQ(UString(u"a\u20ACb").std_str("ISO-8859-1", failed), std::string("a\x1A") + "b");
  // An unknown set gives nothing, unflagged.
  const UString s(u"abc");
  failed = true;
  EXPECT_EQ(s.std_str("no-such-charset", failed), "");
  EXPECT_FALSE(failed);
  // The failed lookup dropped the old converter; a good name works again.
  EXPECT_EQ(s.std_str("ISO-8859-1", failed), "abc");

  // A warning is flagged as much as an error; the text is still returned.
  for (const UErrorCode status : {U_USING_DEFAULT_WARNING, U_INVALID_CHAR_FOUND}) {
    g_next_status = status;
    EXPECT_EQ(s.std_str("ISO-8859-1", failed), "abc") << u_errorName(status);
    EXPECT_TRUE(failed) << u_errorName(status);
  }
}

TEST(UStringEncode, ConverterIsOpenedOncePerCharsetNotSharedAndMoved) {
  const UString s(u"caf\u00E9");
  bool failed = false;
  const int before = g_converters_opened;
  for (int i = 0; i < 5; ++i) EXPECT_EQ(s.std_str("ISO-8859-1", failed), "caf\xE9");
  EXPECT_EQ(g_converters_opened - before, 1);

  // Another set replaces the cached converter; the first set then reopens.
  EXPECT_EQ(s.std_str("UTF-16LE", failed), "c");
  EXPECT_EQ(s.std_str("ISO-8859-1", failed), "caf\xE9");
  // Names that ICU's comparison holds equal share the converter.
  EXPECT_EQ(s.std_str("iso_8859-1", failed), "caf\xE9");
  EXPECT_EQ(g_converters_opened - before, 3);

  // A copy has a converter of its own; the UTF-8 path never opens one.
  const UString copy(s);
  EXPECT_EQ(copy.std_str("ISO-8859-1", failed), "caf\xE9");
  EXPECT_EQ(s.utf8_str(), "caf\xC3\xA9");
  UString decoded;
  decoded.assign("caf\xE9", "ISO-8859-1").assign("x", "ISO-8859-1");
  EXPECT_EQ(g_converters_opened - before, 5);

  // A move takes the converter along.
  UString moved(std::move(decoded));
  UString assigned;
  assigned = std::move(moved);
  EXPECT_EQ(assigned.std_str("ISO-8859-1", failed), "x");
  EXPECT_EQ(g_converters_opened - before, 5);
}

TEST(UStringDecode, Utf8OfEveryLength) {
  UString s(u"old");
  EXPECT_EQ(units(s.utf8_assign("h\xC3\xA9")), u"h\u00E9");
  EXPECT_EQ(units(s.utf8_assign(std::string("a\0b", 3))), std::u16string(u"a\0b", 3));
  EXPECT_TRUE(s.utf8_assign("\xC3\x28").empty());  // malformed: cleared
  EXPECT_TRUE(s.assign(u"old", 0).utf8_assign("").empty());
  // An encoded surrogate is malformed too.
  EXPECT_TRUE(s.assign(u"old", 0).assign(std::string("\xED\xA0\x80"), "UTF-8").empty());

  // Every length around the one-pass limit.
  for (std::size_t size : {4096u, 4097u, 70000u}) {
    const std::string ascii(size, 'a');
    EXPECT_EQ(s.utf8_assign(ascii).length(), size);
    EXPECT_EQ(s[static_cast<UString::size_type>(size - 1)], u'a');
    // One non-ASCII character at the very end, then a malformed one there.
    std::string mixed = ascii.substr(0, size - 2) + "\xC3\xA9";
    EXPECT_EQ(s.utf8_assign(mixed).length(), size - 1);
    EXPECT_EQ(s[static_cast<UString::size_type>(size - 2)], 0x00E9);
    mixed.back() = '(';
    EXPECT_TRUE(s.utf8_assign(mixed).empty()) << size;
    EXPECT_EQ(s.utf8_assign(ascii.data(), 3).length(), 3u);
  }
}

TEST(UStringDecode, ConvertersKeepICUsOutputOnErrorsAndUnknownSetsKeepTheText) {
  UString s;
  s.assign(std::string("\xC3\x28"), "utf8");
  EXPECT_EQ(s[s.length() - 1], u'(');
  s.assign(std::string("A\0B\0", 4), "UTF-16LE");
  EXPECT_EQ(units(s), u"AB");
  s.assign(u"keep", 0).assign(std::string("bytes"), "no-such-charset");
  EXPECT_EQ(units(s), u"keep");
  EXPECT_TRUE(s.assign(std::string(), "ISO-8859-1").empty());
}

TEST(UStringStream, ExtractorsReadOneWord) {
  std::istringstream bytes("  h\xC3\xA9llo world");
  UString s;
  bytes >> s;
  EXPECT_EQ(units(s), u"h\u00E9llo");
  Utf8String raw;
  bytes >> raw;
  EXPECT_EQ(raw, "world");
  bytes >> s;  // nothing left: unchanged
  EXPECT_EQ(units(s), u"h\u00E9llo");
  std::wistringstream wide(L"\u00E9t\u00E9 x");
  wide >> s;
  EXPECT_EQ(units(s), u"\u00E9t\u00E9");
}

}  // namespace
}  // namespace Zel
