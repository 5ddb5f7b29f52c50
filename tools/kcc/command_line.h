// kcc's command line.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace kcc {

enum class Target { Executable, SharedLibrary };

struct Options {
  std::string name;
  std::string output_directory;
  Target target = Target::Executable;
  bool embed = false;  // archive appended to the program, extracted through the cache
  bool cache = false;  // archive beside the module, extracted through the cache
  std::string key;     // empty: derived from the files
  std::vector<std::string> warning_states;  // "on:<id>" or "off:<id>"
  std::vector<std::string> files;
  bool verbose = false;
  bool keep_source = false;
};

// The options, or nullopt when --help was given (the help has been printed). Throws
// UsageError for anything missing, unknown or inconsistent.
std::optional<Options> parse_command_line(int argc, char** argv);

}  // namespace kcc
