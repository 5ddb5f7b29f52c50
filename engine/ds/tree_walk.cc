#include "ds/tree_walk.h"

#include <dirent.h>
#include <fcntl.h>
#include <fnmatch.h>
#include <sys/stat.h>

#include <memory>
#include <set>
#include <string>
#include <vector>

#include "ds/directory.h"

void dsDirectorySizeAdder::operator()(const char* path) {
  uint64_t size = 0;
  if (total_ && dsGetFileSize(path, &size)) *total_ += size;
}

namespace {

struct DirCloser {
  void operator()(DIR* dir) const { closedir(dir); }
};

enum class Kind { file, directory, other };

Kind kind_of(DIR* dir, const char* name, bool follow_links, struct stat& st) {
  if (::fstatat(dirfd(dir), name, &st, follow_links ? 0 : AT_SYMLINK_NOFOLLOW) != 0) return Kind::other;
  if (S_ISDIR(st.st_mode)) return Kind::directory;
  if (S_ISREG(st.st_mode)) return Kind::file;
  return Kind::other;
}

}  // namespace

bool dsFindMatchingFilesAndDirs(const char* pattern, unsigned flags, dsStringProcedure& on_file,
                                dsStringProcedure& on_directory, bool follow_links) {
  if (!pattern) return false;
  std::string text(pattern);
  std::size_t slash = text.rfind('/');
  std::string top = slash == std::string::npos ? "." : text.substr(0, slash == 0 ? 1 : slash);
  std::string name_pattern = slash == std::string::npos ? text : text.substr(slash + 1);
  auto join = [](const std::string& dir, const char* name) {
    return dir == "/" ? dir + name : dir + "/" + name;
  };

  // Directories still to read, each with whether its entries must match the pattern.
  // An explicit stack: a hostile tree's depth must not become this process's stack depth.
  std::vector<std::pair<std::string, bool>> pending{{top, true}};
  bool complete = true;
  // Followed links can make a cycle; a directory is entered once.
  std::set<std::pair<dev_t, ino_t>> entered;
  while (!pending.empty()) {
    auto [directory, filtered] = std::move(pending.back());
    pending.pop_back();
    std::unique_ptr<DIR, DirCloser> dir(::opendir(directory.c_str()));
    if (!dir) {
      complete = false;
      continue;
    }
    while (dirent* entry = ::readdir(dir.get())) {
      const char* name = entry->d_name;
      if (name[0] == '.' && (name[1] == 0 || (name[1] == '.' && name[2] == 0))) continue;
      if (filtered && ::fnmatch(name_pattern.c_str(), name, 0) != 0) continue;
      struct stat st;
      Kind kind = kind_of(dir.get(), name, follow_links, st);
      if (kind == Kind::other) continue;
      if (kind == Kind::directory && follow_links && !entered.insert({st.st_dev, st.st_ino}).second)
        continue;
      std::string path = join(directory, name);
      if (kind == Kind::file) {
        if (flags & dsFindFiles) on_file(path.c_str());
      } else {
        if (flags & dsFindDirectories) on_directory(path.c_str());
        if (flags & dsFindRecursive) pending.emplace_back(std::move(path), false);
      }
    }
  }
  return complete;
}
