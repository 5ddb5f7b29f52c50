// Component keys: the name of one build of a component, under which the runtime caches
// its extraction and marks a local extraction up to date.
#pragma once

#include <string>
#include <vector>

#include "function_sources.h"

namespace kcc {

// "<name>_" and 16 hex digits of a 64-bit hash of the name and of every file's name and
// contents, so that any change to them gives a new key.
std::string default_component_key(const std::string& name,
                                  const std::vector<FunctionSource>& sources);

// Empty when `key` can name a directory of the cache and of an archive, else why not.
std::string component_key_problem(const std::string& key);

}  // namespace kcc
