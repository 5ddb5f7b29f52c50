// How fast a KAR archive is extracted: by the library in process, by the extractKAR
// program, by `unzip -q` and by `bsdtar -xf`, all from the same archive in the same run,
// so that the closing ratios compare like with like.
//
// Start-up builds a deterministic tree (about 2,000 files, about 100 MB), archives it
// once with deflate, and checks that every extractor reproduces it exactly before any of
// them is timed. Each iteration extracts into a fresh empty directory; removing the
// previous extraction is not timed.
//
// Everything happens below $TMPDIR (default /tmp), and its filesystem weighs on every
// extractor: on ext4 without a journal, the allocator steps over each inode freed in the
// last ~30 s, so the removals between iterations make later file creation slower for
// all. TMPDIR=/dev/shm (tmpfs) shows the extractors' own cost.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "interleaved_main.h"
#include "kar/extract.h"
#include "kar/writer.h"

#ifndef KAR_EXTRACT_TOOL
#error "KAR_EXTRACT_TOOL must name the extractKAR program"
#endif

extern char** environ;

namespace {

namespace fs = std::filesystem;

constexpr uint64_t kSeed = 20240611;
// One extraction per repetition and the median of four: robust against the odd slow run
// while the whole program stays within about two minutes on a slow disk. Repetitions are
// interleaved across the benchmarks (see main) so that load from other work on the
// machine falls on every extractor alike.
constexpr int kIterations = 1;
constexpr int kRepetitions = 4;

// splitmix64: the same sequence with any standard library, whose distributions are not
// portable.
class Rng {
 public:
  explicit Rng(uint64_t seed) : state_(seed) {}
  uint64_t next() {
    uint64_t z = (state_ += 0x9e3779b97f4a7c15ull);
    z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9ull;
    z = (z ^ (z >> 27)) * 0x94d049bb133111ebull;
    return z ^ (z >> 31);
  }
  uint64_t below(uint64_t n) { return next() % n; }
  double unit() { return static_cast<double>(next() >> 11) * 0x1.0p-53; }
  // Sizes spread evenly over orders of magnitude, as files are.
  uint64_t log_uniform(uint64_t lo, uint64_t hi) {
    return static_cast<uint64_t>(static_cast<double>(lo) *
                                 std::exp(unit() * std::log(static_cast<double>(hi) / lo)));
  }

 private:
  uint64_t state_;
};

// Source-like text: lines of words from a fixed vocabulary, a few words common and most
// rare, so that deflate finds about the redundancy it finds in real code and documents.
class TextMaker {
 public:
  explicit TextMaker(Rng& rng) : rng_(rng) {
    for (int i = 0; i < 4096; ++i) {
      std::string word;
      for (uint64_t n = 2 + rng_.below(9); n > 0; --n)
        word += static_cast<char>('a' + rng_.below(26));
      vocabulary_.push_back(std::move(word));
    }
  }

  void append(std::string& out, std::size_t size) {
    static const char* const kSeparators[] = {" ", " ", " ", " ", " ", " ", " ", " ",
                                              ", ", "(", ") ", " = ", "; ", ".", "_", " + "};
    const std::size_t end = out.size() + size;
    while (out.size() < end) {
      out.append(2 * rng_.below(5), ' ');
      for (uint64_t words = 3 + rng_.below(10); words > 0; --words) {
        double u = rng_.unit();
        out += vocabulary_[static_cast<std::size_t>(u * u * u * vocabulary_.size())];
        out += kSeparators[rng_.below(16)];
      }
      out += '\n';
    }
    out.resize(end);
  }

 private:
  Rng& rng_;
  std::vector<std::string> vocabulary_;
};

void append_random(Rng& rng, std::string& out, std::size_t size) {
  const std::size_t end = out.size() + size;
  while (out.size() < end) {
    uint64_t word = rng.next();
    out.append(reinterpret_cast<const char*>(&word), std::min<std::size_t>(8, end - out.size()));
  }
}

enum class Content { kEmpty, kText, kRandom, kMixed };

struct TreeSummary {
  std::size_t files = 0;
  std::size_t directories = 0;
  uint64_t bytes = 0;
};

void write_file(const fs::path& path, const std::string& data) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(data.data(), static_cast<std::streamsize>(data.size()));
  if (!out.flush()) throw std::runtime_error("cannot write '" + path.string() + "'");
}

