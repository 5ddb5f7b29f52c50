// Walking a directory tree by descriptors, contents before their directory.
#pragma once

#include <sys/stat.h>

#include <cerrno>
#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "ut/unique_fd.h"

// The errno for a directory that is not the one it was found as: the tree was moved
// while it was walked, and going on would reach things outside it.
constexpr int kDsMovedError = ESTALE;

// Opens the directory `name` at `at` (AT_FDCWD for a path) without following a link, and
// reads its status into `st`; an empty descriptor, with errno set, when either fails.
ut::UniqueFd dsOpenDirectory(int at, const char* name, struct stat& st);

enum class dsWalkFailure {
  cannot_stat,            // an entry's status could not be read
  cannot_open_directory,  // a directory could not be opened, read to its end or found again
};

// Each step is taken from a directory already open, so renames elsewhere cannot redirect
// the walk, and links are never followed. The levels are an explicit stack, since a
// hostile tree's depth must not become this process's; only the lowest kOpenLevels hold
// descriptors, and the others are reached again through "..", which must lead back to
// the very directory the walk came down through.
class dsDescriptorWalk {
 public:
  static constexpr std::size_t kOpenLevels = 32;

  // Walks below `top`, opened by the caller with status `st`, then visits `top` itself.
  // False when the walk had to stop.
  bool walk(ut::UniqueFd top, const struct stat& st);
  // Nothing failed, or was refused by a visit, anywhere in the walk.
  bool complete() const { return levels_.empty() || levels_.front().complete; }

 protected:
  // `top_path` names the top in the paths handed to failed() and path().
  explicit dsDescriptorWalk(std::string top_path) : path_(std::move(top_path)) {}
  ~dsDescriptorWalk() = default;

  // The directory being visited, or, in leftDirectory, the one just left.
  const std::string& path() const { return path_; }

  // The visits: false marks the directory concerned incomplete, and every one above it.
  // A non-directory entry of the open `directory`.
  virtual bool visitEntry(int directory, const char* name, const struct stat& st) = 0;
  // Everything below `fd` has been visited; it is still open and not yet left.
  virtual bool visitedDirectory(int fd) { return true; }
  // The directory `name` (`complete` when nothing below it failed) has been closed and
  // left for its `parent`, open again; the directory concerned is the parent.
  virtual bool leftDirectory(int parent, const std::string& name, bool complete) {
    return true;
  }
  // True passes over the failure, the directory concerned marked incomplete; false stops
  // the walk. A parent that cannot be found again stops it whatever the answer.
  virtual bool failed(dsWalkFailure failure, const std::string& path, int error) = 0;

 private:
  struct Level {
    std::string name;  // in the parent directory; empty for the top
    dev_t dev;
    ino_t ino;
    ut::UniqueFd fd;                          // closed while more than kOpenLevels are below
    std::vector<std::string> subdirectories;  // still to be walked
    std::size_t path_length;                  // of this directory's path
    bool complete = true;
  };

  bool fail(Level& level, dsWalkFailure failure, const std::string& path, int error);
  bool read(Level& level);
  bool enter(std::string name);
  bool leave();

  std::string path_;  // of the directory at the top of the stack
  std::vector<Level> levels_;
  std::size_t first_open_ = 0;  // levels from here up hold open descriptors
};
