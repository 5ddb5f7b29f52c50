// The Korel interpreter against CPython on the same loops.
//
// Each kernel is a Korel function (bench/interpreter/korel/<kernel>.k), called by name
// through a runtime instance, and the same algorithm in Python
// (bench/interpreter/kernels.py), run by one /usr/bin/python3 process that stays up.
// Only the kernel is timed: around the engine call on one side, with time.perf_counter
// inside Python on the other; neither start-up counts. Korel/<kernel> and
// CPython/<kernel> runs are interleaved at random, a few repetitions each, and the
// medians compared: ratio = Korel time / CPython time, beside the kernel's goal. The
// kernels that grow or update data in place also run on twice the steps, where linear
// work takes about twice the time and a copy per step four times.
//
// Before anything is timed, every kernel runs once on each side (which also warms both
// up) and the two results must agree: a kernel that computes something else gets no time.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "interleaved_main.h"
#include "interpreter/korel_runner.h"
#include "interpreter/python_server.h"

#ifndef KERNEL_DIR
#error "KERNEL_DIR must name bench/interpreter, which holds kernels.py and korel/"
#endif

namespace {

namespace fs = std::filesystem;
using korel::bench::KorelRunner;
using korel::bench::PythonServer;

constexpr const char* kPython = "/usr/bin/python3";
constexpr const char* kRepetitions = "--benchmark_repetitions=9";  // the command line may say otherwise
// The longest one timed Korel run may be expected to take.
constexpr double kBudgetSeconds = 10;
// Time at twice the steps over time at the steps: about 2 when the work per step is
// constant, 4 when each step copies what the previous ones built.
constexpr double kLinearGoal = 2.5;

struct Kernel {
  const char* name;  // the Korel function, and the Python function of the same name
  const char* what;
  long n;
  double goal;   // the most Korel time / CPython time may be
  bool growth;   // also run on 2n steps, for linearity
};

const Kernel kKernels[] = {
    {"sum_of_squares", "s = s + k^2, 10^6 steps", 1000000, 0.5, false},
    {"branch_chain", "while, if/elseif chain, 10^6 steps", 1000000, 0.7, false},
    {"fib", "recursive fib(25)", 25, 1.0, false},
    {"running_sum", "a(i) = a(i-1) + b(i), 10^6", 1000000, 0.5, false},
    {"fill_matrix", "A(i,j) = i*j, 500x500 loops", 500, 0.5, false},
    {"struct_field", "s.x(i) = i, 10^5 steps", 100000, 1.0, true},
    {"cell_append", "c{end+1} = i, 10^5 steps", 100000, 1.0, true},
    {"vector_append", "v(end+1) = i, 10^5 steps", 100000, 1.0, true},
    {"string_building", "t = [t sprintf('%d,', i)], 10^4", 10000, 2.0, false},
};

std::string key(const char* side, const char* kernel, long n) {
  return std::string(side) + "/" + kernel + "/" + std::to_string(n);
}

bool same_result(double korel, double python) {
  return std::fabs(korel - python) <= 1e-12 * std::fmax(1.0, std::fabs(python));
}

// What the probe found out about one kernel: whether its timed runs fit the time
// budget, and the result each size must give (Python's, at every size it runs at).
struct Plan {
  bool fits = false;
  std::string why_not;
  std::map<long, double> expected;
};

// Runs the kernel in Korel at sizes doubling up to the largest it is timed at, from a
// size small enough to be quick, each against Python at the same size; this also warms
// both up. Stops before a size whose run is expected (from the growth seen so far) to
// take longer than kBudgetSeconds: a copy per step can make a 10^5-step kernel take
// hours. Throws when a result differs or a run fails.
Plan probe(KorelRunner& korel, PythonServer& python, const Kernel& kernel) {
  Plan plan;
  const long largest = kernel.growth ? 2 * kernel.n : kernel.n;
  for (long size : {kernel.n, largest}) plan.expected[size] = python.run(kernel.name, size).check;
  long size = std::max(largest / 64, 1L);
  double previous = 0;
  double growth = 2;  // time per doubling of the size, until two sizes have run
  for (;;) {
    double expected = plan.expected.count(size) ? plan.expected[size] : python.run(kernel.name, size).check;
    KorelRunner::Answer answer = korel.run(kernel.name, size);
    if (!same_result(answer.check, expected)) {
      char text[160];
      std::snprintf(text, sizeof text, "%s(%ld) is %.17g in Korel but %.17g in Python", kernel.name,
                    size, answer.check, expected);
      throw std::runtime_error(text);
    }
    if (size == largest) {
      plan.fits = true;
      return plan;
    }
    if (previous > 0) growth = std::max(answer.seconds / previous, 1.0);
    long next = std::min(2 * size, largest);
    auto at = [&](long target) {
      return answer.seconds * std::pow(growth, std::log2(static_cast<double>(target) / size));
    };
    if (at(next) > kBudgetSeconds) {
      char text[200];
      std::snprintf(text, sizeof text,
                    "not met: too slow to time; %.2f s at n = %ld, x%.1f per doubling, "
                    "about %.0f s at n = %ld (budget %.0f s a run)",
                    answer.seconds, size, growth, at(kernel.n), kernel.n, kBudgetSeconds);
      plan.why_not = text;
      return plan;
    }
    previous = answer.seconds;
    size = next;
  }
}

// Registers `side`/<kernel> at the kernel's size, and on the Korel side also at twice
// it when the kernel grows data. Each run records the goal of the ratio its row is
// judged by (report.py shows it as met or not): against CPython at the kernel's size,
// against the Korel run at the kernel's size at twice it. A Korel kernel over the
// budget fails at once with the probe's estimate instead of being timed.
template <typename Runner>
void register_kernel(const char* side, Runner& runner, const Kernel& kernel, const Plan& plan,
                     bool judged) {
  auto* family = benchmark::RegisterBenchmark(
      (std::string(side) + "/" + kernel.name).c_str(),
      [&runner, &kernel, &plan, judged](benchmark::State& state) {
        const long n = state.range(0);
        if (judged) state.counters["goal"] = n == kernel.n ? kernel.goal : kLinearGoal;
        for (auto _ : state) {
          if (judged && !plan.fits) {
            state.SkipWithError(plan.why_not.c_str());
            break;
          }
          try {
            auto answer = runner.run(kernel.name, n);
            state.SetIterationTime(answer.seconds);
            if (!same_result(answer.check, plan.expected.at(n))) {
              state.SkipWithError("the result differs from the one checked before timing");
              break;
            }
          } catch (const std::exception& error) {
            state.SkipWithError(error.what());
            break;
          }
        }
      });
  family->Arg(kernel.n);
  if (judged && kernel.growth) family->Arg(2 * kernel.n);
  family->Unit(benchmark::kMillisecond)->UseManualTime()->Iterations(1)->ReportAggregatesOnly(true);
}

// Keeps the median time of every benchmark, in seconds, for the ratios.
class RecordingReporter : public benchmark::ConsoleReporter {
 public:
  // A reporter handed to RunSpecifiedBenchmarks does not get the command line's colour
  // choice; colour only on a terminal, like the default reporter.
  RecordingReporter() : ConsoleReporter(::isatty(STDOUT_FILENO) ? OO_ColorTabular : OO_Tabular) {}

  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (run.error_occurred) continue;
      bool wanted = run.run_type == Run::RT_Aggregate ? run.aggregate_name == "median"
                                                      : run.repetitions <= 1;
      if (!wanted) continue;
      medians_[run.run_name.function_name + "/" + run.run_name.args] =
          run.GetAdjustedRealTime() * 1e-3;  // the benchmarks report milliseconds
      repetitions_ = run.repetitions;
    }
    ConsoleReporter::ReportRuns(runs);
  }

  std::optional<double> seconds(const std::string& key) const {
    auto it = medians_.find(key);
    return it == medians_.end() ? std::nullopt : std::optional<double>(it->second);
  }
  int64_t repetitions() const { return repetitions_; }

 private:
  std::map<std::string, double> medians_;
  int64_t repetitions_ = 0;
};

