#include "kclkrt/component/local_extraction.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <vector>

#include "ds/directory.h"
#include "ds/directory_exclusive_lock.h"
#include "ds/errors.h"
#include "ds/path.h"
#include "kar/kar.h"
#include "kclkrt/errors/error_output.h"
#include "kclkrt/errors/message_catalog.h"
#include "kclkrt/errors/warnings.h"
#include "kclkrt/paths/tree_remove.h"
#include "korel/kclkrt.h"

namespace kcl {
namespace {

using Tenbrook::System::TimeUnit;

constexpr const char* kExtractWarning = "KRT:Extract";
// Names longer than this also have their entries cleared under this many characters.
constexpr std::size_t kShortNameLength = 12;

std::vector<std::string> path_elements(const std::string& path) {
  std::vector<std::string> elements;
  std::string element;
  for (char c : path) {
    if (dsIsPathSep(static_cast<unsigned char>(c))) {
      if (!element.empty()) elements.push_back(element);
      element.clear();
    } else {
      element += c;
    }
  }
  if (!element.empty()) elements.push_back(element);
  return elements;
}

// True when `directory` exists and holds at least one entry: the directory the lock
// makes is empty and does not count as an extraction.
bool holds_entries(const std::string& directory) {
  std::unique_ptr<DIR, int (*)(DIR*)> dir(::opendir(directory.c_str()), &::closedir);
  if (!dir) return false;
  while (const dirent* entry = ::readdir(dir.get())) {
    if (std::strcmp(entry->d_name, ".") != 0 && std::strcmp(entry->d_name, "..") != 0) return true;
  }
  return false;
}

bool up_to_date(const LocalExtraction& job) {
  return holds_entries(job.directory) && !job.key.empty() &&
         dsIsDirectory((job.directory + "/" + job.key).c_str());
}

// Removes the entries of `directory` whose names begin with `prefix`.
void remove_stale_entries(const std::string& directory, const std::string& prefix) {
  std::vector<std::string> matches;
  {
    std::unique_ptr<DIR, int (*)(DIR*)> dir(::opendir(directory.c_str()), &::closedir);
    if (!dir) return;
    while (const dirent* entry = ::readdir(dir.get())) {
      std::string name = entry->d_name;
      if (name == "." || name == ".." || name.compare(0, prefix.size(), prefix) != 0) continue;
      matches.push_back(directory + "/" + name);
    }
  }
  for (const std::string& match : matches) remove_directory_tree(match, /*report_failures=*/true);
}

// The process's file-creation mask, read without changing it (umask(2) cannot).
mode_t creation_mask() {
  std::ifstream status("/proc/self/status");
  std::string line;
  while (std::getline(status, line)) {
    if (line.rfind("Umask:", 0) == 0) return static_cast<mode_t>(std::strtoul(line.c_str() + 6, nullptr, 8));
  }
  return 022;
}

// Holds the extraction directory's exclusive lock, unless locking is inhibited or the
// lock could not be had in time (then extraction goes ahead without it, as told).
class ExtractionLock {
 public:
  ExtractionLock(const LocalExtraction& job, TextHandler handler) {
    if (std::getenv("KRT_INHIBIT_KAR_LOCK") != nullptr) return;
    lock_ = std::make_unique<dsDirectoryExclusiveLock>(job.directory, "");
    bool acquired = false;
    try {
      acquired = lock_->acquire(0, TimeUnit::sSeconds(), false);
    } catch (const dsNoSuchDirectory&) {
      karMakeDir(job.directory.c_str());
    }
    if (!acquired) acquired = lock_->acquire(job.lock_wait, job.lock_wait_unit, false);
    if (!acquired) {
      print_warning_message(handler, "KRT:KarLockWaitTimedOut", KCLKRT_KAR_LOCK_WAIT_TIMED_OUT);
      print_warning_message(handler, "KRT:ExtractNotExclusive", KCLKRT_KAR_EXTRACT_NOT_EXCLUSIVE);
    }
  }
  ~ExtractionLock() {
    if (lock_ && lock_->isAcquired()) lock_->release(Tenbrook::System::kWaitForever, TimeUnit::sSeconds());
  }
  ExtractionLock(const ExtractionLock&) = delete;
  ExtractionLock& operator=(const ExtractionLock&) = delete;

 private:
  std::unique_ptr<dsDirectoryExclusiveLock> lock_;
};

// A read lock on a directory, held by the process that extracts into it: how a staging
// directory in use is told from one left by a process that died.
class StagingMark {
 public:
  explicit StagingMark(const std::string& directory)
      : fd_(::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC)) {
    struct flock request = {};
    request.l_type = F_RDLCK;
    request.l_whence = SEEK_SET;
    if (fd_ >= 0) ::fcntl(fd_, F_OFD_SETLK, &request);
  }
  ~StagingMark() {
    if (fd_ >= 0) ::close(fd_);
  }
  StagingMark(const StagingMark&) = delete;
  StagingMark& operator=(const StagingMark&) = delete;

