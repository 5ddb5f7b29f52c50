#include "ds/tree_size.h"

#include <dirent.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "support/subprocess.h"

namespace fs = std::filesystem;

namespace {

// Makes a chain of `levels` directories below the directory open at `fd`, by
// descriptors, and a file of `bytes` at its bottom; false when any step failed.
bool deep_file(int fd, int levels, off_t bytes) {
  int at = ::dup(fd);
  for (int i = 0; i < levels && at >= 0; ++i) {
    const std::string name(100, 'd');
    ::mkdirat(at, name.c_str(), 0700);
    int next = ::openat(at, name.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    ::close(at);
    at = next;
  }
  if (at < 0) return false;
  int file = ::openat(at, "bottom", O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
  ::close(at);
  const bool made = file >= 0 && ::ftruncate(file, bytes) == 0;
  if (file >= 0) ::close(file);
  return made;
}

}  // namespace

TEST(TreeSize, CountsRegularFilesAtAnyDepthAndNothingALinkLeadsTo) {
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
  int fd = ::open(top.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  ASSERT_GE(fd, 0);
  // 60 levels of 101 characters: some 6,000 characters of path, past PATH_MAX.
  ASSERT_TRUE(deep_file(fd, 60, 1 << 20));
  const uint64_t expected = 10 + 200 + (1 << 20);

  uint64_t total = 0;
  EXPECT_TRUE(dsTreeSize(top, total));
  EXPECT_EQ(total, expected);
  // From a descriptor that was read to its end already: counted from the first entry.
  std::unique_ptr<DIR, int (*)(DIR*)> listing(::fdopendir(::dup(fd)), ::closedir);
  while (::readdir(listing.get()) != nullptr) {
  }
  total = 0;
  EXPECT_TRUE(dsTreeSizeAt(fd, total));
  EXPECT_EQ(total, expected);
  ::close(fd);

  // Only a directory of its own has a size: not a link to one, not what is missing.
  total = 0;
  EXPECT_FALSE(dsTreeSize(top + "/sub/to_outside", total));
  EXPECT_FALSE(dsTreeSize(tmp.path() + "/missing", total));
  EXPECT_EQ(total, 0u);
}

TEST(TreeSize, APartThatCannotBeReadFailsTheWholeSize) {
  korel::test::TempDir tmp;
  // Root reads anything: the walk runs as nobody then, in a tree nobody owns.
  const bool as_root = ::geteuid() == 0;
  const std::string top = tmp.path() + "/top";
  fs::create_directories(top + "/closed/below");
  std::ofstream(top + "/a") << "aaaa";
  std::ofstream(top + "/closed/below/b") << "bb";
  fs::permissions(tmp.path(), fs::perms::owner_all | fs::perms::others_exec);
  if (as_root) {
    for (const std::string& path : {top, top + "/closed"})
      ASSERT_EQ(::chown(path.c_str(), 65534, 65534), 0);
  }
  ASSERT_EQ(::chmod((top + "/closed").c_str(), 0), 0);
  auto measured = korel::test::run_in_child([&] {
    if (as_root && (::setgid(65534) != 0 || ::setuid(65534) != 0)) return 125;
    uint64_t total = 0;
    if (dsTreeSize(top, total)) return 1;
    return total <= 4 ? 0 : 2;
  });
  ::chmod((top + "/closed").c_str(), 0700);
  EXPECT_EQ(measured.exit_code, 0) << measured.out << measured.err;
}
