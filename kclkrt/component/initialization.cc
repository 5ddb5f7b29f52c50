// Starting a component instance: find the component's archive, make sure it is
// extracted (beside it, where the caller says, or in the per-user cache), set up its
// preferences and create its runtime instance.
#include <fstream>
#include <memory>
#include <mutex>
#include <string>

#include "ds/directory.h"
#include "ds/errors.h"
#include "ds/module_path.h"
#include "kar/kar.h"
#include "kclkrt/cache/cache_entry.h"
#include "kclkrt/cache/cache_errors.h"
#include "kclkrt/cache/component_cache.h"
#include "kclkrt/component/component_data.h"
#include "kclkrt/component/component_directory.h"
#include "kclkrt/component/component_extractor.h"
#include "kclkrt/component/component_runtime.h"
#include "kclkrt/component/extraction_check.h"
#include "kclkrt/component/local_extraction.h"
#include "kclkrt/component/preferences.h"
#include "kclkrt/errors/boundary.h"
#include "kclkrt/errors/error_output.h"
#include "kclkrt/errors/message_catalog.h"
#include "kclkrt/errors/warnings.h"
#include "kclkrt/paths/path_limits.h"
#include "kclkrt/runtime/application.h"
#include "kclkrt/runtime/user_data.h"
#include "korel/kclkrt.h"
#include "krt/mutex.h"