std::optional<double> ratio(std::optional<double> a, std::optional<double> b) {
  if (!a || !b || *b <= 0) return std::nullopt;
  return *a / *b;
}

std::string format(std::optional<double> value, const char* format, double scale = 1) {
  char text[32] = "n/a";
  if (value) std::snprintf(text, sizeof text, format, *value * scale);
  return text;
}

std::string verdict(std::optional<double> ratio, double goal, const Plan& plan) {
  if (!plan.fits) return plan.why_not;
  if (!ratio) return "n/a";
  return *ratio <= goal ? "met" : "not met";
}

void print_goals(const RecordingReporter& reporter, const std::map<std::string, Plan>& plans) {
  std::printf("\nKorel against CPython (%s), medians of %lld interleaved runs; ratio = Korel / CPython:\n",
              kPython, static_cast<long long>(reporter.repetitions()));
  std::printf("  %-34s %11s %11s %8s %8s\n", "kernel", "Korel", "CPython", "ratio", "goal");
  for (const Kernel& kernel : kKernels) {
    auto korel = reporter.seconds(key("Korel", kernel.name, kernel.n));
    auto python = reporter.seconds(key("CPython", kernel.name, kernel.n));
    auto r = ratio(korel, python);
    std::printf("  %-34s %11s %11s %8s %7.1fx  %s\n", kernel.what, format(korel, "%.2f ms", 1e3).c_str(),
                format(python, "%.2f ms", 1e3).c_str(), format(r, "%.2fx").c_str(), kernel.goal,
                verdict(r, kernel.goal, plans.at(kernel.name)).c_str());
  }

  std::printf("\nLinearity: Korel time at twice the steps / time at the steps (a copy per step gives 4):\n");
  for (const Kernel& kernel : kKernels) {
    if (!kernel.growth) continue;
    auto r = ratio(reporter.seconds(key("Korel", kernel.name, 2 * kernel.n)),
                   reporter.seconds(key("Korel", kernel.name, kernel.n)));
    std::printf("  %-34s %11s %11s %8s %7.1fx  %s\n", kernel.what, "", "", format(r, "%.2fx").c_str(),
                kLinearGoal, verdict(r, kLinearGoal, plans.at(kernel.name)).c_str());
  }
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<char*> args{argv[0], const_cast<char*>(kRepetitions)};
  args.insert(args.end(), argv + 1, argv + argc);
  const fs::path kernels = KERNEL_DIR;
  return korel::bench::run_in_scratch(
      static_cast<int>(args.size()), args.data(), "bench_interpreter", "bench_interpreter.",
      [&](const fs::path& root) {
        KorelRunner korel(kernels / "korel", root / "korel");
        PythonServer python(kPython, (kernels / "kernels.py").string());
        std::map<std::string, Plan> plans;
        for (const Kernel& kernel : kKernels) {
          try {
            plans[kernel.name] = probe(korel, python, kernel);
          } catch (const std::exception& error) {
            std::fprintf(stderr, "bench_interpreter: %s; nothing is timed\n", error.what());
            return 1;
          }
          const Plan& plan = plans[kernel.name];
          std::printf("checked %-16s %s\n", kernel.name, plan.fits ? "" : plan.why_not.c_str());
          std::fflush(stdout);
        }
        for (const Kernel& kernel : kKernels) {
          register_kernel("Korel", korel, kernel, plans[kernel.name], true);
          register_kernel("CPython", python, kernel, plans[kernel.name], false);
        }
        RecordingReporter reporter;
        benchmark::RunSpecifiedBenchmarks(&reporter);
        print_goals(reporter, plans);
        return 0;
      });
}