// The tree a component might ship: a few levels of directories, mostly small and medium
// text files, some incompressible data, a few large files, a few empty ones and one empty
// directory.
TreeSummary make_tree(const fs::path& root) {
  Rng rng(kSeed);
  TextMaker text(rng);
  TreeSummary summary;

  std::vector<fs::path> directories;  // relative to root; those that may hold files
  static const char* const kTop[] = {"bin",  "lib", "toolbox",  "resources",
                                     "data", "doc", "examples", "config"};
  for (const char* top : kTop) {
    directories.push_back(top);
    for (uint64_t i = 0, n = 2 + rng.below(5); i < n; ++i) {
      fs::path second = fs::path(top) / ("pkg_" + std::to_string(i));
      directories.push_back(second);
      for (uint64_t j = 0, m = rng.below(4); j < m; ++j) {
        fs::path third = second / ("part_" + std::to_string(j));
        directories.push_back(third);
        if (rng.below(4) == 0) directories.push_back(third / "private");
      }
    }
  }
  for (const fs::path& dir : directories) fs::create_directories(root / dir);
  fs::create_directories(root / "resources" / "empty");
  summary.directories = directories.size() + 1;

  struct Kind {
    int count;
    Content content;
    uint64_t min_size, max_size;
    const char* extension;
  };
  // Korel sources, compiled native functions, a native library, and data files.
  static const Kind kKinds[] = {
      {1500, Content::kText, 64, 32 << 10, ".k"},
      {380, Content::kText, 16 << 10, 512 << 10, ".txt"},
      {100, Content::kRandom, 16 << 10, 512 << 10, ".klf"},
      {4, Content::kText, 2 << 20, 6 << 20, ".csv"},
      {1, Content::kRandom, 3 << 20, 3 << 20, ".so"},
      {1, Content::kMixed, 4 << 20, 4 << 20, ".mat"},
      {14, Content::kEmpty, 0, 0, ".k"},
  };
  std::size_t serial = 0;
  std::string data;
  for (const Kind& kind : kKinds) {
    for (int i = 0; i < kind.count; ++i, ++serial) {
      const fs::path& dir = directories[rng.below(directories.size())];
      fs::path path = root / dir / ("file_" + std::to_string(serial) + kind.extension);
      std::size_t size =
          kind.content == Content::kEmpty ? 0 : rng.log_uniform(kind.min_size, kind.max_size);
      data.clear();
      switch (kind.content) {
        case Content::kEmpty: break;
        case Content::kText: text.append(data, size); break;
        case Content::kRandom: append_random(rng, data, size); break;
        case Content::kMixed:
          // Alternating runs, like a container of compressed and uncompressed parts.
          while (data.size() < size) {
            std::size_t run = std::min<std::size_t>(size - data.size(), 64 << 10);
            if (rng.below(2) == 0)
              text.append(data, run);
            else
              append_random(rng, data, run);
          }
          break;
      }
      write_file(path, data);
      if (rng.below(50) == 0)
        fs::permissions(path, fs::perms::owner_exec | fs::perms::group_exec | fs::perms::others_exec,
                        fs::perm_options::add);
      ++summary.files;
      summary.bytes += size;
    }
  }
  return summary;
}

// ---- Comparing trees ----

enum class Kind { kDirectory, kFile, kOther };

struct Node {
  Kind kind;
  uint64_t size;
};

std::map<std::string, Node> list_tree(const fs::path& root) {
  std::map<std::string, Node> nodes;
  for (auto it = fs::recursive_directory_iterator(root); it != fs::recursive_directory_iterator();
       ++it) {
    fs::file_status status = it->symlink_status();
    std::string name = it->path().lexically_relative(root).generic_string();
    if (fs::is_directory(status))
      nodes[name] = {Kind::kDirectory, 0};
    else if (fs::is_regular_file(status))
      nodes[name] = {Kind::kFile, it->file_size()};
    else
      nodes[name] = {Kind::kOther, 0};
  }
  return nodes;
}

bool same_contents(const fs::path& a, const fs::path& b) {
  std::ifstream in_a(a, std::ios::binary), in_b(b, std::ios::binary);
  if (!in_a || !in_b) return false;
  std::vector<char> buf_a(1 << 20), buf_b(1 << 20);
  for (;;) {
    in_a.read(buf_a.data(), static_cast<std::streamsize>(buf_a.size()));
    in_b.read(buf_b.data(), static_cast<std::streamsize>(buf_b.size()));
    if (in_a.gcount() != in_b.gcount()) return false;
    if (std::memcmp(buf_a.data(), buf_b.data(), static_cast<std::size_t>(in_a.gcount())) != 0)
      return false;
    if (in_a.gcount() == 0 || !in_a || !in_b) return in_a.eof() && in_b.eof();
  }
}

