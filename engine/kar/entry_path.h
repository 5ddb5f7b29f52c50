// The path an archive entry names below the extraction target.
#pragma once

#include <string>
#include <vector>

#include "korel/export.h"

namespace kar {

// The elements of `name` below the target, "." and empty elements dropped; empty for a
// name that means the target itself ("./"). Throws Error for a name that could leave
// the target: absolute, or with a ".." element.
KOREL_EXPORT std::vector<std::string> entry_path_elements(const std::string& name);

// The elements joined with '/'.
std::string join_elements(const std::vector<std::string>& elements, std::size_t count);

}  // namespace kar
