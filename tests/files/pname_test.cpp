#include "zel/pname.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

namespace Zel {
namespace {

TEST(Pname, SplitsAtTheLastSeparator) {
  const struct {
    const char16_t *path, *parent, *leaf;
  } cases[] = {
      {u"/usr/tmp/x", u"/usr/tmp", u"x"},
      {u"x", u"", u"x"},
      {u"/x", u"", u"x"},   // the root is not reported as a parent
      {u"//x", u"", u"x"},  // nor is a lone separator left of it
      {u"dir/name", u"dir", u"name"},
      {u"a/b/", u"a/b", u""},
      {u"", u"", u""},
  };
  for (const auto& c : cases) {
    const Pname p{UString(c.path)};
    EXPECT_EQ(p.parent_dir(), UString(c.parent)) << UString(c.path).utf8_str();
    EXPECT_EQ(p.leaf(), UString(c.leaf)) << UString(c.path).utf8_str();
  }
}

TEST(Pname, AssigningOrStrippingDropsTheCachedParts) {
  Pname p{UString(u"/a/b")};
  EXPECT_EQ(p.leaf(), UString(u"b"));
  p = UString(u"/c/d");
  EXPECT_EQ(p.leaf(), UString(u"d"));
  EXPECT_EQ(p.parent_dir(), UString(u"/c"));
  Pname emptied = p;
  emptied = UString();
  EXPECT_TRUE(emptied.parent_dir().empty());
  Pname q;
  q = p;
  EXPECT_EQ(q.path(), UString(u"/c/d"));
  EXPECT_EQ(q.leaf(), UString(u"d"));

  // Stripping one trailing separator drops them too.
  p = UString(u"/tmp//");
  EXPECT_EQ(p.leaf(), UString(u""));
  p.strip_trailing_separator();
  EXPECT_EQ(p.path(), UString(u"/tmp/"));
  p.strip_trailing_separator();
  EXPECT_EQ(p.path(), UString(u"/tmp"));
  EXPECT_EQ(p.leaf(), UString(u"tmp"));
  Pname root{UString(u"/")};
  root.strip_trailing_separator();
  EXPECT_TRUE(root.path().empty());
  root.strip_trailing_separator();
  EXPECT_TRUE(root.path().empty());
}

TEST(UtlFileIoPtr, OwnsItsStream) {
  { UtlFileIoPtr none; }  // closes nothing
  UtlFileIoPtr file(std::tmpfile());
  ASSERT_NE(file.get(), nullptr);
  EXPECT_EQ(file.close(), 0);
  EXPECT_EQ(file.get(), nullptr);
  EXPECT_EQ(file.close(), 0);
  FILE* raw = std::tmpfile();
  UtlFileIoPtr owner(raw);
  EXPECT_EQ(owner.release(), raw);
  std::fclose(raw);
}

}  // namespace
}  // namespace Zel
