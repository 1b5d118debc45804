// Every place the library raises a catalogued error, one row each: the class it
// throws, the reason code, the message number and the kind of every argument.
// Code that inspects the arguments, and translated catalogues written for them,
// rely on the kinds: a changed kind is a fault even when the text reads the same.

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <typeinfo>
#include <vector>

#include "zel/arm.h"
#include "zel/credentials.h"
#include "zel/exception.h"
#include "zel/fileutl.h"
#include "zel/oid.h"
#include "zel/selector.h"
#include "zel/xmltag.h"

namespace Zel {
namespace {

using Arg = UMessage::Arg;

struct RaiseSite {
  const char* site;
  std::function<void()> call;
  std::size_t thrown;  // typeid(...).hash_code()
  int reason;
  int number;
  std::vector<int> kinds;
};

UString text(const char* utf8) { return UString(Utf8String(utf8)); }

std::string scratch_file(const char* leaf) {
  return (std::filesystem::temp_directory_path() / (std::to_string(::getpid()) + leaf)).string();
}

TEST(RaiseSites, ThrowTheCataloguedMessageWithArgumentsOfTheRightKinds) {
  const std::string missing = scratch_file("-zel-no-such-dir/cred");
  const std::string truncated = scratch_file("-zel-truncated-cred");
  std::ofstream(truncated, std::ios::binary) << std::string("\x01", 1);
  Credentials many_groups;  // more than stdio buffers, so a write itself fails
  for (int i = 0; i < 2000; ++i) many_groups.groups().push_back(Identity::from_str(text("1:0201")));

  // Identities from 32,768 to 65,535 bytes fit the text form but not the length.
  const std::string too_long = "32768:" + std::string(2 * 32769, '0');

  // Not reachable from a test: Uuid::gen's QZMLK0651E (an int) needs a host
  // without a node, and the temporary directory's QZMLK0669E a directory name
  // the default character set cannot decode.
  const auto I = typeid(IllegalArgException).hash_code();
  const auto S = typeid(StateException).hash_code();
  const auto R = typeid(RuntimeException).hash_code();
  const auto Q = typeid(QRPException).hash_code();
  const int B = Arg::BYTES, T = Arg::STRING, U = Arg::USTRING;
  // clang-format off
  std::vector<RaiseSite> sites = {
    {"Uuid::from_string", [] { Uuid::from_string("xyz"); }, I, 39, 7, {B, U}},
    {"Identity, no colon", [] { Identity::from_str(text("0100")); }, I, 39, 8, {B, U}},
    {"Identity, negative length", [] { Identity::from_str(text("-1:00")); }, I, 39, 9, {B, U}},
    {"Identity, length over 32767", [&] { Identity::from_str(text(too_long.c_str())); },
     I, 39, 9, {B, U}},
    {"Identity, size", [] { Identity::from_str(text("3:010aff")); }, I, 39, 10, {B, U}},
    {"Identity, hex", [] { Identity::from_str(text("2:010AFF")); }, I, 39, 11, {B, U}},
    {"Selector", [] { Selector s(text("no separator")); }, S, 39, 21, {U, U}},
    {"XmlTag, repeated id", [] { XmlTag(0, u"repeated", XmlTag::ACL_ENTRY); },
     S, 39, 3, {U, U, U}},
    {"XmlTag, id out of range", [] { XmlTag(0, u"x", 5000); }, I, 39, 4, {B}},
    {"XmlTag::lookup, free id", [] { XmlTag::lookup(174); }, S, 39, 3, {U, U, U}},
    {"XmlTag::format, free id",
     [] { XmlTag::format(XmlTag::FORMAT_START, 174, XmlTag::EMPTY_NS_PREFIX); },
     S, 39, 3, {U, U, U}},
    {"XmlTag::lookup, negative id", [] { XmlTag::lookup(-1); }, I, 39, 5, {}},
    {"XmlTag::lookup, negative ns", [] { XmlTag::lookup(XmlTag::NsId{-1}, text("x")); },
     I, 39, 6, {}},
    {"XmlTag::ns_URI", [] { XmlTag::ns_URI(-1); }, I, 39, 4, {B}},
    {"XmlTag::ns_abbreviation", [] { XmlTag::ns_abbreviation(-1); }, I, 39, 4, {B}},
    {"Fileutl::make_tmp_object", [] { Fileutl::make_tmp_object(text("no-such-dir/TMP"), false); },
     Q, 40, 14, {T}},
    {"Fileutl::delete_tmp_file",
     [] { Fileutl::delete_tmp_file(UString(std::u16string(1, u'\0'))); },
     R, 39, 19, {U}},
    {"Credentials read, open", [&] { Credentials().read_from_file(missing, false); },
     R, 39, 15, {T, T}},
    {"Credentials read, short", [&] { Credentials().read_from_file(truncated, false); },
     R, 39, 16, {T, T}},
    {"Credentials write, open", [&] { Credentials().write_to_file(missing); }, R, 39, 15, {T, T}},
    {"ArmBuffer, fifth sub-buffer",
     [] { ArmBuffer b(false); for (int i = 0; i < 5; ++i) b.add_buffer(); }, Q, 40, 20, {T}},
    {"ArmMetricValuesBuffer, slot", [] { ArmMetricValuesBuffer().check_non_string_slot(6); },
     Q, 40, 20, {T}},
  };
  if (::access("/dev/full", W_OK) == 0) {
    sites.push_back({"Credentials write, write", [&] { many_groups.write_to_file("/dev/full"); },
                     R, 39, 17, {T, T}});
    sites.push_back({"Credentials write, close", [] { Credentials().write_to_file("/dev/full"); },
                     R, 39, 18, {T, T}});
  }
  // clang-format on

  for (const RaiseSite& row : sites) {
    SCOPED_TRACE(row.site);
    try {
      row.call();
      ADD_FAILURE() << "no exception";
    } catch (const QRPException& e) {
      EXPECT_EQ(typeid(e).hash_code(), row.thrown);
      EXPECT_EQ(e.qrp_reason_code(), row.reason);
      EXPECT_EQ(e.message().catalogue(), zelutil);
      EXPECT_EQ(e.message().number(), row.number);
      std::vector<int> kinds;
      for (const Arg& a : e.message().args()) kinds.push_back(a.tag());
      EXPECT_EQ(kinds, row.kinds);
    }
  }
  std::filesystem::remove(truncated);
}

}  // namespace
}  // namespace Zel
