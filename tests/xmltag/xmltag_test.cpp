#include "zel/xmltag.h"

#include <gtest/gtest.h>

#include <functional>
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

// The vendor base of the well-known URIs: "TEAM:" is the base plus "/TEAM".
std::string base_uri() {
  const std::string team = text(XmlTag::ns_URI(18));
  return team.substr(0, team.size() - 5);
}

TEST(XmlTagNamespaces, WellKnownOnesAreFoundByAbbreviationAndUri) {
  for (XmlTag::NsId ns = 0; ns < XmlTag::FIRST_DYNAMIC_NS_ID; ++ns) {
    const UString uri = XmlTag::ns_URI(ns);
    EXPECT_EQ(XmlTag::ns_lookup_abbreviation(XmlTag::ns_abbreviation(ns)), ns);
    EXPECT_TRUE(XmlTag::is_well_known_namespace(uri));
    EXPECT_EQ(XmlTag(uri, u"x").ns_id(), ns);  // no new record for a known URI
  }
  for (const char* near_miss : {"ACL", "acl:", "ACL: "}) {
    EXPECT_EQ(XmlTag::ns_lookup_abbreviation(ustr(near_miss)), -1) << near_miss;
  }
  EXPECT_FALSE(XmlTag::is_well_known_namespace(ustr(base_uri() + "/TEAM/acl")));
}

TEST(XmlTagFailures, EachCarriesItsCatalogueMessage) {
  const std::string illegal = "IllegalArgException: QZMLK065";
  const std::string id = illegal + "5E XmlTag::lookup(): called with illegal id value.";
  const std::string ns = illegal + "6E XmlTag::lookup(): called with illegal ns value.";
  const std::string uri = illegal + "4E XmlTag::ns_URI(): called with illegal value.";
  const std::string internal = "StateException: QZMLK0653E Internal error: XmlTag::";
  const std::string free_id = internal + "lookup(), at line: src/xmltag/xmltag.cpp in file: '502'";
  // The catalogue is closed after start-up: used ids fail as a repeated row.
  const std::string repeated = internal + "XmlTag(), at line: src/xmltag/xmltag.cpp in file: '703'";
  const std::string refused = illegal + "4E XmlTag::XmlTag(): called with illegal value.";
  const std::vector<std::pair<std::function<void()>, std::string>> cases = {
      {[] { XmlTag::lookup(-1); }, id},
      {[] { XmlTag::lookup(-1, u"acl-entry"); }, ns},
      {[] { XmlTag::lookup(1000000, u"acl-entry"); }, ns},
      {[] { XmlTag::ns_URI(-1); }, uri},
      {[] { XmlTag(-1, u"other", XmlTag::NIL); }, repeated},
      {[] { XmlTag(16, u"vob", XmlTag::FIRST_DYNAMIC_ID - 1); }, repeated},
      {[] { XmlTag(0, u"new", 174); }, refused},
      {[] { XmlTag(0, u"new", XmlTag::FIRST_DYNAMIC_ID); }, refused},
      {[] { XmlTag(0, u"new", -1); }, refused},
      {[] { XmlTag(21, u"new", 176); }, refused},
      {[] { XmlTag::lookup(174); }, free_id},  // the refusals changed nothing
  };
  for (std::size_t i = 0; i < cases.size(); ++i) {
    EXPECT_EQ(failure_of(cases[i].first), cases[i].second) << "case " << i;
  }
  EXPECT_GE(XmlTag::lookup(0, u"new").id(), XmlTag::FIRST_DYNAMIC_ID);
}

TEST(XmlTagText, ToStringAndFormat) {
  const std::string acl = base_uri() + "/TEAM/ACL";
  EXPECT_EQ(text(XmlTag::lookup(XmlTag::ACL_ENTRY).to_string()), acl + "/acl-entry");
  EXPECT_EQ(text(XmlTag::lookup(XmlTag::NIL).to_string()), "<nil-tag>");
  EXPECT_EQ(text(XmlTag::lookup(XmlTag::TEAM_STATUS).to_string()), "/status");

  using Case = std::tuple<XmlTag::Id, XmlTag::Format, const char*, std::string>;
  const std::vector<Case> cases = {
      {XmlTag::ACL_ENTRY, XmlTag::FORMAT_START, "A", "<A:acl-entry>"},
      {XmlTag::ACL_ENTRY, XmlTag::FORMAT_START, "", "<acl-entry xmlns=\"" + acl + "\">"},
      {XmlTag::TEAM_STATUS, XmlTag::FORMAT_EMPTY, "", "<status xmlns=\"\"/>"},
      {XmlTag::FRM_XPOS, XmlTag::FORMAT_START, "frm", "<frm:x>"},
  };
  for (const auto& [id, format, prefix_text, expected] : cases) {
    const UString prefix = *prefix_text != 0 ? ustr(prefix_text) : XmlTag::EMPTY_NS_PREFIX;
    EXPECT_EQ(text(XmlTag::lookup(id).format(format, prefix)), expected);
    EXPECT_EQ(text(XmlTag::format(format, id, prefix)), expected);
  }
  // A namespace met at run time may hold characters that need references.
  const XmlTag odd(ustr("urn:x?a=1&b=\"<2\">"), u"odd");
  EXPECT_EQ(text(odd.format(XmlTag::FORMAT_EMPTY, XmlTag::EMPTY_NS_PREFIX)),
            "<odd xmlns=\"urn:x?a=1&amp;b=&quot;&lt;2&quot;>\"/>");
}

