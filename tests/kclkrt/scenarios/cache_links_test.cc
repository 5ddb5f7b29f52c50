// Links planted in the cache, where a start would otherwise remove, write or mark
// something: the next start removes the link itself, never what it leads to, and runs
// from a fresh extraction.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <map>

#include "scenario.h"

namespace fs = std::filesystem;
using korel::scenario::Component;
using korel::scenario::Scenario;
using korel::test::read_file;
using korel::test::run_program;

namespace {

std::map<std::string, std::string> files_below(const std::string& dir) {
  std::map<std::string, std::string> files;
  for (const auto& entry : fs::recursive_directory_iterator(dir))
    files[fs::relative(entry.path(), dir).string()] = read_file(entry.path());
  return files;
}

}  // namespace

TEST(CacheLinks, ALinkInPlaceOfAComponentIsRemovedItselfAndTheComponentExtractedAfresh) {
  Scenario s;
  const Component& a = s.components[0];
  auto first = run_program(s.client({}, {a}), s.environment());
  ASSERT_EQ(first.exit_code, 0) << first.out << first.err;
  const std::string place = s.cache_dir() + "/" + a.key;
  const std::string extracted = s.dir() + "/extracted";
  fs::rename(place, extracted);  // a complete copy, for comparison

  // Elsewhere, a directory with a marker of completeness and the user's own data.
  const std::string victim = s.dir() + "/victim";
  fs::create_directories(victim);
  std::ofstream(victim + "/.created.ts");
  std::ofstream(victim + "/data") << "the user's own";
  const auto before = files_below(victim);
  for (const std::string& target : {victim, victim + "/missing", extracted}) {
    fs::create_directory_symlink(target, place);
    auto started = run_program(s.client({}, {a}), s.environment());
    EXPECT_EQ(started.exit_code, 0) << target << "\n" << started.out << started.err;
    EXPECT_EQ(started.out, "0 " + a.name + " ok\n") << target;
    EXPECT_EQ(started.err, "") << target;
    struct stat st;
    ASSERT_EQ(::lstat(place.c_str(), &st), 0) << target;
    EXPECT_TRUE(S_ISDIR(st.st_mode)) << target;
    EXPECT_EQ(korel::scenario::tree_difference(extracted, place), "") << target;
    EXPECT_EQ(files_below(victim), before) << target;
    fs::remove_all(place);
  }
}
