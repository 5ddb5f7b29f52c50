// What extractions and replacements leave in the cache directory, and its removal.
#pragma once

#include <string>
#include <vector>

class kclCacheDirectory;

namespace kcl {

// Removes, of the entries `names` (hidden names the index found, see component_name.h),
// the staging directories no live process writes (their process died) and the damaged
// directories moved aside once nobody holds their component any more. Whatever is still
// in use stays for a later start.
void remove_cache_leftovers(const kclCacheDirectory& cache, const std::vector<std::string>& names);

}  // namespace kcl
