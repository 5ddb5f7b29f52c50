#include "kclkrt/cache/staging_directory.h"

#include <fcntl.h>

#include <cerrno>
#include <cstring>

#include "kclkrt/cache/cache_directory.h"
#include "kclkrt/cache/cache_errors.h"
#include "kclkrt/cache/cache_log.h"
#include "kclkrt/cache/component_name.h"

using kcl::cache_log;

kclStagingDirectory::kclStagingDirectory(const kclCacheDirectory& cache,
                                         const std::string& component)
    : cache_(cache), name_(cache.make_unique_directory(kcl::staging_prefix(component))) {
  if (name_.empty()) throw kclCacheExtractionError();
  fd_ = cache_.open_directory(name_);
  // A read lock: any number could be had, so a probe for a write lock finds it.
  struct flock mark = {};
  mark.l_type = F_RDLCK;
  mark.l_whence = SEEK_SET;
  if (!fd_ || ::fcntl(fd_.get(), F_OFD_SETLK, &mark) != 0) {
    cache_log("Could not mark the staging directory ", path(), ": ", std::strerror(errno));
    fd_.reset();
    cache_.remove(name_);
    throw kclCacheExtractionError();
  }
}

kclStagingDirectory::~kclStagingDirectory() {
  if (moved_) return;
  try {
    // Removed while still marked. What cannot be removed is left to a later start,
    // which finds it unmarked.
    if (!cache_.remove(name_)) cache_log("Could not remove the staging directory ", path());
  } catch (...) {
  }
}

std::string kclStagingDirectory::path() const { return cache_.path_of(name_); }

bool kclStagingDirectory::move_to(const std::string& target) {
  moved_ = cache_.rename(name_, target);
  return moved_;
}

bool kclStagingDirectory::in_use(const kclCacheDirectory& cache, const std::string& name) {
  ut::UniqueFd fd = cache.open_directory(name);
  if (!fd) return errno != ENOENT && errno != ENOTDIR && errno != ELOOP;
  struct flock probe = {};
  probe.l_type = F_WRLCK;
  probe.l_whence = SEEK_SET;
  return ::fcntl(fd.get(), F_OFD_GETLK, &probe) != 0 || probe.l_type != F_UNLCK;
}
