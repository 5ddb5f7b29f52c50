#include "kclkrt/component/component_directory.h"

#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "ds/directory.h"
#include "ds/module_path.h"
#include "kclkrt/component/component_data.h"
#include "kclkrt/errors/error_output.h"
#include "kclkrt/errors/message_catalog.h"
#include "kclkrt/paths/path_limits.h"
#include "korel/kclkrt.h"

namespace kcl {
namespace {

// Names and environment values longer than this are not searched.
constexpr std::size_t kSearchBufferSize = 8192;

std::string search_both(const char* first, const char* second, const std::string& file_name) {
  std::string found = search_environment_path(first, file_name);
  return found.empty() ? search_environment_path(second, file_name) : found;
}

}  // namespace

std::string search_environment_path(const char* variable, const std::string& file_name) {
  const char* value = std::getenv(variable);
  if (value == nullptr) return {};
  std::string list(value, strnlen(value, kSearchBufferSize));
  std::size_t start = 0;
  while (start <= list.size()) {
    std::size_t end = list.find(':', start);
    if (end == std::string::npos) end = list.size();
    std::string directory = list.substr(start, end - start);
    if (!directory.empty()) {
      while (directory.size() > 1 && directory.back() == '/') directory.pop_back();
      if (dsIsRegularFile((directory + "/" + file_name).c_str())) return directory;
    }
    start = end + 1;
  }
  return {};
}

bool refuse_unhostable_target(const char* name, int target_type) {
  if (target_type == 0 || target_type == 1 || target_type == 4) return false;
  const char* shown = name ? name : "";
  if (target_type == 2)
    kclPrintErrorMsg(KCLKRT_NO_KEX_TARGET, shown);
  else if (target_type == 3)
    internal_error_output((std::string("The KRT does not run components built for target type 3.\n"
                                       " Component name: '") + shown + "'\n").c_str());
  else
    kclPrintErrorMsg(KCLKRT_UNKNOWN_TARGET, shown, shown);
  return true;
}

std::string find_component_directory(const kclComponentData& data, int target_type) {
  const std::string name = data.name ? data.name : "";
  std::string found;
  if (refuse_unhostable_target(data.name, target_type)) {
    // reported; nothing to search
  } else if (!name.empty() && data.component_directory && *data.component_directory) {
    found = data.component_directory;
  } else if (!name.empty() && name.size() + std::strlen("Initialize") < kSearchBufferSize) {
    const std::string archive = name + ".kar";
    if (target_type == 0) {
      found = search_environment_path("PATH", name);
    } else if (target_type == 1) {
      char module[kMaxPathLength];
      if (dsGetLoadedModuleFullPath(module, sizeof module, name.c_str(), (name + "Initialize").c_str()))
        found = std::filesystem::path(module).parent_path().string();
      else
        found = search_both("LD_LIBRARY_PATH", "PATH", archive);
    } else {
      found = search_both("PATH", "LD_LIBRARY_PATH", archive);
    }
  }
  if (found.empty()) kclPrintErrorMsg(KCLKRT_CANNOT_FIND_COMPONENT_DIR, name.c_str(), name.c_str());
  return found;
}

}  // namespace kcl
