// The catalogue's table against the registry built from it, and against
// figures known independently of the table.
#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "failure.h"
#include "support/text.h"
#include "zel/xmltag.h"

namespace Zel {
namespace {

using zel_test::text;

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
