#include "ds/directory_read_write_lock.h"

#include <stdexcept>

#include "ds/lock_file.h"

namespace {

// Readers and writers of one directory meet on one lock file.
constexpr const char* kLockFileName = "rwlock";

const dsDirectoryReadWriteLock::Impl& checked(
    const std::shared_ptr<dsDirectoryReadWriteLock::Impl>& shared) {
  if (!shared) throw std::invalid_argument("dsDirectoryReadWriteLock: no directory lock given");
  return *shared;
}

}  // namespace

bool dsDirectoryReadWriteLock::heldByAnyone(const std::string& directory) {
  return dsLockFile::heldByAnyone(directory, kLockFileName);
}

dsDirectoryReadWriteLock::Impl::Impl(std::string directory, dsLinkPolicy links)
    : directory_(std::move(directory)), links_(links) {}

dsDirectoryReadWriteLock::AbstractLock::AbstractLock(std::shared_ptr<Impl> shared,
                                                     dsLockFile& file, bool exclusive)
    : file_(file), shared_(std::move(shared)), exclusive_(exclusive) {}

// The lock file belongs to the derived object, which gives it up before this runs.
dsDirectoryReadWriteLock::AbstractLock::~AbstractLock() = default;

bool dsDirectoryReadWriteLock::AbstractLock::acquire(uint64_t timeout,
                                                     Tenbrook::System::TimeUnit unit,
                                                     bool missing_is_busy) {
  return file_.lock(exclusive_ ? dsLockMode::exclusive : dsLockMode::shared, timeout, unit,
                    missing_is_busy);
}

void dsDirectoryReadWriteLock::AbstractLock::release(uint64_t, Tenbrook::System::TimeUnit) {
  file_.unlock();
}

bool dsDirectoryReadWriteLock::AbstractLock::isAcquired() const { return file_.held(); }

// Each reader and writer opens the lock file on its own, so that two of them in one
// process exclude each other as two processes would.
class dsDirectoryReadWriteLock::ReadLock::Impl {
 public:
  explicit Impl(const dsDirectoryReadWriteLock::Impl& shared)
      : file(shared.directory(), kLockFileName, shared.links()) {}
  dsLockFile file;
};

dsDirectoryReadWriteLock::ReadLock::ReadLock(std::shared_ptr<dsDirectoryReadWriteLock::Impl> shared)
    : ReadLock(shared, std::make_unique<Impl>(checked(shared))) {}

// `impl` still owns the lock file when its address is handed over; moving the pointer
// into impl_ leaves the file where it is.
dsDirectoryReadWriteLock::ReadLock::ReadLock(std::shared_ptr<dsDirectoryReadWriteLock::Impl> shared,
                                             std::unique_ptr<Impl> impl)
    : AbstractLock(std::move(shared), impl->file, false), impl_(std::move(impl)) {}

dsDirectoryReadWriteLock::ReadLock::~ReadLock() { file_.unlock(); }

class dsDirectoryReadWriteLock::WriteLock::Impl {
 public:
  explicit Impl(const dsDirectoryReadWriteLock::Impl& shared)
      : file(shared.directory(), kLockFileName, shared.links()) {}
  dsLockFile file;
};

dsDirectoryReadWriteLock::WriteLock::WriteLock(
    std::shared_ptr<dsDirectoryReadWriteLock::Impl> shared)
    : WriteLock(shared, std::make_unique<Impl>(checked(shared))) {}

dsDirectoryReadWriteLock::WriteLock::WriteLock(
    std::shared_ptr<dsDirectoryReadWriteLock::Impl> shared, std::unique_ptr<Impl> impl)
    : AbstractLock(std::move(shared), impl->file, true), impl_(std::move(impl)) {}

dsDirectoryReadWriteLock::WriteLock::~WriteLock() { file_.unlock(); }

bool dsDirectoryReadWriteLock::WriteLock::downgrade(uint64_t, Tenbrook::System::TimeUnit) {
  return file_.downgrade();
}

const std::string& dsDirectoryReadWriteLock::AbstractLock::lockFilePath() const {
  static const std::string kNone;
  return file_.held() ? file_.path() : kNone;
}
