// The files a component is built from: Korel sources and native function sources, each
// defining the function its base name names.
#pragma once

#include <string>
#include <vector>

namespace kcc {

struct FunctionSource {
  enum class Kind { Korel, NativeC, NativeCxx };
  Kind kind;
  std::string path;      // as given on the command line
  std::string file;      // the base name, e.g. "stats.k"
  std::string function;  // the base name without its extension, e.g. "stats"
  std::string contents;
};

// Reads and classifies every file, sorted by function name. Throws Error for a file
// that cannot be read, an unknown type, a base name that is no Korel function name,
// or two files defining the same function.
std::vector<FunctionSource> read_function_sources(const std::vector<std::string>& paths);

}  // namespace kcc
