#include "kclkrt/component/extraction_lock.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <thread>

#include "ds/errors.h"

namespace kcl {
namespace {

using Clock = std::chrono::steady_clock;

std::string lock_file_of(const std::string& directory) {
  std::filesystem::path path(directory);
  if (!path.has_filename()) path = path.parent_path();  // a trailing separator
  const std::filesystem::path parent = path.has_parent_path() ? path.parent_path() : ".";
  return (parent / ("." + path.filename().string() + ".lock")).string();
}

std::string reason(int error) { return std::strerror(error); }

// One attempt: true when taken, false while another holder has it.
bool try_lock(int fd, const std::string& path) {
  struct flock request = {};
  request.l_type = F_WRLCK;
  request.l_whence = SEEK_SET;  // the whole file, as the directory lock takes it
  for (;;) {
    if (::fcntl(fd, F_OFD_SETLK, &request) == 0) return true;
    if (errno == EAGAIN || errno == EACCES) return false;
    if (errno != EINTR) throw dsLockError("Cannot lock '" + path + "': " + reason(errno));
  }
}

}  // namespace

ExtractionLock::ExtractionLock(const std::string& extraction_directory)
    : path_(lock_file_of(extraction_directory)) {}

bool ExtractionLock::acquire(std::optional<std::chrono::nanoseconds> wait) {
  if (fd_) return true;
  // O_NONBLOCK: a FIFO planted as the lock file must not hang the open.
  ut::UniqueFd fd(::open(path_.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC,
                         0600));
  if (!fd) throw dsLockError("Cannot open lock file '" + path_ + "': " + reason(errno));
  struct stat status;
  if (::fstat(fd.get(), &status) != 0 || !S_ISREG(status.st_mode))
    throw dsLockError("Lock file '" + path_ + "' is not a regular file");

  const Clock::time_point start = Clock::now();
  Clock::duration pause = std::chrono::milliseconds(1);
  constexpr Clock::duration kLongestPause = std::chrono::milliseconds(50);
  for (;;) {
    if (try_lock(fd.get(), path_)) break;
    const Clock::duration waited = Clock::now() - start;
    if (wait && waited >= *wait) return false;
    Clock::duration next = pause;
    if (wait) next = std::min<Clock::duration>(next, std::chrono::duration_cast<Clock::duration>(*wait - waited));
    std::this_thread::sleep_for(next);
    pause = std::min(pause * 2, kLongestPause);
  }
  fd_ = std::move(fd);
  return true;
}

}  // namespace kcl
