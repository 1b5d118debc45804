// Every place the library raises a catalogued error, one row each: the class it
// throws, the reason code, the message number and the kind of every argument.
// Translations format the arguments by kind ("%s" for bytes, "%ls" for wide
// text), so a changed kind is a fault even when the English text reads the same.

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
  const std::type_info& thrown;
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
  const bool have_dev_full = ::access("/dev/full", W_OK) == 0;
  Credentials many_groups;  // more than stdio buffers, so a write itself fails
  for (int i = 0; i < 2000; ++i) many_groups.groups().push_back(Identity::from_str(text("1:0201")));

  // Identities from 32,768 to 65,535 bytes fit the text form but not the length.
  const std::string too_long = "32768:" + std::string(2 * 32769, '0');

  const std::vector<RaiseSite> sites = {
      {"Uuid::from_string",
       [] { Uuid::from_string("xyz"); },
       typeid(IllegalArgException),
       39,
       7,
       {Arg::BYTES, Arg::USTRING}},
      {"Identity::from_str, no colon",
       [] { Identity::from_str(text("0100")); },
       typeid(IllegalArgException),
       39,
       8,
       {Arg::BYTES, Arg::USTRING}},
      {"Identity::from_str, negative length",
       [] { Identity::from_str(text("-1:00")); },
       typeid(IllegalArgException),
       39,
       9,
       {Arg::BYTES, Arg::USTRING}},
      {"Identity::from_str, length over 32767",
       [&] { Identity::from_str(text(too_long.c_str())); },
       typeid(IllegalArgException),
       39,
       9,
       {Arg::BYTES, Arg::USTRING}},
      {"Identity::from_str, size",
       [] { Identity::from_str(text("3:010aff")); },
       typeid(IllegalArgException),
       39,
       10,
       {Arg::BYTES, Arg::USTRING}},
      {"Identity::from_str, hex",
       [] { Identity::from_str(text("2:010AFF")); },
       typeid(IllegalArgException),
       39,
       11,
       {Arg::BYTES, Arg::USTRING}},
      {"Selector",
       [] { Selector s(text("no separator")); },
       typeid(StateException),
       39,
       21,
       {Arg::USTRING, Arg::USTRING}},
      {"XmlTag::XmlTag, repeated id",
       [] { XmlTag(0, u"repeated", XmlTag::ACL_ENTRY); },
       typeid(StateException),
       39,
       3,
       {Arg::USTRING, Arg::USTRING, Arg::USTRING}},
      {"XmlTag::XmlTag, id out of range",
       [] { XmlTag(0, u"x", 5000); },
       typeid(IllegalArgException),
       39,
       4,
       {Arg::BYTES}},
      {"XmlTag::lookup, free id",
       [] { XmlTag::lookup(174); },
       typeid(StateException),
       39,
       3,
       {Arg::USTRING, Arg::USTRING, Arg::USTRING}},
      {"XmlTag::format, free id",
       [] { XmlTag::format(XmlTag::FORMAT_START, 174, XmlTag::EMPTY_NS_PREFIX); },
       typeid(StateException),
       39,
       3,
       {Arg::USTRING, Arg::USTRING, Arg::USTRING}},
      {"XmlTag::lookup, negative id",
       [] { XmlTag::lookup(-1); },
       typeid(IllegalArgException),
       39,
       5,
       {}},
      {"XmlTag::lookup, negative ns",
       [] { XmlTag::lookup(XmlTag::NsId{-1}, text("x")); },
       typeid(IllegalArgException),
       39,
       6,
       {}},
      {"XmlTag::ns_URI",
       [] { XmlTag::ns_URI(-1); },
       typeid(IllegalArgException),
       39,
       4,
       {Arg::BYTES}},
      {"XmlTag::ns_abbreviation",
       [] { XmlTag::ns_abbreviation(-1); },
       typeid(IllegalArgException),
       39,
       4,
       {Arg::BYTES}},
      {"Fileutl::make_tmp_object",
       [] { Fileutl::make_tmp_object(text("no-such-dir/TMP"), false); },
       typeid(QRPException),
       40,
       14,
       {Arg::STRING}},
      {"Fileutl::delete_tmp_file",
       [] { Fileutl::delete_tmp_file(UString(std::u16string(1, u'\0'))); },
       typeid(RuntimeException),
       39,
       19,
       {Arg::USTRING}},
      {"Credentials::read_from_file, open",
       [&] { Credentials().read_from_file(missing, false); },
       typeid(RuntimeException),
       39,
       15,
       {Arg::STRING, Arg::STRING}},
      {"Credentials::read_from_file, read",
       [&] { Credentials().read_from_file(truncated, false); },
       typeid(RuntimeException),
       39,
       16,
       {Arg::STRING, Arg::STRING}},
      {"Credentials::write_to_file, open",
       [&] { Credentials().write_to_file(missing); },
       typeid(RuntimeException),
       39,
       15,
       {Arg::STRING, Arg::STRING}},
      {"ArmBuffer::check_buff_length",
       [] {
         ArmBuffer b(false);
         for (int i = 0; i < 4; ++i) b.add_buffer();
         b.add_buffer();
       },
       typeid(QRPException),
       40,
       20,
       {Arg::STRING}},
      {"ArmMetricValuesBuffer::check_non_string_slot",
       [] { ArmMetricValuesBuffer().check_non_string_slot(6); },
       typeid(QRPException),
       40,
       20,
       {Arg::STRING}},
  };
  std::vector<RaiseSite> all = sites;
  if (have_dev_full) {
    all.push_back({"Credentials::write_to_file, write",
                   [&] { many_groups.write_to_file("/dev/full"); },
                   typeid(RuntimeException),
                   39,
                   17,
                   {Arg::STRING, Arg::STRING}});
    all.push_back({"Credentials::write_to_file, close",
                   [] { Credentials().write_to_file("/dev/full"); },
                   typeid(RuntimeException),
                   39,
                   18,
                   {Arg::STRING, Arg::STRING}});
  }

  for (const RaiseSite& row : all) {
    SCOPED_TRACE(row.site);
    try {
      row.call();
      ADD_FAILURE() << "no exception";
    } catch (const QRPException& e) {
      EXPECT_EQ(typeid(e), row.thrown);
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
