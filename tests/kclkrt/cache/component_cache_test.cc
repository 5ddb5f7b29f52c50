#include "kclkrt/cache/component_cache.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <vector>

#include "kclkrt/cache/cache_errors.h"
#include "kclkrt/cache/cache_index.h"
#include "kclkrt/cache/cache_location.h"
#include "ds/directory_read_write_lock.h"
#include "support/subprocess.h"
#include "support/synthetic_component.h"

namespace fs = std::filesystem;
using korel::test::check_synthetic;
using korel::test::read_file;
using korel::test::SyntheticExtractor;
using korel::test::TempDir;

namespace {

std::shared_ptr<kclComponentCache> cache_with_limit(const std::string& directory, uint64_t limit) {
  fs::create_directories(directory);
  fs::permissions(directory, fs::perms::owner_all);  // whatever the umask: the cache's rule
  std::ofstream(directory + "/.max_size") << limit;
  return kclComponentCache::create(directory, limit);
}

// Gets and releases `key`: it becomes the most recently used component.
void use(kclComponentCache& cache, const std::string& key) {
  SyntheticExtractor extractor(key, 1000);
  cache.get_component(key, extractor);
}

}  // namespace

TEST(ComponentCache, ExtractsOnceReusesAndReExtractsWhatHasNoMarker) {
  TempDir dir;
  auto cache = cache_with_limit(dir.path() + "/cache", 1 << 20);
  SyntheticExtractor extractor("k1", 1000);
  auto entry = cache->get_component("k1", extractor);
  EXPECT_EQ(extractor.calls, 1);
  EXPECT_EQ(entry->directory(), cache->directory() + "/k1");
  EXPECT_EQ(check_synthetic(entry->directory(), "k1", 1000), "");
  EXPECT_TRUE(entry->locked());
  EXPECT_EQ(read_file(entry->directory() + "/.bytes_used"), "1000");

  // While it lives, the same entry: no disk, no locks.
  auto again = cache->get_component("k1", extractor);
  EXPECT_EQ(again, entry);
  entry.reset();
  again.reset();
  EXPECT_EQ(cache->get_component("k1", extractor)->name(), "k1");
  EXPECT_EQ(extractor.calls, 1);

  // No marker: an interrupted extraction, done again.
  fs::remove(cache->directory() + "/k1/.created.ts");
  std::ofstream(cache->directory() + "/k1/stray") << "left over";
  entry = cache->get_component("k1", extractor);
  EXPECT_EQ(extractor.calls, 2);
  EXPECT_EQ(check_synthetic(entry->directory(), "k1", 1000), "");
  EXPECT_FALSE(fs::exists(entry->directory() + "/stray"));
  kclComponentCacheIndex index(cache->directory());
  EXPECT_EQ(index.find("k1").bytes_used, 1000u);
}

TEST(ComponentCache, FailuresLeaveNothingBehind) {
  TempDir dir;
  auto cache = cache_with_limit(dir.path() + "/cache", 1 << 20);
  SyntheticExtractor failing("bad", 1000);
  failing.fail = true;
  try {
    cache->get_component("bad", failing);
    ADD_FAILURE() << "a failed extraction returned a component";
  } catch (const kclCacheExtractionError& e) {
    EXPECT_STREQ(e.what(), "An error occurred while trying to extract a component to the cache.");
  }
  EXPECT_FALSE(fs::exists(cache->directory() + "/bad"));
  EXPECT_FALSE(kclComponentCacheIndex(cache->directory()).contains("bad"));

  // Names that would leave the cache directory or pass for its own files.
  fs::create_directories(dir.path() + "/victim");
  for (const char* key : {"", ".", "..", "../victim", ".max_size", "a/b", "two\nlines"}) {
    SyntheticExtractor extractor(key, 10);
    EXPECT_THROW(cache->get_component(key, extractor), kclCacheExtractionError) << key;
    EXPECT_EQ(extractor.calls, 0) << key;
  }
  EXPECT_TRUE(fs::exists(dir.path() + "/victim"));
  EXPECT_EQ(read_file(cache->directory() + "/.max_size"), std::to_string(1 << 20));
}

