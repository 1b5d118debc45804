#include "zel/credentials.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "support/failure.h"
#include "support/scratch.h"
#include "zel/exception.h"

namespace Zel {
namespace {

using zel_test::message_of;

Identity id(const char* text) { return Identity::from_str(UString(Utf8String(text))); }

class CredentialsFile : public testing::Test {
 protected:
  zel_test::ScratchDir scratch_;
  const std::string path_ = scratch_.file("cred");
};

TEST_F(CredentialsFile, WritesTheLayoutByteForByteAndReadsItBack) {
  Credentials c;
  c.set_user(id("2:010aff"));
  c.set_primary_group(id("0:05"));
  c.groups().push_back(id("1:0201"));
  c.set_text1(UString(u"never written"));
  c.write_to_file(path_);
  EXPECT_EQ(zel_test::read_file(path_), std::string("\x01\x00"
                                                    "\x02\x00\x01\x0a\xff"
                                                    "\x00\x00\x05"
                                                    "\x01\x00\x02\x01",
                                                    14));

  for (int g = 0; g < 32; ++g) c.groups().push_back(Identity(4, 2, "\x01\x02\x03\x04"));
  c.groups().push_back(id("0:00"));
  c.write_to_file(path_);
  Credentials back;
  back.groups().push_back(id("1:0909"));  // replaced, not kept
  back.read_from_file(path_, false);
  EXPECT_EQ(back.user(), c.user());
  EXPECT_EQ(back.primary_group(), c.primary_group());
  EXPECT_EQ(std::vector<Identity>(back.groups().begin(), back.groups().end()),
            std::vector<Identity>(c.groups().begin(), c.groups().end()));
}

TEST_F(CredentialsFile, TextFieldsAreReadInFileOrderOnlyOnRequest) {
  zel_test::write_file(path_, std::string("\x00\x00"
                                          "\x00\x00\x01"
                                          "\x00\x00\x02"
                                          "\x03\x00one"
                                          "\x03\x00two"
                                          "\x05\x00thr\xC3\xA9",
                                          25));
  Credentials c;
  c.read_from_file(path_, true);
  EXPECT_EQ(c.text1(), UString(u"one"));
  EXPECT_EQ(c.text2(), UString(u"two"));
  EXPECT_EQ(c.text3(), UString(u"thr\u00E9"));
  Credentials without;
  without.read_from_file(path_, false);
  EXPECT_TRUE(without.text1().empty());
}

TEST_F(CredentialsFile, GroupMembership) {
  Credentials c;
  c.set_user(id("1:0101"));
  c.set_primary_group(id("1:0102"));
  EXPECT_TRUE(c.in_group_list(id("1:0102")));
  EXPECT_FALSE(c.in_group_list(id("1:0101")));  // the user is not a group
  c.groups().push_back(id("1:0103"));
  c.groups().push_back(id("1:0105"));
  EXPECT_TRUE(c.in_group_list(id("1:0105")));
  EXPECT_FALSE(c.in_group_list(id("1:0104")));
}

TEST_F(CredentialsFile, BytesOf0x80AndAboveReadAsNegative) {
  // An identity of length 200 is written as C8 00 and reads back as -56; nothing
  // is read for a negative length, so what follows is read as the next items.
  Credentials c;
  const std::string data(200, 'x');
  c.set_user(Identity(200, 1, data.c_str()));
  c.write_to_file(path_);
  Credentials back;
  EXPECT_NE(message_of<RuntimeException>([&] { back.read_from_file(path_, true); }),
            "no exception");
  EXPECT_EQ(back.user().length(), -56);
  EXPECT_EQ(back.user().type(), 0);

  // A negative group count reads no identity at all.
  zel_test::write_file(path_, std::string("\xFE\xFF", 2));
  Credentials none;
  none.set_user(id("1:0101"));
  none.read_from_file(path_, false);
  EXPECT_EQ(none.user(), id("1:0101"));
  EXPECT_EQ(none.groups().size(), 0u);
}

TEST_F(CredentialsFile, AFailedReadNamesThePathAndClosesTheFile) {
  const auto open_files = [] {
    using std::filesystem::directory_iterator;
    return std::distance(directory_iterator("/proc/self/fd"), directory_iterator());
  };
  Credentials c;
  zel_test::write_file(path_, std::string("\x01\x00\x02\x00\x01\x0a", 6));  // ends inside the user
  const auto before = open_files();
  EXPECT_EQ(message_of<RuntimeException>([&] { c.read_from_file(path_, false); }),
            "QZMLK0666E Unable to read file '" + path_ + "': unexpected end of file.");
  EXPECT_EQ(open_files(), before);
}

}  // namespace
}  // namespace Zel
