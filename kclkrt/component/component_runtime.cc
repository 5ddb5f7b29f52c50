#include "kclkrt/component/component_runtime.h"

#include <sys/stat.h>

#include <cerrno>
#include <memory>
#include <vector>

#include "ds/module_path.h"
#include "kclkrt/component/component_data.h"
#include "kclkrt/errors/error_output.h"
#include "kclkrt/errors/message_catalog.h"
#include "kclkrt/errors/warnings.h"
#include "kclkrt/paths/path_limits.h"
#include "kclkrt/paths/path_macros.h"
#include "kclkrt/platform/owned_array.h"
#include "kclkrt/runtime/application.h"
#include "krt/instance.h"
#include "sv/settings.h"

namespace kcl {
namespace {

constexpr const char* kJarWarning = "Korel:javaclasspath:jarAlreadySpecified";
constexpr const char* kStartupText =
    "if (exist('startup','file') == 2) ||...\n   (exist('startup','file') == 6)\n  startup\nend\n";

// An entry is relative to the extraction unless it begins with a path macro, which is
// expanded. False when it names a macro that is not defined.
bool resolve_entry(const char* entry, const std::string& extraction, std::string& resolved) {
  if (entry[0] == '$') {
    dsPathString_ path(entry);
    kclRuntimePathMacros::getInstance().expand_path_macros(path);
    resolved = path.str();
    return !resolved.empty() && resolved[0] != '$';
  }
  resolved = (dsPathString_(extraction) / entry).str();
  return true;
}

// The instance path. Entries that do not exist are left out silently (a component
// may list directories its archive happens not to need); other non-directories are
// reported and left out. False when an entry cannot be resolved.
bool build_path(const kclComponentData& data, const std::string& extraction, std::vector<std::string>& path) {
  for (uint32_t i = 0; data.path_entries && i < data.path_entry_count; ++i) {
    if (!data.path_entries[i]) continue;
    std::string entry;
    if (!resolve_entry(data.path_entries[i], extraction, entry)) return false;
    struct stat status;
    if (::stat(entry.c_str(), &status) != 0) {
      if (errno != ENOENT) kclPrintErrorMsg(KCLKRT_NO_UNKNOWN_FILE_ON_PATH, entry.c_str());
      continue;
    }
    if (!S_ISDIR(status.st_mode)) {
      kclPrintErrorMsg(KCLKRT_BAD_FILE_FOR_PATH, entry.c_str());
      continue;
    }
    path.push_back(entry);
  }
  return true;
}

std::string java_location() {
  char module[kMaxPathLength];
  for (const char* name : {"jvm", "java"}) {
    if (dsGetLoadedModuleFullPath(module, sizeof module, name, nullptr)) return module;
  }
  return {};
}

std::vector<const char*> warning_items(const kclComponentData& data) {
  std::vector<const char*> items;
  for (uint32_t i = 0; data.warning_states && i < data.warning_state_count; ++i)
    items.push_back(data.warning_states[i]);
  return items;
}

void report_class_path_error() { kclPrintErrorMsg(KCLKRT_ERROR_CONSTRUCTING_CLASS_PATH); }

// Adds the component's Java class path to the end of the instance's, without the
// warning about entries already there, whose state is put back afterwards.
void add_java_class_path(krtInstance* instance, const kclComponentData& data, const std::string& extraction) {
  std::vector<std::string> entries;
  for (uint32_t i = 0; data.java_class_path && i < data.java_class_path_count; ++i) {
    std::string entry;
    if (!data.java_class_path[i]) continue;
    if (!resolve_entry(data.java_class_path[i], extraction, entry)) {
      report_class_path_error();
      break;
    }
    entries.push_back(entry);
  }
  OwnedArray cell(kxCreateCellMatrix(1, entries.size()));
  OwnedArray end_option(kxCreateString("-end"));
  if (!cell || !end_option) {
    report_class_path_error();
    return;
  }
  for (std::size_t i = 0; i < entries.size(); ++i) kxSetCell(cell.get(), i, kxCreateString(entries[i].c_str()));
  if (!svIsJavaEnabled()) return;

  OwnedArray query(kxCreateString("query"));
  OwnedArray off(kxCreateString("off"));
  OwnedArray identifier(kxCreateString(kJarWarning));
  if (!query || !off || !identifier) {
    report_class_path_error();
    return;
  }
  kxArray* saved_state = nullptr;
  kxArray* query_inputs[] = {query.get(), identifier.get()};
  kclInternalFeval(instance, "warning", 1, &saved_state, 2, query_inputs);
  OwnedArray saved(saved_state);
  kxArray* off_inputs[] = {off.get(), identifier.get()};
  kclInternalFeval(instance, "warning", 0, nullptr, 2, off_inputs);
  kxArray* add_inputs[] = {cell.get(), end_option.get()};
  if (!kclInternalFeval(instance, "javaaddpath", 0, nullptr, 2, add_inputs)) report_class_path_error();
  if (saved) {
    kxArray* restore_inputs[] = {saved.get()};
    kclInternalFeval(instance, "warning", 0, nullptr, 1, restore_inputs);
  }
}

}  // namespace

krtInstance* create_component_runtime(const ComponentRuntimeRequest& request) {
  const kclComponentData& data = *request.data;
  const std::string name = data.name ? data.name : "";
  krtOptions options;
  options.error_handler = request.error_handler;
  options.print_handler = request.print_handler;
  options.deployed = true;
  options.delete_on_detach = true;
  if (!build_path(data, request.extraction_directory, options.path)) {
    kclPrintErrorMsg(KCLKRT_ERROR_CONSTRUCTING_PATH);
    return nullptr;
  }
  const char* toolbox_prefix = kclRuntimePathMacros::getInstance().get("$TOOLBOXPREFIX");
  options.toolbox_prefix = toolbox_prefix ? toolbox_prefix : "";
  options.replace_path = request.replace_path;
  options.preferences_directory = request.preferences_directory;
  options.x11_arguments.push_back(name);
  for (uint32_t i = 0; data.x11_arguments && i < data.x11_argument_count; ++i)
    if (data.x11_arguments[i]) options.x11_arguments.push_back(data.x11_arguments[i]);
  options.java_location = java_location();
  std::vector<const char*> warnings = warning_items(data);
  for (const char* item : warnings)
    if (item) options.warning_states.push_back(item);

  std::unique_ptr<krtInstance> instance;
  try {
    instance = std::make_unique<krtInstance>(options, std::make_unique<krtSourceReader>());
  } catch (...) {
    instance.reset();
  }
  apply_warning_states(warnings.data(), static_cast<int>(warnings.size()));
  if (!instance) {
    kclPrintErrorMsg(KCLKRT_ERROR_INITIALIZING_KRT);
    return nullptr;
  }
  add_java_class_path(instance.get(), data, request.extraction_directory);
  // A failing startup script is the user's to see, and the instance still serves.
  if (!instance->Evaluate(kStartupText)) {
    const char* reason = instance->GetLastError();
    internal_error_output((std::string(reason ? reason : "startup failed") + "\n").c_str());
  }
  component_instance_started();
  return instance.release();
}

}  // namespace kcl
