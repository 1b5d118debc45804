#include "zel/selector.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "support/failure.h"
#include "support/text.h"

namespace Zel {
namespace {

using zel_test::failure_of;

using zel_test::text;
using zel_test::ustr;

Selector parse(const std::string& utf8) { return Selector(ustr(utf8)); }

// "domain namespace type [name] [repository]", the fields in one comparable line.
std::string fields(const Selector& s) {
  return std::to_string(s.provider_domain()) + " " + std::to_string(s.name_space()) + " " +
         std::to_string(s.resource_type()) + " [" + text(s.name()) + "] [" + text(s.repository()) +
         "]";
}

// The reason a parse fails for, from the catalogue message that names the text;
// "no exception" when it succeeds.
std::string reason_of(const std::string& utf8) {
  const std::string failure = failure_of([&utf8] { parse(utf8); });
  const std::string head = "StateException: QZMLK0671E The selector '" + utf8 + "' is not valid: ";
  return failure.compare(0, head.size(), head) == 0 ? failure.substr(head.size()) : failure;
}

std::string joined(const std::vector<UString>& segments) {
  std::string all;
  for (const UString& s : segments) all += "<" + text(s) + ">";
  return all;
}

// Every namespace word names its own value when parsed back; the domain words
// are all met in the tables below.
TEST(SelectorTables, EveryNamespaceWordParsesToItsValue) {
  for (int value = 0; value < 52; ++value) {
    const auto ns = static_cast<Selector::namespace_t>(value);
    EXPECT_EQ(parse("lw." + text(Selector::namespace_string(ns)) + ":x@y").name_space(), ns);
  }
}

TEST(SelectorParse, FieldsOfWellFormedTexts) {
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"lw.vob:/store/proj", "0 46 0 [] [/store/proj]"},  // repository namespaces: all the rest
      {"mx.userdb:a@b:c", "1 43 0 [] [a@b:c]"},
      {"mx.repo.mx-dbset:@db", "1 38 1010 [] [db]"},  // types allowing no name
      {"lw.repo.lw-brtype:main@r", "0 38 983 [main] [r]"},
      {"lw:x@y", "0 26 0 [x] [y]"},  // fields the prefix leaves out keep their nil values
      {":x@y", "3 26 0 [x] [y]"},
      {"lw.brtype:a:b@c@d", "0 4 0 [a:b] [c@d]"},          // first ":", then first "@"
      {"lw.brtype:a%@b@c", "0 4 0 [a%] [b@c]"},            // "%@" still ends the name
      {"lw.brtype:a%2F%/b@%%r", "0 4 0 [a%2F%/b] [%%r]"},  // kept as written
  };
  for (const auto& [input, expected] : cases) EXPECT_EQ(fields(parse(input)), expected) << input;
}

TEST(SelectorParse, EachFailureReasonInTheOrderTested) {
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"lw.brtype@x", "missing namespace seperator: \":\""},
      {"LW.brtype:x@y", "unknown provider domain: LW"},  // words are exact and case-sensitive
      {"lw.none:x@y", "unknown namespace: none"},
      {"lw%.brtype:x@y", "unknown provider domain: lw%.brtype"},  // escaped "." stays
      {"lw.bogus.zzz.q:", "unknown namespace: bogus"},
      {"lw.repo.no-such-type.q:x@y", "unknown resource type: no-such-type"},
      {"lw.repo.acl-entry:x@y", "unknown resource type: acl-entry"},             // not a "RES:" tag
      {"lw.repo.vob.q.r.s:x@y", "extra segment before name and repository: q"},  // words stop at 4
      {"lw.brtype.vob:", "extra segment before name and repository: vob"},  // before the empty rest
      {"lw.repo:@r", "no name for non-repository resource type"},
      {"lw.repo.lw-brtype:@r", "no name for non-repository resource type"},
      {"lw.brtype:@", "no name for non-repository resource type"},
      {"lw.brtype:main@", "no repository segment"},
      {"lw.repo.vob:@", "no repository segment"},
  };
  for (const auto& [input, expected] : cases) EXPECT_EQ(reason_of(input), expected) << input;
}

// The failed parse registers the name, so its id comes before a later one's.
TEST(SelectorParse, UnknownResourceTypeIsRegisteredByTheFailedParse) {
  EXPECT_EQ(reason_of("lw.repo.fresh-type:x@y"), "unknown resource type: fresh-type");
  const XmlTag::Id later = XmlTag::lookup(16, ustr("later-type")).id();
  EXPECT_LT(XmlTag::lookup(16, ustr("fresh-type")).id(), later);
}

// Whichever form is asked first answers for both: a quirk callers depend on.
TEST(SelectorFormat, ShortAndFullFormsShareOneCache) {
  struct Case {
    std::string input, short_form, full_form;
  };
  const std::vector<Case> cases = {
      {"lw.vob:/store/proj", "vob:@lw./store/proj", "lw.vob:/store/proj"},
      {"lw:x@y", "x@lw.y", "lw:x@y"},
      {"mx.INVALID:x@y", "x@mx.y", "mx:x@y"},
      {"<invalid>.DEFAULT:x@y", "x@y", "x@y"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.input);
    const Selector parsed = parse(c.input);
    Selector short_first = parsed;
    EXPECT_EQ(text(short_first.selector()), c.short_form);
    EXPECT_EQ(text(short_first.to_string_with_domain()), c.short_form);
    Selector full_first = parsed;
    EXPECT_EQ(text(full_first.to_string_with_domain()), c.full_form);
    EXPECT_EQ(text(full_first.selector()), c.full_form);
    // Derived selectors start with an empty cache.
    EXPECT_EQ(text(short_first.recompose_with_name(parsed.name()).to_string_with_domain()),
              c.full_form);
  }
  // The empty full form of a nil selector is not a cached text.
  Selector nil;
  EXPECT_EQ(text(nil.to_string_with_domain()), "");
  EXPECT_EQ(text(nil.selector()), "@");
}

