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
    throw dsLockError("Cannot lock '" + path + "': " + errorText(errno));
  }
}

void waitSetLock(int fd, short type, const std::string& path) {
  struct flock request = {};
  request.l_type = type;
  request.l_whence = SEEK_SET;
  while (::fcntl(fd, F_OFD_SETLKW, &request) != 0) {
    if (errno != EINTR) throw dsLockError("Cannot lock '" + path + "': " + errorText(errno));
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

// The directory with every symbolic link resolved, so that all the names of one
// directory share its lock; nullopt when there is no such directory.
std::optional<std::string> realDirectory(const std::string& directory) {
  std::unique_ptr<char, decltype(&std::free)> real(::realpath(directory.c_str(), nullptr),
                                                   &std::free);
  if (!real) {
    if (errno == ENOENT || errno == ENOTDIR) return std::nullopt;
    throw dsLockError("Cannot resolve directory '" + directory + "': " + errorText(errno));
  }
  struct stat st;
  if (::stat(real.get(), &st) != 0) {
    if (errno == ENOENT || errno == ENOTDIR) return std::nullopt;
    throw dsLockError("Cannot examine directory '" + directory + "': " + errorText(errno));
  }
  if (!S_ISDIR(st.st_mode)) return std::nullopt;
  return std::string(real.get());
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
  if (fd < 0) throw dsLockError("Cannot open lock file '" + path + "': " + errorText(errno));
  ut::UniqueFd guard(fd);
  struct stat st;
  if (::fstat(fd, &st) != 0)
    throw dsLockError("Cannot examine lock file '" + path + "': " + errorText(errno));
  if (!S_ISREG(st.st_mode)) throw dsLockError("Lock file '" + path + "' is not a regular file");
  return guard.release();
}

}  // namespace

dsLockFile::dsLockFile(std::string directory, std::string file_name)
    : directory_(std::move(directory)), file_name_(std::move(file_name)) {}

dsLockFile::~dsLockFile() { unlock(); }

bool dsLockFile::lock(dsLockMode mode, uint64_t timeout, Tenbrook::System::TimeUnit unit,
                      bool missing_is_busy) {
  if (fd_ >= 0) return true;
  std::optional<std::string> real = realDirectory(directory_);
  if (!real) {
    if (missing_is_busy) return false;
    throw dsNoSuchDirectory(directory_);
  }
  std::string::size_type slash = real->rfind('/');
  if (*real == "/" || slash == std::string::npos)
    throw dsLockError("Cannot lock '" + directory_ + "': it has no parent to hold its lock file");
  std::string path =
      real->substr(0, slash) + "/." + real->substr(slash + 1) + "." + file_name_;

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
