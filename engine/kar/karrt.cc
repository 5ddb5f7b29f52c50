// The reader library's call interface: each call reports its failure through the error
// handler and returns false; nothing is thrown.
#include <sys/stat.h>

#include <cerrno>
#include <istream>
#include <string>

#include "kar/archive_input.h"
#include "kar/error.h"
#include "kar/extract.h"
#include "kar/handlers.h"
#include "kar/kar.h"

namespace kar {

namespace {

template <typename Open>
bool extract_reporting(const std::string& what, const std::string& target,
                       const ExtractOptions& options, Open open) {
  try {
    // Opened first: an archive that cannot be read leaves no target directory behind.
    std::unique_ptr<ArchiveInput> input = open();
    if (karMakeDir(target.c_str()) != 1) return false;
    extract(*input, target, options);
    return true;
  } catch (const Error& error) {
    report_error(describe("Cannot extract " + what + " into '" + target + "'", error));
  } catch (const std::exception& error) {
    report_error("Cannot extract " + what + " into '" + target + "': " + error.what());
  }
  return false;
}

}  // namespace

std::string local_extraction_directory(const std::string& archive) {
  std::size_t slash = archive.rfind('/');
  std::size_t stem_start = slash == std::string::npos ? 0 : slash + 1;
  std::string stem = archive.substr(stem_start);
  if (stem.size() > 4 && stem.compare(stem.size() - 4, 4, ".kar") == 0) stem.resize(stem.size() - 4);
  return archive.substr(0, stem_start) + stem + "_krt";
}

bool extract_file(const std::string& archive, const std::string& target,
                  const ExtractOptions& options) {
  return extract_reporting("'" + archive + "'", target, options,
                           [&] { return ArchiveInput::open_file(archive); });
}

bool extract_stream(std::istream& in, const std::string& target, const ExtractOptions& options) {
  return extract_reporting("the archive stream", target, options,
                           [&] { return ArchiveInput::open_stream(in); });
}

}  // namespace kar

bool karrtExtractKar(const char* archive) {
  if (!archive || !*archive) {
    kar::report_error("Cannot extract: no archive was named");
    return false;
  }
  return kar::extract_file(archive, kar::local_extraction_directory(archive), {});
}

bool karrtExtractKar(const char* archive, const char* target) {
  if (!archive || !*archive || !target || !*target) {
    kar::report_error("Cannot extract: the archive or the target directory is missing");
    return false;
  }
  return kar::extract_file(archive, target, {});
}

bool karrtExtractKar(std::istream* in, const char* target) {
  if (!in || !target || !*target) {
    kar::report_error("Cannot extract: the archive stream or the target directory is missing");
    return false;
  }
  return kar::extract_stream(*in, target, {});
}

int karMakeDir(const char* dir) {
  if (!dir || !*dir) {
    kar::report_error("Cannot create a directory: no name was given");
    return 0;
  }
  std::string path(dir);
  // Every prefix that ends before a separator, then the whole path.
  for (std::size_t end = path.find('/', 1);; end = path.find('/', end + 1)) {
    std::string prefix = path.substr(0, end);
    if (::mkdir(prefix.c_str(), 0755) != 0 && errno != EEXIST) {
      kar::report_error(kar::with_errno("Cannot create directory '" + prefix + "'", errno));
      return 0;
    }
    if (end == std::string::npos) break;
  }
  struct stat st;
  if (::stat(dir, &st) == 0 && S_ISDIR(st.st_mode)) return 1;
  kar::report_error("Cannot create directory '" + path + "': a file of that name is in the way");
  return 0;
}