namespace kcl {
namespace {

constexpr const char* kCacheReferenceKey = "KRTComponentCacheReference";

using Lock = std::lock_guard<std::recursive_mutex>;

std::string text_of(const char* text) { return text ? text : ""; }

// Targets 2 and 3 never run Korel code here, so they need no application.
bool application_ready(int target_type) {
  return target_type == 2 || target_type == 3 || initialize_application_if_needed();
}

void apply_component_warning_states(const kclComponentData& data) {
  apply_warning_states(const_cast<const char**>(data.warning_states), static_cast<int>(data.warning_state_count));
}

// The archive reader reports through the host's handlers, or the library's defaults.
void install_archive_handlers(int target_type, kclOutputHandlerFcn error_handler, kclOutputHandlerFcn print_handler) {
  if (target_type != 2) {
    if (!error_handler) error_handler = &internal_error_output;
    if (!print_handler) print_handler = &internal_std_output;
  }
  set_karrt_error_handler(error_handler);
  set_karrt_output_handler(print_handler);
}

struct Request {
  krtInstance** out;
  const kclComponentData* data;
  bool replace_path;
  int target_type;
  kclOutputHandlerFcn error_handler;
  kclOutputHandlerFcn print_handler;
};

krtInstance* create_runtime(const Request& request, std::string extraction, std::string preferences) {
  ComponentRuntimeRequest runtime;
  runtime.data = request.data;
  runtime.replace_path = request.replace_path;
  runtime.error_handler = request.error_handler;
  runtime.print_handler = request.print_handler;
  runtime.extraction_directory = std::move(extraction);
  runtime.preferences_directory = std::move(preferences);
  return create_component_runtime(runtime);
}

unsigned initialize_local(const Request& request) {
  const kclComponentData& data = *request.data;
  const std::string name = text_of(data.name);
  const std::string directory = find_component_directory(data, request.target_type);
  install_archive_handlers(request.target_type, request.error_handler, request.print_handler);
  if (directory.empty()) return 0;

  LocalExtraction job;
  job.name = name;
  job.key = text_of(data.component_key);
  job.intact = [&data](const std::string& extraction) {
    // A start also needs the preferences template; only a damaged extraction lacks it.
    return extraction_intact(extraction, data) && dsIsDirectory((extraction + "/.korel").c_str());
  };
  job.archive = directory + "/" + name + ".kar";
  job.directory = directory + (directory.back() == '/' ? "" : "/") + name + "_krt";
  if (data.extraction_sub_path && *data.extraction_sub_path) job.directory += "/" + text_of(data.extraction_sub_path);
  if (archive_in_private_directory(job.archive)) {
    kclPrintErrorMsg(KCLKRT_KAR_IN_PRIVATE_DIR);
    return 0;
  }
  if (!extract_under_lock(job)) {
    kclPrintErrorMsg(KCLKRT_ERROR_INITIALIZING_KAR);
    return 0;
  }
  if (native_functions_blocked(job.directory, data)) {
    kclPrintErrorMsg(KCLKRT_NOEXEC_EXTRACTION, job.directory.c_str());
    return 0;
  }
  const std::string preferences = preferences_directory(job.key);
  if (!set_up_preferences(preferences, job.directory, directory, name)) {
    kclPrintErrorMsg(KCLKRT_ERROR_INITIALIZING_PREFS);
    return 0;
  }
  *request.out = create_runtime(request, job.directory, preferences);
  return *request.out != nullptr;
}

unsigned initialize_cached(const Request& request, kclComponentOptions& options) {
  std::shared_ptr<kclComponentCache> cache;
  try {
    cache = kclComponentCache::instance();
  } catch (const std::exception&) {
    cache.reset();
  }
  if (!cache) {
    kclPrintErrorMsg(KCLKRT_CACHE_ACCESS_ERROR);
    return 0;
  }
  kclAlwaysFailExtractor existing_only;
  kclComponentExtractor& extractor =
      options.no_extraction || !options.extractor ? existing_only : *options.extractor;
  std::shared_ptr<kclComponentCacheEntry> entry;
  try {
    // A copy whose files a cleaner took is extracted again rather than used.
    const kclComponentData& data = *request.data;
    entry = cache->get_component(text_of(data.component_key), extractor,
                                 [&data](const std::string& directory) {
                                   return extraction_intact(directory, data);
                                 });
  } catch (const dsNoSuchDirectory& missing) {
    kclPrintErrorMsg(KCLKRT_CACHE_DIR_NOT_FOUND, missing.directory().c_str());
    return 0;
  } catch (const kclCacheExtractionError&) {
    kclPrintErrorMsg(KCLKRT_CACHE_ACCESS_ERROR);
    return 0;
  }
  if (native_functions_blocked(entry->directory(), *request.data)) {
    kclPrintErrorMsg(KCLKRT_NOEXEC_CACHE, entry->directory().c_str());
    return 0;
  }
  krtInstance* instance = create_runtime(request, entry->directory(), entry->directory() + "/.korel");
  if (!instance) return 0;
  // The entry, and with it the read lock that keeps the extraction in place, lives
  // exactly as long as the instance.
  InstanceUserData* attachments = instance_attachments(instance);
  if (!attachments) {
    kclTerminateInstance(&instance);
    kclPrintErrorMsg(KCLKRT_ERROR_INITIALIZING_KRT);
    return 0;
  }
  (*attachments)[kCacheReferenceKey] = std::move(entry);
  *request.out = instance;
  return 1;
}

unsigned initialize_with_options(const Request& request, kclComponentOptions& options) {
  install_archive_handlers(request.target_type, request.error_handler, request.print_handler);
  if (refuse_unhostable_target(request.data->name, request.target_type)) return 0;
  if (options.use_cache) return initialize_cached(request, options);

  const std::string directory = text_of(options.extraction_directory);
  if (!options.no_extraction && options.extractor) {
    uint64_t total_bytes = 0;
    if (!options.extractor->extract(total_bytes, directory)) {
      kclPrintErrorMsg(KCLKRT_ERROR_INITIALIZING_KAR);
      return 0;
    }
  }
  const std::string preferences = preferences_directory(text_of(request.data->component_key));
  if (!set_up_preferences(preferences, directory, directory, text_of(request.data->name))) {
    kclPrintErrorMsg(KCLKRT_ERROR_INITIALIZING_PREFS);
    return 0;
  }
  *request.out = create_runtime(request, directory, preferences);
  return *request.out != nullptr;
}

struct OptionsDestroyer {
  void operator()(kclComponentOptions* options) const { kclDestroyComponentOptions(options); }
};
using OwnedOptions = std::unique_ptr<kclComponentOptions, OptionsDestroyer>;

}  // namespace
}  // namespace kcl

