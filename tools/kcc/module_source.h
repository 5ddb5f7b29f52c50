// The C source of a component's native module: the program or library that starts the
// runtime, finds and extracts the component's archive and calls its functions.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace kcc {

struct ModuleDescription {
  enum class Archive {
    Local,     // NAME.kar beside the module, extracted into NAME_krt beside it
    Cache,     // NAME.kar beside the module, extracted into the per-user cache
    Embedded,  // appended to the module, extracted into the per-user cache
  };
  std::string name;
  std::string key;
  std::vector<std::string> warning_states;
  Archive archive = Archive::Local;
  uint64_t embedded_archive_size = 0;  // Embedded only
  std::vector<std::string> functions;  // the library's wrappers, one per function
};

// A program whose main calls the Korel function NAME with its command line.
std::string executable_source(const ModuleDescription& module);

// The header of the library NAME.so, and its source (which includes "NAME.h").
std::string library_header(const ModuleDescription& module);
std::string library_source(const ModuleDescription& module);

}  // namespace kcc
