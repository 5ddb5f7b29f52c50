// Where an instance finds functions in files: its current directory, then its path.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "krt/lang/call.h"

class krtSourceReader;

namespace krt {

class Dispatcher {
 public:
  Dispatcher(const krtSourceReader& reader, std::string current_directory,
             std::vector<std::string> path);

  const std::string& current_directory() const { return cwd_; }
  // False when `dir` is not an existing directory; relative names are taken against the
  // current directory.
  bool change_directory(const std::string& dir);

  const std::vector<std::string>& path() const { return path_; }
  // The path entries joined by ':'.
  const std::string& path_text() const { return path_text_; }
  bool add_path(const std::string& dir, bool at_end);
  bool remove_path(const std::string& dir);

  // The function file `name` in the current directory or on the path: <name>.klf before
  // <name>.k in each directory. Parses a .k file (raising on bad text) and loads a .klf.
  lang::Target find(const std::string& name);

  // A directory or file name as exist() sees it: its absolute path when it exists
  // (absolute, or under the current directory, or under a path entry), else "".
  std::string locate(const std::string& name, bool directory) const;

  // Changes whenever the current directory or path changes, and when notice_changes()
  // finds that a file came or went in one of their directories.
  uint64_t generation() const { return generation_; }
  // Looks at the directories' modification times: a function file added or removed
  // since the last look changes the generation, so calls resolve their names again.
  // Called when the host calls in, not on every call (a few stat calls each time).
  void notice_changes();

  // Loads a Korel file (cached until the file changes).
  std::shared_ptr<const lang::LoadedProgram> load_program(const std::string& file);
  // Every file loaded so far.
  template <class Visit>
  void for_each_program(Visit&& visit) const {
    for (const auto& [file, cached] : programs_) visit(*cached.program);
  }

 private:
  std::string absolute(const std::string& dir) const;
  void path_changed();

  const krtSourceReader& reader_;
  std::string cwd_;
  std::vector<std::string> path_;
  std::string path_text_;
  uint64_t generation_ = 1;
  std::vector<int64_t> directory_times_;  // the current directory's, then each path entry's
  struct CachedProgram {
    int64_t mtime_ns;
    int64_t size;
    std::shared_ptr<const lang::LoadedProgram> program;
  };
  std::map<std::string, CachedProgram> programs_;
};

}  // namespace krt
