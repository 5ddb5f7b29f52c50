// Where a component's module and archive live when its data names no directory.
#pragma once

#include <string>

struct kclComponentData;

namespace kcl {

// The component's directory, found by target type: the executable on PATH (0), the
// loaded <name>.so exporting <name>Initialize or else <name>.kar on LD_LIBRARY_PATH then
// PATH (1), <name>.kar on PATH then LD_LIBRARY_PATH (4); a directory named in the data
// comes first. A target that cannot be hosted finds nothing. An empty result has been
// reported.
std::string find_component_directory(const kclComponentData& data, int target_type);

// Target types 2 (native extensions) and 3 cannot be hosted by a component instance,
// and types above 4 are unknown: true, after reporting, for each of these.
bool refuse_unhostable_target(const char* name, int target_type);

// The first directory of the colon-separated list in environment variable `variable`
// that holds a regular file `file_name`; empty when none does. Empty elements are
// skipped: they would mean the current directory, which a deployed program must not
// depend on.
std::string search_environment_path(const char* variable, const std::string& file_name);

}  // namespace kcl
