// The component's archive: its functions under a directory named by the component key,
// and the preferences template.
#pragma once

#include <string>
#include <vector>

#include "function_sources.h"
#include "toolchain.h"

namespace kcc {

// Lays the archive's tree out in `tree` (which must not exist), Korel sources copied and
// native sources compiled into .klf files, and writes it to `archive`. Throws Error.
void write_component_archive(const std::vector<FunctionSource>& sources, const std::string& key,
                             const Toolchain& toolchain, const std::string& tree,
                             const std::string& archive);

}  // namespace kcc
