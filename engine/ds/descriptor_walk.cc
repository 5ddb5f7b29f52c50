#include "ds/descriptor_walk.h"

#include <dirent.h>
#include <fcntl.h>

#include <memory>

namespace {

struct DirCloser {
  void operator()(DIR* dir) const { ::closedir(dir); }
};

bool isDotOrDotDot(const char* name) {
  return name[0] == '.' && (name[1] == 0 || (name[1] == '.' && name[2] == 0));
}

}  // namespace

ut::UniqueFd dsOpenDirectory(int at, const char* name, struct stat& st) {
  ut::UniqueFd fd(::openat(at, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  if (fd && ::fstat(fd.get(), &st) != 0) {
    int error = errno;
    fd.reset();
    errno = error;
  }
  return fd;
}

bool dsDescriptorWalk::walk(ut::UniqueFd top, const struct stat& st) {
  levels_.push_back({"", st.st_dev, st.st_ino, std::move(top), {}, path_.size()});
  if (!read(levels_.back())) return false;
  for (;;) {
    Level& level = levels_.back();
    if (!level.subdirectories.empty()) {
      std::string name = std::move(level.subdirectories.back());
      level.subdirectories.pop_back();
      if (!enter(std::move(name))) return false;
      continue;
    }
    if (!visitedDirectory(level.fd.get())) level.complete = false;
    if (levels_.size() == 1) return true;
    if (!leave()) return false;
  }
}

bool dsDescriptorWalk::fail(Level& level, dsWalkFailure failure, const std::string& path,
                            int error) {
  level.complete = false;
  return failed(failure, path, error);
}

// Visits the directory's other entries and lists its subdirectories, all in one reading,
// so nothing is read twice however the walk goes.
bool dsDescriptorWalk::read(Level& level) {
  int copy = ::fcntl(level.fd.get(), F_DUPFD_CLOEXEC, 0);
  std::unique_ptr<DIR, DirCloser> dir(copy >= 0 ? ::fdopendir(copy) : nullptr);
  if (!dir) {
    int error = errno;
    if (copy >= 0) ::close(copy);
    return fail(level, dsWalkFailure::cannot_open_directory, path_, error);
  }
  for (;;) {
    errno = 0;
    dirent* entry = ::readdir(dir.get());
    if (!entry) break;
    const char* name = entry->d_name;
    if (isDotOrDotDot(name)) continue;
    struct stat st;
    if (::fstatat(level.fd.get(), name, &st, AT_SYMLINK_NOFOLLOW) != 0) {
      int error = errno;
      // Gone meanwhile: as good as done.
      if (error != ENOENT && !fail(level, dsWalkFailure::cannot_stat, path_ + "/" + name, error))
        return false;
    } else if (S_ISDIR(st.st_mode)) {
      level.subdirectories.emplace_back(name);
    } else if (!visitEntry(level.fd.get(), name, st)) {
      level.complete = false;
    }
  }
  // A directory that cannot be read to its end is as good as one that cannot be opened.
  return errno == 0 || fail(level, dsWalkFailure::cannot_open_directory, path_, errno);
}

bool dsDescriptorWalk::enter(std::string name) {
  std::size_t parent_length = path_.size();
  path_ += "/" + name;
  struct stat st;
  ut::UniqueFd fd = dsOpenDirectory(levels_.back().fd.get(), name.c_str(), st);
  if (!fd) {
    // ENOTDIR or ELOOP: replaced by something else since it was read; not ours to guess.
    int error = errno;
    bool go_on = error == ENOENT ||
                 fail(levels_.back(), dsWalkFailure::cannot_open_directory, path_, error);
    path_.resize(parent_length);
    return go_on;
  }
  levels_.push_back({std::move(name), st.st_dev, st.st_ino, std::move(fd), {}, path_.size()});
  if (levels_.size() - first_open_ > kOpenLevels) levels_[first_open_++].fd.reset();
  return read(levels_.back());
}

bool dsDescriptorWalk::leave() {
  Level child = std::move(levels_.back());
  levels_.pop_back();
  Level& parent = levels_.back();
  if (!parent.fd) {
    // Closed on the way down: ".." must lead back to the very same directory.
    struct stat st;
    ut::UniqueFd up = dsOpenDirectory(child.fd.get(), "..", st);
    int error = 0;
    if (!up) {
      error = errno;
    } else if (st.st_dev != parent.dev || st.st_ino != parent.ino) {
      error = kDsMovedError;
    }
    if (error) {
      path_.resize(parent.path_length);
      fail(parent, dsWalkFailure::cannot_open_directory, path_, error);
      return false;
    }
    parent.fd = std::move(up);
    first_open_ = levels_.size() - 1;
  }
  child.fd.reset();
  if (!leftDirectory(parent.fd.get(), child.name, child.complete) || !child.complete)
    parent.complete = false;
  path_.resize(parent.path_length);
  return true;
}
