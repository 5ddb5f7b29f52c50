// What the programs that time whole extractions and processes share around their main:
// Google Benchmark set up with repetitions interleaved at random, and a scratch
// directory of their own.
#pragma once

#include <benchmark/benchmark.h>
#include <stdlib.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

namespace korel::bench {

// Interleaving the repetitions spreads drift in the machine's load over every case; a
// flag given on the command line still wins, coming later. False on an unknown flag.
inline bool initialize_interleaved(int argc, char** argv) {
  std::vector<char*> args{argv[0], const_cast<char*>("--benchmark_enable_random_interleaving=true")};
  args.insert(args.end(), argv + 1, argv + argc);
  int count = static_cast<int>(args.size());
  benchmark::Initialize(&count, args.data());
  return !benchmark::ReportUnrecognizedArguments(count, args.data());
}

// A new directory under the system's temporary directory, named from `prefix`.
inline std::filesystem::path make_scratch_directory(const std::string& prefix) {
  std::string pattern = (std::filesystem::temp_directory_path() / (prefix + "XXXXXX")).string();
  if (!::mkdtemp(pattern.data()))
    throw std::runtime_error(std::string("cannot create a temporary directory: ") + std::strerror(errno));
  return pattern;
}

}  // namespace korel::bench
