// What getting a component from a warm cache costs, for caches of 10 to 1,000
// components.
//
// - LiveEntry: the component is in use in this process already: the in-process path,
//   which touches neither the disk nor a lock and so does not grow with the cache.
// - FromDisk: nothing of it lives in this process, as in a newly started process: the
//   root-level lock, the index read and reconciled with the directories, the read lock,
//   the index written back. Each iteration also gives the entry up, which takes the
//   root-level lock and rewrites the index once more (a process pays both, once).
// - IndexFileRead: the anchor for FromDisk: open, read and close the same cache's
//   index file, no locks and no parsing, so the ratio is what the bookkeeping adds to
//   touching the index at all.
//
// The caches are built directly on disk (a directory, its marker and its .bytes_used
// per component) below $TMPDIR; nothing is extracted while timing.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "kclkrt/cache/cache_index.h"
#include "kclkrt/cache/component_cache.h"

namespace {

namespace fs = std::filesystem;

class NeverExtracts : public kclComponentExtractor {
 public:
  bool extract(uint64_t&, const std::string&) override { return false; }
};

// A cache directory holding `components` complete components named c0, c1, ...
class WarmCache {
 public:
  explicit WarmCache(int components) {
    std::string pattern = (fs::temp_directory_path() / "korel-bench-cache-XXXXXX").string();
    if (!mkdtemp(pattern.data())) throw std::runtime_error("mkdtemp failed");
    root_ = pattern;
    const std::string directory = root_ + "/cache";
    fs::create_directories(directory);
    fs::permissions(directory, fs::perms::owner_all);  // the cache refuses one others may write
    std::ofstream(directory + "/.max_size") << (uint64_t{1} << 40);
    for (int i = 0; i < components; ++i) {
      const std::string component = directory + "/c" + std::to_string(i);
      fs::create_directories(component + "/bin");
      std::ofstream(component + "/bin/f.k") << "x = " << i << ";\n";
      std::ofstream(component + "/.created.ts");
      std::ofstream(component + "/.bytes_used") << 8;
    }
    kclComponentCacheIndex{directory};  // the index, built once from the directories
    cache_ = kclComponentCache::create(directory, uint64_t{1} << 40);
  }
  ~WarmCache() {
    cache_.reset();
    std::error_code ignored;
    fs::remove_all(root_, ignored);
  }
  kclComponentCache& cache() { return *cache_; }
  std::string directory() const { return root_ + "/cache"; }

 private:
  std::string root_;
  std::shared_ptr<kclComponentCache> cache_;
};

// One cache per size for the whole run: Google Benchmark calls each function several
// times while it settles the iteration count, and building and removing a thousand
// component directories every time took most of the run on a slow disk.
WarmCache& warm_cache(int components) {
  static std::map<int, std::unique_ptr<WarmCache>> caches;
  std::unique_ptr<WarmCache>& cache = caches[components];
  if (!cache) cache = std::make_unique<WarmCache>(components);
  return *cache;
}

void LiveEntry(benchmark::State& state) {
  WarmCache& warm = warm_cache(static_cast<int>(state.range(0)));
  NeverExtracts extractor;
  auto held = warm.cache().get_component("c0", extractor);
  for (auto _ : state) benchmark::DoNotOptimize(warm.cache().get_component("c0", extractor));
  state.SetComplexityN(state.range(0));
}
BENCHMARK(LiveEntry)->RangeMultiplier(10)->Range(10, 1000)->Complexity();

void FromDisk(benchmark::State& state) {
  WarmCache& warm = warm_cache(static_cast<int>(state.range(0)));
  NeverExtracts extractor;
  for (auto _ : state) {
    auto entry = warm.cache().get_component("c0", extractor);
    benchmark::DoNotOptimize(entry);
  }
  state.SetComplexityN(state.range(0));
}
BENCHMARK(FromDisk)->RangeMultiplier(10)->Range(10, 1000)->Complexity()->Unit(benchmark::kMicrosecond);

void IndexFileRead(benchmark::State& state) {
  WarmCache& warm = warm_cache(static_cast<int>(state.range(0)));
  const std::string index = warm.directory() + "/.krt_cache_index";
  std::vector<char> buffer(1 << 20);
  for (auto _ : state) {
    int fd = ::open(index.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
      state.SkipWithError("cannot open the index");
      break;
    }
    while (::read(fd, buffer.data(), buffer.size()) > 0) {
    }
    ::close(fd);
    benchmark::ClobberMemory();
  }
  state.SetComplexityN(state.range(0));
}
BENCHMARK(IndexFileRead)->RangeMultiplier(10)->Range(10, 1000)->Complexity()->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
