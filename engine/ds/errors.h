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
// locked for a reason other than another holder. The message names the file and why;
// error() is the errno value behind it, 0 when there is none (a file of the wrong kind).
class KOREL_EXPORT dsLockError : public std::runtime_error {
 public:
  explicit dsLockError(const std::string& message, int error = 0);
  ~dsLockError() override;
  int error() const { return error_; }

 private:
  int error_;
};
