// Copying a directory tree into an existing directory, with the runtime's own reports.
#pragma once

#include <string>

namespace kcl {

// Copies every directory and regular file below `source` into `destination`, which must
// exist. Directories are made as needed; files are replaced only when `overwrite` is set.
// Links and special files in the source are skipped, and nothing is written through a
// link in the destination. Each failure is reported with its catalogued message
// (KCLKRT_FILE_OPEN_FAILED, KCLKRT_FILE_OVERWRITE_FAILED, KCLKRT_FILE_COPY_FAILED,
// KCLKRT_FILE_CLOSE_FAILED, KCLKRT_CANT_DETERMINE_FILE_SIZE) and the copy goes on with
// the next file. True when every file was copied whole.
bool copy_directory_tree(const std::string& source, const std::string& destination,
                         bool overwrite);

}  // namespace kcl
