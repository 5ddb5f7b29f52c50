// The cache directory, held open: every entry the cache looks at, makes, renames or
// removes in it is reached from this descriptor, one element at a time, and never
// through a symbolic link. A link planted where a component directory should be is an
// entry like any other: it can be removed, never followed.
#pragma once

#include <string>

#include "ut/unique_fd.h"

class kclCacheDirectory {
 public:
  enum class Kind { missing, directory, other };

  // Opens the cache directory at `path`, which may itself be reached through a link of
  // its user's own (the cache checked that when it was made). Throws dsNoSuchDirectory
  // when it has gone, kclCacheExtractionError when it cannot be opened.
  explicit kclCacheDirectory(std::string path);

  int fd() const { return fd_.get(); }
  const std::string& path() const { return path_; }
  std::string path_of(const std::string& name) const { return path_ + "/" + name; }

  // What the entry `name` is, its last element not followed.
  Kind kind(const std::string& name) const;
  // The directory `name`, opened without following a link; empty when it is none.
  ut::UniqueFd open_directory(const std::string& name) const;
  // A new empty directory readable and writable by its owner only, named `prefix` and a
  // unique suffix; its name, or "" when none could be made.
  std::string make_unique_directory(const std::string& prefix) const;
  bool rename(const std::string& from, const std::string& to) const;
  // Renames `from` to `prefix` and a unique suffix; the new name, or "".
  std::string rename_unique(const std::string& from, const std::string& prefix) const;
  // Removes the entry `name`, whatever it is, and everything below it. A component
  // directory loses its marker first, so that a removal cut short never leaves one that
  // still claims to be complete. Problems go to the verbose log.
  bool remove(const std::string& name) const;
  // Makes the entries made, renamed and removed so far durable.
  bool sync() const;

 private:
  std::string path_;
  ut::UniqueFd fd_;
};
