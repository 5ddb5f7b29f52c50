#include "staging_directory.h"

#include <stdlib.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

#include "error.h"

namespace kcc {

StagingDirectory::StagingDirectory() {
  const char* tmp = std::getenv("TMPDIR");
  std::string pattern = std::string(tmp && *tmp ? tmp : "/tmp") + "/kcc-XXXXXX";
  if (!mkdtemp(pattern.data()))
    throw Error("cannot make a scratch directory " + pattern + ": " + std::strerror(errno));
  path_ = pattern;
}

StagingDirectory::~StagingDirectory() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

}  // namespace kcc
