#include "kclkrt/cache/creation_marker.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "ds/remove_tree.h"
#include "kclkrt/cache/cache_file.h"

namespace kcl {
namespace {

constexpr const char* kMarker = ".created.ts";
constexpr const char* kBytesUsed = ".bytes_used";

}  // namespace

bool has_creation_marker(int component) {
  struct stat st;
  return ::fstatat(component, kMarker, &st, AT_SYMLINK_NOFOLLOW) == 0 && S_ISREG(st.st_mode);
}

bool write_creation_marker(int component) { return write_cache_file(component, kMarker, ""); }

bool remove_creation_marker(int component) {
  return ::unlinkat(component, kMarker, 0) == 0 || errno == ENOENT || errno == EISDIR;
}

bool remove_archive_markers(int staging, const std::string& display_path) {
  bool removed = true;
  // Whatever kind of entry the archive made of them (a directory, a link) goes whole.
  for (const char* name : {kMarker, kBytesUsed})
    removed = dsRemoveTreeAt(staging, name, display_path + "/" + name) && removed;
  return removed;
}

}  // namespace kcl
