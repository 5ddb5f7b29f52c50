// libFuzzer target for kar::extract. Each input is read as an archive and extracted into
// <scratch>/parent/target with small limits. Accepted or refused, nothing may appear
// beside the target or beside its parent, the sentinel file beside the parent must stay
// as it was, the target may hold only directories and regular files, and a refused
// archive must leave the target empty. Anything else aborts and is reported.
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "kar/archive_input.h"
#include "kar/error.h"
#include "kar/extract.h"

namespace {

constexpr int kDirectoryFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
const std::string kSentinelText = "left beside the parent; extraction must never touch it\n";

[[noreturn]] void fail(const std::string& what) {
  std::fprintf(stderr, "kar_extract: %s\n", what.c_str());
  std::abort();
}

// The error number is passed in: some callers clean up before they report.
std::string with_errno(int error, const std::string& what) {
  return what + ": " + std::strerror(error);
}

const char* type_name(mode_t mode) {
  if (S_ISLNK(mode)) return "a symbolic link";
  if (S_ISCHR(mode)) return "a character device";
  if (S_ISBLK(mode)) return "a block device";
  if (S_ISFIFO(mode)) return "a fifo";
  if (S_ISSOCK(mode)) return "a socket";
  return "a file of unknown type";
}

// The names in the directory, "." and ".." left out. A descriptor of its own, so that the
// caller's descriptor keeps no shared read position. `where` names the directory, built
// only for a failure: deep paths are long.
template <typename Where>
std::vector<std::string> names_in(int dir, const Where& where) {
  int fd = ::openat(dir, ".", kDirectoryFlags);
  DIR* stream = fd >= 0 ? ::fdopendir(fd) : nullptr;
  if (!stream) {
    int error = errno;
    if (fd >= 0) ::close(fd);
    fail(with_errno(error, "cannot list " + where()));
  }
  std::vector<std::string> names;
  errno = 0;
  while (dirent* entry = ::readdir(stream)) {
    if (std::strcmp(entry->d_name, ".") != 0 && std::strcmp(entry->d_name, "..") != 0)
      names.emplace_back(entry->d_name);
    errno = 0;
  }
  if (errno != 0) fail(with_errno(errno, "cannot list " + where()));
  ::closedir(stream);
  return names;
}

// Empties the directory `root` without following links, failing on anything that is
// neither a directory nor a regular file. It holds one descriptor at a time and goes
// back up through "..", checked against the inode it came from: an extracted tree may be
// deeper than the descriptor limit or longer than PATH_MAX.
void check_and_empty(int root, const std::string& root_path) {
  struct Level {
    std::string name;  // of this directory in its parent
    dev_t parent_dev;
    ino_t parent_ino;
  };
  std::vector<Level> down;
  auto path_of = [&](const std::string& last) {
    std::string path = root_path;
    for (const Level& level : down) path += "/" + level.name;
    return last.empty() ? path : path + "/" + last;
  };
  auto here = [&] { return path_of(""); };
  int fd = ::openat(root, ".", kDirectoryFlags);
  if (fd < 0) fail(with_errno(errno, "cannot open " + root_path));
  for (;;) {
    std::string subdirectory;
    for (const std::string& name : names_in(fd, here)) {
      struct stat st;
      if (::fstatat(fd, name.c_str(), &st, AT_SYMLINK_NOFOLLOW) != 0)
        fail(with_errno(errno, "cannot stat " + path_of(name)));
      if (S_ISDIR(st.st_mode)) {
        if (subdirectory.empty()) subdirectory = name;
        continue;
      }
      if (!S_ISREG(st.st_mode))
        fail("the extraction left " + std::string(type_name(st.st_mode)) + ": " + path_of(name));
      // Extraction makes every file anew; a second name would be a hard link.
      if (st.st_nlink != 1) fail("the extraction left a hard link: " + path_of(name));
      if (::unlinkat(fd, name.c_str(), 0) != 0) fail(with_errno(errno, "cannot remove " + path_of(name)));
    }
    if (!subdirectory.empty()) {
      struct stat st;
      if (::fstat(fd, &st) != 0) fail(with_errno(errno, "cannot stat " + here()));
      int child = ::openat(fd, subdirectory.c_str(), kDirectoryFlags);
      if (child < 0) fail(with_errno(errno, "cannot open " + path_of(subdirectory)));
      ::close(fd);
      fd = child;
      down.push_back({subdirectory, st.st_dev, st.st_ino});
      continue;
    }
    if (down.empty()) break;
    int parent = ::openat(fd, "..", kDirectoryFlags);
    struct stat st;
    if (parent < 0 || ::fstat(parent, &st) != 0) fail(with_errno(errno, "cannot go up from " + here()));
    if (st.st_dev != down.back().parent_dev || st.st_ino != down.back().parent_ino)
      fail("the tree moved while it was removed: " + here());
    ::close(fd);
    fd = parent;
    Level left = std::move(down.back());
    down.pop_back();
    if (::unlinkat(fd, left.name.c_str(), AT_REMOVEDIR) != 0)
      fail(with_errno(errno, "cannot remove " + path_of(left.name)));
  }
  ::close(fd);
}

struct FileId {
  dev_t dev = 0;
  ino_t ino = 0;
  mode_t mode = 0;
  nlink_t links = 0;
  off_t size = 0;
  timespec mtime{};
  timespec ctime{};  // any change of owner, mode or links moves it
};

bool same(const FileId& a, const FileId& b) {
  return a.dev == b.dev && a.ino == b.ino && a.mode == b.mode && a.links == b.links &&
         a.size == b.size && a.mtime.tv_sec == b.mtime.tv_sec &&
         a.mtime.tv_nsec == b.mtime.tv_nsec && a.ctime.tv_sec == b.ctime.tv_sec &&
         a.ctime.tv_nsec == b.ctime.tv_nsec;
}

bool file_id(const std::string& path, FileId& id) {
  struct stat st;
  if (::lstat(path.c_str(), &st) != 0) return false;
  id = {st.st_dev, st.st_ino, st.st_mode, st.st_nlink, st.st_size, st.st_mtim, st.st_ctim};
  return true;
}

std::string read_file(const std::string& path) {
  int fd = ::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC);
  if (fd < 0) return {};
  std::string text;
  char buffer[4096];
  ssize_t got;
  while ((got = ::read(fd, buffer, sizeof buffer)) > 0) text.append(buffer, static_cast<size_t>(got));
  ::close(fd);
  return text;
}

