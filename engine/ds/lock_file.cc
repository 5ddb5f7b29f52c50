#include "ds/lock_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <thread>
#include <utility>

#include "ds/errors.h"
#include "ut/unique_fd.h"

namespace {

using Clock = std::chrono::steady_clock;

// strerror is not safe to call from several threads; strerror_r comes in two flavours.
[[maybe_unused]] const char* describe(int result, const char* buffer) {
  return result == 0 ? buffer : "unknown error";
}
[[maybe_unused]] const char* describe(const char* result, const char*) { return result; }

std::string errorText(int error) {
  char buffer[256] = {};
  return describe(strerror_r(error, buffer, sizeof buffer), buffer);
}

// Thrown with the errno value of the moment, read before anything can change it.
[[noreturn]] void throwLockError(const std::string& what, int error) {
  throw dsLockError(what + ": " + errorText(error), error);
}

bool isBusy(int error) { return error == EAGAIN || error == EACCES; }

// One attempt at the lock: true when taken, false when another holder has it.
bool trySetLock(int fd, short type, const std::string& path) {
  struct flock request = {};
  request.l_type = type;
  request.l_whence = SEEK_SET;  // l_start 0, l_len 0: the whole file, whatever its size
  for (;;) {
    if (::fcntl(fd, F_OFD_SETLK, &request) == 0) return true;
    if (errno == EINTR) continue;
    if (isBusy(errno)) return false;
    throwLockError("Cannot lock '" + path + "'", errno);
  }
}

void waitSetLock(int fd, short type, const std::string& path) {
  struct flock request = {};
  request.l_type = type;
  request.l_whence = SEEK_SET;
  while (::fcntl(fd, F_OFD_SETLKW, &request) != 0) {
    if (errno != EINTR) throwLockError("Cannot lock '" + path + "'", errno);
  }
}

// Polls until `deadline`, backing off so a long wait costs little, with a last try at
// the deadline itself.
bool pollSetLock(int fd, short type, const std::string& path, Clock::time_point deadline) {
  constexpr auto kMaxPause = std::chrono::milliseconds(50);
  Clock::duration pause = std::chrono::milliseconds(1);
  for (;;) {
    if (trySetLock(fd, type, path)) return true;
    auto now = Clock::now();
    if (now >= deadline) return false;
    std::this_thread::sleep_for(std::min(pause, deadline - now));
    pause = std::min<Clock::duration>(pause * 2, kMaxPause);
  }
}

Clock::time_point deadlineAfter(std::chrono::nanoseconds wait) {
  auto now = Clock::now();
  auto room = Clock::time_point::max() - now;
  return wait >= room ? Clock::time_point::max()
                      : now + std::chrono::duration_cast<Clock::duration>(wait);
}

std::unique_ptr<char, decltype(&std::free)> resolve(const std::string& path) {
  return {::realpath(path.c_str(), nullptr), &std::free};
}

// The directory with every symbolic link resolved, so that all the names of one
// directory share its lock; nullopt when there is no such directory.
std::optional<std::string> realDirectory(const std::string& directory) {
  auto real = resolve(directory);
  if (!real) {
    if (errno == ENOENT || errno == ENOTDIR) return std::nullopt;
    throwLockError("Cannot resolve directory '" + directory + "'", errno);
  }
  struct stat st;
  if (::stat(real.get(), &st) != 0) {
    if (errno == ENOENT || errno == ENOTDIR) return std::nullopt;
    throwLockError("Cannot examine directory '" + directory + "'", errno);
  }
  if (!S_ISDIR(st.st_mode)) return std::nullopt;
  return std::string(real.get());
}

// `directory` as its parent's real path and its own last element, which is not resolved;
// nullopt when the parent does not exist. "/", "." and ".." name no link: they are
// resolved whole, so the name may be that of the real directory they stand for.
std::optional<std::pair<std::string, std::string>> realParentAndName(const std::string& directory) {
  std::string trimmed = directory;
  while (trimmed.size() > 1 && trimmed.back() == '/') trimmed.pop_back();
  std::string::size_type slash = trimmed.rfind('/');
  std::string name = slash == std::string::npos ? trimmed : trimmed.substr(slash + 1);
  std::string parent = slash == std::string::npos ? "." : trimmed.substr(0, slash == 0 ? 1 : slash);
  if (name.empty() || name == "." || name == ".." || trimmed == "/") {
    std::optional<std::string> real = realDirectory(trimmed);
    if (!real) return std::nullopt;
    slash = real->rfind('/');
    if (*real == "/" || slash == std::string::npos) return std::pair(*real, std::string());
    std::string real_parent = slash == 0 ? std::string("/") : real->substr(0, slash);
    return std::pair(std::move(real_parent), real->substr(slash + 1));
  }
  std::optional<std::string> real_parent = realDirectory(parent);
  if (!real_parent) return std::nullopt;
  return std::pair(*real_parent, name);
}

std::string joined(const std::string& parent, const std::string& name) {
  return (parent == "/" ? "" : parent) + "/" + name;
}

// As realDirectory, but a last element that is not itself a directory (a link to one
// included) is no directory: a link planted there must not move the lock file, nor
// have one made, where it points.
std::optional<std::string> realDirectoryNotLinked(const std::string& directory) {
  auto split = realParentAndName(directory);
  if (!split) return std::nullopt;
  if (split->second.empty()) return split->first;  // "/": the caller refuses it
  std::string path = joined(split->first, split->second);
  struct stat st;
  if (::lstat(path.c_str(), &st) != 0) {
    if (errno == ENOENT || errno == ENOTDIR) return std::nullopt;
    throwLockError("Cannot examine directory '" + directory + "'", errno);
  }
  if (!S_ISDIR(st.st_mode)) return std::nullopt;
  return path;
}

// The lock file of the real directory `real`, in its parent.
std::string lockFilePath(const std::string& directory, const std::string& real,
                         const std::string& file_name) {
  std::string::size_type slash = real.rfind('/');
  if (real == "/" || slash == std::string::npos)
    throw dsLockError("Cannot lock '" + directory + "': it has no parent to hold its lock file");
  return real.substr(0, slash) + "/." + real.substr(slash + 1) + "." + file_name;
}

int openLockFile(const std::string& path, dsLockMode mode) {
  // O_NOFOLLOW: a link planted in place of the lock file must neither be locked nor
  // let anything be created where it points. O_NONBLOCK keeps a planted FIFO from
  // hanging the open before it is refused below.
  constexpr int kFlags = O_CLOEXEC | O_NOFOLLOW | O_NOCTTY | O_NONBLOCK;
  int fd;
  do {
    fd = ::open(path.c_str(), O_RDWR | O_CREAT | kFlags, 0600);
  } while (fd < 0 && errno == EINTR);
  // A reader needs no write access: an existing lock file on a read-only file system
  // or in a directory it may not write still gives read locks.
  if (fd < 0 && mode == dsLockMode::shared && (errno == EACCES || errno == EROFS)) {
    do {
      fd = ::open(path.c_str(), O_RDONLY | kFlags);
    } while (fd < 0 && errno == EINTR);
  }
  if (fd < 0) throwLockError("Cannot open lock file '" + path + "'", errno);
  ut::UniqueFd guard(fd);
  struct stat st;
  if (::fstat(fd, &st) != 0)
    throwLockError("Cannot examine lock file '" + path + "'", errno);
  if (!S_ISREG(st.st_mode)) throw dsLockError("Lock file '" + path + "' is not a regular file");
  return guard.release();
}

}  // namespace

