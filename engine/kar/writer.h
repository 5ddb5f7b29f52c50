// Making a KAR archive from a directory tree.
#pragma once

#include <string>

#include "korel/export.h"

namespace kar {

struct WriteOptions {
  bool compress = true;  // deflate; false stores the files as they are
};

// Writes every file and directory below `source` (names relative to it, in sorted
// order, directories included so that empty ones survive) into a ZIP archive at
// `archive`. The archive appears complete or not at all: it is written beside its final
// name and renamed into place. Symbolic links and special files are refused. Throws
// Error.
KOREL_EXPORT void write_archive(const std::string& source, const std::string& archive,
                   const WriteOptions& options = {});

}  // namespace kar
