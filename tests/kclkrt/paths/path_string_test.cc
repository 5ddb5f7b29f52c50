#include "kclkrt/paths/path_string.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <string>

TEST(PathString, WellFormedNormalization) {
  EXPECT_EQ(dsPathString_(" a//b\t").str(), "a/b");
  EXPECT_EQ(dsPathString_("///x////y//").str(), "/x/y/");
  EXPECT_EQ(dsPathString_(" \t\v\b\n\r\f").str(), "");
  EXPECT_EQ(dsPathString_("\bname\f").str(), "name");
  EXPECT_EQ(dsPathString_("in side").str(), "in side");  // inner blanks are the path's own
  EXPECT_EQ(dsPathString_(static_cast<const char*>(nullptr)).str(), "");

  dsPathString_ p;
  p = "  /again//x ";
  EXPECT_EQ(p.str(), "/again/x");
}

TEST(PathString, Join) {
  EXPECT_EQ((dsPathString_("/a/") / "/b/").str(), "/a/b");
  EXPECT_EQ((dsPathString_("") / "b").str(), "b");
  EXPECT_EQ((dsPathString_("/a") / "b" / "c.txt").str(), "/a/b/c.txt");
  EXPECT_EQ((dsPathString_("/") / "etc").str(), "/etc");
  EXPECT_EQ((dsPathString_("/a") / "/").str(), "/a/");  // one character of the element is kept
  EXPECT_EQ((dsPathString_("/a") / "x//y").str(), "/a/x/y");

  dsPathString_ self("/s");
  self.join(self.str());  // an element may be the path's own text
  EXPECT_EQ(self.str(), "/s/s");
}

TEST(PathString, CanonicalPathsStayCanonical) {
  char cwd[4096];
  ASSERT_NE(getcwd(cwd, sizeof cwd), nullptr);
  std::string here = cwd;
  if (here == "/") here.clear();

  dsPathString_ p = dsPathString_::canonical("x/./y/..");
  EXPECT_EQ(p.str(), here + "/x");
  p.join("../z");
  EXPECT_EQ(p.str(), here + "/z");
  p = "/a/b/../../..";
  EXPECT_EQ(p.str(), "/");
  EXPECT_EQ(dsPathString_::canonical("").str(), "");
}

TEST(PathString, EndOfFirstElement) {
  const dsPathString_ p("/usr/lib/x");
  EXPECT_EQ(p.end_of_first_element(0), 0u);  // a leading separator stands alone
  EXPECT_EQ(p.end_of_first_element(1), 3u);  // "usr"
  EXPECT_EQ(p.end_of_first_element(5), 7u);  // "lib"
  EXPECT_EQ(p.end_of_first_element(9), 9u);  // "x", up to the end
  EXPECT_EQ(dsEndOfFirstElement("rel/x", 0), 2u);
}
