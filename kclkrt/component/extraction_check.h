// Cheap checks of an extracted component archive before a start relies on it.
#pragma once

#include <string>

#include "korel/kclkrt.h"

namespace kcl {

// Whether the extraction in `extraction_directory` still holds what a start needs, as
// far as a few system calls can tell: every one of the component's own path
// directories (its path entries relative to the extraction) that is there is a real
// directory holding at least one regular file, and at least one of them is there. An
// age-based temporary-file cleaner that deletes the files of an extraction, and
// perhaps the directories it emptied, fails this; a fresh extraction passes, since a
// path directory exists to hold functions and a component may list directories its
// archive does not have. Nothing is followed through a link: a link can only have been
// planted, since archives hold none. The cost is a few calls per path entry, never one
// per file of the extraction.
bool extraction_intact(const std::string& extraction_directory, const kclComponentData& data);

// Whether the component's native functions (.klf files in its own path directories)
// lie in `extraction_directory` on a file system mounted noexec, where the loader
// cannot map them. One statvfs call unless the mount is noexec.
bool native_functions_blocked(const std::string& extraction_directory, const kclComponentData& data);

}  // namespace kcl
