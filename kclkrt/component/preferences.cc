#include "kclkrt/component/preferences.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstring>

#include "kar/kar.h"
#include "kclkrt/errors/message_catalog.h"
#include "kclkrt/paths/tree_copy.h"
#include "kclkrt/runtime/version.h"
#include "korel/kclkrt.h"
#include "sv/settings.h"

namespace kcl {
namespace {

constexpr const char* kTemplateName = ".korel";

bool newer(const struct stat& a, const struct stat& b) {
  if (a.st_mtim.tv_sec != b.st_mtim.tv_sec) return a.st_mtim.tv_sec > b.st_mtim.tv_sec;
  return a.st_mtim.tv_nsec > b.st_mtim.tv_nsec;
}

}  // namespace

std::string preferences_directory(const std::string& key) {
  std::string prefix = svGetDefaultPrefDirPrefix();
  if (prefix.empty()) return {};
  std::string root = prefix + "/krt_v" + std::to_string(kRuntimeVersionMajor) +
                     std::to_string(kRuntimeVersionMinor);
  return key.empty() ? root : root + "/" + key;
}

bool set_up_preferences(const std::string& preferences, const std::string& extraction,
                        const std::string& component_directory, const std::string& name) {
  const std::string template_directory = extraction + "/" + kTemplateName;
  struct stat template_status;
  if (::stat(template_directory.c_str(), &template_status) != 0 || !S_ISDIR(template_status.st_mode)) {
    const std::string archive = component_directory + "/" + name + ".kar";
    kclPrintErrorMsg(KCLKRT_KAR_COMPONENT_MISMATCH, archive.c_str(), name.c_str());
    return false;
  }
  if (preferences.empty()) {
    kclPrintErrorMsg(KCLKRT_COULD_NOT_CONSTRUCT_PREF_DIR, svGetDefaultPrefDirPrefix().c_str());
    return true;
  }
  struct stat status;
  if (::stat(preferences.c_str(), &status) == 0) {
    if (S_ISDIR(status.st_mode) && newer(template_status, status))
      return copy_directory_tree(template_directory, preferences, /*overwrite=*/true);
    return true;
  }
  if (errno != ENOENT) {
    kclPrintErrorMsg(KCLKRT_COULD_NOT_ACCESS_PREF_DIR, preferences.c_str(), std::strerror(errno));
    return true;
  }
  if (karMakeDir(preferences.c_str()) != 1) {
    kclPrintErrorMsg(KCLKRT_COULD_NOT_CREATE_DIR, preferences.c_str());
    return true;
  }
  return copy_directory_tree(template_directory, preferences, /*overwrite=*/true);
}

}  // namespace kcl
