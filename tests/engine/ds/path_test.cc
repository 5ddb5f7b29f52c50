#include "ds/path.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <climits>
#include <cstring>
#include <string>

namespace {

std::string canonicalize(const char* path) {
  char out[PATH_MAX];
  const char* r = dsCanonicalizePath(out, sizeof out, path, std::strlen(path));
  return r ? r : "<null>";
}

TEST(Path, CanonicalFormIsLexical) {
  EXPECT_EQ(canonicalize("/a//b/"), "/a/b");
  EXPECT_EQ(canonicalize("//"), "/");
  EXPECT_EQ(canonicalize("/a/b/../../../c/."), "/c");
  EXPECT_EQ(canonicalize("/a/.hidden/..b/c.."), "/a/.hidden/..b/c..");

  char cwd[PATH_MAX];
  ASSERT_NE(getcwd(cwd, sizeof cwd), nullptr);
  const std::string base = cwd;
  EXPECT_EQ(canonicalize("a/./b/../c"), (base == "/" ? "" : base) + "/a/c");
  EXPECT_EQ(canonicalize(""), base);
  EXPECT_EQ(canonicalize("./"), base);
}

TEST(Path, BoundsOfInputAndOutputAreHonoured) {
  char out[16];
  std::memset(out, '#', sizeof out);
  EXPECT_STREQ(dsCanonicalizePath(out, sizeof out, "/abc/def", 4), "/abc");
  EXPECT_EQ(out[5], '#');
  const char unterminated[] = {'/', 'x', '/', '.', '.', '/', 'y'};
  EXPECT_STREQ(dsCanonicalizePath(out, sizeof out, unterminated, sizeof unterminated), "/y");

  // "/abc/def" needs nine bytes with its terminator.
  EXPECT_STREQ(dsCanonicalizePath(out, 9, "/abc/def", 8), "/abc/def");
  std::memset(out, '#', sizeof out);
  EXPECT_EQ(dsCanonicalizePath(out, 8, "/abc/def", 8), nullptr);
  EXPECT_EQ(dsCanonicalizePath(out, 1, "/..", 3), nullptr);
  EXPECT_EQ(out[0], '#') << "a failed call wrote its output";
  EXPECT_STREQ(dsCanonicalizePath(out, 2, "/..", 3), "/");
  EXPECT_EQ(dsCanonicalizePath(out, sizeof out, nullptr, 3), nullptr);
}

}  // namespace
