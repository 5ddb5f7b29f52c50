// A private scratch directory for one kcc run, removed with everything in it at the end.
#pragma once

#include <string>

namespace kcc {

class StagingDirectory {
 public:
  // Under $TMPDIR, or /tmp. Throws Error when it cannot be made.
  StagingDirectory();
  ~StagingDirectory();
  StagingDirectory(const StagingDirectory&) = delete;
  StagingDirectory& operator=(const StagingDirectory&) = delete;

  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

}  // namespace kcc
