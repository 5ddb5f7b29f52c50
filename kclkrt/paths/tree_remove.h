// Removing a directory tree with the runtime's own reports.
#pragma once

#include <string>

namespace kcl {

// Removes `path` and everything below it, never following links. A failed removal is
// reported (KCLKRT_RMRF_REMOVE_FAILED) when `report_failures` is set, and the walk goes
// on; an entry that cannot be examined or a directory that cannot be opened stops it
// with a diagnostic on the internal error output. True when nothing is left.
bool remove_directory_tree(const std::string& path, bool report_failures);

}  // namespace kcl
