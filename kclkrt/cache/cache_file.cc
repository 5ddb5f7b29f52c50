#include "kclkrt/cache/cache_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "ut/unique_fd.h"

namespace kcl {

std::optional<std::string> read_cache_file(int directory, const std::string& name) {
  ut::UniqueFd fd(
      ::openat(directory, name.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  struct stat st;
  if (!fd || ::fstat(fd.get(), &st) != 0 || !S_ISREG(st.st_mode)) return std::nullopt;
  std::string text;
  char buffer[4096];
  for (;;) {
    ssize_t got = ::read(fd.get(), buffer, sizeof buffer);
    if (got == 0) return text;
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return std::nullopt;
    text.append(buffer, static_cast<std::size_t>(got));
  }
}

bool write_cache_file(int directory, const std::string& name, const std::string& text) {
  if (::unlinkat(directory, name.c_str(), 0) != 0 && errno != ENOENT) return false;
  ut::UniqueFd fd(::openat(directory, name.c_str(),
                           O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_NOCTTY | O_CLOEXEC, 0600));
  if (!fd) return false;
  std::size_t written = 0;
  while (written < text.size()) {
    ssize_t put = ::write(fd.get(), text.data() + written, text.size() - written);
    if (put < 0 && errno == EINTR) continue;
    if (put <= 0) break;
    written += static_cast<std::size_t>(put);
  }
  if (written == text.size() && fd.close() == 0) return true;
  ::unlinkat(directory, name.c_str(), 0);
  return false;
}

}  // namespace kcl