dsLockFile::dsLockFile(std::string directory, std::string file_name, dsLinkPolicy links)
    : directory_(std::move(directory)), file_name_(std::move(file_name)), links_(links) {}

dsLockFile::~dsLockFile() { unlock(); }

bool dsLockFile::lock(dsLockMode mode, uint64_t timeout, Tenbrook::System::TimeUnit unit,
                      bool missing_is_busy) {
  if (fd_ >= 0) return true;
  std::optional<std::string> real = links_ == dsLinkPolicy::follow
                                        ? realDirectory(directory_)
                                        : realDirectoryNotLinked(directory_);
  if (!real) {
    if (missing_is_busy) return false;
    throw dsNoSuchDirectory(directory_);
  }
  std::string path = lockFilePath(directory_, *real, file_name_);

  ut::UniqueFd guard(openLockFile(path, mode));
  short type = mode == dsLockMode::exclusive ? F_WRLCK : F_RDLCK;
  std::optional<std::chrono::nanoseconds> wait = unit.duration(timeout);
  if (!wait) {
    waitSetLock(guard.get(), type, path);
  } else if (wait->count() <= 0) {
    if (!trySetLock(guard.get(), type, path)) return false;
  } else if (!pollSetLock(guard.get(), type, path, deadlineAfter(*wait))) {
    return false;
  }
  path_ = std::move(path);
  mode_ = mode;
  fd_ = guard.release();
  return true;
}

bool dsLockFile::heldByAnyone(const std::string& directory, const std::string& file_name) {
  auto split = realParentAndName(directory);
  if (!split) return false;  // no parent, so no lock file either
  if (split->second.empty()) return true;  // "/" has no lock file; not ours to judge
  const std::string path = joined(split->first, "." + split->second + "." + file_name);
  ut::UniqueFd fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NOCTTY | O_NONBLOCK));
  if (!fd) return errno != ENOENT;
  struct stat st;
  if (::fstat(fd.get(), &st) != 0 || !S_ISREG(st.st_mode)) return true;
  // Asking for the strongest lock finds any other holder, readers included; only this
  // open file's own locks, of which there are none, would go unseen.
  struct flock probe = {};
  probe.l_type = F_WRLCK;
  probe.l_whence = SEEK_SET;
  return ::fcntl(fd.get(), F_OFD_GETLK, &probe) != 0 || probe.l_type != F_UNLCK;
}

bool dsLockFile::downgrade() {
  if (fd_ < 0 || mode_ != dsLockMode::exclusive) return false;
  // Replacing the write lock on the same open file is one step in the kernel: no
  // waiting writer can slip in between.
  if (!trySetLock(fd_, F_RDLCK, path_))
    throw dsLockError("Cannot downgrade the lock on '" + path_ + "'");
  mode_ = dsLockMode::shared;
  return true;
}

void dsLockFile::unlock() {
  if (fd_ < 0) return;
  // Closing the only descriptor of the open file drops its lock. A lock file is never
  // unlinked: another process may be about to lock the same inode.
  ::close(fd_);
  fd_ = -1;
}
