#include "ds/tree_size.h"

#include <dirent.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

#include "support/subprocess.h"

namespace fs = std::filesystem;

// Depth past PATH_MAX and unreadable parts: see the component cache's tests, which
// measure such components through this walk.
TEST(TreeSize, CountsRegularFilesOnlyAndNothingALinkLeadsTo) {
  korel::test::TempDir tmp;
  const std::string top = tmp.path() + "/top", outside = tmp.path() + "/outside";
  fs::create_directories(top + "/sub/.hidden");
  fs::create_directories(outside);
  std::ofstream(top + "/a") << std::string(10, 'a');
  std::ofstream(top + "/sub/.hidden/b") << std::string(200, 'b');
  std::ofstream(outside + "/big") << std::string(5000, 'x');
  fs::create_symlink(outside + "/big", top + "/to_big");
  fs::create_directory_symlink(outside, top + "/sub/to_outside");
  ASSERT_EQ(::mkfifo((top + "/fifo").c_str(), 0600), 0);

  uint64_t total = 0;
  EXPECT_TRUE(dsTreeSize(top, total));
  EXPECT_EQ(total, 210u);
  // From a descriptor that was read to its end already: counted from the first entry.
  int fd = ::open(top.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  ASSERT_GE(fd, 0);
  std::unique_ptr<DIR, int (*)(DIR*)> listing(::fdopendir(::dup(fd)), ::closedir);
  while (::readdir(listing.get()) != nullptr) {
  }
  total = 0;
  EXPECT_TRUE(dsTreeSizeAt(fd, total));
  EXPECT_EQ(total, 210u);
  ::close(fd);

  // Only a directory of its own has a size: not a link to one, not what is missing.
  total = 0;
  EXPECT_FALSE(dsTreeSize(top + "/sub/to_outside", total));
  EXPECT_FALSE(dsTreeSize(tmp.path() + "/missing", total));
  EXPECT_EQ(total, 0u);
}
