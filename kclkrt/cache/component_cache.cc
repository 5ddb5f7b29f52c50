#include "kclkrt/cache/component_cache.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <mutex>
#include <sstream>

#include "ds/cleanup_guard.h"
#include "ds/errors.h"
#include "ds/remove_tree.h"
#include "ds/sync_tree.h"
#include "kclkrt/cache/bytes_used.h"
#include "kclkrt/cache/cache_errors.h"
#include "kclkrt/cache/cache_index.h"
#include "kclkrt/cache/cache_location.h"
#include "kclkrt/cache/cache_log.h"
#include "kclkrt/cache/component_name.h"

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
  {
    std::ofstream out(temporary, std::ios::trunc);
    out << size;
    out.close();
    if (!out) {
      std::remove(temporary.c_str());
      return false;
    }
  }
  bool linked = ::link(temporary.c_str(), path.c_str()) == 0 || errno == EEXIST;
  std::remove(temporary.c_str());
  return linked;
}

bool is_complete(const std::string& directory) {
  int fd = ::open((directory + "/.created.ts").c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC);
  if (fd < 0) return false;
  ::close(fd);
  return true;
}

bool write_creation_marker(const std::string& directory) {
  int fd = ::open((directory + "/.created.ts").c_str(),
                  O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, 0600);
  if (fd < 0) return false;
  return ::close(fd) == 0;
}

// The marker goes first: a removal cut short must not leave a directory that still
// claims to be a complete component.
bool remove_component_directory(const std::string& directory) {
  if (::unlink((directory + "/.created.ts").c_str()) != 0 && errno != ENOENT && errno != ENOTDIR)
    return false;
  return dsRemoveTree(directory);
}

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
  std::ifstream in(size_file);
  if (!in) {
    cache_log(".max_size not found.  Using default size of ", max_size_, " bytes.");
    if (!write_max_size(size_file, max_size_)) {
      cache_log("Creation of .max_size failed! (no file written)");
    } else if (std::ifstream written(size_file); written) {
      // Another process may have seeded it first; its limit is the cache's.
      written >> max_size_;
    }
    return;
  }
  cache_log(".max_size found... ");
  in >> max_size_;
  cache_log("contents read. Cache max size set to ", max_size_);
}

std::shared_ptr<kclComponentCacheEntry> kclComponentCache::get_component(
    const std::string& key, kclComponentExtractor& extractor) {
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
    RootLockHold root(root_lock_, false);
    cache_log(" acquire succeeded.");
    return get_under_root_lock(key, extractor);
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
    const std::string& key, kclComponentExtractor& extractor) {
  kclComponentCacheIndex index(directory_);
  const std::string directory = directory_ + "/" + key;
  cache_log("KRT cache: extractDir is ", directory);

  std::unique_ptr<RWLock::AbstractLock> lock;
  struct stat st;
  if (::lstat(directory.c_str(), &st) == 0) {
    cache_log("Checking for creation timestamp...");
    if (S_ISDIR(st.st_mode) && is_complete(directory)) {
      cache_log("Timestamp is valid.");
      cache_log("Acquiring component-level directory READ lock...");
      // Only the holder of the root-level lock writes a component, so this waits for
      // nobody in practice.
      lock = std::make_unique<RWLock::ReadLock>(std::make_shared<RWLock::Impl>(directory));
      lock->acquire(kWaitForever, TimeUnit::sSeconds(), false);
      cache_log(" acquire succeeded.");
    } else {
      cache_log("Timestamp is invalid.  Attempting to re-extract the component...");
      cache_log("Removing old directory");
      remove_interrupted(directory);
    }
  }
  if (!lock) lock = extract(key, directory, extractor, index);
  if (!lock->isAcquired()) {
    cache_log("ERROR: READ lock not acquired!");
    throw kclCacheExtractionError();
  }

  index.add({key, key, kcl::component_bytes_used(directory), kclComponentCacheIndex::now()});
  cache_log("Component ", key, " has successfully been accessed from the cache.");
  // The new entry's lock already protects its directory from this maintenance.
  perform_maintenance(index);
  index.write_if_needed();

  auto self = shared_from_this();
  std::shared_ptr<kclComponentCacheEntry> entry(
      new kclComponentCacheEntry(key, directory, std::move(lock)),
      [self](kclComponentCacheEntry* released) { self->release(released); });
  live_entries_[key] = entry;
  return entry;
}

