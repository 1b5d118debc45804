#include "zel/xmltag.h"

#include <expat.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "failure.h"

namespace Zel {
namespace {

std::string text(const UString& s) { return s.utf8_str(); }
UString ustr(const std::string& utf8) { return UString(Utf8String(utf8)); }

// Every well-known URI is the vendor base followed by a fixed path; "TEAM:" is
// the base plus "/TEAM".
std::string base_uri() {
  const std::string team = text(XmlTag::ns_URI(18));
  return team.substr(0, team.size() - 5);
}

TEST(XmlTagNamespaces, TheTwentyOneWellKnownOnes) {
  struct Row {
    const char* abbreviation;
    const char* path;
  };
  const std::vector<Row> rows = {
      {"ACL:", "/TEAM/ACL"},
      {"ACT:", "/TEAM/ACTTYPE"},
      {"ATR:", "/TEAM/ATTRS"},
      {"AUTHMODE:", "/TEAM/MXAUTHMODE"},
      {"LW:", "/TEAM/LW"},
      {"MX:", "/TEAM/MX"},
      {"CTG:", "/TEAM/CTG"},
      {"EVT:", "/TEAM/EVENTS"},
      {"FLD:", "/TEAM/FIELDS"},
      {"FRM:", "/TEAM/FORM"},
      {"FVT:", "/TEAM/VALTYPE"},
      {"GROUP_ACCESS:", "/TEAM/FOLDER_ACLS/GROUP"},
      {"MPN:", "/TEAM/METAPROPERTY"},
      {"MPT:", "/TEAM/MPTYPE"},
      {"NAMEDVAL:", "/TEAM/NAMED_VALUE"},
      {"PREF:", "/TEAM/PREF"},
      {"RES:", "/TEAM/RESTYPE"},
      {"TEAMPVT:", "/TEAM/PVT"},
      {"TEAM:", "/TEAM"},
      {"USER_ACCESS:", "/TEAM/FOLDER_ACLS/USER"},
      {"VENDOR:", "/TEAM/MXDBVENDOR"},
  };
  const std::string base = base_uri();
  EXPECT_EQ(base.rfind("http", 0), 0u) << base;
  for (XmlTag::NsId ns = 0; ns < XmlTag::FIRST_DYNAMIC_NS_ID; ++ns) {
    const Row& row = rows[static_cast<std::size_t>(ns)];
    EXPECT_EQ(text(XmlTag::ns_abbreviation(ns)), row.abbreviation);
    EXPECT_EQ(XmlTag::ns_lookup_abbreviation(ustr(row.abbreviation)), ns);
    EXPECT_EQ(text(XmlTag::ns_URI(ns)), base + row.path);
    EXPECT_TRUE(XmlTag::is_well_known_namespace(ustr(base + row.path)));
    // A probe by URI lands in the well-known record, not in a new one.
    EXPECT_EQ(XmlTag(ustr(base + row.path), u"x").ns_id(), ns);
  }
  // Abbreviations match exactly, colon and case included.
  for (const char* near_miss : {"ACL", "acl:", "ACL: ", "", "null", "TEAM"}) {
    EXPECT_EQ(XmlTag::ns_lookup_abbreviation(ustr(near_miss)), -1) << near_miss;
  }
  EXPECT_FALSE(XmlTag::is_well_known_namespace(ustr(base + "/TEAM/acl")));
}

TEST(XmlTagFailures, EachCarriesItsCatalogueMessage) {
  const std::string illegal_id =
      "IllegalArgException: QZMLK0655E XmlTag::lookup(): called with illegal id value.";
  const std::string illegal_ns =
      "IllegalArgException: QZMLK0656E XmlTag::lookup(): called with illegal ns value.";
  const std::string ns_uri =
      "IllegalArgException: QZMLK0654E XmlTag::ns_URI(): called with illegal value.";
  const std::string ns_abbreviation =
      "IllegalArgException: QZMLK0654E XmlTag::ns_abbreviation(): called with illegal value.";
  struct Case {
    const char* what;
    std::function<void()> call;
    std::string expected;
  };
  const std::vector<Case> cases = {
      {"negative id", [] { XmlTag::lookup(-1); }, illegal_id},
      {"id not yet given out", [] { XmlTag::lookup(XmlTag::FIRST_DYNAMIC_ID + 1000000); },
       illegal_id},
      {"free defined id", [] { XmlTag::lookup(174); },
       "StateException: QZMLK0653E Internal error: XmlTag::lookup(), at line: "
       "src/xmltag/xmltag.cpp in file: '502'"},
      {"format of a free id", [] { XmlTag::format(XmlTag::FORMAT_START, 1130, UString()); },
       "StateException: QZMLK0653E Internal error: XmlTag::lookup(), at line: "
       "src/xmltag/xmltag.cpp in file: '502'"},
      {"negative namespace", [] { XmlTag::lookup(-1, u"acl-entry"); }, illegal_ns},
      {"unknown namespace", [] { XmlTag::lookup(1000000, u"acl-entry"); }, illegal_ns},
      {"URI of a negative namespace", [] { XmlTag::ns_URI(-1); }, ns_uri},
      {"URI of an unknown namespace", [] { XmlTag::ns_URI(1000000); }, ns_uri},
      {"abbreviation of -1", [] { XmlTag::ns_abbreviation(-1); }, ns_abbreviation},
      {"abbreviation of a run-time namespace", [] { XmlTag::ns_abbreviation(21); },
       ns_abbreviation},
  };
  for (const Case& c : cases) EXPECT_EQ(failure_of(c.call), c.expected) << c.what;
}

TEST(XmlTagDefinition, TheCatalogueIsClosedAfterStartUp) {
  const std::string repeated =
      "StateException: QZMLK0653E Internal error: XmlTag::XmlTag(), at line: "
      "src/xmltag/xmltag.cpp in file: '703'";
  const std::string refused =
      "IllegalArgException: QZMLK0654E XmlTag::XmlTag(): called with illegal value.";
  // An id already used fails as a repeated row of the catalogue fails start-up,
  // whatever the name and namespace.
  EXPECT_EQ(failure_of([] { XmlTag(0, u"acl-entry", XmlTag::ACL_ENTRY); }), repeated);
  EXPECT_EQ(failure_of([] { XmlTag(-1, u"other", XmlTag::NIL); }), repeated);
  EXPECT_EQ(failure_of([] { XmlTag(16, u"vob", XmlTag::FIRST_DYNAMIC_ID - 1); }), repeated);
  // Free and out-of-range ids, and namespaces that are not well-known, are refused.
  EXPECT_EQ(failure_of([] { XmlTag(0, u"new", 174); }), refused);
  EXPECT_EQ(failure_of([] { XmlTag(0, u"new", XmlTag::FIRST_DYNAMIC_ID); }), refused);
  EXPECT_EQ(failure_of([] { XmlTag(0, u"new", -1); }), refused);
  EXPECT_EQ(failure_of([] { XmlTag(21, u"new", 176); }), refused);
  // Nothing changed.
  EXPECT_EQ(text(XmlTag::lookup(XmlTag::ACL_ENTRY).simple_name()), "acl-entry");
  EXPECT_NE(failure_of([] { XmlTag::lookup(174); }), "no exception");
  EXPECT_EQ(XmlTag::lookup(0, u"new").ns_id(), 0);
  EXPECT_GE(XmlTag::lookup(0, u"new").id(), XmlTag::FIRST_DYNAMIC_ID);
}

TEST(XmlTagText, ToStringAndFormat) {
  const std::string acl = base_uri() + "/TEAM/ACL";
  const XmlTag& entry = XmlTag::lookup(XmlTag::ACL_ENTRY);
  EXPECT_EQ(text(entry.to_string()), acl + "/acl-entry");
  EXPECT_EQ(text(XmlTag::lookup(XmlTag::NIL).to_string()), "<nil-tag>");
  EXPECT_EQ(text(XmlTag(ustr(acl), u"acl-entry").to_string()), "<nil-tag>");  // unregistered
  EXPECT_EQ(text(XmlTag::lookup(XmlTag::TEAM_STATUS).to_string()), "/status");

  struct Case {
    XmlTag::Id id;
    XmlTag::Format format;
    const char* prefix;
    std::string expected;
  };
  const std::vector<Case> cases = {
      {XmlTag::ACL_ENTRY, XmlTag::FORMAT_START, "A", "<A:acl-entry>"},
      {XmlTag::ACL_ENTRY, XmlTag::FORMAT_END, "A", "</A:acl-entry>"},
      {XmlTag::ACL_ENTRY, XmlTag::FORMAT_EMPTY, "A", "<A:acl-entry/>"},
      {XmlTag::ACL_ENTRY, XmlTag::FORMAT_START, "", "<acl-entry xmlns=\"" + acl + "\">"},
      {XmlTag::ACL_ENTRY, XmlTag::FORMAT_END, "", "</acl-entry>"},
      {XmlTag::ACL_ENTRY, XmlTag::FORMAT_EMPTY, "", "<acl-entry xmlns=\"" + acl + "\"/>"},
      {XmlTag::TEAM_STATUS, XmlTag::FORMAT_EMPTY, "", "<status xmlns=\"\"/>"},
      {XmlTag::FRM_XPOS, XmlTag::FORMAT_START, "frm", "<frm:x>"},
  };
  for (const Case& c : cases) {
    const UString prefix = *c.prefix != 0 ? ustr(c.prefix) : XmlTag::EMPTY_NS_PREFIX;
    const UString formatted = XmlTag::lookup(c.id).format(c.format, prefix);
    EXPECT_EQ(text(formatted), c.expected);
    EXPECT_EQ(formatted.length(), c.expected.size());
    EXPECT_EQ(text(XmlTag::format(c.format, c.id, prefix)), c.expected);
  }
}

// Collects the start tags an XML parser sees, as "URI|local-name".
std::vector<std::string> parsed_elements(const std::string& document) {
  std::vector<std::string> elements;
  XML_Parser parser = XML_ParserCreateNS(nullptr, '|');
  XML_SetUserData(parser, &elements);
  XML_SetStartElementHandler(parser, [](void* data, const XML_Char* name, const XML_Char**) {
    static_cast<std::vector<std::string>*>(data)->push_back(name);
  });
  const bool ok =
      XML_Parse(parser, document.data(), static_cast<int>(document.size()), 1) == XML_STATUS_OK;
  XML_ParserFree(parser);
  if (!ok) elements.assign(1, "not well-formed: " + document);
  return elements;
}

TEST(XmlTagText, FormattedTagsReadBackWithTheirNamespaces) {
  const XmlTag& prop = XmlTag::lookup(XmlTag::TEAM_PROP);
  const XmlTag& entry = XmlTag::lookup(XmlTag::ACL_ENTRY);
  const XmlTag& vob = XmlTag::lookup(XmlTag::RES_VOB);
  const XmlTag& open = XmlTag::lookup(2, u"custom-attribute");
  const UString a(u"A");
  const std::string document = text(prop.format(XmlTag::FORMAT_START, XmlTag::EMPTY_NS_PREFIX)) +
                               "<A:wrapper xmlns:A=\"" + text(entry.ns()) + "\">" +
                               text(entry.format(XmlTag::FORMAT_START, a)) +
                               text(entry.format(XmlTag::FORMAT_END, a)) + "</A:wrapper>" +
                               text(vob.format(XmlTag::FORMAT_EMPTY, XmlTag::EMPTY_NS_PREFIX)) +
                               text(open.format(XmlTag::FORMAT_START, XmlTag::EMPTY_NS_PREFIX)) +
                               text(open.format(XmlTag::FORMAT_END, XmlTag::EMPTY_NS_PREFIX)) +
                               text(prop.format(XmlTag::FORMAT_END, XmlTag::EMPTY_NS_PREFIX));
  const std::string base = base_uri();
  EXPECT_EQ(parsed_elements(document),
            (std::vector<std::string>{base + "/TEAM|prop", base + "/TEAM/ACL|wrapper",
                                      base + "/TEAM/ACL|acl-entry", base + "/TEAM/RESTYPE|vob",
                                      base + "/TEAM/ATTRS|custom-attribute"}));
}

TEST(XmlTagRegistry, TagsWithoutNamespace) {
  for (XmlTag::Id id : {XmlTag::NIL, XmlTag::TEAM_STATUS, XmlTag::LW_IS_VOB_ROOT}) {
    const XmlTag& tag = XmlTag::lookup(id);
    EXPECT_EQ(tag.ns_id(), -1) << id;
    EXPECT_TRUE(tag.ns().empty()) << id;
    EXPECT_FALSE(tag.is_well_known_namespace()) << id;
  }
  // Found by id only: the same name in "TEAM:" is a new tag of its own.
  const XmlTag& team_status = XmlTag::lookup(18, u"status");
  EXPECT_GE(team_status.id(), XmlTag::FIRST_DYNAMIC_ID);
  EXPECT_EQ(team_status.ns_id(), 18);
  // Registering a copy puts it in a map of its own, once.
  XmlTag copy = XmlTag::lookup(XmlTag::TEAM_STATUS);
  const XmlTag& registered = XmlTag::lookup(copy);
  EXPECT_GE(registered.id(), XmlTag::FIRST_DYNAMIC_ID);
  EXPECT_NE(registered.id(), team_status.id());
  EXPECT_EQ(registered.ns_id(), -1);
  EXPECT_EQ(&XmlTag::lookup(copy), &registered);
}

TEST(XmlTagRegistry, RegistrationIsOncePerNameAndIdsAreDense) {
  const UString uri(u"urn:example:registration");
  XmlTag probe(uri, u"first");
  EXPECT_EQ(probe.id(), 0);
  EXPECT_GE(probe.ns_id(), XmlTag::FIRST_DYNAMIC_NS_ID);
  EXPECT_FALSE(probe.is_well_known_namespace());
  EXPECT_FALSE(XmlTag::is_well_known_namespace(uri));
  EXPECT_EQ(XmlTag(uri, u"other").ns_id(), probe.ns_id());
  EXPECT_EQ(text(XmlTag::ns_URI(probe.ns_id())), "urn:example:registration");

  const XmlTag& first = XmlTag::lookup(probe);
  EXPECT_EQ(probe.id(), first.id());  // written back on purpose
  EXPECT_TRUE(first == probe);
  EXPECT_EQ(&XmlTag::lookup(probe), &first);
  EXPECT_EQ(&XmlTag::lookup(probe.ns_id(), u"first"), &first);
  EXPECT_EQ(&XmlTag::lookup(first.id()), &first);

  // Ids follow one another, and registered tags keep their addresses while
  // more are registered, across several chunks.
  std::vector<const XmlTag*> tags{&first};
  for (int i = 0; i < 300; ++i) {
    tags.push_back(&XmlTag::lookup(probe.ns_id(), ustr("name-" + std::to_string(i))));
    EXPECT_EQ(tags.back()->id(), first.id() + i + 1);
  }
  for (const XmlTag* tag : tags) EXPECT_EQ(&XmlTag::lookup(tag->id()), tag);
  EXPECT_EQ(failure_of([&] { XmlTag::lookup(tags.back()->id() + 1); }),
            "IllegalArgException: QZMLK0655E XmlTag::lookup(): called with illegal id value.");
}

// c_str() may move a UString's storage even through a const reference (a name
// that fills the inline buffer moves to the heap); the registry's searches must
// not depend on the storage of the names it hands out.
TEST(XmlTagRegistry, HandedOutNamesMayBeTerminatedWithoutHarm) {
  const std::vector<XmlTag::Id> ids = {
      XmlTag::LW_ATTRIBUTE_VALUE_TYPE_OPAQUE,  // 27 code units
      XmlTag::ACL_AGGREGATED_PRIVILEGE_NAME,
      XmlTag::lookup(4, UString(u"a-run-time-name-of-27-units")).id(),
      XmlTag::lookup(4, UString(u"a-run-time-name-longer-than-an-inline-buffer")).id(),
  };
  for (XmlTag::Id id : ids) {
    const XmlTag& tag = XmlTag::lookup(id);
    tag.simple_name().c_str();
    tag.ns().c_str();
  }
  for (XmlTag::Id id : ids) {
    const XmlTag& tag = XmlTag::lookup(id);
    EXPECT_EQ(&XmlTag::lookup(tag.ns_id(), UString(tag.simple_name())), &tag) << id;
    EXPECT_EQ(XmlTag(UString(tag.ns()), tag.simple_name()).ns_id(), tag.ns_id()) << id;
  }
}

TEST(XmlTagRegistry, EqualityIgnoresIdsAndOrderGoesByNamespaceFirst) {
  const UString uri_a(u"urn:example:order-a");
  const UString uri_b(u"urn:example:order-b");
  XmlTag a_zebra(uri_a, u"zebra");
  const XmlTag& registered = XmlTag::lookup(a_zebra);
  EXPECT_TRUE(XmlTag(uri_a, u"zebra") == registered);
  EXPECT_FALSE(XmlTag(uri_b, u"zebra") == registered);
  EXPECT_FALSE(XmlTag(uri_a, u"zebr") == registered);

  const XmlTag a_apple(uri_a, u"apple");
  const XmlTag b_apple(uri_b, u"apple");
  const XmlTag b_zebra(uri_b, u"zebra");
  EXPECT_TRUE(a_apple < a_zebra);
  EXPECT_FALSE(a_zebra < a_apple);
  EXPECT_FALSE(a_apple < a_apple);
  // The namespace decides before the name does.
  const bool a_first = a_zebra < b_apple;
  EXPECT_NE(a_first, b_apple < a_zebra);
  EXPECT_EQ(a_apple < b_zebra, a_first);
}

}  // namespace
}  // namespace Zel
