// Copying and removing directory trees with the runtime's own reports.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "kclkrt/paths/tree_copy.h"
#include "kclkrt/paths/tree_remove.h"
#include "korel/kclkrt.h"
#include "support/captured_output.h"
#include "support/subprocess.h"

namespace {

namespace fs = std::filesystem;
using korel::test::Captured;
using korel::test::read_file;

void write(const fs::path& path, const std::string& text) {
  fs::create_directories(path.parent_path());
  std::ofstream(path) << text;
}

class TreeOperations : public ::testing::Test {
 protected:
  void SetUp() override { kclSetInternalErrorHandler(&Captured::internal); }
  void TearDown() override {
    kclSetInternalErrorHandler(nullptr);
    Captured::take_internal();
  }
  korel::test::TempDir dir;
  fs::path root{dir.path()};
};

}  // namespace

TEST_F(TreeOperations, CopyKeepsToTheDestinationAndHonoursOverwrite) {
  write(root / "from/a.txt", std::string(3000, 'a'));  // more than one block
  write(root / "from/sub/deeper/b.txt", "b");
  fs::create_directories(root / "from/empty");
  fs::create_symlink("/etc/passwd", root / "from/link");
  fs::create_directories(root / "to");
  ASSERT_TRUE(kcl::copy_directory_tree((root / "from").string(), (root / "to").string(), true));
  EXPECT_EQ(read_file(root / "to/a.txt"), std::string(3000, 'a'));
  EXPECT_EQ(read_file(root / "to/sub/deeper/b.txt"), "b");
  EXPECT_TRUE(fs::is_directory(root / "to/empty"));
  EXPECT_FALSE(fs::exists(fs::symlink_status(root / "to/link")));  // links are not copied
  EXPECT_EQ(Captured::take_internal(), "");

  // Without overwrite an existing file stays as it is, reported, and the rest goes on.
  write(root / "to/a.txt", "mine");
  fs::remove(root / "to/sub/deeper/b.txt");
  EXPECT_FALSE(kcl::copy_directory_tree((root / "from").string(), (root / "to").string(), false));
  EXPECT_EQ(read_file(root / "to/a.txt"), "mine");
  EXPECT_EQ(read_file(root / "to/sub/deeper/b.txt"), "b");
  EXPECT_EQ(Captured::take_internal(), "Could not write to file '" + (root / "to/a.txt").string() +
                                           "'. The file exists, and overwrite permission has been denied\n");

  // A link planted in the destination is not written through.
  write(root / "outside.txt", "outside");
  fs::remove(root / "to/a.txt");
  fs::create_symlink(root / "outside.txt", root / "to/a.txt");
  EXPECT_FALSE(kcl::copy_directory_tree((root / "from").string(), (root / "to").string(), true));
  EXPECT_EQ(read_file(root / "outside.txt"), "outside");
  EXPECT_EQ(Captured::take_internal().rfind("Could not open file '" + (root / "to/a.txt").string() + "'. Reason: '", 0), 0u);
}

TEST_F(TreeOperations, RemoveReportsWhatStaysWhenAsked) {
  write(root / "tree/keep/file", "x");
  write(root / "tree/other", "y");
  ASSERT_TRUE(kcl::remove_directory_tree((root / "missing").string(), true));
  if (geteuid() == 0) {
    EXPECT_TRUE(kcl::remove_directory_tree((root / "tree").string(), true));
    GTEST_SKIP() << "permissions do not stop root";
  }
  chmod((root / "tree/keep").c_str(), 0500);
  EXPECT_FALSE(kcl::remove_directory_tree((root / "tree").string(), false));
  EXPECT_EQ(Captured::take_internal(), "");
  EXPECT_FALSE(fs::exists(root / "tree/other"));  // the walk went on past the failure
  EXPECT_FALSE(kcl::remove_directory_tree((root / "tree").string(), true));
  EXPECT_EQ(Captured::take_internal().rfind("Failed to remove this file or directory: \n '" +
                                                (root / "tree/keep/file").string() + "'. \n Reason: Permission denied\n", 0),
            0u);
  chmod((root / "tree/keep").c_str(), 0700);
  EXPECT_TRUE(kcl::remove_directory_tree((root / "tree").string(), true));
}
