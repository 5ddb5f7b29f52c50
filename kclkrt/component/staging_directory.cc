#include "kclkrt/component/staging_directory.h"

#include <dirent.h>
#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <set>

#include "kclkrt/paths/tree_remove.h"

namespace kcl {
namespace {

constexpr const char kLockSuffix[] = ".lock";
constexpr std::size_t kLockSuffixLength = sizeof kLockSuffix - 1;
constexpr std::size_t kRandomLength = 6;
constexpr int kAttempts = 100;

bool set_lock(int fd, short type) {
  struct flock request = {};
  request.l_type = type;
  request.l_whence = SEEK_SET;
  int result;
  do {
    result = ::fcntl(fd, F_OFD_SETLK, &request);
  } while (result != 0 && errno == EINTR);
  return result == 0;
}

// Whether some process holds a lock on the file open as `fd`.
bool locked_by_another(int fd) {
  struct flock probe = {};
  probe.l_type = F_WRLCK;
  probe.l_whence = SEEK_SET;
  return ::fcntl(fd, F_OFD_GETLK, &probe) != 0 || probe.l_type != F_UNLCK;
}

// Whether `path` still names the file open as `fd`: a lock taken on a file that was
// removed (and perhaps made again) in between protects nothing.
bool still_named(int fd, const std::string& path) {
  struct stat opened, named;
  return ::fstat(fd, &opened) == 0 && ::lstat(path.c_str(), &named) == 0 && opened.st_dev == named.st_dev &&
         opened.st_ino == named.st_ino;
}

// The lock file of a new staging directory, made and write-locked under a name that
// was free: its descriptor, or an empty one (errno tells) when no name could be had.
ut::UniqueFd new_lock_file(const std::string& parent, const std::string& prefix, std::string& lock_path) {
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    std::string path = parent + "/" + prefix + std::string(kRandomLength, 'X') + kLockSuffix;
    ut::UniqueFd fd(::mkostemps(path.data(), static_cast<int>(kLockSuffixLength), O_CLOEXEC));
    if (!fd) return fd;
    // Someone judging it abandoned got there first, and removes it.
    if (!set_lock(fd.get(), F_WRLCK) || !still_named(fd.get(), path)) continue;
    lock_path = path;
    return fd;
  }
  errno = EAGAIN;
  return ut::UniqueFd();
}

// Takes the write lock of the lock file of `staging`, unless its owner holds it: true
// when `held` now holds it or there is none to hold.
bool take_abandoned_lock_file(const std::string& lock_path, ut::UniqueFd& held) {
  ut::UniqueFd fd(::open(lock_path.c_str(), O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  if (!fd) return errno == ENOENT;  // a lock file not ours to open is not ours to judge
  struct stat status;
  if (::fstat(fd.get(), &status) != 0 || !S_ISREG(status.st_mode)) return false;
  if (!set_lock(fd.get(), F_WRLCK) || !still_named(fd.get(), lock_path)) return false;
  held = std::move(fd);
  return true;
}

// Whether the staging directory at `path` is in use by the lock on it; a directory that
// cannot be opened is left to whoever owns it, a name that holds no directory is not.
bool directory_in_use(const std::string& path) {
  ut::UniqueFd fd(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  if (!fd) return !(errno == ENOENT || errno == ENOTDIR || errno == ELOOP);
  return locked_by_another(fd.get());
}

}  // namespace

StagingDirectory::StagingDirectory(const std::string& parent, const std::string& prefix) {
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    std::string lock_path;
    ut::UniqueFd lock = new_lock_file(parent, prefix, lock_path);
    if (!lock) return;
    const std::string path = lock_path.substr(0, lock_path.size() - kLockSuffixLength);
    // The usual permissions of a new directory, as the rest of the extraction gets.
    if (::mkdir(path.c_str(), 0777) != 0) {
      const int error = errno;
      ::unlink(lock_path.c_str());
      if (error == EEXIST) continue;  // left by someone else under the same name
      errno = error;
      return;
    }
    directory_.reset(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!directory_ || !set_lock(directory_.get(), F_RDLCK)) {
      const int error = errno;
      directory_.reset();
      ::rmdir(path.c_str());
      ::unlink(lock_path.c_str());
      errno = error;
      return;
    }
    // The directory's own lock protects it from now on.
    ::unlink(lock_path.c_str());
    path_ = path;
    return;
  }
  errno = EAGAIN;
}

StagingDirectory::~StagingDirectory() {
  if (!path_.empty() && directory_ && still_named(directory_.get(), path_))
    remove_directory_tree(path_, /*report_failures=*/false);
}

void remove_abandoned_staging(const std::string& parent, const std::string& prefix) {
  std::set<std::string> names;  // of staging directories, seen by themselves or their lock files
  {
    std::unique_ptr<DIR, int (*)(DIR*)> dir(::opendir(parent.c_str()), &::closedir);
    if (!dir) return;
    while (const dirent* entry = ::readdir(dir.get())) {
      const std::string name = entry->d_name;
      if (name.compare(0, prefix.size(), prefix) != 0) continue;
      if (name.size() == prefix.size() + kRandomLength) {
        names.insert(name);
      } else if (name.size() == prefix.size() + kRandomLength + kLockSuffixLength &&
                 name.compare(name.size() - kLockSuffixLength, kLockSuffixLength, kLockSuffix) == 0) {
        names.insert(name.substr(0, name.size() - kLockSuffixLength));
      }
    }
  }
  for (const std::string& name : names) {
    const std::string path = parent + "/" + name;
    const std::string lock_path = path + kLockSuffix;
    ut::UniqueFd lock;
    // The lock file first: its owner gives it up only once the directory's lock is held.
    if (!take_abandoned_lock_file(lock_path, lock) || directory_in_use(path)) continue;
    remove_directory_tree(path, /*report_failures=*/false);
    if (lock) ::unlink(lock_path.c_str());
  }
}

}  // namespace kcl
