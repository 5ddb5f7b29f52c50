// The entries of an archive, as its central directory names them.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "korel/export.h"

namespace kar {

class ArchiveInput;

struct EntryInfo {
  std::string name;
  uint64_t size = 0;  // 0 for a directory
  bool directory = false;
};

// Throws Error on a damaged archive.
KOREL_EXPORT std::vector<EntryInfo> list_entries(ArchiveInput& input);

}  // namespace kar
