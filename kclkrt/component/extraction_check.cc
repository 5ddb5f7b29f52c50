#include "kclkrt/component/extraction_check.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>

#include <cerrno>
#include <cstring>
#include <functional>
#include <memory>
#include <string_view>

#include "kclkrt/component/component_data.h"
#include "ut/unique_fd.h"

namespace kcl {
namespace {

enum class Found { yes, no, damaged };

// Opens `entry`, relative to the directory `top`, element by element without following
// a link. `no` when an element is missing, `damaged` when one is a link or not a
// directory; a path that leaves the extraction is not the component's own (`no`).
Found open_path_directory(int top, const std::string& entry, ut::UniqueFd& opened) {
  ut::UniqueFd current(::fcntl(top, F_DUPFD_CLOEXEC, 0));
  if (!current) return Found::damaged;
  std::size_t start = 0;
  while (start <= entry.size()) {
    std::size_t end = entry.find('/', start);
    if (end == std::string::npos) end = entry.size();
    const std::string element = entry.substr(start, end - start);
    start = end + 1;
    if (element.empty() || element == ".") continue;
    if (element == "..") return Found::no;
    ut::UniqueFd next(::openat(current.get(), element.c_str(),
                               O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!next) return errno == ENOENT ? Found::no : Found::damaged;
    current = std::move(next);
  }
  opened = std::move(current);
  return Found::yes;
}

bool is_own_entry(const char* entry) { return entry && *entry && *entry != '$' && *entry != '/'; }

// Calls `visit` with each of the component's own path directories that exists; stops
// and returns false when one is damaged or `visit` says so.
bool for_each_path_directory(const std::string& extraction, const kclComponentData& data,
                             const std::function<bool(int directory)>& visit, bool& any_found) {
  any_found = false;
  ut::UniqueFd top(::open(extraction.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  if (!top) return false;
  for (uint32_t i = 0; data.path_entries && i < data.path_entry_count; ++i) {
    if (!is_own_entry(data.path_entries[i])) continue;
    ut::UniqueFd directory;
    switch (open_path_directory(top.get(), data.path_entries[i], directory)) {
      case Found::no:
        continue;
      case Found::damaged:
        return false;
      case Found::yes:
        any_found = true;
        if (!visit(directory.get())) return false;
    }
  }
  return true;
}

// Whether some entry of `directory` that is a regular file satisfies `wanted`; reads
// the directory only as far as the first such entry.
bool holds_regular_file(int directory, const std::function<bool(std::string_view)>& wanted) {
  const int fd = ::fcntl(directory, F_DUPFD_CLOEXEC, 0);
  if (fd < 0) return false;
  std::unique_ptr<DIR, int (*)(DIR*)> dir(::fdopendir(fd), &::closedir);
  if (!dir) {
    ::close(fd);
    return false;
  }
  while (const dirent* entry = ::readdir(dir.get())) {
    if (!wanted(entry->d_name)) continue;
    if (entry->d_type == DT_REG) return true;
    struct stat status;
    if (entry->d_type == DT_UNKNOWN &&
        ::fstatat(directory, entry->d_name, &status, AT_SYMLINK_NOFOLLOW) == 0 && S_ISREG(status.st_mode))
      return true;
  }
  return false;
}

bool is_native_function(std::string_view name) {
  constexpr std::string_view kSuffix = ".klf";
  return name.size() > kSuffix.size() && name.substr(name.size() - kSuffix.size()) == kSuffix;
}

}  // namespace

bool extraction_intact(const std::string& extraction_directory, const kclComponentData& data) {
  bool has_own_entries = false;
  for (uint32_t i = 0; data.path_entries && i < data.path_entry_count; ++i)
    has_own_entries = has_own_entries || is_own_entry(data.path_entries[i]);
  bool any_found = false;
  const bool whole = for_each_path_directory(
      extraction_directory, data,
      [](int directory) { return holds_regular_file(directory, [](std::string_view) { return true; }); },
      any_found);
  return whole && (any_found || !has_own_entries);
}

bool native_functions_blocked(const std::string& extraction_directory, const kclComponentData& data) {
  struct statvfs mount;
  if (::statvfs(extraction_directory.c_str(), &mount) != 0 || !(mount.f_flag & ST_NOEXEC)) return false;
  bool blocked = false, any_found = false;
  for_each_path_directory(
      extraction_directory, data,
      [&](int directory) {
        blocked = holds_regular_file(directory, is_native_function);
        return !blocked;
      },
      any_found);
  return blocked;
}

}  // namespace kcl
