#include "private_mounts.h"

#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include <fstream>

namespace korel::scenario {
namespace {

bool write_text(const std::string& path, const std::string& text) {
  std::ofstream out(path);
  out << text;
  out.close();
  return static_cast<bool>(out);
}

}  // namespace

bool enter_private_mounts() {
  const uid_t uid = ::geteuid();
  const gid_t gid = ::getegid();
  if (::unshare(CLONE_NEWNS) != 0) {
    if (::unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) return false;
    if (!write_text("/proc/self/setgroups", "deny") ||
        !write_text("/proc/self/uid_map", std::to_string(uid) + " " + std::to_string(uid) + " 1") ||
        !write_text("/proc/self/gid_map", std::to_string(gid) + " " + std::to_string(gid) + " 1"))
      return false;
  }
  // Source and type are ignored for a propagation change; named anyway, since memcheck
  // takes a null type for a bad pointer.
  return ::mount("none", "/", "none", MS_REC | MS_PRIVATE, nullptr) == 0;
}

bool mount_read_only(const std::string& dir) {
  // A bind mount takes its flags from the mount it copies: read-only needs a remount.
  return ::mount(dir.c_str(), dir.c_str(), "none", MS_BIND | MS_REC, nullptr) == 0 &&
         ::mount("none", dir.c_str(), "none", MS_BIND | MS_REMOUNT | MS_RDONLY, nullptr) == 0;
}

}  // namespace korel::scenario
