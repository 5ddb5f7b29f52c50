#include "sv/settings.h"

#include <gtest/gtest.h>
#include <pwd.h>
#include <unistd.h>

#include <cstdlib>

TEST(Settings, RootIsTheStagedBuildRoot) {
  const std::string root = svKorelRoot();
  EXPECT_TRUE(root.ends_with("/krt")) << root;
  if (const char* build = std::getenv("KOREL_TEST_BINARY_DIR")) {
    EXPECT_EQ(root, std::string(build) + "/krt");
  }
  EXPECT_EQ(svGetBinArchDir(), root + "/bin/linux-x86_64");
}

TEST(Settings, PreferencePrefixFollowsHomeElseThePasswordDatabase) {
  const char* saved = std::getenv("HOME");
  const std::string original = saved ? saved : "";
  setenv("HOME", "/home/someone/", 1);
  EXPECT_EQ(svGetDefaultPrefDirPrefix(), "/home/someone/.korel");
  setenv("HOME", "/", 1);
  EXPECT_EQ(svGetDefaultPrefDirPrefix(), "/.korel");

  const passwd* entry = getpwuid(getuid());
  const std::string expected = entry && *entry->pw_dir ? std::string(entry->pw_dir) + "/.korel" : "";
  setenv("HOME", "", 1);
  EXPECT_EQ(svGetDefaultPrefDirPrefix(), expected);
  unsetenv("HOME");
  EXPECT_EQ(svGetDefaultPrefDirPrefix(), expected);
  if (saved) setenv("HOME", original.c_str(), 1);
}
