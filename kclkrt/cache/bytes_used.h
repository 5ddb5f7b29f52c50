// The size of an extracted component, kept in its directory's .bytes_used file.
#pragma once

#include <cstdint>
#include <string>

namespace kcl {

// Reads `directory`/.bytes_used; when it cannot be read, adds up the sizes of every
// file below the directory and writes the sum there for next time.
uint64_t component_bytes_used(const std::string& directory);

}  // namespace kcl
