// One open-file-description lock on the lock file of a directory: the mechanism under
// both directory locks.
//
// Where the lock files are, and why they are never unlinked under a holder: the lock
// file of a directory D is a hidden file beside D, in D's parent, never inside D. D can
// therefore be removed and made again (an interrupted extraction, a component evicted
// from the cache) while its lock file stays the one inode every process opens. This
// library never unlinks a lock file; a caller that does must guarantee that no other
// process can be opening it at that moment (the component cache does so for its
// component locks, see the cache's maintenance).
//
// Why open-file-description locks: a lock belongs to the open file, not to the process,
// so two lock objects exclude each other even in one thread, closing some other
// descriptor of the same file drops nothing, a write lock turns into a read lock in one
// step, and the kernel frees the lock when the holder's process dies.
#pragma once

#include <cstdint>
#include <string>

#include "ds/link_policy.h"
#include "ut/time_unit.h"

enum class dsLockMode { shared, exclusive };

class dsLockFile {
 public:
  // Binds to the lock file ".<name of directory>.<file_name>" beside `directory`; the
  // name is taken from the directory's real path when locking, its last element
  // resolved or refused as `links` says. Opens nothing yet.
  dsLockFile(std::string directory, std::string file_name,
             dsLinkPolicy links = dsLinkPolicy::follow);
  ~dsLockFile();  // gives up whatever is held
  dsLockFile(const dsLockFile&) = delete;
  dsLockFile& operator=(const dsLockFile&) = delete;

  // Waits up to `timeout` units for the lock (0: one try; kWaitForever: no limit) and
  // returns whether it is held. The directory must exist: otherwise dsNoSuchDirectory,
  // or false when `missing_is_busy`. A lock file that cannot be opened or locked
  // throws dsLockError. Holding the lock already returns true and changes nothing.
  bool lock(dsLockMode mode, uint64_t timeout, Tenbrook::System::TimeUnit unit,
            bool missing_is_busy);
  // Whether any holder, in this process or another, has a lock on the lock file
  // `file_name` of `directory`, taken with dsLinkPolicy::refuse; the directory itself
  // need not exist any more. A lock file that cannot be examined counts as held.
  static bool heldByAnyone(const std::string& directory, const std::string& file_name);

  // Turns a held exclusive lock into a shared one in one step; false when no exclusive
  // lock is held.
  bool downgrade();
  void unlock();
  bool held() const { return fd_ >= 0; }
  // The lock file's path, known once the lock has been taken.
  const std::string& path() const { return path_; }

 private:
  std::string directory_;
  std::string file_name_;
  dsLinkPolicy links_;
  std::string path_;
  int fd_ = -1;
  dsLockMode mode_ = dsLockMode::shared;
};