// The first difference between the trees (names, kinds, sizes, then every file's bytes),
// or nothing when they are identical.
std::optional<std::string> tree_difference(const fs::path& a, const fs::path& b) {
  std::map<std::string, Node> left = list_tree(a), right = list_tree(b);
  for (const auto& [name, node] : left) {
    auto other = right.find(name);
    if (other == right.end()) return "'" + name + "' is only in " + a.string();
    // Neither the source nor a correct extraction holds links or special files.
    if (node.kind == Kind::kOther || other->second.kind == Kind::kOther)
      return "'" + name + "' is neither a file nor a directory";
    if (other->second.kind != node.kind) return "'" + name + "' is a directory in only one tree";
    if (other->second.size != node.size)
      return "'" + name + "' has " + std::to_string(node.size) + " bytes in " + a.string() + " but " +
             std::to_string(other->second.size) + " in " + b.string();
  }
  for (const auto& [name, node] : right)
    if (!left.count(name)) return "'" + name + "' is only in " + b.string();
  for (const auto& [name, node] : left)
    if (node.kind == Kind::kFile && !same_contents(a / name, b / name))
      return "'" + name + "' differs in content";
  return std::nullopt;
}

// ---- Running the extractors ----

// Processor time of one extraction. Real time is what is compared; this tells apart the
// extractor's own work from waiting on the machine.
struct CpuTime {
  double user_ms = 0;
  double sys_ms = 0;
};

double milliseconds(const timeval& t) { return t.tv_sec * 1e3 + t.tv_usec / 1e3; }

