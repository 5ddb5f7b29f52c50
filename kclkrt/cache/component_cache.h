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
#include <functional>
#include <map>
#include <memory>
#include <string>

#include "ds/directory_exclusive_lock.h"
#include "kclkrt/cache/cache_entry.h"
#include "kclkrt/component/component_extractor.h"
#include "ut/mutex_lock.h"

class kclCacheDirectory;
class kclComponentCacheIndex;
class kclStagingDirectory;

class kclComponentCache : public std::enable_shared_from_this<kclComponentCache> {
 public:
  static constexpr uint64_t kDefaultMaxSize = 33554432;

  // Whether the extracted component in `directory` is whole (the files it needs are
  // there); an empty function takes every complete component for whole.
  using IntactCheck = std::function<bool(const std::string& directory)>;

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
  //
  // An extraction is staged in a hidden directory beside the component's place and
  // renamed into place only once complete and marked, so a component directory is never
  // partial. A complete copy that `intact` finds damaged, or whose size cannot be
  // measured, is replaced the same way: the fresh copy takes its place, and the damaged
  // one is removed once nobody holds the component (those who do go on with what they
  // have). Whatever is in the component's place that is not a directory of its own (a
  // link, a file) is removed itself, never what it points to, and the component
  // extracted afresh.
  //
  // When the cache cannot be written (a read-only file system, or a lock file its user
  // may not write), a complete copy that `intact` passes is handed out as it is, without
  // updating the index or evicting anything, and only the verbose log says so; without
  // such a copy the request fails.
  //
  // Throws kclCacheExtractionError, or dsNoSuchDirectory when the cache directory has
  // gone.
  std::shared_ptr<kclComponentCacheEntry> get_component(const std::string& key,
                                                        kclComponentExtractor& extractor,
                                                        const IntactCheck& intact = {});

  const std::string& directory() const { return directory_; }
  uint64_t max_size() const { return max_size_; }

 private:
  kclComponentCache(std::string directory, uint64_t max_size);

  // A component directory read-locked, and its size.
  struct Held {
    std::unique_ptr<dsDirectoryReadWriteLock::AbstractLock> lock;
    uint64_t bytes = 0;
  };

  std::shared_ptr<kclComponentCacheEntry> get_under_root_lock(const std::string& key,
                                                              kclComponentExtractor& extractor,
                                                              const IntactCheck& intact);
  std::shared_ptr<kclComponentCacheEntry> get_read_only(const std::string& key,
                                                        const IntactCheck& intact);
  Held use_complete(const kclCacheDirectory& cache, const std::string& key,
                    const IntactCheck& intact);
  Held extract(const kclCacheDirectory& cache, const std::string& key,
               kclComponentExtractor& extractor, kclComponentCacheIndex& index, bool replacing);
  std::unique_ptr<dsDirectoryReadWriteLock::AbstractLock> put_in_place(
      const kclCacheDirectory& cache, kclStagingDirectory& staging, const std::string& key,
      bool replacing);
  std::shared_ptr<kclComponentCacheEntry> make_entry(
      const std::string& key, std::unique_ptr<dsDirectoryReadWriteLock::AbstractLock> lock,
      bool read_only);
  void release(kclComponentCacheEntry* entry, bool read_only);
  void record_release(const std::string& name);
  void perform_maintenance(const kclCacheDirectory& cache, kclComponentCacheIndex& index);

  std::string directory_;
  dsDirectoryExclusiveLock root_lock_;
  uint64_t max_size_;
  std::map<std::string, std::weak_ptr<kclComponentCacheEntry>> live_entries_;
  Tenbrook::System::MutexLock mutex_{0, 0};
};
