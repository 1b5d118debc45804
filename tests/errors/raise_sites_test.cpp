// Every place the library raises a catalogued error, one row each: the class it
// throws, the reason code, the message number and the kind of every argument.
// Code that inspects the arguments, and translated catalogues written for them,
// rely on the kinds: a changed kind is a fault even when the text reads the same.

#include <gtest/gtest.h>
#include <unistd.h>

#include <functional>
#include <string>
#include <typeinfo>
#include <vector>

#include "support/scratch.h"
#include "support/text.h"
#include "zel/arm.h"
#include "zel/credentials.h"
#include "zel/exception.h"
#include "zel/fileutl.h"
#include "zel/oid.h"
#include "zel/selector.h"
#include "zel/xmltag.h"

namespace Zel {
namespace {

using zel_test::ustr;

// "I 39 7 BU": the class thrown (Illegal, State, Runtime or plain QRPException),
// the reason code, the message number of the zelutil catalogue, and one letter
// per argument kind (B bytes, T std::string, U UString; see UMessage::Arg).
std::string signature(const QRPException& e) {
  const std::type_info& type = typeid(e);
  std::string s = type == typeid(IllegalArgException) ? "I"
                  : type == typeid(StateException)    ? "S"
                  : type == typeid(RuntimeException)  ? "R"
                  : type == typeid(QRPException)      ? "Q"
                                                      : type.name();
  s += " " + std::to_string(e.qrp_reason_code()) + " ";
  s += e.message().catalogue() == zelutil ? std::to_string(e.message().number()) : "?";
  s += " ";
  for (const UMessage::Arg& a : e.message().args()) s += std::string("-cilLdBTUR").at(a.tag());
  return s;
}

TEST(RaiseSites, ThrowTheCataloguedMessageWithArgumentsOfTheRightKinds) {
  const zel_test::ScratchDir dir;
  const std::string missing = dir.file("no-such-dir/cred");
  const std::string truncated = dir.file("truncated-cred");
  zel_test::write_file(truncated, "\x01");
  Credentials many_groups;  // more than stdio buffers, so a write itself fails
  for (int i = 0; i < 2000; ++i) many_groups.groups().push_back(Identity::from_str(ustr("1:0201")));
  // Identities from 32,768 to 65,535 bytes fit the text form but not the length.
  const UString too_long = ustr("32768:" + std::string(2 * 32769, '0'));

  // Not reachable from a test: Uuid::gen's QZMLK0651E (an int) needs a host
  // without a node, and the temporary directory's QZMLK0669E a directory name
  // the default character set cannot decode.
  // clang-format off
  std::vector<std::pair<std::function<void()>, const char*>> sites = {
    {[] { Uuid::from_string("xyz"); }, "I 39 7 BU"},
    {[] { Identity::from_str(ustr("0100")); }, "I 39 8 BU"},
    {[] { Identity::from_str(ustr("-1:00")); }, "I 39 9 BU"},
    {[&] { Identity::from_str(too_long); }, "I 39 9 BU"},
    {[] { Identity::from_str(ustr("3:010aff")); }, "I 39 10 BU"},
    {[] { Identity::from_str(ustr("2:010AFF")); }, "I 39 11 BU"},
    {[] { Selector s(ustr("no separator")); }, "S 39 21 UU"},
    {[] { XmlTag(0, u"repeated", XmlTag::ACL_ENTRY); }, "S 39 3 UUU"},
    {[] { XmlTag(0, u"x", 5000); }, "I 39 4 B"},
    {[] { XmlTag::lookup(174); }, "S 39 3 UUU"},
    {[] { XmlTag::format(XmlTag::FORMAT_START, 174, XmlTag::EMPTY_NS_PREFIX); }, "S 39 3 UUU"},
    {[] { XmlTag::lookup(-1); }, "I 39 5 "},
    {[] { XmlTag::lookup(XmlTag::NsId{-1}, ustr("x")); }, "I 39 6 "},
    {[] { XmlTag::ns_URI(-1); }, "I 39 4 B"},
    {[] { XmlTag::ns_abbreviation(-1); }, "I 39 4 B"},
    {[] { Fileutl::make_tmp_object(ustr("no-such-dir/TMP"), false); }, "Q 40 14 T"},
    {[] { Fileutl::delete_tmp_file(UString(std::u16string(1, u'\0'))); }, "R 39 19 U"},
    {[&] { Credentials().read_from_file(missing, false); }, "R 39 15 TT"},
    {[&] { Credentials().read_from_file(truncated, false); }, "R 39 16 TT"},
    {[&] { Credentials().write_to_file(missing); }, "R 39 15 TT"},
    {[] { ArmBuffer b(false); for (int i = 0; i < 5; ++i) b.add_buffer(); }, "Q 40 20 T"},
    {[] { ArmMetricValuesBuffer().check_non_string_slot(6); }, "Q 40 20 T"},
  };
  if (::access("/dev/full", W_OK) == 0) {
    sites.push_back({[&] { many_groups.write_to_file("/dev/full"); }, "R 39 17 TT"});
    sites.push_back({[] { Credentials().write_to_file("/dev/full"); }, "R 39 18 TT"});
  }
  // clang-format on

  for (std::size_t row = 0; row < sites.size(); ++row) {
    SCOPED_TRACE("row " + std::to_string(row) + ": " + sites[row].second);
    try {
      sites[row].first();
      ADD_FAILURE() << "no exception";
    } catch (const QRPException& e) {
      EXPECT_EQ(signature(e), sites[row].second);
    }
  }
}

}  // namespace
}  // namespace Zel