// Runs the program with standard input, output and error on /dev/null. Empty when it
// exited with status 0, otherwise what went wrong.
std::string run_quietly(const std::vector<std::string>& args, CpuTime& cpu) {
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
  posix_spawn_file_actions_adddup2(&actions, 1, 2);
  std::vector<char*> argv;
  for (const std::string& arg : args) argv.push_back(const_cast<char*>(arg.c_str()));
  argv.push_back(nullptr);
  pid_t pid;
  int error = posix_spawnp(&pid, argv[0], &actions, nullptr, argv.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  if (error != 0) return "cannot run " + args[0] + ": " + std::strerror(error);
  int status = 0;
  rusage usage{};
  while (::wait4(pid, &status, 0, &usage) < 0) {
    if (errno != EINTR) return "cannot wait for " + args[0] + ": " + std::strerror(errno);
  }
  cpu = {milliseconds(usage.ru_utime), milliseconds(usage.ru_stime)};
  if (WIFEXITED(status) && WEXITSTATUS(status) == 0) return "";
  // 127 is the shell's and older C libraries' way of saying the exec failed.
  if (WIFEXITED(status) && WEXITSTATUS(status) == 127)
    return args[0] + " is missing or cannot start";
  if (WIFEXITED(status))
    return args[0] + " exited with status " + std::to_string(WEXITSTATUS(status));
  return args[0] + " was killed by signal " + std::to_string(WTERMSIG(status));
}

std::string filesystem_kind(const fs::path& dir) {
  struct statfs st;
  if (::statfs(dir.c_str(), &st) != 0) return "unknown filesystem";
  switch (st.f_type) {
    case 0x01021994: return "tmpfs";
    case 0xEF53: return "ext2/3/4";
    case 0x58465342: return "xfs";
    case 0x9123683E: return "btrfs";
    case 0x794C7630: return "overlayfs";
  }
  char text[48];
  std::snprintf(text, sizeof text, "filesystem type 0x%lx", static_cast<unsigned long>(st.f_type));
  return text;
}

struct Workspace {
  fs::path root;
  fs::path source;
  fs::path archive;
  fs::path target;  // where the timed extractions go
  TreeSummary tree;
};

Workspace* g_work = nullptr;

// Each returns empty on success, otherwise why it failed.
std::string extract_in_process(const fs::path& target, CpuTime& cpu) {
  rusage before{}, after{};
  ::getrusage(RUSAGE_SELF, &before);
  bool ok = kar::extract_file(g_work->archive, target, kar::ExtractOptions{});
  ::getrusage(RUSAGE_SELF, &after);
  cpu = {milliseconds(after.ru_utime) - milliseconds(before.ru_utime),
         milliseconds(after.ru_stime) - milliseconds(before.ru_stime)};
  return ok ? "" : "kar::extract_file failed";
}
std::string extract_with_tool(const fs::path& target, CpuTime& cpu) {
  return run_quietly({KAR_EXTRACT_TOOL, g_work->archive, target}, cpu);
}
std::string extract_with_unzip(const fs::path& target, CpuTime& cpu) {
  return run_quietly({"unzip", "-q", "-o", g_work->archive, "-d", target}, cpu);
}
std::string extract_with_bsdtar(const fs::path& target, CpuTime& cpu) {
  return run_quietly({"bsdtar", "-xf", g_work->archive, "-C", target}, cpu);
}

// bsdtar -C wants an existing directory; every extractor gets one, for equal treatment.
void fresh_directory(const fs::path& dir) {
  fs::remove_all(dir);  // does not follow links
  fs::create_directory(dir);
}

// ---- Benchmarks ----

template <typename Extract>
void time_extractions(benchmark::State& state, Extract extract) {
  const fs::path& target = g_work->target;
  fresh_directory(target);
  CpuTime total;
  for (auto _ : state) {
    CpuTime cpu;
    std::string error = extract(target, cpu);
    if (!error.empty()) {
      state.SkipWithError(error.c_str());
      break;
    }
    state.PauseTiming();
    total.user_ms += cpu.user_ms;
    total.sys_ms += cpu.sys_ms;
    fresh_directory(target);
    state.ResumeTiming();
  }
  fs::remove_all(target);
  state.SetBytesProcessed(static_cast<int64_t>(g_work->tree.bytes) * state.iterations());
  state.counters["user_ms"] = benchmark::Counter(total.user_ms, benchmark::Counter::kAvgIterations);
  state.counters["sys_ms"] = benchmark::Counter(total.sys_ms, benchmark::Counter::kAvgIterations);
}

void BM_KarExtract_InProcess(benchmark::State& state) {
  time_extractions(state, extract_in_process);
}
void BM_KarExtract_Tool(benchmark::State& state) { time_extractions(state, extract_with_tool); }
void BM_Unzip(benchmark::State& state) { time_extractions(state, extract_with_unzip); }
void BM_Bsdtar(benchmark::State& state) { time_extractions(state, extract_with_bsdtar); }

void configure(benchmark::internal::Benchmark* b) {
  b->Unit(benchmark::kMillisecond)
      ->UseRealTime()
      ->Iterations(kIterations)
      ->Repetitions(kRepetitions)
      ->ReportAggregatesOnly(true);
}
BENCHMARK(BM_KarExtract_InProcess)->Apply(configure);
BENCHMARK(BM_KarExtract_Tool)->Apply(configure);
BENCHMARK(BM_Unzip)->Apply(configure);
BENCHMARK(BM_Bsdtar)->Apply(configure);

struct Times {
  double real_ms;
  double user_ms;
  double sys_ms;
};

// Keeps each benchmark's times (the medians when there are repetitions) for the ratios.
class RecordingReporter : public benchmark::ConsoleReporter {
 public:
  // A reporter handed to RunSpecifiedBenchmarks does not get the command line's colour
  // choice; colour only on a terminal, like the default reporter.
  RecordingReporter()
      : ConsoleReporter(::isatty(STDOUT_FILENO) ? OO_ColorTabular : OO_Tabular) {}

  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (run.error_occurred) continue;
      bool wanted = run.run_type == Run::RT_Aggregate ? run.aggregate_name == "median"
                                                      : run.repetitions <= 1;
      if (!wanted) continue;
      auto counter = [&](const char* name) {
        auto it = run.counters.find(name);
        return it == run.counters.end() ? 0.0 : it->second.value;
      };
      times_[run.run_name.function_name] = {run.GetAdjustedRealTime(), counter("user_ms"),
                                            counter("sys_ms")};
    }
    ConsoleReporter::ReportRuns(runs);
  }
  std::optional<Times> times(const std::string& name) const {
    auto it = times_.find(name);
    return it == times_.end() ? std::nullopt : std::optional<Times>(it->second);
  }

 private:
  std::map<std::string, Times> times_;
};

