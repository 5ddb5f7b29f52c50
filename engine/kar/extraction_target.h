// The directory an archive is extracted into. Everything is created relative to a
// descriptor of the target, one element at a time and never through a symbolic link,
// so nothing outside the target can be reached whatever the target already holds. What
// the extraction created is removed again unless it is kept.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "ut/unique_fd.h"

namespace kar {

class ExtractionTarget {
 public:
  // Opens the existing directory `path`. Throws Error.
  explicit ExtractionTarget(const std::string& path);
  ~ExtractionTarget();
  ExtractionTarget(const ExtractionTarget&) = delete;
  ExtractionTarget& operator=(const ExtractionTarget&) = delete;

  // Creates the directory (and missing parents); an existing directory is accepted.
  void make_directory(const std::vector<std::string>& elements, mode_t mode);
  // Creates the file for writing, replacing an existing file (never writing through it).
  ut::UniqueFd create_file(const std::vector<std::string>& elements, mode_t mode);
  // The extraction succeeded: what it created stays.
  void keep() { keep_ = true; }

 private:
  // The directory holding the first `count` elements, created when missing.
  int directory_of(const std::vector<std::string>& elements, std::size_t count, bool create);
  void remove_created() noexcept;

  ut::UniqueFd root_;
  std::string cached_key_;
  ut::UniqueFd cached_fd_;
  struct Created {
    std::vector<std::string> elements;
    bool directory;
  };
  std::vector<Created> created_;
  bool keep_ = false;
};

}  // namespace kar
