#include "kclkrt/component/kar_extractors.h"

#include "ds/tree_walk.h"
#include "kar/kar.h"
#include "kclkrt/errors/message_catalog.h"
#include "kclkrt/errors/warnings.h"

namespace kcl {

uint64_t extracted_size(const std::string& directory) {
  uint64_t total = 0;
  dsIgnoreString directories;
  dsDirectorySizeAdder files(&total);
  dsFindMatchingFilesAndDirs((directory + "/*").c_str(),
                             dsFindFiles | dsFindDirectories | dsFindRecursive, files, directories,
                             false);
  return total;
}

}  // namespace kcl

bool kclKarStreamExtractor::extract(uint64_t& total_bytes, const std::string& target) {
  if (!karrtExtractKar(stream_, target.c_str())) return false;
  total_bytes = kcl::extracted_size(target);
  return true;
}

bool kclKarFileExtractor::extract(uint64_t& total_bytes, const std::string& target) {
  kcl::TextHandler handler = kcl::current_print_handler();
  constexpr const char* kProgress = "KRT:Extract";
  kcl::print_warning_message(handler, kProgress, kcl::KCLKRT_COMPONENT_ROOT_DOESNT_EXIST);
  if (karrtExtractKar(path_.c_str(), target.c_str())) {
    total_bytes = kcl::extracted_size(target);
    return true;
  }
  // The completion text follows a failed extraction only, never a successful one;
  // callers depend on that.
  kcl::print_warning_message(handler, kProgress, kcl::KCLKRT_KAR_EXTRACT_DONE);
  return false;
}
