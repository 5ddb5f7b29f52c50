#include "kclkrt/component/local_extraction.h"

#include <dirent.h>
#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <optional>
#include <vector>

#include "ds/directory.h"
#include "ds/path.h"
#include "kar/kar.h"
#include "kclkrt/component/extraction_lock.h"
#include "kclkrt/component/staging_directory.h"
#include "kclkrt/errors/error_output.h"
#include "kclkrt/errors/message_catalog.h"
#include "kclkrt/errors/warnings.h"
#include "kclkrt/paths/tree_remove.h"
#include "korel/kclkrt.h"

namespace kcl {
namespace {

constexpr const char* kExtractWarning = "KRT:Extract";
// Names longer than this also have their entries cleared under this many characters.
constexpr std::size_t kShortNameLength = 12;
// Rounds of putting an extraction into place while other processes change what is there.
constexpr int kPlaceAttempts = 4;

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

std::filesystem::path without_trailing_separator(const std::string& directory) {
  std::filesystem::path path(directory);
  return path.has_filename() ? path : path.parent_path();
}

std::string parent_of(const std::string& directory) {
  const std::filesystem::path path = without_trailing_separator(directory);
  return path.has_parent_path() ? path.parent_path().string() : ".";
}

// A directory itself, not a link to one.
bool is_real_directory(const std::string& path) {
  struct stat status;
  return ::lstat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

// True when `directory` holds at least one entry.
bool holds_entries(const std::string& directory) {
  std::unique_ptr<DIR, int (*)(DIR*)> dir(::opendir(directory.c_str()), &::closedir);
  if (!dir) return false;
  while (const dirent* entry = ::readdir(dir.get())) {
    if (std::strcmp(entry->d_name, ".") != 0 && std::strcmp(entry->d_name, "..") != 0) return true;
  }
  return false;
}

// Up to date by its marker, the directory named by the component key, and intact. An
// archive holds no links, so neither may be one.
bool current(const LocalExtraction& job) {
  return !job.key.empty() && is_real_directory(job.directory) &&
         is_real_directory(job.directory + "/" + job.key) && (!job.intact || job.intact(job.directory));
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

// Holds the extraction's exclusive lock, unless locking is inhibited or the lock could
// not be had in time (then extraction goes ahead without it, as told).
class ExtractionGuard {
 public:
  ExtractionGuard(const LocalExtraction& job, TextHandler handler) {
    if (std::getenv("KRT_INHIBIT_KAR_LOCK") != nullptr) return;
    lock_.emplace(job.directory);
    if (lock_->acquire(job.lock_wait_unit.duration(job.lock_wait))) return;
    print_warning_message(handler, "KRT:KarLockWaitTimedOut", KCLKRT_KAR_LOCK_WAIT_TIMED_OUT);
    print_warning_message(handler, "KRT:ExtractNotExclusive", KCLKRT_KAR_EXTRACT_NOT_EXCLUSIVE);
  }
  bool held() const { return lock_ && lock_->held(); }

 private:
  std::optional<ExtractionLock> lock_;
};

void report_not_placed(const LocalExtraction& job, int error) {
  internal_error_output(("Could not move the extracted archive into '" + job.directory + "'. Reason: '" +
                         std::strerror(error) + "'\n")
                            .c_str());
}

// Puts the extraction in `staging` where `job.directory` says: renamed over nothing or
// an empty directory; otherwise swapped in one step with what stands there (an old or
// damaged extraction, a link, a file), which is then removed from the staging name: a
// link itself, never what it leads to. Without the lock another process may have put
// a current extraction there first, which is kept.
bool place_extraction(const StagingDirectory& staging, const LocalExtraction& job) {
  const char* from = staging.path().c_str();
  const char* to = job.directory.c_str();
  int error = 0;
  for (int attempt = 0; attempt < kPlaceAttempts; ++attempt) {
    if (::rename(from, to) == 0) return true;
    error = errno;
    if (error != ENOTEMPTY && error != EEXIST && error != ENOTDIR) break;
    if (current(job)) return true;
    if (::renameat2(AT_FDCWD, from, AT_FDCWD, to, RENAME_EXCHANGE) == 0) {
      remove_directory_tree(staging.path(), /*report_failures=*/false);
      return true;
    }
    error = errno;
    if (error == ENOENT) continue;  // gone meanwhile: the rename can do
    if (error != EINVAL && error != ENOSYS) break;
    // A file system that cannot swap: what is in the way goes first.
    if (!remove_directory_tree(job.directory, /*report_failures=*/false)) break;
  }
  report_not_placed(job, error);
  return false;
}

// Extracts beside the target and puts the result into place, so that no process,
// locked or not, ever sees a half-extracted directory as an extraction.
bool extract_into_place(const LocalExtraction& job) {
  const std::string parent = parent_of(job.directory);
  const std::string prefix = "." + without_trailing_separator(job.directory).filename().string() + ".extract-";
  remove_abandoned_staging(parent, prefix);
  const StagingDirectory staging(parent, prefix);
  if (!staging) {
    kclPrintErrorMsg(KCLKRT_COULD_NOT_CREATE_DIR, (parent + "/" + prefix + "XXXXXX").c_str());
    return false;
  }
  return karrtExtractKar(job.archive.c_str(), staging.path().c_str()) && place_extraction(staging, job);
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
  // A current extraction is only ever read, so it needs no lock: a start of a component
  // installed where its user cannot write still works.
  if (current(job)) return true;

  // The lock file and the staging directories go beside the extraction.
  const std::string parent = parent_of(job.directory);
  if (!dsIsDirectory(parent.c_str()) && karMakeDir(parent.c_str()) != 1) return false;
  TextHandler handler = current_print_handler();
  ExtractionGuard lock(job, handler);
  if (current(job)) return true;  // another process extracted it while we waited
  // Nobody else extracts while the lock is held: an out-of-date or damaged extraction
  // is cleared first. Without the lock it is swapped out whole when the new one is in.
  if (lock.held() && is_real_directory(job.directory) && holds_entries(job.directory)) {
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
