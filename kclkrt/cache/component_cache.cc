#include "kclkrt/cache/component_cache.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <optional>
#include <sstream>

#include "ds/errors.h"
#include "ds/sync_tree.h"
#include "kclkrt/cache/bytes_used.h"
#include "kclkrt/cache/cache_directory.h"
#include "kclkrt/cache/cache_errors.h"
#include "kclkrt/cache/cache_file.h"
#include "kclkrt/cache/cache_index.h"
#include "kclkrt/cache/cache_leftovers.h"
#include "kclkrt/cache/cache_location.h"
#include "kclkrt/cache/cache_log.h"
#include "kclkrt/cache/component_name.h"
#include "kclkrt/cache/creation_marker.h"
#include "kclkrt/cache/staging_directory.h"

using kcl::cache_log;
using Tenbrook::System::kWaitForever;
using Tenbrook::System::TimeUnit;
using RWLock = dsDirectoryReadWriteLock;

namespace {

constexpr const char* kNotLocked = "Cache directory lock is not acquired!  (aborting...)";

// Holds the root-level lock for a scope.
class RootLockHold {
 public:
  RootLockHold(dsDirectoryExclusiveLock& lock, bool missing_is_busy) : lock_(lock) {
    held_ = lock_.acquire(kWaitForever, TimeUnit::sSeconds(), missing_is_busy);
  }
  ~RootLockHold() {
    if (held_) lock_.release(kWaitForever, TimeUnit::sSeconds());
  }
  RootLockHold(const RootLockHold&) = delete;
  RootLockHold& operator=(const RootLockHold&) = delete;
  bool held() const { return held_; }