unsigned kclInitializeComponentInstance(krtInstance** instance, kclComponentData* data, bool replace_path,
                                        unsigned /*reserved*/, int target_type,
                                        kclOutputHandlerFcn error_handler, kclOutputHandlerFcn print_handler) {
  if (!instance) return 0;
  *instance = nullptr;
  if (!data) return 0;
  return kcl::guarded_call(0u, [&]() -> unsigned {
    if (!kcl::application_ready(target_type)) return 0;
    kcl::Lock lock(krt::global_mutex());
    kcl::apply_component_warning_states(*data);
    kcl::Request request{instance, data, replace_path, target_type, error_handler, print_handler};
    return kcl::initialize_local(request);
  });
}

unsigned kclInitializeComponentInstanceEx(krtInstance** instance, kclComponentData* data,
                                          kclComponentOptions* options, bool replace_path,
                                          unsigned /*reserved*/, int target_type,
                                          kclOutputHandlerFcn error_handler, kclOutputHandlerFcn print_handler) {
  if (!instance) return 0;
  *instance = nullptr;
  if (!data || !options || (!options->extractor && !options->no_extraction)) return 0;
  return kcl::guarded_call(0u, [&]() -> unsigned {
    if (!kcl::application_ready(target_type)) return 0;
    kcl::Lock lock(krt::global_mutex());
    kcl::apply_component_warning_states(*data);
    kcl::Request request{instance, data, replace_path, target_type, error_handler, print_handler};
    return kcl::initialize_with_options(request, *options);
  });
}

unsigned kclInitializeComponentInstanceWithKarFile(krtInstance** instance, kclComponentData* data,
                                                   bool replace_path, unsigned reserved, int target_type,
                                                   kclOutputHandlerFcn error_handler,
                                                   kclOutputHandlerFcn print_handler, bool use_cache,
                                                   bool no_extraction, const char* extraction_directory,
                                                   const char* kar_file) {
  if (!instance) return 0;
  *instance = nullptr;
  kcl::OwnedOptions options(
      kclCreateComponentOptionsWithKarFile(use_cache, no_extraction, extraction_directory, kar_file));
  if (!options) return 0;
  return kclInitializeComponentInstanceEx(instance, data, options.get(), replace_path, reserved, target_type,
                                          error_handler, print_handler);
}

unsigned kclInitializeComponentInstanceWithEmbeddedKAR(krtInstance** instance, kclComponentData* data,
                                                       bool replace_path, unsigned reserved, int target_type,
                                                       kclOutputHandlerFcn error_handler,
                                                       kclOutputHandlerFcn print_handler, int archive_size,
                                                       const void* address_in_module) {
  if (!instance) return 0;
  *instance = nullptr;
  return kcl::guarded_call(0u, [&]() -> unsigned {
    char module[kcl::kMaxPathLength];
    if (!dsGetCurrentModulePath(module, sizeof module, address_in_module)) return 0;
    std::ifstream in(module, std::ios::binary);
    in.seekg(0, std::ios::end);
    const std::streamoff file_size = in.tellg();
    in.clear();
    if (!in || archive_size < 1 || file_size < archive_size) {
      kclPrintErrorMsg(kcl::KCLKRT_EMBEDDED_KAR_SEEK_FAILED, module);
      return 0;
    }
    in.seekg(file_size - archive_size, std::ios::beg);
    kcl::OwnedOptions options(kclCreateComponentOptions(true, false, "", &in, archive_size));
    if (!options) return 0;
    return kclInitializeComponentInstanceEx(instance, data, options.get(), replace_path, reserved, target_type,
                                            error_handler, print_handler);
  });
}
