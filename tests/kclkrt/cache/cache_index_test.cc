#include "kclkrt/cache/cache_index.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <boost/date_time/posix_time/posix_time.hpp>
#include <filesystem>
#include <fstream>

#include "support/subprocess.h"

namespace fs = std::filesystem;
using korel::test::read_file;
using korel::test::TempDir;
using Index = kclComponentCacheIndex;

namespace {

// A cache directory with two extracted components: alpha knows its size, beta does not.
struct CacheDir {
  CacheDir() {
    fs::create_directories(path + "/alpha");
    std::ofstream(path + "/alpha/.bytes_used") << 123;
    fs::create_directories(path + "/beta/sub");
    std::ofstream(path + "/beta/f") << std::string(40, 'b');
    std::ofstream(path + "/beta/sub/g") << std::string(2, 'g');
    // None of these is a component.
    fs::create_directories(path + "/.hidden");
    fs::create_directory_symlink(path + "/alpha", path + "/link");
    std::ofstream(path + "/.max_size") << 1000;
  }
  void write_index(const std::string& text) { std::ofstream(path + "/.krt_cache_index") << text; }
  std::string index_text() const { return read_file(path + "/.krt_cache_index"); }

  TempDir dir;
  std::string path = dir.path() + "/cache";
};

const char* kAlphaRecord = "alpha\nalpha\n999\n2026-Nov-20 10:11:12.250000\n";

}  // namespace

TEST(CacheIndex, IsRebuiltFromTheDirectoriesAndWrittenOnlyWhenItChanged) {
  CacheDir cache;
  {
    Index index(cache.path);  // no file yet
    ASSERT_EQ(index.size(), 2u);
    EXPECT_EQ(index.find("alpha").bytes_used, 123u);
    EXPECT_EQ(index.find("beta").bytes_used, 42u);
    EXPECT_EQ(index.find("beta").directory_name, "beta");
    EXPECT_FALSE(index.write_needed());
  }
  EXPECT_EQ(read_file(cache.path + "/beta/.bytes_used"), "42");
  std::string written = cache.index_text();
  EXPECT_EQ(std::count(written.begin(), written.end(), '\n'), 8);

  // An unchanged index is read and left as it is, file and all.
  struct stat before, after;
  ASSERT_EQ(::stat((cache.path + "/.krt_cache_index").c_str(), &before), 0);
  { Index index(cache.path); }
  ASSERT_EQ(::stat((cache.path + "/.krt_cache_index").c_str(), &after), 0);
  EXPECT_EQ(before.st_ino, after.st_ino);
  EXPECT_EQ(before.st_mtim.tv_nsec, after.st_mtim.tv_nsec);
  EXPECT_EQ(cache.index_text(), written);

  // A change is written when the index goes, and times come back to the microsecond.
  boost::posix_time::ptime used;
  {
    Index index(cache.path);
    index.update_last_used("alpha");
    used = index.find("alpha").last_used;
    EXPECT_EQ(index.by_last_used().back().name, "alpha");
    EXPECT_THROW(index.update_last_used("gamma"), Index::component_not_found);
    try {
      index.find("gamma");
      ADD_FAILURE();
    } catch (const Index::component_not_found& e) {
      EXPECT_STREQ(e.what(), "component not found: gamma");
    }
  }
  Index reread(cache.path);
  EXPECT_EQ(reread.find("alpha").last_used, used);
  EXPECT_EQ(reread.total_bytes_used(), 165u);

  // A record whose directory is gone goes too.
  fs::remove_all(cache.path + "/beta");
  { Index index(cache.path); }
  EXPECT_EQ(cache.index_text().find("beta"), std::string::npos);
}

TEST(CacheIndex, ADamagedFileIsDiscardedWholeAndRebuiltFromTheDirectories) {
  const std::string damaged[] = {
      "alpha\nalpha\n999\n2026-Foo-20 10:11:12\n",          // not a month
      "alpha\nalpha\n999\n2026-Feb-30 10:11:12\n",          // not a day of that month
      "alpha\nalpha\n999\n2026-Nov-20 25:11:12\n",          // not an hour
      "alpha\nalpha\n999\n2026-Nov-20 10:11:12 junk\n",     // trailing text
      "alpha\nalpha\n999\n9999-Dec-31 24:00:00\n",          // past the last year a date holds
      "beta\nbeta\n12x\n2026-Nov-20 10:11:12\n",            // not a size
      "beta\nbeta\n12\n",                                   // truncated record
      "\x01\x02garbage\n\n\n\n",                            // garbage
      "beta\n../outside\n1\n2026-Nov-20 10:11:12\n",        // a directory outside the cache
      "alpha\nalpha\n1\n2026-Nov-20 10:11:12\n",            // alpha twice
  };
  for (const std::string& bad : damaged) {
    SCOPED_TRACE(bad);
    CacheDir cache;
    fs::create_directories(cache.dir.path() + "/outside");
    cache.write_index(kAlphaRecord + bad);
    {
      Index index(cache.path);
      ASSERT_EQ(index.size(), 2u);
      // Nothing of the damaged file is kept, not even its one good record.
      EXPECT_EQ(index.find("alpha").bytes_used, 123u);
      EXPECT_EQ(index.find("beta").directory_name, "beta");
    }
    EXPECT_TRUE(fs::exists(cache.dir.path() + "/outside"));
    Index reread(cache.path);  // what was written back reads cleanly
    EXPECT_EQ(reread.size(), 2u);
    EXPECT_FALSE(reread.write_needed());
  }
}
