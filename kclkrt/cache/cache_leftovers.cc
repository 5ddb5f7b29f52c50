#include "kclkrt/cache/cache_leftovers.h"

#include "ds/directory_read_write_lock.h"
#include "kclkrt/cache/cache_directory.h"
#include "kclkrt/cache/cache_log.h"
#include "kclkrt/cache/component_name.h"
#include "kclkrt/cache/staging_directory.h"

namespace kcl {
namespace {

bool in_use(const kclCacheDirectory& cache, const std::string& name,
            const CacheLeftover& leftover) {
  if (leftover.kind == CacheLeftover::Kind::staging)
    return kclStagingDirectory::in_use(cache, name);
  // Those who used the damaged directory hold its component's lock, taken under the
  // component's name: while anyone holds that, the directory may still be theirs.
  return dsDirectoryReadWriteLock::heldByAnyone(cache.path_of(leftover.component));
}

}  // namespace

void remove_cache_leftovers(const kclCacheDirectory& cache, const std::vector<std::string>& names) {
  for (const std::string& name : names) {
    std::optional<CacheLeftover> leftover = parse_cache_leftover(name);
    if (!leftover || in_use(cache, name, *leftover)) continue;
    if (leftover->kind == CacheLeftover::Kind::staging)
      cache_log("Removing an abandoned staging directory: ", cache.path_of(name));
    else
      cache_log("Removing a replaced component directory nobody holds: ", cache.path_of(name));
    if (!cache.remove(name)) cache_log("Could not remove ", cache.path_of(name));
  }
}

}  // namespace kcl
