#include "ds/tree_walk.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <set>
#include <string>

namespace fs = std::filesystem;

namespace {

struct Collect : dsStringProcedure {
  std::set<std::string> paths;
  void operator()(const char* path) override { paths.insert(path); }
};

struct Scratch {
  Scratch() : path((fs::temp_directory_path() / "ds_tree_walk_XXXXXX").string()) {
    if (!mkdtemp(path.data())) throw std::runtime_error("mkdtemp failed");
  }
  ~Scratch() { fs::remove_all(path); }
  std::string path;
};

}  // namespace

TEST(TreeWalk, VisitsEveryFileBelowMatchesAndNeverFollowsLinksUnlessAsked) {
  Scratch dir;
  const std::string& d = dir.path;
  fs::create_directories(d + "/a/b/c");
  fs::create_directories(d + "/.hidden");
  fs::create_directories(d + "/other");
  std::ofstream(d + "/top.txt") << "12345";
  std::ofstream(d + "/a/b/c/deep.bin") << std::string(1000, 'x');
  std::ofstream(d + "/.hidden/h") << "hh";
  std::ofstream(d + "/other/o.txt") << "o";
  fs::create_directory_symlink(d + "/a", d + "/a/b/loop");
  fs::create_symlink(d + "/top.txt", d + "/link.txt");

  Collect files, dirs;
  EXPECT_TRUE(dsFindMatchingFilesAndDirs((d + "/*").c_str(), 0x2202, files, dirs, false));
  EXPECT_EQ(files.paths, (std::set<std::string>{d + "/top.txt", d + "/a/b/c/deep.bin", d + "/.hidden/h",
                                                d + "/other/o.txt"}));
  EXPECT_EQ(dirs.paths, (std::set<std::string>{d + "/a", d + "/a/b", d + "/a/b/c", d + "/.hidden",
                                               d + "/other"}));

  uint64_t total = 0;
  dsDirectorySizeAdder adder(&total);
  dsIgnoreString ignore;
  dsFindMatchingFilesAndDirs((d + "/*").c_str(), 0x2202, adder, ignore, false);
  EXPECT_EQ(total, 5u + 1000u + 2u + 1u);

  // The pattern filters the top level only; without the recursive flag nothing below.
  Collect top_files, top_dirs;
  dsFindMatchingFilesAndDirs((d + "/*.txt").c_str(), dsFindFiles | dsFindDirectories, top_files,
                             top_dirs, false);
  EXPECT_EQ(top_files.paths, (std::set<std::string>{d + "/top.txt"}));
  EXPECT_TRUE(top_dirs.paths.empty());

  // Following links reaches the linked file and enters the looping directory only once.
  Collect followed_files, followed_dirs;
  dsFindMatchingFilesAndDirs((d + "/*").c_str(), 0x2202, followed_files, followed_dirs, true);
  EXPECT_TRUE(followed_files.paths.count(d + "/link.txt"));
  EXPECT_EQ(followed_files.paths.size(), 5u);

  Collect none;
  EXPECT_FALSE(dsFindMatchingFilesAndDirs((d + "/missing/*").c_str(), 0x2202, none, none, false));
  EXPECT_FALSE(dsFindMatchingFilesAndDirs(nullptr, 0x2202, none, none, false));
  EXPECT_TRUE(none.paths.empty());
}

TEST(TreeWalk, TotalsPastFourGibibytesAreKeptWhole) {
  Scratch dir;
  // Sparse files: their sizes count, their disk use is nothing.
  for (const char* name : {"/big1", "/big2"}) {
    int fd = ::open((dir.path + name).c_str(), O_CREAT | O_WRONLY, 0600);
    ASSERT_GE(fd, 0);
    ASSERT_EQ(::ftruncate(fd, off_t{3} << 30), 0);
    ::close(fd);
  }
  uint64_t total = 0;
  dsDirectorySizeAdder adder(&total);
  dsIgnoreString ignore;
  dsFindMatchingFilesAndDirs((dir.path + "/*").c_str(), 0x2202, adder, ignore, false);
  EXPECT_EQ(total, uint64_t{6} << 30);
}
