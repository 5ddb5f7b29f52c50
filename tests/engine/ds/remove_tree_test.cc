#include "ds/remove_tree.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "ds/sync_tree.h"

namespace fs = std::filesystem;

namespace {

struct Scratch {
  Scratch() : path((fs::temp_directory_path() / "ds_remove_tree_XXXXXX").string()) {
    if (!mkdtemp(path.data())) throw std::runtime_error("mkdtemp failed");
  }
  ~Scratch() {
    std::error_code ignored;
    fs::remove_all(path, ignored);
  }
  std::string path;
};

struct Problem {
  dsRemoveProblem problem;
  std::string path;
  int error;
  bool operator==(const Problem&) const = default;
};

dsRemoveReporter into(std::vector<Problem>& seen) {
  return [&seen](dsRemoveProblem problem, const std::string& path, int error) {
    seen.push_back({problem, path, error});
  };
}

bool gone(const std::string& path) {
  struct stat st;
  return ::lstat(path.c_str(), &st) != 0 && errno == ENOENT;
}

}  // namespace

TEST(RemoveTree, RemovesEverythingBelowAndNeverFollowsLinks) {
  Scratch dir;
  const std::string top = dir.path + "/top", outside = dir.path + "/outside";
  fs::create_directories(top + "/sub/deeper");
  fs::create_directories(outside);
  std::ofstream(outside + "/keep") << "kept";
  std::ofstream(top + "/.hidden") << "x";
  std::ofstream(top + "/sub/deeper/file") << "x";
  ASSERT_EQ(::mkfifo((top + "/sub/fifo").c_str(), 0600), 0);
  fs::create_directory_symlink(outside, top + "/sub/to_outside");
  fs::create_symlink(outside + "/keep", top + "/to_keep");
  fs::create_symlink(dir.path + "/nowhere", top + "/dangling");

  std::vector<Problem> seen;
  EXPECT_TRUE(dsRemoveTree(top + "/", into(seen)));
  EXPECT_TRUE(gone(top));
  std::error_code missing;
  EXPECT_EQ(fs::file_size(outside + "/keep", missing), 4u);

  // A top that is not a directory is removed itself, a link to a directory included.
  fs::create_directory_symlink(outside, dir.path + "/link");
  ASSERT_EQ(::mkfifo((dir.path + "/fifo").c_str(), 0600), 0);
  EXPECT_TRUE(dsRemoveTree(dir.path + "/link", into(seen)));
  EXPECT_TRUE(dsRemoveTree(dir.path + "/fifo", into(seen)));
  EXPECT_TRUE(gone(dir.path + "/link") && gone(dir.path + "/fifo"));
  EXPECT_TRUE(fs::exists(outside + "/keep"));

  EXPECT_TRUE(dsRemoveTree(dir.path + "/missing", into(seen)));
  EXPECT_TRUE(seen.empty());
  std::ofstream(dir.path + "/plain") << "x";
  EXPECT_FALSE(dsRemoveTree(dir.path + "/plain/below", into(seen)));
  EXPECT_EQ(seen, (std::vector<Problem>{{dsRemoveProblem::cannot_stat, dir.path + "/plain/below", ENOTDIR}}));

  // From a parent's descriptor: one element only, and a link there goes itself.
  seen.clear();
  const int parent = ::open(dir.path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  ASSERT_GE(parent, 0);
  fs::create_directory_symlink(outside, dir.path + "/again");
  EXPECT_FALSE(dsRemoveTreeAt(parent, "outside/keep", "shown", into(seen)));
  EXPECT_TRUE(dsRemoveTreeAt(parent, "again", "shown", into(seen)));
  ::close(parent);
  EXPECT_TRUE(gone(dir.path + "/again"));
  EXPECT_TRUE(fs::exists(outside + "/keep"));
  EXPECT_EQ(seen, (std::vector<Problem>{{dsRemoveProblem::cannot_remove, "shown", EINVAL}}));
}

TEST(RemoveTree, DepthIsBoundedNeitherByTheStackNorByDescriptors) {
  Scratch dir;
  // Built by descriptors: the full path is far past PATH_MAX.
  int fd = ::open(dir.path.c_str(), O_RDONLY | O_DIRECTORY);
  for (int i = 0; i < 3000; ++i) {
    const char* name = i == 0 ? "deep" : "d";
    ASSERT_EQ(::mkdirat(fd, name, 0700), 0);
    int next = ::openat(fd, name, O_RDONLY | O_DIRECTORY);
    ::close(fd);
    fd = next;
    ASSERT_GE(fd, 0);
    if (i % 100 == 0) ::close(::openat(fd, "file", O_CREAT | O_WRONLY, 0600));
  }
  ::close(fd);

  // Few descriptors beyond those open now, and a stack far smaller than a frame a level.
  int highest = 0;
  for (const auto& entry : fs::directory_iterator("/proc/self/fd"))
    highest = std::max(highest, std::stoi(entry.path().filename().string()));
  rlimit saved, tight;
  ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &saved), 0);
  tight = saved;
  tight.rlim_cur = highest + 64;
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &tight), 0);
  struct Run {
    std::string top;
    std::vector<Problem> seen;
    bool removed;
  } run{dir.path + "/deep", {}, false};
  pthread_attr_t small_stack;
  pthread_attr_init(&small_stack);
  pthread_attr_setstacksize(&small_stack, 256 * 1024);
  pthread_t thread;
  auto body = [](void* argument) -> void* {
    auto* run = static_cast<Run*>(argument);
    run->removed = dsRemoveTree(run->top, into(run->seen));
    return nullptr;
  };
  int started = pthread_create(&thread, &small_stack, body, &run);
  if (started == 0) pthread_join(thread, nullptr);
  pthread_attr_destroy(&small_stack);
  ::setrlimit(RLIMIT_NOFILE, &saved);

  ASSERT_EQ(started, 0);
  EXPECT_TRUE(run.removed);
  EXPECT_TRUE(run.seen.empty());
  EXPECT_TRUE(gone(run.top));
}

