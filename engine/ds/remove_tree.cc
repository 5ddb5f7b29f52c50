#include "ds/remove_tree.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "ds/descriptor_walk.h"

namespace {

// Empties a directory opened by the caller: entries as they are read, each directory
// once everything below it is gone.
class Remover final : public dsDescriptorWalk {
 public:
  Remover(const dsRemoveReporter& report, std::string top_path)
      : dsDescriptorWalk(std::move(top_path)), report_(report) {}

 private:
  void tell(dsRemoveProblem problem, const std::string& path, int error) {
    if (report_) report_(problem, path, error);
  }

  bool visitEntry(int directory, const char* name, const struct stat&) override {
    if (::unlinkat(directory, name, 0) == 0 || errno == ENOENT) return true;
    tell(dsRemoveProblem::cannot_remove, path() + "/" + name, errno);
    return false;
  }

  // A directory with something left in it is not tried: the entry left behind has
  // been reported already, and rmdir could only add ENOTEMPTY to that.
  bool leftDirectory(int parent, const std::string& name, bool complete) override {
    if (!complete) return false;
    if (::unlinkat(parent, name.c_str(), AT_REMOVEDIR) == 0 || errno == ENOENT) return true;
    tell(dsRemoveProblem::cannot_remove, path(), errno);
    return false;
  }

  // What cannot be looked at cannot be removed safely: the removal stops there.
  bool failed(dsWalkFailure failure, const std::string& path, int error) override {
    tell(failure == dsWalkFailure::cannot_stat ? dsRemoveProblem::cannot_stat
                                               : dsRemoveProblem::cannot_open_directory,
         path, error);
    return false;
  }

  const dsRemoveReporter& report_;
};

}  // namespace

bool dsRemoveTreeAt(int parent, const std::string& name, const std::string& display_path,
                    const dsRemoveReporter& report) {
  auto tell = [&](dsRemoveProblem problem, int error) {
    if (report) report(problem, display_path, error);
    return false;
  };
  // Neither can be removed by rmdir; refusing first keeps their contents from going.
  if (name.empty() || name == "." || name == ".." || name.find('/') != std::string::npos)
    return tell(dsRemoveProblem::cannot_remove, EINVAL);
  // The entry is looked at and removed from its parent's descriptor, so the entry that
  // was checked is the entry that is removed.
  struct stat st;
  if (::fstatat(parent, name.c_str(), &st, AT_SYMLINK_NOFOLLOW) != 0)
    return errno == ENOENT || tell(dsRemoveProblem::cannot_stat, errno);
  if (!S_ISDIR(st.st_mode)) {
    if (::unlinkat(parent, name.c_str(), 0) == 0 || errno == ENOENT) return true;
    return tell(dsRemoveProblem::cannot_remove, errno);
  }

  struct stat opened;
  ut::UniqueFd top = dsOpenDirectory(parent, name.c_str(), opened);
  if (!top) return tell(dsRemoveProblem::cannot_open_directory, errno);
  if (opened.st_dev != st.st_dev || opened.st_ino != st.st_ino)
    return tell(dsRemoveProblem::cannot_open_directory, kDsMovedError);

  Remover remover(report, display_path);
  if (!remover.walk(std::move(top), opened) || !remover.complete()) return false;
  if (::unlinkat(parent, name.c_str(), AT_REMOVEDIR) == 0 || errno == ENOENT) return true;
  return tell(dsRemoveProblem::cannot_remove, errno);
}

bool dsRemoveTree(const std::string& path, const dsRemoveReporter& report) {
  std::string trimmed = path;
  while (trimmed.size() > 1 && trimmed.back() == '/') trimmed.pop_back();
  std::size_t slash = trimmed.rfind('/');
  std::string parent_path = slash == std::string::npos ? "." : trimmed.substr(0, slash == 0 ? 1 : slash);
  std::string name = slash == std::string::npos ? trimmed : trimmed.substr(slash + 1);
  if (trimmed == "/") {
    if (report) report(dsRemoveProblem::cannot_remove, trimmed, EBUSY);
    return false;
  }
  ut::UniqueFd parent(::open(parent_path.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
  if (!parent) {
    if (errno == ENOENT) return true;
    if (report) report(dsRemoveProblem::cannot_stat, trimmed, errno);
    return false;
  }
  return dsRemoveTreeAt(parent.get(), name, trimmed, report);
}
