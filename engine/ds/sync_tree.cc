#include "ds/sync_tree.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <utility>

#include "ds/descriptor_walk.h"

namespace {

// O_NONBLOCK: a fifo swapped in after the entry was looked at must not hang the walk.
bool syncFile(int directory, const char* name) {
  ut::UniqueFd fd(::openat(directory, name, O_RDONLY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK));
  return fd && ::fsync(fd.get()) == 0;
}

class Syncer final : public dsDescriptorWalk {
 public:
  explicit Syncer(std::string top_path) : dsDescriptorWalk(std::move(top_path)) {}

 private:
  bool visitEntry(int directory, const char* name, const struct stat& st) override {
    return !S_ISREG(st.st_mode) || syncFile(directory, name);
  }
  // Last, so its entries name files whose data is already down.
  bool visitedDirectory(int fd) override { return ::fsync(fd) == 0; }
  // What cannot be flushed fails the tree, but the rest is flushed all the same.
  bool failed(dsWalkFailure, const std::string&, int) override { return true; }
};

}  // namespace

bool dsSyncTree(const std::string& path) {
  struct stat st;
  if (::lstat(path.c_str(), &st) != 0) return false;
  if (S_ISREG(st.st_mode)) return syncFile(AT_FDCWD, path.c_str());
  // Links and special files hold nothing to flush.
  if (!S_ISDIR(st.st_mode)) return true;
  struct stat opened;
  ut::UniqueFd top = dsOpenDirectory(AT_FDCWD, path.c_str(), opened);
  if (!top) return false;
  Syncer syncer(path);
  return syncer.walk(std::move(top), opened) && syncer.complete();
}

bool dsSyncTreeAt(int directory) {
  struct stat opened;
  ut::UniqueFd top = dsOpenDirectory(directory, ".", opened);
  if (!top) return false;
  Syncer syncer(".");
  return syncer.walk(std::move(top), opened) && syncer.complete();
}
