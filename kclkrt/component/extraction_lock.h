// The exclusive lock of a local extraction across processes.
#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "ut/unique_fd.h"

namespace kcl {

// An open-file-description write lock on the hidden file ".<name>.lock" beside the
// extraction directory <name>: the file the directory's exclusive lock uses, so both
// exclude each other. The file is reached by name in the directory's parent, never
// through whatever stands at <name>: a link or a file there is replaced under this
// lock, and nothing is created or locked where it leads. The kernel frees the lock of
// a process that dies.
class ExtractionLock {
 public:
  explicit ExtractionLock(const std::string& extraction_directory);
  ExtractionLock(const ExtractionLock&) = delete;
  ExtractionLock& operator=(const ExtractionLock&) = delete;

  // Tries for up to `wait` (nullopt: without limit; zero: once) and says whether the
  // lock is held. Throws dsLockError when the lock file cannot be opened or locked,
  // or is not a regular file.
  bool acquire(std::optional<std::chrono::nanoseconds> wait);
  bool held() const { return static_cast<bool>(fd_); }
  const std::string& path() const { return path_; }

 private:
  std::string path_;
  ut::UniqueFd fd_;
};

}  // namespace kcl
