// An exclusive lock on a directory, one holder across every process of the machine.
// Lock files and their lifetime: see ds/lock_file.h.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "korel/export.h"
#include "ut/time_unit.h"

class dsLockFile;

class KOREL_EXPORT dsDirectoryExclusiveLock {
 public:
  // `name` tells apart several exclusive locks on one directory; "" is the usual one.
  // A name holding '/' is refused (std::invalid_argument). Acquires nothing.
  dsDirectoryExclusiveLock(std::string directory, std::string name);
  ~dsDirectoryExclusiveLock();  // gives up the lock if held
  dsDirectoryExclusiveLock(const dsDirectoryExclusiveLock&) = delete;
  dsDirectoryExclusiveLock& operator=(const dsDirectoryExclusiveLock&) = delete;

  // As dsDirectoryReadWriteLock::AbstractLock::acquire.
  bool acquire(uint64_t timeout, Tenbrook::System::TimeUnit unit, bool missing_is_busy);
  void release(uint64_t timeout, Tenbrook::System::TimeUnit unit);
  bool isAcquired() const;
  const std::string& directory() const { return directory_; }

 private:
  std::string directory_;
  std::unique_ptr<dsLockFile> file_;
};
