// Sixteen processes started at once, each starting the same cached component, calling
// its entry function and ending: the wall-clock time until the last one has exited.
//
// The component is a program built by kcc with --cache (PING_PROGRAM, beside its
// ping.kar), so each process does what a deployed program does: loads the runtime,
// starts it, gets its component from the per-user cache, runs one Korel function,
// terminates. Cold: the cache is emptied (not timed) before each round, so the
// processes race to extract it and all but one wait for that extraction. Warm: the
// cache already holds it. The anchors are the same number of /bin/true processes
// started the same way, and one process alone.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "interleaved_main.h"

#ifndef PING_PROGRAM
#error "PING_PROGRAM must name the component program built by kcc"
#endif

extern char** environ;

namespace {

namespace fs = std::filesystem;

constexpr int kProcesses = 16;

struct Workspace {
  fs::path root;
  fs::path cache;  // KRT_CACHE_ROOT; the cache itself is cache/.krtCache1.0
};

Workspace* g_work = nullptr;

// Starts `program` with standard output going to `output` (or /dev/null) and its error
// output going to /dev/null. Throws when it cannot be started.
pid_t start(const char* program, const char* output = "/dev/null") {
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_addopen(&actions, 1, output, O_WRONLY | O_CREAT | O_TRUNC, 0600);
  posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
  char* argv[] = {const_cast<char*>(program), const_cast<char*>("x"), nullptr};
  pid_t pid;
  int error = posix_spawn(&pid, program, &actions, nullptr, argv, environ);
  posix_spawn_file_actions_destroy(&actions);
  if (error != 0) throw std::runtime_error(std::string("cannot start ") + program + ": " + std::strerror(error));
  return pid;
}

// Empty when every process exited with status 0, otherwise what went wrong.
std::string wait_for(const std::vector<pid_t>& pids) {
  std::string problem;
  for (pid_t pid : pids) {
    int status = 0;
    while (::waitpid(pid, &status, 0) < 0)
      if (errno != EINTR) return std::string("waitpid: ") + std::strerror(errno);
    if (problem.empty() && !(WIFEXITED(status) && WEXITSTATUS(status) == 0))
      problem = WIFEXITED(status) ? "a process exited with status " + std::to_string(WEXITSTATUS(status))
                                  : "a process was killed by signal " + std::to_string(WTERMSIG(status));
  }
  return problem;
}

void empty_cache() {
  fs::remove_all(g_work->cache);
  fs::create_directory(g_work->cache);
}

// Each round starts `count` processes of `program` back to back, then waits for all of
// them; `cold` empties the cache first, outside the timing.
void rounds(benchmark::State& state, const char* program, int count, bool cold) {
  if (!cold) {
    // One start first, so the cache is warm whatever ran before.
    std::string problem = wait_for({start(program)});
    if (!problem.empty()) {
      state.SkipWithError(problem.c_str());
      return;
    }
  }
  std::vector<pid_t> pids;
  pids.reserve(count);
  for (auto _ : state) {
    if (cold) {
      state.PauseTiming();
      empty_cache();
      state.ResumeTiming();
    }
    pids.clear();
    for (int i = 0; i < count; ++i) pids.push_back(start(program));
    std::string problem = wait_for(pids);
    if (!problem.empty()) {
      state.SkipWithError(problem.c_str());
      break;
    }
  }
  state.counters["processes"] = count;
}

void BM_True_1(benchmark::State& state) { rounds(state, "/bin/true", 1, false); }
void BM_True_16(benchmark::State& state) { rounds(state, "/bin/true", kProcesses, false); }
void BM_WarmStart_1(benchmark::State& state) { rounds(state, PING_PROGRAM, 1, false); }
void BM_WarmStart_16(benchmark::State& state) { rounds(state, PING_PROGRAM, kProcesses, false); }
void BM_ColdStart_1(benchmark::State& state) { rounds(state, PING_PROGRAM, 1, true); }
void BM_ColdStart_16(benchmark::State& state) { rounds(state, PING_PROGRAM, kProcesses, true); }

// Medians of five: processes are at the mercy of whatever else the machine runs.
void configure(benchmark::internal::Benchmark* b) {
  b->Unit(benchmark::kMillisecond)->UseRealTime()->Repetitions(5)->ReportAggregatesOnly(true);
}
BENCHMARK(BM_True_1)->Apply(configure);
BENCHMARK(BM_True_16)->Apply(configure);
BENCHMARK(BM_WarmStart_1)->Apply(configure);
BENCHMARK(BM_WarmStart_16)->Apply(configure);
BENCHMARK(BM_ColdStart_1)->Apply(configure);
BENCHMARK(BM_ColdStart_16)->Apply(configure);

std::string read_file(const fs::path& path) {
  std::ifstream in(path);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

// Before anything is timed: a cold round of sixteen must leave exactly one extraction
// in the cache, and every process must have printed what the component prints.
bool verify() {
  empty_cache();
  std::vector<pid_t> pids;
  for (int i = 0; i < kProcesses; ++i)
    pids.push_back(start(PING_PROGRAM, (g_work->root / ("out" + std::to_string(i))).c_str()));
  std::string problem = wait_for(pids);
  if (!problem.empty()) {
    std::fprintf(stderr, "bench_concurrent_start: %s\n", problem.c_str());
    return false;
  }
  for (int i = 0; i < kProcesses; ++i) {
    std::string out = read_file(g_work->root / ("out" + std::to_string(i)));
    if (out != "pong 1\n") {
      std::fprintf(stderr, "bench_concurrent_start: process %d printed '%s'\n", i, out.c_str());
      return false;
    }
  }
  int components = 0;
  for (const fs::directory_entry& entry : fs::directory_iterator(g_work->cache / ".krtCache1.0"))
    if (entry.is_directory() && entry.path().filename().string()[0] != '.') ++components;
  if (components != 1) {
    std::fprintf(stderr, "bench_concurrent_start: the cache holds %d components, not 1\n", components);
    return false;
  }
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  Workspace work;
  g_work = &work;
  const char* program = "bench_concurrent_start";
  return korel::bench::run_in_scratch(argc, argv, program, "korel-bench-start-", [&](const fs::path& root) {
    work.root = root;
    work.cache = work.root / "cache";
    fs::create_directories(work.root / "home");
    // The processes inherit these: their cache and preferences live in the workspace, and
    // the runtime is found from where the program's libraries are, as a deployed one is.
    setenv("HOME", (work.root / "home").c_str(), 1);
    setenv("KRT_CACHE_ROOT", work.cache.c_str(), 1);
    for (const char* name : {"KRTROOT", "KOREL", "TBE_INSTALL", "KRT_CACHE_SIZE", "KRT_CACHE_VERBOSE"})
      unsetenv(name);
    if (!verify()) {
      std::fprintf(stderr, "%s: the component does not start correctly; nothing is timed\n", program);
      return 1;
    }
    benchmark::RunSpecifiedBenchmarks();
    return 0;
  });
}