void print_ratios(const RecordingReporter& reporter) {
  struct Row {
    const char* label;
    std::optional<Times> times;
  };
  const Row rows[] = {{"KAR in process", reporter.times("BM_KarExtract_InProcess")},
                      {"extractKAR", reporter.times("BM_KarExtract_Tool")},
                      {"unzip -q", reporter.times("BM_Unzip")},
                      {"bsdtar -xf", reporter.times("BM_Bsdtar")}};
  const std::optional<Times>& unzip = rows[2].times;
  const std::optional<Times>& bsdtar = rows[3].times;

  std::printf("\nExtraction of one archive (%zu files, %zu directories, %.1f MB), medians:\n",
              g_work->tree.files, g_work->tree.directories, g_work->tree.bytes / 1e6);
  std::printf("  %-16s %10s %10s %10s\n", "", "real ms", "user ms", "sys ms");
  for (const Row& row : rows) {
    if (row.times)
      std::printf("  %-16s %10.1f %10.1f %10.1f\n", row.label, row.times->real_ms,
                  row.times->user_ms, row.times->sys_ms);
    else
      std::printf("  %-16s %10s\n", row.label, "n/a");
  }

  auto ratio = [](const std::optional<Times>& other, const std::optional<Times>& ours) {
    char text[32] = "n/a";
    if (other && ours && ours->real_ms > 0)
      std::snprintf(text, sizeof text, "%.2f", other->real_ms / ours->real_ms);
    return std::string(text);
  };
  std::printf("\nRatios of real time (theirs / ours; above 1 means ours is faster):\n");
  std::printf("  %-16s %12s %12s\n", "", "unzip/ours", "bsdtar/ours");
  for (const Row& row : {rows[0], rows[1]})
    std::printf("  %-16s %12s %12s\n", row.label, ratio(unzip, row.times).c_str(),
                ratio(bsdtar, row.times).c_str());
  if (unzip && bsdtar) {
    bool unzip_faster = unzip->real_ms < bsdtar->real_ms;
    std::printf("\nOf unzip and bsdtar, %s was faster (%.2fx).\n", unzip_faster ? "unzip" : "bsdtar",
                unzip_faster ? bsdtar->real_ms / unzip->real_ms : unzip->real_ms / bsdtar->real_ms);
  } else {
    std::printf("\nunzip and bsdtar cannot be compared: at least one did not run.\n");
  }
}

// Every extractor must reproduce the source exactly before any is timed: a wrong
// extraction must not get a time. Returns false (having said why) when one does not; a
// tool that is not installed is only noted, its benchmark then fails.
bool verify_extractions(const Workspace& work) {
  struct Check {
    const char* name;
    const char* directory;
    std::string (*extract)(const fs::path&, CpuTime&);
  };
  // Ours first: it is the reference for the others.
  const Check checks[] = {{"kar::extract_file", "check_kar", extract_in_process},
                          {"unzip", "check_unzip", extract_with_unzip},
                          {"extractKAR", "check_tool", extract_with_tool},
                          {"bsdtar", "check_bsdtar", extract_with_bsdtar}};
  const fs::path ours = work.root / checks[0].directory;
  bool ok = true;
  for (const Check& check : checks) {
    const fs::path target = work.root / check.directory;
    fresh_directory(target);
    CpuTime unused;
    std::string error = check.extract(target, unused);
    if (!error.empty()) {
      std::fprintf(stderr, "bench_kar: %s did not extract the archive: %s\n", check.name,
                   error.c_str());
      if (target == ours) return false;
      continue;
    }
    // Ours against the source; the others against ours, so that ours and unzip are
    // compared directly.
    const fs::path reference = target == ours ? work.source : ours;
    if (auto difference = tree_difference(reference, target)) {
      std::fprintf(stderr, "bench_kar: the extraction by %s differs from %s: %s\n", check.name,
                   target == ours ? "the source tree" : "kar::extract_file", difference->c_str());
      ok = false;
    }
    if (target != ours) fs::remove_all(target);
  }
  fs::remove_all(ours);
  return ok;
}

}  // namespace

int main(int argc, char** argv) {
  Workspace work;
  g_work = &work;
  return korel::bench::run_in_scratch(argc, argv, "bench_kar", "bench_kar.", [&](const fs::path& root) {
    work.root = root;
    work.source = work.root / "source";
    work.archive = work.root / "tree.kar";
    work.target = work.root / "out";
    fs::create_directory(work.source);
    work.tree = make_tree(work.source);
    kar::write_archive(work.source, work.archive, kar::WriteOptions{.compress = true});
    std::printf("Tree: %zu files, %zu directories, %.1f MB; archive %.1f MB (deflate), in %s (%s)\n",
                work.tree.files, work.tree.directories, work.tree.bytes / 1e6,
                fs::file_size(work.archive) / 1e6, work.root.c_str(),
                filesystem_kind(work.root).c_str());
    std::fflush(stdout);
    if (!verify_extractions(work)) {
      std::fprintf(stderr, "bench_kar: an extraction is wrong; nothing is timed\n");
      return 1;
    }
    RecordingReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    print_ratios(reporter);
    return 0;
  });
}
