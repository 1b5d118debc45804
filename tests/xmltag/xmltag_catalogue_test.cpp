// The catalogue's table against the registry built from it, and against
// figures known independently of the table.
#include <gtest/gtest.h>

#include <map>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "failure.h"
#include "zel/xmltag.h"

namespace Zel {
namespace {

struct Row {
  XmlTag::Id id;
  const char* constant;
  const char* abbreviation;
  const char16_t* name;
};

const std::vector<Row> kRows = {
#define ZEL_XMLTAG(id, constant, abbreviation, name) {id, #constant, abbreviation, u"" name},
#include "zel/xmltag_catalogue.def"
#undef ZEL_XMLTAG
};

std::string text(const UString& s) { return s.utf8_str(); }

bool has_namespace(const Row& row) {
  return *row.name != 0 && std::string(row.abbreviation) != "null";
}

// Every row is a tag with its id, name and namespace, and a name in a
// namespace searched by name is found as that very tag.
TEST(XmlTagCatalogue, EveryRowIsFoundByIdAndByName) {
  for (const Row& row : kRows) {
    SCOPED_TRACE(row.constant);
    const XmlTag& tag = XmlTag::lookup(row.id);
    EXPECT_EQ(tag.id(), row.id);
    EXPECT_EQ(tag.simple_name().view(), row.name);
    if (!has_namespace(row)) {
      EXPECT_EQ(tag.ns_id(), -1);
      continue;
    }
    const XmlTag::NsId ns = XmlTag::ns_lookup_abbreviation(UString(Utf8String(row.abbreviation)));
    ASSERT_GE(ns, 0);
    EXPECT_EQ(tag.ns_id(), ns);
    EXPECT_EQ(&XmlTag::lookup(ns, UString(row.name)), &tag);
  }
}

// Every id below the first run-time one is a tag or one of the ids that stay
// free, and the number of tags per namespace is known apart from the table.
TEST(XmlTagCatalogue, FreeIdsAndTagsPerNamespace) {
  XmlTag::Id previous = -1;
  for (const Row& row : kRows) {
    EXPECT_GT(row.id, previous) << row.constant << ": ids must ascend without repeats";
    previous = row.id;
  }
  EXPECT_EQ(previous, XmlTag::FIRST_DYNAMIC_ID - 1);
  std::set<XmlTag::Id> free_ids;
  std::map<std::string, int> counts;
  for (XmlTag::Id id = 0; id < XmlTag::FIRST_DYNAMIC_ID; ++id) {
    const std::string failure = failure_of([id] { XmlTag::lookup(id); });
    if (failure != "no exception") {
      EXPECT_EQ(failure,
                "StateException: QZMLK0653E Internal error: XmlTag::lookup(), at line: "
                "src/xmltag/xmltag.cpp in file: '502'");
      free_ids.insert(id);
      continue;
    }
    const XmlTag::NsId ns = XmlTag::lookup(id).ns_id();
    ++counts[ns < 0 ? "none" : text(XmlTag::ns_abbreviation(ns))];
  }
  EXPECT_EQ(free_ids, (std::set<XmlTag::Id>{174, 176, 179, 180, 917, 1024, 1025, 1072, 1073, 1112,
                                            1120, 1130}));
  // "TEAM:" lists 81 names, but NIL's is empty, which leaves it without one.
  const std::map<std::string, int> expected = {
      {"ACL:", 19},     {"ACT:", 10},  {"AUTHMODE:", 3}, {"LW:", 200}, {"MX:", 67},  {"CTG:", 468},
      {"EVT:", 81},     {"FRM:", 63},  {"FVT:", 14},     {"MPN:", 29}, {"MPT:", 27}, {"RES:", 52},
      {"TEAMPVT:", 17}, {"TEAM:", 80}, {"VENDOR:", 5},   {"none", 8},
  };
  EXPECT_EQ(counts, expected);
}

// Constants whose names do not follow from their simple names, and spellings
// that look like mistakes but are the names on the wire.
TEST(XmlTagCatalogue, NotableRows) {
  using Expected = std::tuple<XmlTag::Id, XmlTag::Id, XmlTag::NsId, const char*>;
  const std::vector<Expected> rows = {
      {XmlTag::NIL, 0, -1, ""},
      {XmlTag::AUTH_MODE_NULL, 31, 3, "NULL"},
      {XmlTag::LW_MERGE_TYPE_NEVER, 145, 4, "merge-type-nevero"},
      {XmlTag::MX_AUTHENTICATION_REALM, 230, 6, "authentication-realm"},
      {XmlTag::MX_PERMISSION_READ_LIMITED, 278, 5, "permission_read_limited"},
      {XmlTag::CTG_CHILD_ORIGINAL_SOURCE_DIRECTORY_NO_LONGER_EXISTS, 354, 6,
       "child-original-source-directory-no-longer-exits"},
      {XmlTag::CTG_DBID, 385, 17, "dbid"},
      {XmlTag::CTG_DBID_FIELD_TYPE, 386, 6, "dbid"},
      {XmlTag::CTG_LEGAL_ACCESSIBLE_ACTIONS, 525, 6, "legal-acccessible-actions"},
      {XmlTag::CTG_REQUIREDNESS_BY_STATE, 657, 6, "record-reqiredness-by-state"},
      {XmlTag::FRM_IS_POSTCLICK_HOOK_ENABLED_FOR_WEB, 876, 9, "isPostclickHookEnabledForWeb"},
      {XmlTag::FRM_XPOS, 901, 9, "x"},
      {XmlTag::FVT_RECORDTYPE, 911, 10, "record-type"},
      {XmlTag::RES_VOB, 1027, 16, "vob"},
      {XmlTag::TEAM_ID, 1070, 4, "id"},
      {XmlTag::TEAM_STATUS, 1098, -1, "status"},
      {XmlTag::CTG_NEEDS_MERGE_FROM_LATEST, 1154, 6, "needs-merge-from-latest"},
  };
  for (const auto& [constant, id, ns, name] : rows) {
    EXPECT_EQ(constant, id) << name;
    EXPECT_EQ(XmlTag::lookup(id).ns_id(), ns) << name;
    EXPECT_EQ(text(XmlTag::lookup(id).simple_name()), name);
  }
}

// Names that sort next to defined ones but are not defined must not be taken
// for them.
TEST(XmlTagCatalogue, NearMissesAreRegisteredNotMatched) {
  for (const char16_t* name : {u"acl-entr", u"acl-entryx", u"ACL-ENTRY", u"", u"acl-entry "}) {
    EXPECT_GE(XmlTag::lookup(0, UString(name)).id(), XmlTag::FIRST_DYNAMIC_ID);
  }
  EXPECT_GE(XmlTag::lookup(9, UString(u"X")).id(), XmlTag::FIRST_DYNAMIC_ID);
}

// "ATR:" and "FLD:" are never searched by name: every name, even one defined
// elsewhere, becomes a run-time tag there, once.
TEST(XmlTagCatalogue, OpenNamespacesRegisterEveryName) {
  std::set<XmlTag::Id> ids;
  std::set<std::u16string> names;
  for (const Row& row : kRows) names.insert(row.name);
  for (XmlTag::NsId ns : {2, 8}) {
    for (const std::u16string& name : names) {
      const XmlTag& tag = XmlTag::lookup(ns, UString(name));
      EXPECT_GE(tag.id(), XmlTag::FIRST_DYNAMIC_ID);
      EXPECT_EQ(tag.ns_id(), ns);
      EXPECT_EQ(&XmlTag::lookup(ns, UString(name)), &tag);
      ids.insert(tag.id());
    }
  }
  EXPECT_EQ(ids.size(), 2 * names.size());
}

}  // namespace
}  // namespace Zel
