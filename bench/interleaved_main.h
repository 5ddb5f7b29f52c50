// The main of the programs that time whole extractions and processes: Google Benchmark
// set up with repetitions interleaved at random, and a scratch directory of their own
// that goes when they end, whatever happened.
#pragma once

#include <benchmark/benchmark.h>
#include <stdlib.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <exception>
#include <filesystem>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

namespace korel::bench {

// Runs `body` on a new directory under the system's temporary directory named from
// `prefix`, and returns its exit status. An exception is reported as "<program>: <what>"
// and gives 1. Interleaving the repetitions spreads drift in the machine's load over
// every case; a flag given on the command line still wins, coming later.
inline int run_in_scratch(int argc, char** argv, const char* program, const std::string& prefix,
                          const std::function<int(const std::filesystem::path&)>& body) {
  std::vector<char*> args{argv[0], const_cast<char*>("--benchmark_enable_random_interleaving=true")};
  args.insert(args.end(), argv + 1, argv + argc);
  int count = static_cast<int>(args.size());
  benchmark::Initialize(&count, args.data());
  if (benchmark::ReportUnrecognizedArguments(count, args.data())) return 1;

  std::filesystem::path root;
  int status = 1;
  try {
    std::string pattern = (std::filesystem::temp_directory_path() / (prefix + "XXXXXX")).string();
    if (!::mkdtemp(pattern.data()))
      throw std::runtime_error(std::string("cannot create a temporary directory: ") + std::strerror(errno));
    root = pattern;
    status = body(root);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s: %s\n", program, error.what());
    status = 1;
  }
  benchmark::Shutdown();
  std::error_code ignored;
  if (!root.empty()) std::filesystem::remove_all(root, ignored);
  return status;
}

}  // namespace korel::bench
