// Many processes starting, calling and ending cached components at once, in a cache too
// small to hold them all, so that maintenance evicts components while others use theirs.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>

#include "scenario.h"

using korel::scenario::Scenario;
using korel::test::BackgroundProcess;

namespace {

constexpr int kProcesses = 32;
constexpr int kRounds = 20;

int count(const std::string& text, const std::string& part) {
  int n = 0;
  for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++n;
  return n;
}

}  // namespace

TEST(CacheLoad, ProcessesStartCallAndEndComponentsWhileMaintenanceEvicts) {
  Scenario s;
  const auto references = s.references();
  ASSERT_EQ(references.problem, "");
  uint64_t sum = 0, largest = 0;
  for (const auto& [key, bytes] : references.bytes) {
    sum += bytes;
    largest = std::max(largest, bytes);
  }
  // Room for about half of them: most starts evict something.
  const uint64_t limit = std::max(sum / 2, largest);
  ASSERT_LT(limit, sum);

  std::vector<std::unique_ptr<BackgroundProcess>> processes;
  for (int i = 0; i < kProcesses; ++i) {
    const std::string log = s.dir() + "/p" + std::to_string(i);
    processes.push_back(std::make_unique<BackgroundProcess>(
        s.client({"--rounds", std::to_string(kRounds), "--first", std::to_string(i)}, s.components),
        s.environment(limit), log + ".out", log + ".err"));
  }
  int ok_rounds = 0;
  for (auto& process : processes) {
    auto result = process->wait();
    EXPECT_EQ(result.exit_code, 0) << result.out << result.err;
    EXPECT_EQ(result.err, "");
    ok_rounds += count(result.out, " ok\n");
  }
  EXPECT_EQ(ok_rounds, kProcesses * kRounds);

  // The index agrees with the directories.
  EXPECT_EQ(korel::test::read_file(s.cache_dir() + "/.max_size"), std::to_string(limit));
  EXPECT_EQ(korel::scenario::cache_problems(s.cache_dir(), references.trees),
            std::vector<std::string>{});
  // The last releases may each have found a component the other still held; one more
  // start, with nobody else about, brings the cache within its limit.
  auto last = korel::test::run_program(s.client({}, {s.components[0]}), s.environment(limit));
  EXPECT_EQ(last.exit_code, 0) << last.out << last.err;
  EXPECT_EQ(korel::scenario::cache_problems(s.cache_dir(), references.trees),
            std::vector<std::string>{});
  EXPECT_GT(korel::scenario::indexed_bytes(s.cache_dir()), 0u);
  EXPECT_LE(korel::scenario::indexed_bytes(s.cache_dir()), limit);
}
