#include "kclkrt/cache/bytes_used.h"

#include <fstream>

#include "kclkrt/cache/cache_log.h"
#include "kclkrt/component/kar_extractors.h"

namespace kcl {

uint64_t component_bytes_used(const std::string& directory) {
  const std::string path = directory + "/.bytes_used";
  cache_log("Opening file ", path);
  uint64_t total = 0;
  std::ifstream in(path);
  // A file that holds no number is as good as missing: the size is worked out again.
  if (in && in >> total) {
    cache_log(".bytes_used file read: ", total);
    return total;
  }
  cache_log("Could not read file.");
  cache_log("Calculating bytes used by component: ", directory);
  total = extracted_size(directory);
  cache_log("total is ", total);
  cache_log("Writing file ", directory, "/.bytes_used (total is ", total, ")");
  std::ofstream(path, std::ios::trunc) << total;
  return total;
}

}  // namespace kcl
