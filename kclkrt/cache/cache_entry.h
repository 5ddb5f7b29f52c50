// What a caller of the component cache holds while it uses an extracted component.
#pragma once

#include <memory>
#include <string>

#include "ds/directory_read_write_lock.h"

// The component's directory stays as it is while the entry lives: the entry holds the
// directory's read lock, which keeps maintenance in every process from deleting or
// replacing it.
class kclComponentCacheEntry {
 public:
  kclComponentCacheEntry(std::string name, std::string directory,
                         std::unique_ptr<dsDirectoryReadWriteLock::AbstractLock> read_lock)
      : name_(std::move(name)), directory_(std::move(directory)), lock_(std::move(read_lock)) {}

  const std::string& name() const { return name_; }
  const std::string& directory() const { return directory_; }
  bool locked() const { return lock_ && lock_->isAcquired(); }

 private:
  std::string name_;
  std::string directory_;
  std::unique_ptr<dsDirectoryReadWriteLock::AbstractLock> lock_;
};