 private:
  dsDirectoryExclusiveLock& lock_;
  bool held_ = false;
};

// Creates the missing directories of `path`, each readable and writable by its owner
// only: the cache holds the user's components.
bool make_private_directories(const std::string& path) {
  for (std::size_t end = path.find('/', 1);; end = path.find('/', end + 1)) {
    std::string prefix = path.substr(0, end);
    if (!prefix.empty() && ::mkdir(prefix.c_str(), 0700) != 0 && errno != EEXIST) return false;
    if (end == std::string::npos) break;
  }
  struct stat st;
  return ::stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

// True when `directory` is its user's alone: a directory owned by the effective user that
// no one else may write into, reached through no link of another user's. Whoever else
// could write there could plant a "complete" component whose native code this user's
// processes would then load and run.
bool is_users_own(const std::string& directory) {
  const uid_t user = ::geteuid();
  struct stat link, target;
  if (::lstat(directory.c_str(), &link) != 0 || ::stat(directory.c_str(), &target) != 0)
    return false;
  return link.st_uid == user && target.st_uid == user && S_ISDIR(target.st_mode) &&
         (target.st_mode & (S_IWGRP | S_IWOTH)) == 0;
}

// Writes .max_size unless it exists: the file is made aside and linked into place, so
// a process starting at the same moment reads either no file or a whole one, never an
// empty one (which would read as a limit of 0).
bool write_max_size(const std::string& path, uint64_t size) {
  std::string temporary = path + "." + std::to_string(::getpid());
  if (!kcl::write_cache_file(AT_FDCWD, temporary, std::to_string(size))) return false;
  bool linked = ::link(temporary.c_str(), path.c_str()) == 0 || errno == EEXIST;
  ::unlink(temporary.c_str());
  return linked;
}

// The limit a .max_size holds; a file without a number reads as 0, as stream
// extraction has it.
uint64_t parse_max_size(const std::string& text) {
  uint64_t size = 0;
  std::istringstream(text) >> size;
  return size;
}

// The lock of a component directory. A link in a component's place is no component:
// its lock is neither taken nor made where the link points.
std::shared_ptr<RWLock::Impl> component_lock(const std::string& directory) {
  return std::make_shared<RWLock::Impl>(directory, dsLinkPolicy::refuse);
}

// Why a lock file cannot be opened for writing when the cache is there to be read only.
bool is_read_only_error(int error) { return error == EROFS || error == EACCES || error == EPERM; }

// KRT_CACHE_SIZE as a number of bytes; anything else leaves `size` alone.
void read_size_setting(const char* text, uint64_t& size) {
  std::istringstream in(text);
  in >> std::ws;
  // Stream extraction would take "-1" and wrap it around to the largest size.
  if (in.peek() == '-') return;
  uint64_t value = 0;
  if (in >> value) size = value;
}

}  // namespace

std::shared_ptr<kclComponentCache> kclComponentCache::instance() {
  static std::mutex creation;
  static std::shared_ptr<kclComponentCache> cache;
  std::lock_guard<std::mutex> hold(creation);
  if (!cache) {
    uint64_t size = kDefaultMaxSize;
    if (const char* text = std::getenv("KRT_CACHE_SIZE")) read_size_setting(text, size);
    cache = create(kclGetComponentCacheDir(), size);
  }
  return cache;
}

std::shared_ptr<kclComponentCache> kclComponentCache::create(std::string directory,
                                                             uint64_t max_size) {
  return std::shared_ptr<kclComponentCache>(new kclComponentCache(std::move(directory), max_size));
}

kclComponentCache::kclComponentCache(std::string directory, uint64_t max_size)
    : directory_(std::move(directory)), root_lock_(directory_, ""), max_size_(max_size) {
  cache_log("Creating KRT Cache at location: ", directory_);
  if (!make_private_directories(directory_)) {
    cache_log("Could not create the cache directory ", directory_, ": ", std::strerror(errno));
    throw kclCacheExtractionError();
  }
  if (!is_users_own(directory_)) {
    cache_log("Refusing a cache directory that is not the user's alone: ", directory_);
    throw kclCacheExtractionError();
  }
  const std::string size_file = directory_ + "/.max_size";
  std::optional<std::string> text = kcl::read_cache_file(AT_FDCWD, size_file);
  if (!text) {
    cache_log(".max_size not found.  Using default size of ", max_size_, " bytes.");
    if (!write_max_size(size_file, max_size_)) {
      cache_log("Creation of .max_size failed! (no file written)");
    } else if (std::optional<std::string> written = kcl::read_cache_file(AT_FDCWD, size_file)) {
      // Another process may have seeded it first; its limit is the cache's.
      max_size_ = parse_max_size(*written);
    }
    return;
  }
  cache_log(".max_size found... ");
  max_size_ = parse_max_size(*text);
  cache_log("contents read. Cache max size set to ", max_size_);
}

std::shared_ptr<kclComponentCacheEntry> kclComponentCache::get_component(
    const std::string& key, kclComponentExtractor& extractor, const IntactCheck& intact) {
  cache_log("KRT cache extracting component: ", key);
  Tenbrook::System::MutexLock::Holder hold(mutex_);
  auto live = live_entries_.find(key);
  if (live != live_entries_.end()) {
    if (auto entry = live->second.lock()) {
      cache_log("Returning cached component reference.");
      return entry;
    }
  }
  if (!kcl::is_cache_component_name(key)) {
    cache_log("Refusing a component name that cannot name a cache directory: ", key);
    throw kclCacheExtractionError();
  }
  try {
    cache_log("Acquiring KRT cache root-level directory lock...");
    std::optional<RootLockHold> root;
    try {
      root.emplace(root_lock_, false);
    } catch (const dsLockError& e) {
      if (!is_read_only_error(e.error())) throw;
      cache_log(e.what());
      return get_read_only(key, intact);
    }
    cache_log(" acquire succeeded.");
    return get_under_root_lock(key, extractor, intact);
  } catch (const kclCacheExtractionError&) {
    throw;
  } catch (const dsNoSuchDirectory&) {
    throw;
  } catch (const std::exception& e) {
    cache_log("Component cache failure: ", e.what());
    throw kclCacheExtractionError();
  }
}

std::shared_ptr<kclComponentCacheEntry> kclComponentCache::get_under_root_lock(
    const std::string& key, kclComponentExtractor& extractor, const IntactCheck& intact) {
  const kclCacheDirectory cache(directory_);
  kclComponentCacheIndex index(directory_);
  kcl::remove_cache_leftovers(cache, index.leftovers());
  const std::string directory = cache.path_of(key);
  cache_log("KRT cache: extractDir is ", directory);

  Held held;
  bool replacing = false;
  switch (cache.kind(key)) {
    case kclCacheDirectory::Kind::missing:
      break;
    case kclCacheDirectory::Kind::other:
      cache_log("Not a directory of its own: ", directory, ".  Removing it...");
      if (!cache.remove(key)) {
        cache_log("Failed to remove possibly corrupt component directory: ", directory);
        throw kclCacheExtractionError();
      }
      break;
    case kclCacheDirectory::Kind::directory:
      held = use_complete(cache, key, intact);
      replacing = !held.lock;
      break;
  }
  if (!held.lock) held = extract(cache, key, extractor, index, replacing);
  if (!held.lock->isAcquired()) {
    cache_log("ERROR: READ lock not acquired!");
    throw kclCacheExtractionError();
  }

  index.add({key, key, held.bytes, kclComponentCacheIndex::now()});
  cache_log("Component ", key, " has successfully been accessed from the cache.");
  // The new entry's lock already protects its directory from this maintenance.
  perform_maintenance(cache, index);
  index.write_if_needed();
  return make_entry(key, std::move(held.lock), false);
}

kclComponentCache::Held kclComponentCache::use_complete(const kclCacheDirectory& cache,
                                                        const std::string& key,
                                                        const IntactCheck& intact) {
  const std::string directory = cache.path_of(key);
  cache_log("Checking for creation timestamp...");
  ut::UniqueFd component = cache.open_directory(key);
  if (!component || !kcl::has_creation_marker(component.get())) {
    cache_log("Timestamp is invalid.  Attempting to re-extract the component...");
    return {};
  }
  cache_log("Timestamp is valid.");
  cache_log("Acquiring component-level directory READ lock...");
  // Only the holder of the root-level lock writes a component, so this waits for
  // nobody in practice.
  Held held{std::make_unique<RWLock::ReadLock>(component_lock(directory))};
  held.lock->acquire(kWaitForever, TimeUnit::sSeconds(), false);
  cache_log(" acquire succeeded.");
  if (intact && !intact(directory)) {
    cache_log("The component in ", directory, " is damaged.  Attempting to re-extract it...");
    return {};
  }
  std::optional<uint64_t> bytes = kcl::component_bytes_used(component.get(), directory);
  if (!bytes) {
    cache_log("The size of ", directory, " is unknown.  Attempting to re-extract it...");
    return {};
  }
  held.bytes = *bytes;
  return held;
}

kclComponentCache::Held kclComponentCache::extract(const kclCacheDirectory& cache,
                                                   const std::string& key,
                                                   kclComponentExtractor& extractor,
                                                   kclComponentCacheIndex& index,
                                                   bool replacing) {
  cache_log("Adding component ", key, " to the cache.");
  perform_maintenance(cache, index);  // room first, before the new files arrive

  kclStagingDirectory staging(cache, key);
  cache_log("Extracting component into ", staging.path(), "... ");
  uint64_t reported = 0;  // the cache measures for itself, below
  if (!extractor.extract(reported, staging.path())) {
    cache_log("ERROR: extractTo failed");
    cache_log("Failed to completely extract component!");
    throw kclCacheExtractionError();
  }
  // Removed rather than skipped: the extractor writes whatever the archive holds, and
  // only what the cache writes once the data is complete may say that it is complete
  // or how large it is.
  if (!kcl::remove_archive_markers(staging.fd(), staging.path())) {
    cache_log("Could not remove the archive's own marker files from ", staging.path());
    throw kclCacheExtractionError();
  }
  // A component whose size cannot be measured could escape the size limit: it is never
  // marked complete.
  std::optional<uint64_t> bytes = kcl::measure_component(staging.fd(), staging.path());
  if (!bytes) {
    cache_log("Failed to completely extract component!");
    throw kclCacheExtractionError();
  }
  if (!kcl::write_bytes_used(staging.fd(), *bytes))
    cache_log("Could not write ", staging.path(), "/.bytes_used");
  // The marker promises a complete component, also after a crash or a power loss: the
  // files reach the disk before it is written.
  if (!dsSyncTreeAt(staging.fd())) {
    cache_log("Could not flush the extracted files of ", staging.path(), " to the disk");
    throw kclCacheExtractionError();
  }
  cache_log("Component extracted to cache.  Writing creation timestamp...");
  if (!kcl::write_creation_marker(staging.fd()) || ::fsync(staging.fd()) != 0) {
    cache_log("Timestamp creation failed.");
    throw kclCacheExtractionError();
  }
  cache_log("Timestamp successfully created.");
  return {put_in_place(cache, staging, key, replacing), *bytes};
}

std::unique_ptr<dsDirectoryReadWriteLock::AbstractLock> kclComponentCache::put_in_place(
    const kclCacheDirectory& cache, kclStagingDirectory& staging, const std::string& key,
    bool replacing) {
  const std::string directory = cache.path_of(key);
  std::unique_ptr<RWLock::WriteLock> writer;
  std::string aside;
  if (replacing) {
    writer = std::make_unique<RWLock::WriteLock>(component_lock(directory));
    // Never waits: a process that holds the old directory may itself be waiting for the
    // root-level lock held here.
    if (!writer->acquire(0, TimeUnit::sSeconds(), true)) writer.reset();
    cache_log("Moving the old component directory aside...");
    aside = cache.rename_unique(key, kcl::aside_prefix(key));
    if (aside.empty()) throw kclCacheExtractionError();
  }
  cache_log("Moving the extracted component into place: ", directory);
  if (!staging.move_to(key)) throw kclCacheExtractionError();
  if (!cache.sync()) cache_log("Could not flush the cache directory ", cache.path());
  if (writer) {
    // Nobody held the old directory, so it goes now. The write lock, taken under the
    // component's name, now covers the new directory and becomes the entry's read lock.
    if (!cache.remove(aside)) cache_log("Could not remove ", cache.path_of(aside), " yet");
    cache_log("Downgrading WRITE lock to READ lock... ");
    writer->downgrade(kWaitForever, TimeUnit::sSeconds());
    cache_log("downgrade successful.");
    return writer;
  }
  if (replacing) cache_log("The old directory is in use; it stays aside until nobody holds it.");
  cache_log("Acquiring component-level directory READ lock...");
  auto reader = std::make_unique<RWLock::ReadLock>(component_lock(directory));
  // Only the holder of the root-level lock, this process, writes a component.
  reader->acquire(kWaitForever, TimeUnit::sSeconds(), false);
  cache_log(" acquire succeeded.");
  return reader;
}

std::shared_ptr<kclComponentCacheEntry> kclComponentCache::get_read_only(
    const std::string& key, const IntactCheck& intact) {
  cache_log("The cache in ", directory_, " cannot be written: using ", key,
            " as it is there, without updating the index or evicting anything.");
  const kclCacheDirectory cache(directory_);
  const std::string directory = cache.path_of(key);
  std::unique_ptr<RWLock::AbstractLock> lock =
      std::make_unique<RWLock::ReadLock>(component_lock(directory));
  try {
    if (!lock->acquire(kWaitForever, TimeUnit::sSeconds(), true)) {
      cache_log("No component directory ", directory, " in the read-only cache.");
      throw kclCacheExtractionError();
    }
  } catch (const dsLockError& e) {
    // A cache nobody can write can have nothing evicted from it either.
    cache_log(e.what(), "; going on without the component's lock.");
    lock.reset();
  }
  // Looked at once locked: the copy checked is the copy that stays.
  ut::UniqueFd component = cache.open_directory(key);
  if (!component || !kcl::has_creation_marker(component.get()) ||
      (intact && !intact(directory))) {
    cache_log("No complete copy of ", key, " in the read-only cache.");
    throw kclCacheExtractionError();
  }
  cache_log("Component ", key, " has successfully been accessed from the read-only cache.");
  return make_entry(key, std::move(lock), true);
}

std::shared_ptr<kclComponentCacheEntry> kclComponentCache::make_entry(
    const std::string& key, std::unique_ptr<RWLock::AbstractLock> lock, bool read_only) {
  auto self = shared_from_this();
  std::shared_ptr<kclComponentCacheEntry> entry(
      new kclComponentCacheEntry(key, directory_ + "/" + key, std::move(lock)),
      [self, read_only](kclComponentCacheEntry* released) { self->release(released, read_only); });
  live_entries_[key] = entry;
  return entry;
}

void kclComponentCache::release(kclComponentCacheEntry* entry, bool read_only) {
  try {
    Tenbrook::System::MutexLock::Holder hold(mutex_);
    auto live = live_entries_.find(entry->name());
    // A new entry for the name may have been made since this one expired.
    if (live != live_entries_.end() && live->second.expired()) live_entries_.erase(live);
    // A read-only cache keeps no record of use.
    if (!read_only && !(kcl::cache_verbose() && std::getenv("KRT_CACHE_QUIET") == nullptr))
      record_release(entry->name());
  } catch (...) {
    // Giving a component up must not fail; a missed update costs only LRU accuracy.
  }
  delete entry;  // gives the directory's read lock up
}

void kclComponentCache::record_release(const std::string& name) {
  RootLockHold root(root_lock_, true);
  if (!root.held()) {
    cache_log(kNotLocked);
    return;
  }
  const kclCacheDirectory cache(directory_);
  kclComponentCacheIndex index(directory_);
  kcl::remove_cache_leftovers(cache, index.leftovers());
  cache_log("KRT Cache: updating .last_used file (LRU component: " + name + ") " +
            "(checking for cache root-level directory lock... ");
  if (root_lock_.isAcquired()) {
    cache_log("done) ");
    try {
      index.update_last_used(name);
      cache_log("done.");
    } catch (const kclComponentCacheIndex::component_not_found&) {
      cache_log("caught kclComponentCacheIndex::component_not_found exception ",
                "while trying to update the last_used time for ", name);
    }
  } else {
    cache_log(kNotLocked);
  }
  perform_maintenance(cache, index);
  index.write_if_needed();
}

void kclComponentCache::perform_maintenance(const kclCacheDirectory& cache,
                                            kclComponentCacheIndex& index) {
  cache_log("KRT Cache: performing maintenance...");
  if (!root_lock_.isAcquired()) {
    cache_log(kNotLocked);
    return;
  }
  uint64_t total = index.total_bytes_used();
  cache_log("Processing cached components... ");
  for (const auto& info : index.by_last_used()) {
    if (total <= max_size_) break;
    cache_log("Processing component ", info.name);
    cache_log("Attempting to delete component ", info.name, "... ");
    RWLock::WriteLock lock(component_lock(cache.path_of(info.directory_name)));
    bool held = false;
    try {
      // Never waits: a process that holds this component may itself be waiting for
      // the root-level lock held here.
      held = lock.acquire(0, TimeUnit::sSeconds(), true);
    } catch (const std::exception& e) {
      cache_log(e.what());
    }
    if (!held) {
      cache_log("could not acquire WRITE lock; delete FAILED");
      continue;
    }
    if (!cache.remove(info.directory_name)) {
      cache_log("could not remove ", cache.path_of(info.directory_name), "; delete FAILED");
      continue;
    }
    // The component's lock file goes with it. No other process can have it open: every
    // process opens a component's lock file only while it holds the root-level lock,
    // which this one holds, and keeps it open only while it holds the lock, which the
    // write lock held here excludes. So no holder can be split from a later one.
    ::unlink(lock.lockFilePath().c_str());
    lock.release(kWaitForever, TimeUnit::sSeconds());
    cache_log(" removed successfully.");
    total -= info.bytes_used;
    index.remove(info.name);
  }
  cache_log("Done with cache maintenance.");
}
