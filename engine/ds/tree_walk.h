// Walking a directory tree: the entries that match a pattern, handed to procedures.
#pragma once

#include <cstdint>

#include "korel/export.h"

// A function object called with one path.
class KOREL_EXPORT dsStringProcedure {
 public:
  virtual ~dsStringProcedure() = default;
  virtual void operator()(const char* path) = 0;
};

// Does nothing with the path.
class KOREL_EXPORT dsIgnoreString : public dsStringProcedure {
 public:
  void operator()(const char*) override {}
};

// Adds the size of the file at the path to a 64-bit total; a path without a size (not a
// regular file, or gone) adds nothing.
class KOREL_EXPORT dsDirectorySizeAdder : public dsStringProcedure {
 public:
  explicit dsDirectorySizeAdder(uint64_t* total) : total_(total) {}
  void operator()(const char* path) override;

 private:
  uint64_t* total_;
};

// Flags of dsFindMatchingFilesAndDirs.
enum : unsigned {
  dsFindFiles = 0x0002,        // hand matching regular files to the file procedure
  dsFindDirectories = 0x0200,  // hand matching directories to the directory procedure
  dsFindRecursive = 0x2000,    // and everything below a matching directory, at any depth
};

// Matches `pattern`, a directory and a last element that may hold shell wildcards
// ("dir/*"), against the directory's entries; "*" matches names beginning with a dot
// too. Symbolic links are followed only when `follow_links` is set; otherwise they and
// other special files are passed over. Returns false when the pattern is null or a
// directory could not be read (the rest of the walk still happens).
KOREL_EXPORT bool dsFindMatchingFilesAndDirs(const char* pattern, unsigned flags,
                                             dsStringProcedure& on_file,
                                             dsStringProcedure& on_directory, bool follow_links);
