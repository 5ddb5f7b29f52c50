// The per-user component cache: archives extracted once into a shared directory and
// reused by every process, least recently used components evicted when it grows past
// its size limit.
//
// Order of locks, everywhere: the object's mutex, then the root-level exclusive lock
// on the cache directory, then a component directory's read/write lock. Component
// locks are only ever taken with a zero time-out or while nobody can hold them for
// writing (see get_component), so a process that holds a component while it waits for
// the root-level lock cannot deadlock against maintenance.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include "ds/directory_exclusive_lock.h"
#include "kclkrt/cache/cache_entry.h"
#include "kclkrt/component/component_extractor.h"
#include "ut/mutex_lock.h"

class kclComponentCacheIndex;

class kclComponentCache : public std::enable_shared_from_this<kclComponentCache> {
 public:
  static constexpr uint64_t kDefaultMaxSize = 33554432;

  // The process's cache in kclGetComponentCacheDir(), made on first use; a new cache is
  // limited to KRT_CACHE_SIZE bytes, or the default. Throws when it cannot be made.
  static std::shared_ptr<kclComponentCache> instance();

  // A cache in `directory`, created (owner-only) when missing. A directory that is not
  // the effective user's alone (another's, or writable by group or others) is refused
  // with kclCacheExtractionError before anything in it is read or written. Its limit is
  // the one in the directory's .max_size; a cache without one gets `max_size`, written
  // there.
  static std::shared_ptr<kclComponentCache> create(std::string directory, uint64_t max_size);

  // The extracted component `key`, extracted by `extractor` when the cache has no
  // complete copy. The entry keeps the component's directory read-locked while it
  // lives; a second request in this process while it lives returns the same entry.
  // Throws kclCacheExtractionError, or dsNoSuchDirectory when the cache directory has
  // gone.
  std::shared_ptr<kclComponentCacheEntry> get_component(const std::string& key,
                                                        kclComponentExtractor& extractor);

  const std::string& directory() const { return directory_; }
  uint64_t max_size() const { return max_size_; }

 private:
  kclComponentCache(std::string directory, uint64_t max_size);

  std::shared_ptr<kclComponentCacheEntry> get_under_root_lock(const std::string& key,
                                                              kclComponentExtractor& extractor);
  std::unique_ptr<dsDirectoryReadWriteLock::AbstractLock> extract(
      const std::string& key, const std::string& directory, kclComponentExtractor& extractor,
      kclComponentCacheIndex& index);
  void remove_interrupted(const std::string& directory);
  void release(kclComponentCacheEntry* entry);
  void record_release(const std::string& name);
  void perform_maintenance(kclComponentCacheIndex& index);

  std::string directory_;
  dsDirectoryExclusiveLock root_lock_;
  uint64_t max_size_;
  std::map<std::string, std::weak_ptr<kclComponentCacheEntry>> live_entries_;
  Tenbrook::System::MutexLock mutex_{0, 0};
};