void kclComponentCache::remove_interrupted(const std::string& directory) {
  // A directory without its marker is normally an extraction that died. Should somebody
  // still use it (the marker deleted by hand), it is left alone rather than pulled from
  // under them.
  RWLock::WriteLock lock(std::make_shared<RWLock::Impl>(directory));
  struct stat st;
  bool is_directory = ::lstat(directory.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
  bool free = !is_directory || lock.acquire(0, TimeUnit::sSeconds(), true);
  if (!free || !remove_component_directory(directory)) {
    cache_log("Failed to remove possibly corrupt component directory: ", directory);
    throw kclCacheExtractionError();
  }
}

std::unique_ptr<dsDirectoryReadWriteLock::AbstractLock> kclComponentCache::extract(
    const std::string& key, const std::string& directory, kclComponentExtractor& extractor,
    kclComponentCacheIndex& index) {
  cache_log("Adding component ", key, " to the cache.");
  perform_maintenance(index);  // room first, before the new files arrive

  cache_log("Creating component directory: ", directory);
  if (::mkdir(directory.c_str(), 0700) != 0) {
    cache_log("Could not create ", directory, ": ", std::strerror(errno));
    throw kclCacheExtractionError();
  }
  cache_log("Acquiring component directory WRITE lock... ");
  auto lock = std::make_unique<RWLock::WriteLock>(std::make_shared<RWLock::Impl>(directory));
  if (!lock->acquire(0, TimeUnit::sSeconds(), false)) {
    cache_log("ERROR: acquire WRITE lock failed!");
    throw kclCacheExtractionError();
  }
  cache_log("acquire succeeded.");
  dsCleanupFunctionGuard remove_on_failure([&] { remove_component_directory(directory); });

  cache_log("Extracting component... ");
  uint64_t total = 0;
  if (!extractor.extract(total, directory)) {
    cache_log("ERROR: extractTo failed");
    cache_log("Failed to completely extract component!");
    throw kclCacheExtractionError();
  }
  // The size is the cache's to measure; an archive that brings its own would misstate it.
  ::unlink((directory + "/.bytes_used").c_str());
  // The marker promises a complete component, also after a crash or a power loss: the
  // files reach the disk before it is written.
  if (!dsSyncTree(directory)) {
    cache_log("Could not flush the extracted files of ", directory, " to the disk");
    throw kclCacheExtractionError();
  }
  cache_log("Component extracted to cache.  Writing creation timestamp...");
  cache_log(write_creation_marker(directory) ? "Timestamp successfully created."
                                             : "Timestamp creation failed.");
  cache_log("done.");

  cache_log("Downgrading WRITE lock to READ lock... ");
  lock->downgrade(kWaitForever, TimeUnit::sSeconds());
  cache_log("downgrade successful.");
  remove_on_failure.dismiss();
  return lock;
}

void kclComponentCache::release(kclComponentCacheEntry* entry) {
  try {
    Tenbrook::System::MutexLock::Holder hold(mutex_);
    auto live = live_entries_.find(entry->name());
    // A new entry for the name may have been made since this one expired.
    if (live != live_entries_.end() && live->second.expired()) live_entries_.erase(live);
    if (!(kcl::cache_verbose() && std::getenv("KRT_CACHE_QUIET") == nullptr))
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
  kclComponentCacheIndex index(directory_);
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
  perform_maintenance(index);
  index.write_if_needed();
}

void kclComponentCache::perform_maintenance(kclComponentCacheIndex& index) {
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
    const std::string directory = directory_ + "/" + info.directory_name;
    RWLock::WriteLock lock(std::make_shared<RWLock::Impl>(directory));
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
    if (!remove_component_directory(directory)) {
      cache_log("could not remove ", directory, "; delete FAILED");
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
