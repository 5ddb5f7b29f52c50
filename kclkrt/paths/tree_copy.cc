#include "kclkrt/paths/tree_copy.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <utility>
#include <system_error>

#include "ds/directory.h"
#include "kclkrt/errors/message_catalog.h"
#include "korel/kclkrt.h"

namespace kcl {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kBlockSize = 1024;

struct FileCloser {
  void operator()(std::FILE* file) const { std::fclose(file); }
};

// Closes `file`, reporting a failure against `path`.
bool close_reported(std::FILE* file, const std::string& path) {
  if (std::fclose(file) == 0) return true;
  kclPrintErrorMsg(KCLKRT_FILE_CLOSE_FAILED, path.c_str(), std::strerror(errno));
  return false;
}

bool same_size(const std::string& source, const std::string& destination) {
  uint64_t source_size = 0;
  uint64_t destination_size = 0;
  for (const auto& [path, size] : {std::pair{&source, &source_size}, {&destination, &destination_size}}) {
    if (!dsGetFileSize(path->c_str(), size)) {
      kclPrintErrorMsg(KCLKRT_CANT_DETERMINE_FILE_SIZE, path->c_str(), std::strerror(errno));
      return false;
    }
  }
  if (source_size == destination_size) return true;
  kclPrintErrorMsg(KCLKRT_FILE_COPY_FAILED, source.c_str(), destination.c_str(),
                   static_cast<int>(source_size), static_cast<int>(destination_size));
  return false;
}

bool copy_file(const std::string& source, const std::string& destination, bool overwrite) {
  std::FILE* in = std::fopen(source.c_str(), "rb");
  if (!in) {
    kclPrintErrorMsg(KCLKRT_FILE_OPEN_FAILED, source.c_str(), std::strerror(errno));
    return false;
  }
  std::unique_ptr<std::FILE, FileCloser> in_guard(in);
  struct stat existing;
  if (!overwrite && ::lstat(destination.c_str(), &existing) == 0) {
    kclPrintErrorMsg(KCLKRT_FILE_OVERWRITE_FAILED, destination.c_str());
    return false;
  }
  // O_NOFOLLOW: a link planted in the destination must not redirect the write.
  int fd = ::open(destination.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, 0666);
  std::FILE* out = fd >= 0 ? ::fdopen(fd, "wb") : nullptr;
  if (!out) {
    int error = errno;
    if (fd >= 0) ::close(fd);
    kclPrintErrorMsg(KCLKRT_FILE_OPEN_FAILED, destination.c_str(), std::strerror(error));
    return false;
  }
  std::unique_ptr<std::FILE, FileCloser> out_guard(out);

  bool ok = true;
  char block[kBlockSize];
  while (std::size_t got = std::fread(block, 1, sizeof block, in)) {
    std::size_t put = std::fwrite(block, 1, got, out);
    if (put != got) {
      kclPrintErrorMsg(KCLKRT_FILE_COPY_FAILED, source.c_str(), destination.c_str(),
                       static_cast<int>(got), static_cast<int>(put));
      ok = false;
      break;
    }
  }
  ok = close_reported(in_guard.release(), source) && ok;
  ok = close_reported(out_guard.release(), destination) && ok;
  return ok && same_size(source, destination);
}

// Makes `directory` unless it is there already as a real directory.
bool ensure_directory(const std::string& directory) {
  if (::mkdir(directory.c_str(), 0777) == 0) return true;
  int error = errno;
  struct stat status;
  if (error == EEXIST && ::lstat(directory.c_str(), &status) == 0 && S_ISDIR(status.st_mode))
    return true;
  kclPrintErrorMsg(KCLKRT_FILE_OPEN_FAILED, directory.c_str(),
                   std::strerror(error == EEXIST ? ENOTDIR : error));
  return false;
}

}  // namespace

bool copy_directory_tree(const std::string& source, const std::string& destination, bool overwrite) {
  std::error_code error;
  fs::recursive_directory_iterator walk(source, error);
  if (error) {
    kclPrintErrorMsg(KCLKRT_OPENDIR_ERROR, source.c_str(), error.message().c_str());
    return false;
  }
  bool ok = true;
  for (; walk != fs::recursive_directory_iterator(); walk.increment(error)) {
    const fs::path relative = fs::path(walk->path()).lexically_relative(source);
    const std::string from = walk->path().string();
    const std::string to = (fs::path(destination) / relative).string();
    const fs::file_status status = walk->symlink_status(error);
    if (error) {
      kclPrintErrorMsg(KCLKRT_CANT_DETERMINE_FILE_TYPE, from.c_str(), error.message().c_str());
      ok = false;
    } else if (fs::is_directory(status)) {
      if (!ensure_directory(to)) {
        walk.disable_recursion_pending();
        ok = false;
      }
    } else if (fs::is_regular_file(status)) {
      ok = copy_file(from, to, overwrite) && ok;
    }
  }
  if (error) {
    kclPrintErrorMsg(KCLKRT_READDIR_ERROR, source.c_str(), error.message().c_str());
    ok = false;
  }
  return ok;
}

}  // namespace kcl
