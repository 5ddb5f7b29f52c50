#include "ds/directory.h"

#include <sys/stat.h>

namespace {

bool statPath(const char* path, struct stat* st) { return path && ::stat(path, st) == 0; }

}  // namespace

bool dsExists(const char* path) {
  struct stat st;
  return statPath(path, &st);
}

bool dsIsDirectory(const char* path) {
  struct stat st;
  return statPath(path, &st) && S_ISDIR(st.st_mode);
}

bool dsIsRegularFile(const char* path) {
  struct stat st;
  return statPath(path, &st) && S_ISREG(st.st_mode);
}

bool dsGetFileSize(const char* path, uint64_t* size) {
  struct stat st;
  // Only a regular file has a size that means its contents.
  if (!size || !statPath(path, &st) || !S_ISREG(st.st_mode)) return false;
  *size = static_cast<uint64_t>(st.st_size);
  return true;
}
