// Several real processes sharing one cache directory, through the cache_client program.
#include <gtest/gtest.h>
#include <signal.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <set>
#include <sstream>

#include "kclkrt/cache/cache_index.h"
#include "support/subprocess.h"
#include "support/synthetic_component.h"

namespace fs = std::filesystem;
using korel::test::BackgroundProcess;
using korel::test::read_file;
using korel::test::TempDir;
using korel::test::wait_until;

namespace {

struct Scenario {
  TempDir dir;
  std::string cache = dir.path() + "/cache";
  std::string file(const std::string& name) const { return dir.path() + "/" + name; }

  // Starts a client; its output goes to <name>.out and <name>.err.
  std::unique_ptr<BackgroundProcess> start(const std::string& name, uint64_t max_size,
                                           std::vector<std::string> args, bool verbose = false) {
    std::vector<std::string> argv{korel::test::binary_dir() + "/tests/cache_client", cache,
                                  std::to_string(max_size)};
    argv.insert(argv.end(), args.begin(), args.end());
    std::map<std::string, std::optional<std::string>> env{
        {"KRT_CACHE_VERBOSE", verbose ? std::optional<std::string>("1") : std::nullopt},
        {"KRT_CACHE_QUIET", "1"}};
    return std::make_unique<BackgroundProcess>(argv, env, file(name + ".out"), file(name + ".err"));
  }
};

bool contains(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

size_t count_lines(const std::string& text) {
  return static_cast<size_t>(std::count(text.begin(), text.end(), '\n'));
}

}  // namespace

TEST(CacheProcesses, TwoProcessesExtractANewComponentOnce) {
  Scenario s;
  const std::string log = s.file("extractions"), midway = s.file("midway"),
                    resume = s.file("resume");
  auto first = s.start("first", 1 << 20,
                       {"get", "k", "4000", "--log", log, "--midway", midway, "--resume-when", resume},
                       true);
  ASSERT_TRUE(wait_until([&] { return fs::exists(midway); }, 30));
  auto second = s.start("second", 1 << 20, {"get", "k", "4000", "--log", log}, true);
  // The second waits for the root-level lock while the first extracts.
  ASSERT_TRUE(wait_until(
      [&] { return contains(read_file(s.file("second.err")), "root-level directory lock..."); }, 30));
  EXPECT_FALSE(contains(read_file(s.file("second.err")), " acquire succeeded."));
  std::ofstream(resume).close();

  auto one = first->wait(), two = second->wait();
  EXPECT_EQ(one.exit_code, 0) << one.out << one.err;
  EXPECT_EQ(two.exit_code, 0) << two.out << two.err;
  EXPECT_EQ(count_lines(read_file(log)), 1u);
  EXPECT_TRUE(contains(one.err, "Adding component k to the cache."));
  EXPECT_TRUE(contains(one.err, "Moving the extracted component into place: " + s.cache + "/k\n"
                                "Acquiring component-level directory READ lock...\n acquire succeeded."));
  EXPECT_FALSE(contains(two.err, "Adding component"));
  EXPECT_TRUE(contains(two.err, "Timestamp is valid.\nAcquiring component-level directory READ lock...\n acquire succeeded."));
}

TEST(CacheProcesses, MaintenanceNeverDeletesAComponentAnotherProcessHolds) {
  Scenario s;
  const std::string release = s.file("release");
  auto holder = s.start("holder", 1 << 20, {"get", "held", "1000", "--hold-until", release});
  ASSERT_TRUE(wait_until([&] { return contains(read_file(s.file("holder.out")), "held"); }, 30));

  // Room for one component: every get evicts what it can, which is never "held".
  std::ofstream(s.cache + "/.max_size", std::ios::trunc) << 1000;
  for (const char* key : {"x", "y", "z"}) {
    auto user = s.start(key, 1000, {"get", key, "1000"});
    auto result = user->wait();
    EXPECT_EQ(result.exit_code, 0) << result.out;
  }
  EXPECT_TRUE(fs::exists(s.cache + "/held/.created.ts"));
  EXPECT_FALSE(fs::exists(s.cache + "/x"));
  EXPECT_FALSE(fs::exists(s.cache + "/y"));

  std::ofstream(release).close();
  auto held = holder->wait();
  EXPECT_EQ(held.exit_code, 0) << held.out;  // checked again after the others ran
  EXPECT_EQ(held.out, "held\nok\n");
}

TEST(CacheProcesses, AnExtractionKilledMidwayLeavesNothingInPlaceAndIsRedone) {
  // An archive may hold a marker of its own: it must not make the remains complete.
  for (bool archive_markers : {false, true}) {
    SCOPED_TRACE(archive_markers ? "archive with its own markers" : "plain archive");
    Scenario s;
    const std::string midway = s.file("midway");
    std::vector<std::string> args{"get", "k", "4000", "--midway", midway};
    args.insert(args.end(), {"--resume-when", s.file("never")});
    if (archive_markers) args.push_back("--archive-markers");
    auto victim = s.start("victim", 1 << 20, args);
    ASSERT_TRUE(wait_until([&] { return fs::exists(midway); }, 30));
    victim->kill(SIGKILL);
    victim->wait();
    // Half an extraction, staged out of the component's place.
    EXPECT_FALSE(fs::exists(s.cache + "/k"));
    std::vector<std::string> staged;
    for (const auto& entry : fs::directory_iterator(s.cache))
      if (entry.path().filename().string().rfind(".k.extract-", 0) == 0)
        staged.push_back(entry.path());
    ASSERT_EQ(staged.size(), 1u);

    // The killed process's locks died with it: the next process is not kept waiting, and
    // takes the staging directory for the abandoned one it is.
    args = {"get", "k", "4000", "--log", s.file("log")};
    if (archive_markers) args.push_back("--archive-markers");
    auto next = s.start("next", 1 << 20, args, true);
    auto result = next->wait();
    EXPECT_EQ(result.exit_code, 0) << result.out << result.err;
    EXPECT_TRUE(contains(result.err, "Removing an abandoned staging directory: " + staged[0]));
    EXPECT_EQ(count_lines(read_file(s.file("log"))), 1u);
    EXPECT_EQ(korel::test::check_synthetic(s.cache + "/k", "k", 4000), "");
    EXPECT_EQ(read_file(s.cache + "/k/.bytes_used"), "4000");
    EXPECT_FALSE(fs::exists(staged[0]));
  }
}

TEST(CacheProcesses, ManyProcessesGettingAndEvictingNeverSeeAPartialComponent) {
  Scenario s;
  const std::vector<std::string> keys{"c0", "c1", "c2", "c3", "c4", "c5"};
  // Room for three of the six: most gets evict something.
  const uint64_t limit = 3 * 2000;
  std::vector<std::unique_ptr<BackgroundProcess>> processes;
  for (int i = 0; i < 8; ++i) {
    std::vector<std::string> args{"stress", "25", "2000"};
    args.insert(args.end(), keys.begin(), keys.end());
    processes.push_back(s.start("p" + std::to_string(i), limit, args));
  }
  for (auto& process : processes) {
    auto result = process->wait();
    EXPECT_EQ(result.exit_code, 0) << result.out << result.err;
  }

  // The index and the directories agree, and every directory is a complete component.
  std::set<std::string> directories;
  for (const auto& entry : fs::directory_iterator(s.cache))
    if (entry.is_directory()) directories.insert(entry.path().filename().string());
  kclComponentCacheIndex index(s.cache);
  EXPECT_FALSE(index.write_needed());
  std::set<std::string> indexed;
  for (const auto& info : index.by_last_used()) {
    indexed.insert(info.name);
    EXPECT_EQ(korel::test::check_synthetic(s.cache + "/" + info.name, info.name, 2000), "");
    EXPECT_EQ(info.bytes_used, 2000u);
  }
  EXPECT_EQ(indexed, directories);

  // Once nobody holds them, one more access brings the cache within its limit.
  auto last = s.start("last", limit, {"get", "c0", "2000"});
  EXPECT_EQ(last->wait().exit_code, 0);
  EXPECT_LE(kclComponentCacheIndex(s.cache).total_bytes_used(), limit);
}
