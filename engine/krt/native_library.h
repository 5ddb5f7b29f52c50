// Native compiled functions (.klf): shared objects loaded once per process.
#pragma once

#include <string>

#include "korel/kx.h"

namespace krt {

// The entry point `klfFunction` of the .klf at `path`, loading it on first use. The
// library stays loaded for the life of the process. Raises a Korel error when the file
// cannot be loaded or has no entry point.
kxNativeFunction load_native_function(const std::string& path);

}  // namespace krt
