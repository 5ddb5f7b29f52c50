// What the fault and load scenarios share: the kcc-built components, the scenario_client
// processes that start them, and an independent reading of what a cache holds.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "support/subprocess.h"

namespace korel::scenario {

using test::Environment;
using test::TempDir;

// A component built by kcc whose entry function NAME(n) is the sum of the squares of
// 1..n; the archive is a copy of its own.
struct Component {
  std::string name;
  std::string key;
  std::string archive;
  std::string argument() const { return name + ":" + key + ":" + archive; }
};

// One scenario's directory: copies of the four archives (each in a directory of its own,
// so local extractions land there), a home and a cache root. Removed at the end.
class Scenario {
 public:
  Scenario();
  const std::string& dir() const { return temp_.path(); }
  std::string cache_root() const { return dir() + "/root"; }
  std::string cache_dir() const { return cache_root() + "/.krtCache1.0"; }

  // The environment of a client: this scenario's cache root and home, nothing of the
  // caller's cache settings; a fresh cache gets `cache_size` when given.
  Environment environment(std::optional<uint64_t> cache_size = std::nullopt) const;
  // The command line of a client starting `components` with `options`.
  std::vector<std::string> client(const std::vector<std::string>& options,
                                  const std::vector<Component>& components) const;

  // Every component started once, in a cache of its own with room for all: their
  // extractions (by key) and the sizes the cache gives them. `problem` says why there
  // are none.
  struct References {
    std::map<std::string, std::string> trees;
    std::map<std::string, uint64_t> bytes;
    std::string problem;
  };
  References references() const;

  std::vector<Component> components;

 private:
  TempDir temp_;
};

// One record of .krt_cache_index.
struct IndexRecord {
  std::string name;
  std::string directory;
  uint64_t bytes = 0;
};

// The records of `cache_dir`'s index, read on the file's own four-line terms; nullopt when
// the file is missing or is not such an index.
std::optional<std::vector<IndexRecord>> read_index(const std::string& cache_dir);

// Bytes of the regular files below `directory`, its .bytes_used left out.
uint64_t files_size(const std::string& directory);

// Empty when the trees below `a` and `b` hold the same names and contents, the cache's
// marker files left out; else the first difference.
std::string tree_difference(const std::string& a, const std::string& b);

// What makes `cache_dir` inconsistent, empty when nothing: every indexed component has a
// complete directory (.created.ts, a .bytes_used that agrees with the index and with the
// files, the files of the reference extraction `references` holds for its key), and every
// component directory is indexed.
std::vector<std::string> cache_problems(const std::string& cache_dir,
                                        const std::map<std::string, std::string>& references);

// The sum of the index's sizes; 0 without an index.
uint64_t indexed_bytes(const std::string& cache_dir);

}  // namespace korel::scenario
