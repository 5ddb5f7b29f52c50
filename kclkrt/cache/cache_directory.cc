#include "kclkrt/cache/cache_directory.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <random>

#include "ds/errors.h"
#include "ds/remove_tree.h"
#include "kclkrt/cache/cache_errors.h"
#include "kclkrt/cache/cache_log.h"
#include "kclkrt/cache/component_name.h"
#include "kclkrt/cache/creation_marker.h"

using kcl::cache_log;

namespace {

constexpr int kUniqueTries = 100;

std::string unique_suffix() {
  static constexpr char kAlphabet[] =
      "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";
  std::random_device device;
  std::uniform_int_distribution<std::size_t> pick(0, sizeof kAlphabet - 2);
  std::string suffix;
  for (std::size_t i = 0; i < kcl::kUniqueSuffixLength; ++i) suffix += kAlphabet[pick(device)];
  return suffix;
}

}  // namespace

kclCacheDirectory::kclCacheDirectory(std::string path)
    : path_(std::move(path)), fd_(::open(path_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
  if (fd_) return;
  if (errno == ENOENT || errno == ENOTDIR) throw dsNoSuchDirectory(path_);
  cache_log("Could not open the cache directory ", path_, ": ", std::strerror(errno));
  throw kclCacheExtractionError();
}

kclCacheDirectory::Kind kclCacheDirectory::kind(const std::string& name) const {
  struct stat st;
  if (::fstatat(fd(), name.c_str(), &st, AT_SYMLINK_NOFOLLOW) != 0) return Kind::missing;
  return S_ISDIR(st.st_mode) ? Kind::directory : Kind::other;
}

ut::UniqueFd kclCacheDirectory::open_directory(const std::string& name) const {
  return ut::UniqueFd(
      ::openat(fd(), name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
}

std::string kclCacheDirectory::make_unique_directory(const std::string& prefix) const {
  for (int attempt = 0; attempt < kUniqueTries; ++attempt) {
    std::string name = prefix + unique_suffix();
    if (::mkdirat(fd(), name.c_str(), 0700) == 0) return name;
    if (errno != EEXIST) break;
  }
  cache_log("Could not create a directory ", path_of(prefix), "...: ", std::strerror(errno));
  return "";
}

bool kclCacheDirectory::rename(const std::string& from, const std::string& to) const {
  if (::renameat(fd(), from.c_str(), fd(), to.c_str()) == 0) return true;
  cache_log("Could not rename ", path_of(from), " to ", to, ": ", std::strerror(errno));
  return false;
}

std::string kclCacheDirectory::rename_unique(const std::string& from,
                                             const std::string& prefix) const {
  for (int attempt = 0; attempt < kUniqueTries; ++attempt) {
    std::string name = prefix + unique_suffix();
    // RENAME_NOREPLACE: a name taken meanwhile is not overwritten, just tried again.
    // Where the file system cannot promise that, the name is checked first: under the
    // root-level lock nobody else makes such names.
    int moved = ::renameat2(fd(), from.c_str(), fd(), name.c_str(), RENAME_NOREPLACE);
    if (moved != 0 && errno == EINVAL && kind(name) == Kind::missing)
      moved = ::renameat(fd(), from.c_str(), fd(), name.c_str());
    if (moved == 0) return name;
    if (errno != EEXIST) break;
  }
  cache_log("Could not move ", path_of(from), " aside: ", std::strerror(errno));
  return "";
}

bool kclCacheDirectory::remove(const std::string& name) const {
  if (ut::UniqueFd component = open_directory(name)) {
    if (!kcl::remove_creation_marker(component.get())) {
      cache_log("Could not remove the marker of ", path_of(name), ": ", std::strerror(errno));
      return false;
    }
  }
  return dsRemoveTreeAt(fd(), name, path_of(name),
                        [](dsRemoveProblem, const std::string& path, int error) {
                          cache_log("Could not remove ", path, ": ", std::strerror(error));
                        });
}

bool kclCacheDirectory::sync() const { return ::fsync(fd()) == 0; }
