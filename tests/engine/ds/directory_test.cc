#include "ds/directory.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

TEST(Directory, TestsFollowLinksAndRejectWhatIsMissing) {
  std::string dir = (std::filesystem::temp_directory_path() / "ds_directory_test_XXXXXX").string();
  ASSERT_NE(mkdtemp(dir.data()), nullptr);
  const std::string file = dir + "/data.bin", link = dir + "/link", dangling = dir + "/dangling",
                    under_file = file + "/x";
  std::ofstream(file, std::ios::binary) << "12345";
  std::filesystem::create_symlink(file, link);
  std::filesystem::create_symlink(dir + "/missing", dangling);

  EXPECT_TRUE(dsIsDirectory(dir.c_str()) && !dsIsRegularFile(dir.c_str()));
  EXPECT_TRUE(dsIsRegularFile(link.c_str()) && !dsIsDirectory(link.c_str()));
  uint64_t size = 99;
  EXPECT_TRUE(dsGetFileSize(link.c_str(), &size));
  EXPECT_EQ(size, 5u);
  size = 99;
  for (const char* absent : {dangling.c_str(), under_file.c_str(), static_cast<const char*>(nullptr)}) {
    EXPECT_FALSE(dsExists(absent) || dsIsDirectory(absent) || dsIsRegularFile(absent));
    EXPECT_FALSE(dsGetFileSize(absent, &size));
  }
  EXPECT_FALSE(dsGetFileSize(dir.c_str(), &size));
  EXPECT_EQ(size, 99u) << "a failed call changed the size";
  std::filesystem::remove_all(dir);
}