TEST(SelectorDerived, ParentWalksUpToTheNilSelector) {
  std::vector<std::string> chain;
  Selector s = parse("lw.repo.vob:a/b@/store//proj");
  for (int i = 0; i < 10 && !s.is_nil(); ++i, s = s.parent()) chain.push_back(fields(s));
  const std::vector<std::string> expected = {
      "0 38 1027 [a/b] [/store//proj]",
      "0 38 1027 [a] [/store//proj]",
      "0 38 1027 [] [/store//proj]",
      "0 38 1027 [] [store]",
      "0 38 1027 [] []",
      "0 38 0 [] []",
      "0 26 0 [] []",
  };
  EXPECT_EQ(chain, expected);
  EXPECT_EQ(fields(s.parent()), "3 26 0 [] []");  // nil is its own parent
  EXPECT_EQ(fields(parse("lw.brtype:/a//b/c/@r").parent()), "0 4 0 [a/b] [r]");
  // Escaped separators do not split; a name of "/" alone has no segment to drop.
  EXPECT_EQ(fields(parse("lw.brtype:a%/b@r").parent()), "0 4 0 [] [r]");
  EXPECT_EQ(fields(parse("lw:/@r").parent().parent().parent()), "3 26 0 [/] []");
  // A nil selector may have the namespace "DEFAULT".
  EXPECT_TRUE(Selector().child(ustr("a"), Selector::NS_DEFAULT).parent().is_nil());
  EXPECT_FALSE(parse(":x@y").is_nil());
}

TEST(SelectorDerived, ChildAndRecomposeWithName) {
  const Selector s = parse("lw.brtype:a/b@r");
  EXPECT_EQ(fields(s.child(ustr("c/d"), Selector::NS_NONE)), "0 4 0 [a/b/c/d] [r]");
  EXPECT_EQ(fields(s.child(ustr("/c//x%/y/"), Selector::NS_LBTYPE)), "0 24 0 [a/b/c/x%/y] [r]");
  EXPECT_EQ(fields(parse("lw.vob:r").child(ustr("c"), Selector::NS_NONE)), "0 46 0 [c] [r]");
  EXPECT_EQ(fields(s.recompose_with_name(ustr("x//%y@z"))), "0 4 0 [x//%y@z] [r]");
}

TEST(SelectorEscaping, EncodeDecodeAndReplaceAll) {
  const std::vector<std::pair<std::string, std::string>> encode = {
      {"x@y", "x%@y"}, {"x@@@y", "x@@%@y"}, {"%@@", "%%@@"}, {"a.b\\c", "a.b%\\c"}, {"", ""},
  };
  for (const auto& [in, out] : encode) EXPECT_EQ(text(Selector::encode_segment(ustr(in))), out);
  const std::vector<std::pair<std::string, std::string>> decode = {
      {"a%/b%:c%%", "a/b:c%"}, {"%%@", "@"}, {"%%%%", "%%"}, {"%.%x", "%.%x"}};
  for (const auto& [in, out] : decode) EXPECT_EQ(text(Selector::decode_string(ustr(in))), out);

  const auto replace = [](const char* t, const char* from, const char* to) {
    return text(Selector::replaceAll(ustr(t), ustr(from), ustr(to)));
  };
  EXPECT_EQ(replace("aaa", "aa", "b"), "ba");
  EXPECT_EQ(replace("aaa", "a", "aa"), "aaaaaa");  // inserted text is not searched again
  EXPECT_EQ(replace("abab", "ab", ""), "");
  EXPECT_EQ(replace("abc", "", "x"), "abc");
}

TEST(SelectorSegments, SplitAndJoin) {
  const std::vector<std::tuple<std::string, std::string, std::string>> split = {
      {"", ".", ""},
      {"a.b.c", ".", "<a><b><c>"},
      {".a..b.", ".", "<a><b>"},
      {"%.b", ".", "<%><b>"},  // "%" in the first position never escapes
      {"a%.b", ".", "<a%.b>"},
      {"a%%.b", ".", "<a%%.b>"},
      {"a%..b", ".", "<b>"},  // a separator after an escaped one drops the text so far
      {"a::b::", "::", "<a><b>"},
      {"abc", "", "<abc>"},
  };
  for (const auto& [in, sep, out] : split) {
    EXPECT_EQ(joined(Selector::split_segments(ustr(in), ustr(sep))), out) << in;
  }
  const std::vector<UString> abc = {ustr("a"), ustr("b"), ustr("c")};
  const auto join = [&abc](unsigned first, unsigned count) {
    return text(Selector::join_segments(abc, Selector::SEGMENT_SEP, first, count));
  };
  EXPECT_EQ(join(0, ~0u), "a/b/c");
  EXPECT_EQ(join(1, 1), "b");
  EXPECT_EQ(join(3, 1), "");
  EXPECT_EQ(join(0, 0), "");
}

}  // namespace
}  // namespace Zel