TEST(XmlTagRegistry, RegistrationIsOncePerNameAndIdsAreDense) {
  const UString uri(u"urn:example:registration");
  XmlTag probe(uri, u"first");
  EXPECT_EQ(probe.id(), 0);
  EXPECT_FALSE(probe.is_well_known_namespace());

  const XmlTag& first = XmlTag::lookup(probe);
  EXPECT_EQ(probe.id(), first.id());  // written back on purpose
  EXPECT_TRUE(first == probe);        // ids are not compared

  // Ids follow one another, and tags keep their addresses across chunks.
  std::vector<const XmlTag*> tags{&first};
  for (int i = 0; i < 300; ++i) {
    tags.push_back(&XmlTag::lookup(probe.ns_id(), ustr("name-" + std::to_string(i))));
    EXPECT_EQ(tags.back()->id(), first.id() + i + 1);
  }
  for (const XmlTag* tag : tags) EXPECT_EQ(&XmlTag::lookup(tag->id()), tag);
}

TEST(XmlTagRegistry, TagsWithoutNamespaceAreFoundByIdOnly) {
  const XmlTag& team_status = XmlTag::lookup(18, u"status");
  EXPECT_GE(team_status.id(), XmlTag::FIRST_DYNAMIC_ID);
  // Registering a copy puts it in a map of its own, once.
  XmlTag copy = XmlTag::lookup(XmlTag::TEAM_STATUS);
  const XmlTag& registered = XmlTag::lookup(copy);
  EXPECT_GT(registered.id(), team_status.id());
  EXPECT_EQ(registered.ns_id(), -1);
  EXPECT_EQ(&XmlTag::lookup(copy), &registered);
}

// c_str() moves a name of 27 code units, which fills the inline buffer, to the
// heap even through a const reference; the registry must not mind.
TEST(XmlTagRegistry, HandedOutNamesMayBeTerminatedWithoutHarm) {
  for (const XmlTag::Id id : {XmlTag::LW_ATTRIBUTE_VALUE_TYPE_OPAQUE,
                              XmlTag::lookup(4, UString(u"a-run-time-name-of-27-units")).id()}) {
    const XmlTag& tag = XmlTag::lookup(id);
    tag.simple_name().c_str();
    tag.ns().c_str();
    EXPECT_EQ(&XmlTag::lookup(tag.ns_id(), UString(tag.simple_name())), &tag) << id;
    EXPECT_EQ(XmlTag(UString(tag.ns()), tag.simple_name()).ns_id(), tag.ns_id()) << id;
  }
}

TEST(XmlTagRegistry, OrderGoesByNamespaceFirst) {
  const XmlTag a_apple(ustr("urn:example:order-a"), u"apple");
  const XmlTag a_zebra(ustr("urn:example:order-a"), u"zebra");
  const XmlTag b_apple(ustr("urn:example:order-b"), u"apple");
  EXPECT_TRUE(a_apple < a_zebra);
  EXPECT_FALSE(a_apple < a_apple);
  // Namespaces order by an unspecified rule, but before any name does.
  const bool a_first = a_apple < b_apple;
  EXPECT_NE(a_first, b_apple < a_apple);
  EXPECT_EQ(a_zebra < b_apple, a_first);
  EXPECT_FALSE(a_apple == b_apple);
}

// Namespaces 2 and 8 are never searched by name; a nameless tag has no namespace.
TEST(XmlTagCatalogue, EveryDefinedTagIsFoundByName) {
  int defined = 0;
  for (XmlTag::Id id = 0; id < XmlTag::FIRST_DYNAMIC_ID; ++id) {
    const XmlTag* tag = nullptr;
    if (failure_of([&] { tag = &XmlTag::lookup(id); }) != "no exception") continue;  // a free id
    SCOPED_TRACE(id);
    ++defined;
    EXPECT_EQ(tag->id(), id);
    EXPECT_TRUE(!tag->simple_name().empty() || tag->ns_id() == -1);
    if (tag->ns_id() < 0 || tag->ns_id() == 2 || tag->ns_id() == 8) continue;
    EXPECT_EQ(&XmlTag::lookup(tag->ns_id(), tag->simple_name()), tag);
  }
  EXPECT_EQ(defined, 1143);
}

TEST(XmlTagCatalogue, NearMissesAreRegisteredNotMatched) {
  for (const char16_t* name : {u"acl-entr", u"acl-entryx", u"ACL-ENTRY", u"", u"acl-entry "}) {
    EXPECT_GE(XmlTag::lookup(0, UString(name)).id(), XmlTag::FIRST_DYNAMIC_ID);
  }
  EXPECT_GE(XmlTag::lookup(9, UString(u"X")).id(), XmlTag::FIRST_DYNAMIC_ID);
}

}  // namespace
}  // namespace Zel
