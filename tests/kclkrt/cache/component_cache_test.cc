#include "kclkrt/cache/component_cache.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "kclkrt/cache/cache_errors.h"
#include "kclkrt/cache/cache_index.h"
#include "kclkrt/cache/cache_location.h"
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
