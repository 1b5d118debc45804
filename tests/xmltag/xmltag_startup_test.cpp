// Runs alone in its own process, so it sees the registry as start-up left it:
// nothing registered at run time yet.
#include <gtest/gtest.h>

#include <string>

#include "support/failure.h"
#include "zel/xmltag.h"

namespace Zel {
namespace {

using zel_test::failure_of;

TEST(XmlTagStartUp, RunTimeIdsFollowTheCatalogueOneByOne) {
  const std::string illegal_id =
      "IllegalArgException: QZMLK0655E XmlTag::lookup(): called with illegal id value.";
  EXPECT_EQ(failure_of([] { XmlTag::lookup(1155); }), illegal_id);
  EXPECT_EQ(failure_of([] { XmlTag::ns_URI(21); }),
            "IllegalArgException: QZMLK0654E XmlTag::ns_URI(): called with illegal value.");

  XmlTag probe(UString(u"urn:example:a"), UString(u"x"));
  EXPECT_EQ(probe.ns_id(), 21);
  EXPECT_EQ(XmlTag(UString(u"urn:example:b"), UString(u"x")).ns_id(), 22);
  EXPECT_EQ(XmlTag(UString(u"urn:example:a"), UString(u"y")).ns_id(), 21);
  EXPECT_EQ(XmlTag::ns_URI(21).utf8_str(), "urn:example:a");
  EXPECT_EQ(failure_of([] { XmlTag::ns_abbreviation(21); }),
            "IllegalArgException: QZMLK0654E XmlTag::ns_abbreviation(): called with illegal "
            "value.");

  EXPECT_EQ(XmlTag::lookup(probe).id(), 1155);
  EXPECT_EQ(XmlTag::lookup(2, u"acl-entry").id(), 1156);  // "ATR:" is never searched
  EXPECT_EQ(XmlTag::lookup(probe).id(), 1155);            // a second lookup takes no id
  EXPECT_EQ(XmlTag::lookup(8, u"x").id(), 1157);
  EXPECT_EQ(failure_of([] { XmlTag::lookup(1158); }), illegal_id);
}

}  // namespace
}  // namespace Zel
