// The component's native module: generated C compiled into the program NAME or the
// library NAME.so with its header NAME.h.
#pragma once

#include <string>

#include "command_line.h"
#include "module_source.h"
#include "toolchain.h"

namespace kcc {

// Generates, compiles and installs the module into the output directory; an embedded
// archive (`embedded_archive`, else unused) is appended to the program. The module is
// linked under a hidden name and renamed into place, so a running copy of the old one
// is not disturbed. Throws Error.
void build_native_module(const Options& options, const ModuleDescription& module,
                         const Toolchain& toolchain, const std::string& staging,
                         const std::string& embedded_archive);

}  // namespace kcc