// Fails when the directory holds any name but `expected`.
void check_only(const std::string& dir, const std::set<std::string>& expected) {
  int fd = ::open(dir.c_str(), kDirectoryFlags);
  if (fd < 0) fail(with_errno(errno, "cannot open " + dir));
  std::vector<std::string> names = names_in(fd, [&] { return dir; });
  ::close(fd);
  for (const std::string& name : names)
    if (!expected.count(name)) fail("the extraction reached outside the target: " + dir + "/" + name);
  if (names.size() != expected.size()) fail("something vanished from " + dir);
}

// <root>/sentinel and <root>/parent/target, made once per process.
class Scratch {
 public:
  Scratch() {
    const char* tmp = std::getenv("TMPDIR");
    std::string pattern = std::string(tmp && *tmp ? tmp : "/tmp") + "/kar_extract_fuzz.XXXXXX";
    if (!::mkdtemp(pattern.data())) fail(with_errno(errno, "cannot create a scratch directory"));
    root_ = pattern;
    parent_ = root_ + "/parent";
    target_ = parent_ + "/target";
    sentinel_ = root_ + "/sentinel";
    if (::mkdir(parent_.c_str(), 0755) != 0) fail(with_errno(errno, "cannot create " + parent_));
    int fd = ::open(sentinel_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
    if (fd < 0 || ::write(fd, kSentinelText.data(), kSentinelText.size()) !=
                      static_cast<ssize_t>(kSentinelText.size()) ||
        ::close(fd) != 0)
      fail(with_errno(errno, "cannot write " + sentinel_));
    if (!file_id(sentinel_, sentinel_id_)) fail(with_errno(errno, "cannot stat " + sentinel_));
  }

  const std::string& target() const { return target_; }

  FileId make_target() const {
    FileId id;
    if (::mkdir(target_.c_str(), 0755) != 0 || !file_id(target_, id))
      fail(with_errno(errno, "cannot create " + target_));
    return id;
  }

  void check_surroundings(const FileId& target_id) const {
    check_only(root_, {"parent", "sentinel"});
    check_only(parent_, {"target"});
    FileId now;
    if (!file_id(target_, now) || now.dev != target_id.dev || now.ino != target_id.ino ||
        now.mode != target_id.mode)
      fail("the target directory was replaced: " + target_);
    if (!file_id(sentinel_, now) || !same(now, sentinel_id_) || read_file(sentinel_) != kSentinelText)
      fail("the sentinel beside the parent changed or vanished: " + sentinel_);
  }

  bool target_empty() const {
    int fd = ::open(target_.c_str(), kDirectoryFlags);
    if (fd < 0) fail(with_errno(errno, "cannot open " + target_));
    bool empty = names_in(fd, [this] { return target_; }).empty();
    ::close(fd);
    return empty;
  }

  // Empties and removes the target, checking the type of everything in it.
  void remove_target() const {
    int fd = ::open(target_.c_str(), kDirectoryFlags);
    if (fd < 0) fail(with_errno(errno, "cannot open " + target_));
    check_and_empty(fd, target_);
    ::close(fd);
    if (::rmdir(target_.c_str()) != 0) fail(with_errno(errno, "cannot remove " + target_));
  }

  // At a normal exit; after a failure the scratch stays for a look.
  void remove_all() const {
    if (::access(target_.c_str(), F_OK) == 0) remove_target();
    ::unlink(sentinel_.c_str());
    ::rmdir(parent_.c_str());
    ::rmdir(root_.c_str());
  }

 private:
  std::string root_, parent_, target_, sentinel_;
  FileId sentinel_id_;
};

const Scratch& scratch() {
  static const Scratch* instance = [] {
    auto* made = new Scratch;
    std::atexit([] { scratch().remove_all(); });
    return made;
  }();
  return *instance;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const Scratch& s = scratch();
  FileId target_id = s.make_target();
  kar::ExtractOptions options;
  // Small limits keep one input fast.
  options.max_total_bytes = uint64_t{1} << 20;
  options.max_entries = 256;
  bool refused = false;
  try {
    std::istringstream in(std::string(reinterpret_cast<const char*>(data), size));
    auto input = kar::ArchiveInput::open_stream(in);
    kar::extract(*input, s.target(), options);
  } catch (const kar::Error&) {
    refused = true;
  }
  s.check_surroundings(target_id);
  if (refused && !s.target_empty()) fail("a refused archive left files in the target");
  s.remove_target();
  return 0;
}
