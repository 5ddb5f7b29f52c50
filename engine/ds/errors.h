// Failures of the directory services.
#pragma once

#include <stdexcept>
#include <string>

#include "korel/export.h"

// The directory an operation needs does not exist (or is not a directory).
class KOREL_EXPORT dsNoSuchDirectory : public std::runtime_error {
 public:
  explicit dsNoSuchDirectory(const std::string& directory);
  ~dsNoSuchDirectory() override;
  const std::string& directory() const { return directory_; }

 private:
  std::string directory_;
};

// A directory lock could not be used: its lock file cannot be created, opened or
// locked for a reason other than another holder. The message names the file and why.
class KOREL_EXPORT dsLockError : public std::runtime_error {
 public:
  explicit dsLockError(const std::string& message);
  ~dsLockError() override;
};
