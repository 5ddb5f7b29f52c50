// One process's cache used from several threads at once, as hosts that start components
// on several threads do; run under ThreadSanitizer by `make test-tsan`.
#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "kclkrt/cache/cache_index.h"
#include "kclkrt/cache/component_cache.h"
#include "support/subprocess.h"
#include "support/synthetic_component.h"

namespace fs = std::filesystem;

TEST(CacheThreads, ThreadsGettingAndEvictingSeeOnlyCompleteComponents) {
  korel::test::TempDir temp;
  const std::string directory = temp.path() + "/cache";
  fs::create_directories(directory);
  fs::permissions(directory, fs::perms::owner_all);
  // Room for two of the three components: getting the third evicts whichever is free.
  constexpr size_t kBytes = 4000;
  std::ofstream(directory + "/.max_size") << 2 * kBytes + kBytes / 2;
  auto cache = kclComponentCache::create(directory, 0);

  const std::vector<std::string> keys{"alpha", "beta", "gamma"};
  std::atomic<int> failures{0};
  std::vector<std::string> problems(4);
  std::vector<std::thread> threads;
  for (size_t t = 0; t < problems.size(); ++t) {
    threads.emplace_back([&, t] {
      for (int round = 0; round < 40; ++round) {
        const std::string& key = keys[(t + round) % keys.size()];
        korel::test::SyntheticExtractor extractor(key, kBytes);
        try {
          auto entry = cache->get_component(key, extractor);
          std::string wrong = korel::test::check_synthetic(entry->directory(), key, kBytes);
          if (!wrong.empty()) {
            problems[t] = wrong;
            ++failures;
          }
        } catch (const std::exception& e) {
          problems[t] = e.what();
          ++failures;
        }
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(failures.load(), 0) << problems[0] << problems[1] << problems[2] << problems[3];

  // With every entry released, what the index lists is complete and its sizes add up.
  kclComponentCacheIndex index(directory);
  ASSERT_GE(index.size(), 1u);
  for (const std::string& key : keys) {
    if (!index.contains(key)) continue;
    const std::string where = directory + "/" + index.find(key).directory_name;
    EXPECT_EQ(korel::test::check_synthetic(where, key, kBytes), "") << key;
  }
  EXPECT_EQ(index.total_bytes_used(), index.size() * kBytes);
}
