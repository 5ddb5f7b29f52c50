// The size of an extracted component, kept in its directory's .bytes_used file.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace kcl {

// Measures the component directory open at `component`: the sizes of every regular file
// below it added up, by descriptors (depth does not limit it) and without following a
// link. nullopt when any part of it could not be read: such a directory has no size the
// cache could account for.
std::optional<uint64_t> measure_component(int component, const std::string& display_path);

// Records `total` as the size of the component directory open at `component`.
bool write_bytes_used(int component, uint64_t total);

// Reads the .bytes_used of the component directory open at `component`; when it cannot
// be read, measures the directory and writes the result there for next time. nullopt
// when the directory cannot be measured.
std::optional<uint64_t> component_bytes_used(int component, const std::string& display_path);

// As above for the component directory at `directory`, which must not be a link.
std::optional<uint64_t> component_bytes_used(const std::string& directory);

}  // namespace kcl
