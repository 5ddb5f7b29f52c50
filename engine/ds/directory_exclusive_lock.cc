#include "ds/directory_exclusive_lock.h"

#include <stdexcept>
#include <string_view>

#include "ds/lock_file.h"

namespace {

// The name becomes part of a file name beside the directory: it may not lead elsewhere
// or be cut short.
std::string lockFileName(const std::string& name) {
  if (name.find_first_of(std::string_view("/\0", 2)) != std::string::npos)
    throw std::invalid_argument("dsDirectoryExclusiveLock: invalid lock name '" + name + "'");
  return name.empty() ? "lock" : name + ".lock";
}

}  // namespace

dsDirectoryExclusiveLock::dsDirectoryExclusiveLock(std::string directory, std::string name)
    : directory_(std::move(directory)),
      file_(std::make_unique<dsLockFile>(directory_, lockFileName(name))) {}

dsDirectoryExclusiveLock::~dsDirectoryExclusiveLock() = default;  // the file unlocks itself

bool dsDirectoryExclusiveLock::acquire(uint64_t timeout, Tenbrook::System::TimeUnit unit,
                                       bool missing_is_busy) {
  return file_->lock(dsLockMode::exclusive, timeout, unit, missing_is_busy);
}

void dsDirectoryExclusiveLock::release(uint64_t, Tenbrook::System::TimeUnit) { file_->unlock(); }

bool dsDirectoryExclusiveLock::isAcquired() const { return file_->held(); }