TEST(ComponentCache, MaintenanceEvictsLeastRecentlyUsedFreeComponentsPastTheLimitOnly) {
  TempDir dir;
  const std::string path = dir.path() + "/cache";
  auto cache = cache_with_limit(path, 3000);
  SyntheticExtractor extractor("a", 1000);
  auto held = cache->get_component("a", extractor);
  use(*cache, "b");
  use(*cache, "c");
  // 3000 bytes in a cache of 3000: nothing goes.
  for (const char* key : {"a", "b", "c"}) EXPECT_TRUE(fs::exists(path + "/" + key)) << key;

  // One byte less room: the least recently used component that nobody holds goes, with
  // its lock file. a is the oldest but held (a lock object of its own, as another
  // process's would be), so b goes.
  auto smaller = cache_with_limit(path, 2999);
  use(*smaller, "c");
  EXPECT_EQ(check_synthetic(path + "/a", "a", 1000), "");
  EXPECT_FALSE(fs::exists(path + "/b"));
  EXPECT_FALSE(fs::exists(path + "/.b.rwlock"));
  EXPECT_TRUE(fs::exists(path + "/c"));
  kclComponentCacheIndex index(path);
  EXPECT_FALSE(index.contains("b"));
  EXPECT_EQ(index.total_bytes_used(), 2000u);
}

