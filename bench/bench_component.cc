// What starting and ending one component instance costs in a process whose runtime is
// up, from a warm extraction: the start a program pays after its first run.
//
// - LocalUpToDate: <name>_krt beside the archive is current, so the start only looks at
//   it (no lock), copies nothing, creates the instance and runs the startup check.
// - CacheWarm: the component is in the cache but not in use in this process: the root
//   lock, the index, the component's read lock, then the instance.
// - ColdLocal: the extraction is removed before each start, so each one locks,
//   extracts a small archive beside it and renames it into place.
// - ColdCache: the component's directory in the cache is removed before each start, so
//   each one extracts it into the cache again (removal not timed).
#include <benchmark/benchmark.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "kar/writer.h"
#include "korel/kclkrt.h"

namespace {

namespace fs = std::filesystem;

int quiet(const char*) { return 0; }

struct BenchComponent {
  fs::path root;
  fs::path directory;
  std::string archive;
  kclComponentData* data = nullptr;

  BenchComponent() {
    std::string pattern = (fs::temp_directory_path() / "korel-bench-component-XXXXXX").string();
    if (!mkdtemp(pattern.data())) throw std::runtime_error("mkdtemp failed");
    root = pattern;
    directory = root / "app";
    setenv("HOME", (root / "home").c_str(), 1);
    setenv("KRT_CACHE_ROOT", (root / "cache").c_str(), 1);
    fs::create_directories(root / "cache");
    fs::create_directories(root / "staging/twice_k1");
    fs::create_directories(root / "staging/.korel");
    fs::create_directories(directory);
    std::ofstream(root / "staging/twice_k1/twice.k") << "function y = twice(x)\ny = 2 * x;\nend\n";
    std::ofstream(root / "staging/.korel/settings.txt") << "colour=blue\n";
    archive = (directory / "twice.kar").string();
    kar::write_archive((root / "staging").string(), archive);
    const char* path[] = {"twice_k1"};
    data = kclCreateComponentData("twice", nullptr, path, 1, nullptr, 0, nullptr, 0, nullptr, 0, nullptr, 0,
                                  "twice_k1", directory.c_str(), nullptr, 0);
    kclDisableWarning("KRT:Extract");
    kclSetInternalErrorHandler(&quiet);
  }
  ~BenchComponent() {
    kclDestroyComponentData(data);
    fs::remove_all(root);
  }
};

BenchComponent& component() {
  static bool started = kclInitializeApplication(nullptr, 0);
  static BenchComponent instance;
  if (!started) throw std::runtime_error("the runtime did not start");
  return instance;
}

void start_and_end(benchmark::State& state, unsigned (*start)(krtInstance**, BenchComponent&)) {
  BenchComponent& c = component();
  for (auto _ : state) {
    krtInstance* k = nullptr;
    if (!start(&k, c)) {
      state.SkipWithError("start failed");
      return;
    }
    kclTerminateInstance(&k);
  }
}

unsigned local(krtInstance** k, BenchComponent& c) {
  return kclInitializeComponentInstance(k, c.data, false, 0, 0, nullptr, &quiet);
}

unsigned cached(krtInstance** k, BenchComponent& c) {
  return kclInitializeComponentInstanceWithKarFile(k, c.data, false, 0, 0, nullptr, &quiet, true, false, nullptr,
                                                   c.archive.c_str());
}

void LocalUpToDate(benchmark::State& state) { start_and_end(state, &local); }

void CacheWarm(benchmark::State& state) { start_and_end(state, &cached); }

void ColdLocal(benchmark::State& state) {
  start_and_end(state, [](krtInstance** k, BenchComponent& c) {
    fs::remove_all(c.directory / "twice_krt");
    return local(k, c);
  });
}

void ColdCache(benchmark::State& state) {
  BenchComponent& c = component();
  const fs::path extracted = c.root / "cache/.krtCache1.0/twice_k1";
  for (auto _ : state) {
    state.PauseTiming();
    fs::remove_all(extracted);
    state.ResumeTiming();
    krtInstance* k = nullptr;
    if (!cached(&k, c)) {
      state.SkipWithError("start failed");
      return;
    }
    kclTerminateInstance(&k);
  }
  // The start must have extracted into the cache, or this timed something else.
  if (!fs::exists(extracted / "twice_k1/twice.k"))
    state.SkipWithError("nothing was extracted into the cache");
}

BENCHMARK(LocalUpToDate)->Unit(benchmark::kMicrosecond);
BENCHMARK(CacheWarm)->Unit(benchmark::kMicrosecond);
BENCHMARK(ColdLocal)->Unit(benchmark::kMicrosecond);
BENCHMARK(ColdCache)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
