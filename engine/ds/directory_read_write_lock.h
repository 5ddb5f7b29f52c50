// A reader/writer lock on a directory, shared by every process of the machine: any
// number of readers, or one writer. Lock files and their lifetime: see ds/lock_file.h.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "ds/link_policy.h"
#include "korel/export.h"
#include "ut/time_unit.h"

class dsLockFile;

class KOREL_EXPORT dsDirectoryReadWriteLock {
 public:
  // The lock of one directory, shared by the ReadLock and WriteLock objects made from it.
  // Each of those is a holder of its own: two of them exclude each other as two
  // processes would.
  class KOREL_EXPORT Impl {
   public:
    explicit Impl(std::string directory, dsLinkPolicy links = dsLinkPolicy::follow);
    const std::string& directory() const { return directory_; }
    dsLinkPolicy links() const { return links_; }

   private:
    std::string directory_;
    dsLinkPolicy links_;
  };

  // Whether any reader or writer, in this process or another, holds the lock of
  // `directory`, its last element taken as dsLinkPolicy::refuse takes it. The directory
  // need not exist any more: a directory renamed away is still held by those who locked
  // it under its old name. A lock that cannot be examined counts as held.
  static bool heldByAnyone(const std::string& directory);

  class KOREL_EXPORT AbstractLock {
   public:
    virtual ~AbstractLock();
    AbstractLock(const AbstractLock&) = delete;
    AbstractLock& operator=(const AbstractLock&) = delete;

    // Waits up to `timeout` units (0: one try; kWaitForever: no limit) and returns
    // whether the lock is held. A directory that does not exist throws
    // dsNoSuchDirectory, or returns false when `missing_is_busy` is set. An object that
    // holds its lock already returns true at once.
    bool acquire(uint64_t timeout, Tenbrook::System::TimeUnit unit, bool missing_is_busy);
    // Gives up whatever this object holds; giving up never waits, so the time-out is
    // not used.
    void release(uint64_t timeout, Tenbrook::System::TimeUnit unit);
    bool isAcquired() const;
    const std::string& directory() const { return shared_->directory(); }
    // The lock file this object holds; empty while it holds nothing.
    const std::string& lockFilePath() const;

   protected:
    AbstractLock(std::shared_ptr<Impl> shared, dsLockFile& file, bool exclusive);

    dsLockFile& file_;

   private:
    std::shared_ptr<Impl> shared_;
    bool exclusive_;
  };

  class KOREL_EXPORT ReadLock : public AbstractLock {
   public:
    class Impl;
    explicit ReadLock(std::shared_ptr<dsDirectoryReadWriteLock::Impl> shared);
    ~ReadLock() override;

   private:
    ReadLock(std::shared_ptr<dsDirectoryReadWriteLock::Impl> shared, std::unique_ptr<Impl> impl);
    std::unique_ptr<Impl> impl_;
  };

  class KOREL_EXPORT WriteLock : public AbstractLock {
   public:
    class Impl;
    explicit WriteLock(std::shared_ptr<dsDirectoryReadWriteLock::Impl> shared);
    ~WriteLock() override;

    // Turns the held write lock into a read lock held by this object, with no moment in
    // which the directory is unlocked. Never waits; false when no write lock is held.
    bool downgrade(uint64_t timeout, Tenbrook::System::TimeUnit unit);

   private:
    WriteLock(std::shared_ptr<dsDirectoryReadWriteLock::Impl> shared, std::unique_ptr<Impl> impl);
    std::unique_ptr<Impl> impl_;
  };
};
