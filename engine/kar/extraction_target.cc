#include "kar/extraction_target.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>

#include "kar/entry_path.h"
#include "kar/error.h"

namespace kar {

namespace {

constexpr int kDirectoryFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

bool is_directory_at(int dir, const std::string& name) {
  struct stat st;
  return ::fstatat(dir, name.c_str(), &st, AT_SYMLINK_NOFOLLOW) == 0 && S_ISDIR(st.st_mode);
}

}  // namespace

ExtractionTarget::ExtractionTarget(const std::string& path)
    : root_(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
  if (!root_) throw Error("", with_errno("cannot open the target directory '" + path + "'", errno));
}

ExtractionTarget::~ExtractionTarget() {
  if (!keep_) remove_created();
}

int ExtractionTarget::directory_of(const std::vector<std::string>& elements, std::size_t count,
                                   bool create) {
  if (count == 0) return root_.get();
  std::string key = join_elements(elements, count);
  // Entries come grouped by directory, so one cached descriptor saves most walks.
  if (cached_fd_ && key == cached_key_) return cached_fd_.get();

  ut::UniqueFd current;
  for (std::size_t i = 0; i < count; ++i) {
    int parent = current ? current.get() : root_.get();
    const char* name = elements[i].c_str();
    ut::UniqueFd next(::openat(parent, name, kDirectoryFlags));
    if (!next && errno == ENOENT && create) {
      if (::mkdirat(parent, name, 0755) == 0)
        created_.push_back({{elements.begin(), elements.begin() + i + 1}, true});
      else if (errno != EEXIST)
        throw Error("", with_errno("cannot create directory '" + join_elements(elements, i + 1) + "'",
                                   errno));
      next.reset(::openat(parent, name, kDirectoryFlags));
    }
    if (!next) {
      int error = errno;
      std::string where = "'" + join_elements(elements, i + 1) + "'";
      if (error == ELOOP || error == ENOTDIR)
        throw Error("", where + " exists and is not a directory (links are never followed)");
      throw Error("", with_errno("cannot open directory " + where, error));
    }
    current = std::move(next);
  }
  cached_key_ = std::move(key);
  cached_fd_ = std::move(current);
  return cached_fd_.get();
}

void ExtractionTarget::make_directory(const std::vector<std::string>& elements, mode_t mode) {
  if (elements.empty()) return;
  int parent = directory_of(elements, elements.size() - 1, true);
  const std::string& name = elements.back();
  if (::mkdirat(parent, name.c_str(), mode) == 0) {
    created_.push_back({elements, true});
    return;
  }
  int error = errno;
  if (error == EEXIST && is_directory_at(parent, name)) return;
  if (error == EEXIST) throw Error("", "a file or link of that name is in the way");
  throw Error("", with_errno("cannot create the directory", error));
}

ut::UniqueFd ExtractionTarget::create_file(const std::vector<std::string>& elements, mode_t mode) {
  if (elements.empty()) throw Error("", "a file entry cannot name the target itself");
  int parent = directory_of(elements, elements.size() - 1, true);
  const char* name = elements.back().c_str();
  constexpr int kFlags = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
  ut::UniqueFd file(::openat(parent, name, kFlags, mode));
  if (!file && errno == EEXIST) {
    // Replace rather than truncate: an existing name may be a link, or share its inode
    // with a file outside the target.
    if (is_directory_at(parent, name)) throw Error("", "a directory of that name is in the way");
    if (::unlinkat(parent, name, 0) != 0 && errno != ENOENT)
      throw Error("", with_errno("cannot replace the existing file", errno));
    file.reset(::openat(parent, name, kFlags, mode));
  }
  if (!file) throw Error("", with_errno("cannot create the file", errno));
  created_.push_back({elements, false});
  return file;
}

void ExtractionTarget::remove_created() noexcept {
  cached_fd_.reset();
  cached_key_.clear();
  for (auto it = created_.rbegin(); it != created_.rend(); ++it) {
    // Reached again without following links, like everything else here.
    ut::UniqueFd parent;
    int dir = root_.get();
    for (std::size_t i = 0; i + 1 < it->elements.size(); ++i) {
      parent.reset(::openat(dir, it->elements[i].c_str(), kDirectoryFlags));
      if (!parent) break;
      dir = parent.get();
    }
    if (it->elements.size() > 1 && !parent) continue;
    ::unlinkat(dir, it->elements.back().c_str(), it->directory ? AT_REMOVEDIR : 0);
  }
}

}  // namespace kar