  static bool in_use(const std::string& directory) {
    int fd = ::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (fd < 0) return true;  // not ours to judge
    struct flock probe = {};
    probe.l_type = F_WRLCK;
    probe.l_whence = SEEK_SET;
    const bool used = ::fcntl(fd, F_OFD_GETLK, &probe) != 0 || probe.l_type != F_UNLCK;
    ::close(fd);
    return used;
  }

 private:
  int fd_;
};

// Removes the staging directories in `parent` named `prefix` and six characters that
// nobody extracts into: each is what a process killed while extracting left behind, and
// would otherwise stay for good. A process marks its staging directory right after
// making it; only an extraction going without the lock could be caught in between.
void remove_abandoned_staging(const std::string& parent, const std::string& prefix) {
  std::vector<std::string> abandoned;
  {
    std::unique_ptr<DIR, int (*)(DIR*)> dir(::opendir(parent.c_str()), &::closedir);
    if (!dir) return;
    while (const dirent* entry = ::readdir(dir.get())) {
      const std::string name = entry->d_name;
      if (name.size() == prefix.size() + 6 && name.compare(0, prefix.size(), prefix) == 0)
        abandoned.push_back(parent + "/" + name);
    }
  }
  for (const std::string& path : abandoned)
    if (!StagingMark::in_use(path)) remove_directory_tree(path, /*report_failures=*/false);
}

// Extracts beside the target and renames the result into place, so that no process,
// locked or not, ever sees a half-extracted directory as an extraction.
bool extract_into_place(const LocalExtraction& job) {
  const std::filesystem::path target(job.directory);
  const std::string parent = target.has_parent_path() ? target.parent_path().string() : ".";
  if (!dsIsDirectory(parent.c_str()) && karMakeDir(parent.c_str()) != 1) return false;
  const std::string prefix = "." + target.filename().string() + ".extract-";
  remove_abandoned_staging(parent, prefix);
  std::string staging = parent + "/" + prefix + "XXXXXX";
  if (::mkdtemp(staging.data()) == nullptr) {
    kclPrintErrorMsg(KCLKRT_COULD_NOT_CREATE_DIR, staging.c_str());
    return false;
  }
  const StagingMark mark(staging);
  ::chmod(staging.c_str(), 0777 & ~creation_mask());
  bool extracted = karrtExtractKar(job.archive.c_str(), staging.c_str());
  if (extracted && ::rename(staging.c_str(), job.directory.c_str()) != 0) {
    // Without the lock another process may have put its extraction there first.
    extracted = up_to_date(job);
    if (!extracted)
      internal_error_output(("Could not move the extracted archive into '" + job.directory +
                             "'. Reason: '" + std::strerror(errno) + "'\n").c_str());
  }
  remove_directory_tree(staging, /*report_failures=*/false);  // gone already after a rename
  return extracted;
}

}  // namespace

bool archive_in_private_directory(const std::string& archive) {
  std::vector<std::string> elements = path_elements(archive);
  return elements.size() >= 2 && elements[elements.size() - 2] == "private";
}

bool refuse_extraction_directory(const LocalExtraction& job) {
  for (const std::string& element : path_elements(job.directory)) {
    if (element[0] == '@') {
      kclPrintErrorMsg(KCLKRT_KAR_IN_METHOD_DIR);
      return true;
    }
  }
  if (archive_in_private_directory(job.archive)) {
    kclPrintErrorMsg(KCLKRT_KAR_IN_PRIVATE_DIR);
    return true;
  }
  return false;
}

bool extract_under_lock(const LocalExtraction& job) {
  if (refuse_extraction_directory(job)) return false;
  if (!dsIsRegularFile(job.archive.c_str())) {
    kclPrintErrorMsg(KCLKRT_CANNOT_FIND_KAR_ARCHIVE, job.archive.c_str());
    return false;
  }
  // An up-to-date extraction is only ever read, so it needs no lock: a start of a
  // component installed where its user cannot write still works.
  if (up_to_date(job)) return true;

  TextHandler handler = current_print_handler();
  ExtractionLock lock(job, handler);
  const bool extraction_exists = holds_entries(job.directory);
  if (extraction_exists) {
    if (up_to_date(job)) return true;  // another process extracted it while we waited
    if (job.name.size() > kShortNameLength) remove_stale_entries(job.directory, job.name.substr(0, kShortNameLength));
    remove_stale_entries(job.directory, job.name);
    if (!remove_directory_tree(job.directory, /*report_failures=*/true))
      kclPrintErrorMsg(KCLKRT_ARCHIVE_REMOVAL_FAILED, job.directory.c_str());
  }
  print_warning_message(handler, kExtractWarning, KCLKRT_COMPONENT_ROOT_DOESNT_EXIST);
  if (!extract_into_place(job)) return false;
  print_warning_message(handler, kExtractWarning, KCLKRT_KAR_EXTRACT_DONE);
  return true;
}

}  // namespace kcl
