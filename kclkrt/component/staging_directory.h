// The directory an extraction is written into before it is renamed into place, and the
// clean-up of those that processes killed while extracting left behind.
//
// A staging directory is judged abandoned only when its owner is provably gone. The
// owner holds an open-file-description read lock on the directory from right after
// making it to the end of its life, and before it makes the directory it makes and
// write-locks a lock file of the directory's name plus ".lock", which it removes once
// the directory's own lock is held. Whoever judges takes the lock file's write lock
// before removing anything, and looks at the directory's own lock after the lock file:
// an owner is therefore seen by one lock or the other at every moment, and the kernel
// drops both when it dies.
#pragma once

#include <string>

#include "ut/unique_fd.h"

namespace kcl {

class StagingDirectory {
 public:
  // Makes `<parent>/<prefix>XXXXXX` (six random characters) with the usual permissions
  // of a new directory. On failure path() is empty and errno tells why.
  StagingDirectory(const std::string& parent, const std::string& prefix);
  // Removes the directory unless it was renamed away.
  ~StagingDirectory();
  StagingDirectory(const StagingDirectory&) = delete;
  StagingDirectory& operator=(const StagingDirectory&) = delete;

  const std::string& path() const { return path_; }
  explicit operator bool() const { return !path_.empty(); }

 private:
  std::string path_;
  ut::UniqueFd directory_;  // holds the directory's own lock
};

// Removes the staging directories `<parent>/<prefix>XXXXXX` whose owners are gone, and
// their lock files.
void remove_abandoned_staging(const std::string& parent, const std::string& prefix);

}  // namespace kcl