TEST(ComponentCache, LocationAndSizeComeFromTheEnvironmentAndMaxSizeFile) {
  TempDir dir;
  auto run = [&](const korel::test::Environment& env) {
    return korel::test::run_in_child([&] {
      for (const auto& [name, value] : env) {
        if (value)
          setenv(name.c_str(), value->c_str(), 1);
        else
          unsetenv(name.c_str());
      }
      auto cache = kclComponentCache::instance();
      if (cache != kclComponentCache::instance()) return 3;
      std::cout << kclGetComponentCacheRoot() << "|" << cache->directory() << "|"
                << cache->max_size();
      return 0;
    });
  };
  const std::string root = dir.path() + "/root";
  auto result = run({{"KRT_CACHE_ROOT", root}, {"KRT_CACHE_SIZE", "abc"}});
  EXPECT_EQ(result.out, root + "|" + root + "/.krtCache1.0|33554432") << result.err;
  struct stat st;
  ASSERT_EQ(::stat((root + "/.krtCache1.0").c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 0777, 0700u);
  EXPECT_EQ(read_file(root + "/.krtCache1.0/.max_size"), "33554432");

  // The file, once there, wins over the variable.
  EXPECT_EQ(run({{"KRT_CACHE_ROOT", root}, {"KRT_CACHE_SIZE", "5"}}).out,
            root + "|" + root + "/.krtCache1.0|33554432");
  const std::string other = dir.path() + "/other";
  EXPECT_EQ(run({{"KRT_CACHE_ROOT", other}, {"KRT_CACHE_SIZE", "4096"}}).out,
            other + "|" + other + "/.krtCache1.0|4096");
  EXPECT_EQ(run({{"KRT_CACHE_ROOT", dir.path() + "/neg"}, {"KRT_CACHE_SIZE", "-5"}}).out,
            dir.path() + "/neg|" + dir.path() + "/neg/.krtCache1.0|33554432");

  // An empty root is no root: the user's preference directory is used.
  result = run({{"KRT_CACHE_ROOT", ""}, {"HOME", dir.path() + "/home"}});
  EXPECT_EQ(result.out.substr(0, result.out.find('|')), dir.path() + "/home/.korel");
}

TEST(ComponentCache, RefusesADirectoryOthersMayWriteBeforeUsingIt) {
  TempDir dir;
  const std::string path = dir.path() + "/cache";
  fs::create_directories(path);
  for (auto mode : {fs::perms::owner_all | fs::perms::group_write,
                    fs::perms::owner_all | fs::perms::others_write | fs::perms::sticky_bit}) {
    fs::permissions(path, mode);
    EXPECT_THROW(kclComponentCache::create(path, 1000), kclCacheExtractionError)
        << std::oct << static_cast<int>(mode);
    EXPECT_TRUE(fs::is_empty(path));
  }
  fs::permissions(path, fs::perms::owner_all);
  EXPECT_EQ(kclComponentCache::create(path, 1000)->max_size(), 1000u);
  EXPECT_EQ(read_file(path + "/.max_size"), "1000");
}

TEST(ComponentCache, RefusesADirectoryOfAnotherUserBeforeUsingIt) {
  if (::geteuid() != 0) GTEST_SKIP() << "only root can give a directory to another user";
  TempDir dir;
  const std::string path = dir.path() + "/cache";
  fs::create_directories(path);
  fs::permissions(path, fs::perms::owner_all);
  ASSERT_EQ(::chown(path.c_str(), 65534, 65534), 0);
  EXPECT_THROW(kclComponentCache::create(path, 1000), kclCacheExtractionError);
  EXPECT_TRUE(fs::is_empty(path));
  // A link of another user's to this user's directory is no better.
  ASSERT_EQ(::chown(path.c_str(), 0, 0), 0);
  const std::string link = dir.path() + "/link";
  fs::create_directory_symlink(path, link);
  ASSERT_EQ(::lchown(link.c_str(), 65534, 65534), 0);
  EXPECT_THROW(kclComponentCache::create(link, 1000), kclCacheExtractionError);
  EXPECT_TRUE(fs::is_empty(path));
  ASSERT_EQ(::lchown(link.c_str(), 0, 0), 0);
  EXPECT_EQ(kclComponentCache::create(link, 1000)->directory(), link);
  EXPECT_EQ(read_file(path + "/.max_size"), "1000");
}

namespace {

// Everything below `dir`, the kind of each entry and the contents of each file.
std::map<std::string, std::string> contents(const std::string& dir) {
  std::map<std::string, std::string> seen;
  for (const auto& entry : fs::recursive_directory_iterator(dir)) {
    const std::string name = fs::relative(entry.path(), dir).string();
    if (entry.is_symlink()) seen[name] = "-> " + fs::read_symlink(entry.path()).string();
    else if (entry.is_directory()) seen[name] = "(directory)";
    else seen[name] = read_file(entry.path());
  }
  return seen;
}

// The entries of the cache directory whose names begin with `prefix`.
std::vector<std::string> entries_beginning(const std::string& dir, const std::string& prefix) {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(dir))
    if (entry.path().filename().string().rfind(prefix, 0) == 0) names.push_back(entry.path().filename());
  return names;
}

bool is_real_directory(const std::string& path) {
  struct stat st;
  return ::lstat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

// Writes the archive's own marker and size files first, then the synthetic component.
class ArchiveWithMarkers : public SyntheticExtractor {
 public:
  ArchiveWithMarkers(std::string key, size_t bytes, bool as_directories)
      : SyntheticExtractor(std::move(key), bytes), as_directories_(as_directories) {}
  bool extract(uint64_t& total, const std::string& target) override {
    for (const char* name : {"/.created.ts", "/.bytes_used"}) {
      if (as_directories_)
        fs::create_directories(target + name + "/inside");
      else
        std::ofstream(target + name) << 53;
    }
    return SyntheticExtractor::extract(total, target);
  }

 private:
  bool as_directories_;
};

}  // namespace

TEST(ComponentCache, NothingItRemovesWritesOrMarksIsReachedThroughALink) {
  TempDir dir;
  const std::string outside = dir.path() + "/outside";
  auto cache = cache_with_limit(dir.path() + "/cache", 1 << 20);
  const std::string k = cache->directory() + "/k";
  // What stands where the component directory should be, and what it leads to.
  struct Row {
    const char* what;
    std::function<void()> plant;
  };
  const std::vector<Row> rows{
      {"a link to a directory with a marker",
       [&] {
         fs::create_directories(outside);
         std::ofstream(outside + "/.created.ts");
         std::ofstream(outside + "/precious") << "kept";
         fs::create_directory_symlink(outside, k);
       }},
      {"a link to a complete copy elsewhere",
       [&] {
         SyntheticExtractor elsewhere("k", 1000);
         uint64_t ignored;
         elsewhere.extract(ignored, outside);
         std::ofstream(outside + "/.created.ts");
         fs::create_directory_symlink(outside, k);
       }},
      {"a dangling link", [&] { fs::create_symlink(outside + "/nothing", k); }},
      {"a file", [&] { std::ofstream(k) << "not a directory"; }},
      {"a fifo", [&] { ASSERT_EQ(::mkfifo(k.c_str(), 0600), 0); }},
  };
  for (const Row& row : rows) {
    fs::remove_all(k);
    fs::remove_all(outside);
    fs::create_directories(outside);
    row.plant();
    const auto before = contents(outside);
    SyntheticExtractor extractor("k", 1000);
    auto entry = cache->get_component("k", extractor);
    EXPECT_EQ(extractor.calls, 1) << row.what;
    EXPECT_TRUE(is_real_directory(k)) << row.what;
    EXPECT_EQ(check_synthetic(k, "k", 1000), "") << row.what;
    EXPECT_EQ(contents(outside), before) << row.what;
    // No lock file was made beside the link's target either.
    EXPECT_EQ(entries_beginning(dir.path(), ".outside"), std::vector<std::string>{}) << row.what;
  }

  // A complete component whose size file is a link: measured again, written in place.
  std::ofstream(outside + "/size") << "53";
  fs::remove(k + "/.bytes_used");
  fs::create_symlink(outside + "/size", k + "/.bytes_used");
  {
    SyntheticExtractor extractor("k", 1000);
    kclComponentCache::create(cache->directory(), 1 << 20)->get_component("k", extractor);
  }
  EXPECT_EQ(read_file(outside + "/size"), "53");
  EXPECT_EQ(read_file(k + "/.bytes_used"), "1000");
  EXPECT_FALSE(fs::is_symlink(k + "/.bytes_used"));

  // The index is written aside and renamed into place: a link planted as the file aside
  // is replaced, not written through.
  fs::create_symlink(outside + "/size", cache->directory() + "/.krt_cache_index.new");
  use(*kclComponentCache::create(cache->directory(), 1 << 20), "other");
  EXPECT_EQ(read_file(outside + "/size"), "53");
  EXPECT_TRUE(kclComponentCacheIndex(cache->directory()).contains("other"));
}

TEST(ComponentCache, AnArchivesOwnMarkersAreNeverTakenForTheCaches) {
  TempDir dir;
  auto cache = cache_with_limit(dir.path() + "/cache", 1 << 20);
  for (bool as_directories : {false, true}) {
    const std::string key = as_directories ? "dirs" : "files";
    ArchiveWithMarkers extractor(key, 1000, as_directories);
    auto entry = cache->get_component(key, extractor);
    EXPECT_EQ(check_synthetic(entry->directory(), key, 1000), "") << key;
    EXPECT_EQ(read_file(entry->directory() + "/.bytes_used"), "1000") << key;
    EXPECT_TRUE(fs::is_regular_file(entry->directory() + "/.created.ts")) << key;
    EXPECT_EQ(read_file(entry->directory() + "/.created.ts"), "") << key;
    EXPECT_EQ(kclComponentCacheIndex(cache->directory()).find(key).bytes_used, 1000u) << key;
  }
}

TEST(ComponentCache, SizesCountEveryFileHoweverDeepAndUnmeasurableComponentsAreNeverMarked) {
  TempDir dir;
  auto cache = cache_with_limit(dir.path() + "/cache", uint64_t{1} << 30);
  // The synthetic 1000 bytes, and 4 MiB at the bottom of a chain of directories whose
  // path is far longer than PATH_MAX: it can only be made, and seen, by descriptors.
  constexpr size_t kDeep = 4 << 20;
  struct Deep : SyntheticExtractor {
    Deep() : SyntheticExtractor("deep", 1000) {}
    bool extract(uint64_t& total, const std::string& target) override {
      if (!SyntheticExtractor::extract(total, target)) return false;
      int fd = ::open(target.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
      for (int level = 0; level < 300 && fd >= 0; ++level) {
        const std::string name(40, 'd');
        ::mkdirat(fd, name.c_str(), 0700);
        int next = ::openat(fd, name.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        ::close(fd);
        fd = next;
      }
      if (fd < 0) return false;
      int file = ::openat(fd, "bottom.dat", O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
      ::close(fd);
      const bool written = file >= 0 && ::ftruncate(file, kDeep) == 0;
      if (file >= 0) ::close(file);
      return written;
    }
  } deep;
  {
    auto entry = cache->get_component("deep", deep);
    EXPECT_EQ(read_file(entry->directory() + "/.bytes_used"), std::to_string(1000 + kDeep));
    EXPECT_EQ(kclComponentCacheIndex(cache->directory()).find("deep").bytes_used, 1000 + kDeep);
  }
  // Its true size puts it past a smaller limit: it is evicted, every level of it.
  use(*cache_with_limit(cache->directory(), kDeep), "small");
  EXPECT_FALSE(fs::exists(cache->directory() + "/deep"));
  EXPECT_TRUE(fs::exists(cache->directory() + "/small"));

  // A subtree its user cannot read cannot be measured: the component is not marked
  // complete, nor put in place. Root reads anything, so the cache runs as nobody then.
  const bool as_root = ::geteuid() == 0;
  // The cache's lock file goes beside it: its parent is the user's too.
  const std::string home = dir.path() + "/home", unreadable = home + "/cache";
  fs::create_directories(unreadable);
  fs::permissions(unreadable, fs::perms::owner_all);
  fs::permissions(dir.path(), fs::perms::owner_all | fs::perms::others_exec);
  if (as_root) {
    for (const std::string& path : {home, unreadable})
      ASSERT_EQ(::chown(path.c_str(), 65534, 65534), 0);
  }
  auto refused = korel::test::run_in_child([&] {
    if (as_root && (::setgid(65534) != 0 || ::setuid(65534) != 0)) return 125;
    struct Closed : SyntheticExtractor {
      Closed() : SyntheticExtractor("closed", 1000) {}
      bool extract(uint64_t& total, const std::string& target) override {
        SyntheticExtractor::extract(total, target);
        return ::chmod((target + "/sub").c_str(), 0) == 0;
      }
    } closed;
    auto nobodys = kclComponentCache::create(unreadable, 1 << 20);
    try {
      nobodys->get_component("closed", closed);
      return 1;
    } catch (const kclCacheExtractionError&) {
      return closed.calls == 1 ? 0 : 2;
    }
  });
  EXPECT_EQ(refused.exit_code, 0) << refused.out << refused.err;
  EXPECT_FALSE(fs::exists(unreadable + "/closed"));
  const auto readable = fs::directory_options::skip_permission_denied;
  for (const auto& entry : fs::recursive_directory_iterator(unreadable, readable))
    EXPECT_NE(entry.path().filename(), ".created.ts") << entry.path();
}

TEST(ComponentCache, ADamagedComponentIsReplacedAndRemovedOnceNobodyHoldsIt) {
  TempDir dir;
  auto cache = cache_with_limit(dir.path() + "/cache", 1 << 20);
  const std::string k = cache->directory() + "/k";
  const auto intact = [](const std::string& directory) {
    return fs::exists(directory + "/a.k");
  };
  SyntheticExtractor extractor("k", 1000);
  cache->get_component("k", extractor, intact);
  cache->get_component("k", extractor, intact);
  EXPECT_EQ(extractor.calls, 1) << "an intact component was extracted again";

  // Nobody holds it: the fresh copy takes its place and the damaged one goes at once.
  fs::remove(k + "/a.k");
  std::ofstream(k + "/stray") << "left over";
  {
    auto entry = cache->get_component("k", extractor, intact);
    EXPECT_EQ(extractor.calls, 2);
    EXPECT_EQ(check_synthetic(k, "k", 1000), "");
    EXPECT_FALSE(fs::exists(k + "/stray"));
    EXPECT_EQ(entries_beginning(cache->directory(), ".k.damaged-"), std::vector<std::string>{});
    EXPECT_TRUE(entry->locked());
  }

  // Held by another (a lock object of its own, as another process's would be): the
  // damaged copy waits aside while the holder lives, and goes with a later start.
  auto holder = std::make_unique<dsDirectoryReadWriteLock::ReadLock>(
      std::make_shared<dsDirectoryReadWriteLock::Impl>(k));
  ASSERT_TRUE(holder->acquire(0, Tenbrook::System::TimeUnit::sSeconds(), false));
  fs::remove(k + "/a.k");
  {
    auto entry = cache->get_component("k", extractor, intact);
    EXPECT_EQ(extractor.calls, 3);
    EXPECT_EQ(check_synthetic(k, "k", 1000), "");
    const auto aside = entries_beginning(cache->directory(), ".k.damaged-");
    ASSERT_EQ(aside.size(), 1u);
    EXPECT_FALSE(fs::exists(cache->directory() + "/" + aside[0] + "/a.k"));
  }
  use(*cache, "other");
  EXPECT_EQ(entries_beginning(cache->directory(), ".k.damaged-").size(), 1u);
  holder.reset();
  use(*cache, "other");
  EXPECT_EQ(entries_beginning(cache->directory(), ".k.damaged-"), std::vector<std::string>{});
  kclComponentCacheIndex index(cache->directory());
  EXPECT_EQ(index.find("k").bytes_used, 1000u);
  EXPECT_EQ(index.size(), 2u);
}