TEST(RemoveTree, ReportsWhatStaysAndStopsWhenTheTreeIsMovedAway) {
  if (::geteuid() == 0) GTEST_SKIP() << "root is not refused by permissions";
  Scratch dir;
  const std::string top = dir.path + "/top";
  fs::create_directories(top + "/ro");
  fs::create_directories(top + "/other/below");
  std::ofstream(top + "/ro/a") << "x";
  std::ofstream(top + "/ro/b") << "x";
  std::ofstream(top + "/other/below/file") << "x";
  ASSERT_EQ(::chmod((top + "/ro").c_str(), 0555), 0);

  std::vector<Problem> seen;
  EXPECT_FALSE(dsRemoveTree(top, into(seen)));
  std::sort(seen.begin(), seen.end(), [](const Problem& x, const Problem& y) { return x.path < y.path; });
  // The directories holding what stays are not reported again.
  EXPECT_EQ(seen, (std::vector<Problem>{{dsRemoveProblem::cannot_remove, top + "/ro/a", EACCES},
                                        {dsRemoveProblem::cannot_remove, top + "/ro/b", EACCES}}));
  EXPECT_TRUE(gone(top + "/other"));
  ::chmod((top + "/ro").c_str(), 0755);

  // A chain deeper than the descriptors kept open, so the way up goes through "..";
  // halfway down it is moved out of the tree while the walk is at its bottom.
  std::string chain = dir.path + "/chain", halfway, bottom = chain;
  for (int i = 0; i < 100; ++i) {
    bottom += "/d";
    if (i == 49) halfway = bottom;
  }
  fs::create_directories(bottom + "/ro");
  std::ofstream(bottom + "/ro/stays") << "x";
  ASSERT_EQ(::chmod((bottom + "/ro").c_str(), 0555), 0);
  const std::string moved = dir.path + "/moved";
  seen.clear();
  auto reporter = [&](dsRemoveProblem problem, const std::string& path, int error) {
    if (seen.empty()) ::rename(halfway.c_str(), moved.c_str());
    seen.push_back({problem, path, error});
  };
  EXPECT_FALSE(dsRemoveTree(chain, reporter));
  ASSERT_EQ(seen.size(), 2u);
  EXPECT_EQ(seen[0].path, bottom + "/ro/stays");
  EXPECT_EQ(seen[1], (Problem{dsRemoveProblem::cannot_open_directory,
                              halfway.substr(0, halfway.size() - 2), ESTALE}));
  EXPECT_TRUE(fs::exists(moved + bottom.substr(halfway.size()) + "/ro/stays"));
  ::chmod((moved + bottom.substr(halfway.size()) + "/ro").c_str(), 0755);
}

TEST(SyncTree, FlushesATreeWithoutFollowingLinksOrOpeningSpecialFiles) {
  Scratch dir;
  const std::string top = dir.path + "/top";
  fs::create_directories(top + "/sub/deeper");
  std::ofstream(top + "/file") << "x";
  std::ofstream(top + "/sub/deeper/file") << "x";
  fs::create_directory_symlink(dir.path, top + "/sub/up");
  fs::create_symlink(dir.path + "/nowhere", top + "/dangling");
  // Opening a fifo for reading waits for a writer: the walk must not hang on it.
  ASSERT_EQ(::mkfifo((top + "/sub/fifo").c_str(), 0600), 0);

  EXPECT_TRUE(dsSyncTree(top));
  EXPECT_TRUE(dsSyncTree(top + "/file"));
  EXPECT_FALSE(dsSyncTree(dir.path + "/missing"));
  if (::geteuid() != 0) {  // root is not refused by permissions
    // One file that cannot be opened fails the whole tree.
    ASSERT_EQ(::chmod((top + "/sub/deeper/file").c_str(), 0200), 0);
    EXPECT_FALSE(dsSyncTree(top));
  }
}
