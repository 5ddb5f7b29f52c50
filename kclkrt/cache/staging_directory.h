// A component's extraction on its way into the cache: a hidden directory beside the
// component's place, marked in use for its whole life by an open-file-description lock
// on the directory itself. The kernel drops the lock when the process dies, however it
// dies, so a later start tells a staging directory left by a dead process from one still
// being written, and removes only the first.
#pragma once

#include <string>

#include "ut/unique_fd.h"

class kclCacheDirectory;

class kclStagingDirectory {
 public:
  // Makes and marks ".<component>.extract-XXXXXX" in the cache directory; throws
  // kclCacheExtractionError when it cannot.
  kclStagingDirectory(const kclCacheDirectory& cache, const std::string& component);
  // Removes the directory and everything in it, unless it was moved into place.
  ~kclStagingDirectory();
  kclStagingDirectory(const kclStagingDirectory&) = delete;
  kclStagingDirectory& operator=(const kclStagingDirectory&) = delete;

  const std::string& name() const { return name_; }
  std::string path() const;
  int fd() const { return fd_.get(); }

  // Renames it to `target` in the cache directory; from then on it is a component
  // directory, no longer staged, and stays.
  bool move_to(const std::string& target);

  // Whether the entry `name` of the cache directory is a staging directory that a live
  // process still writes; anything else there (a link, a file) is nobody's.
  static bool in_use(const kclCacheDirectory& cache, const std::string& name);

 private:
  const kclCacheDirectory& cache_;
  std::string name_;
  ut::UniqueFd fd_;  // holds the mark
  bool moved_ = false;
};
