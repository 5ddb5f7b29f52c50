// Making and freeing the component records. Failures are told by a null result only.
#include <new>
#include <utility>

#include "kclkrt/component/component_data.h"
#include "kclkrt/component/kar_extractors.h"
#include "korel/kclkrt.h"
#include "ut/memory.h"

namespace {

char* copy_string(const char* text) { return text ? utStrdup(text) : nullptr; }

char** copy_list(const char** entries, uint32_t count) {
  if (!entries || count == 0) return nullptr;
  auto** copy = static_cast<char**>(utMalloc(sizeof(char*) * count));
  if (!copy) return nullptr;
  for (uint32_t i = 0; i < count; ++i) copy[i] = copy_string(entries[i]);
  return copy;
}

void free_list(char** list, uint32_t count) {
  if (!list) return;
  for (uint32_t i = 0; i < count; ++i) utFree(list[i]);
  utFree(list);
}

template <typename Extractor, typename... Args>
kclComponentOptions* make_options(bool use_cache, bool no_extraction, const char* directory,
                                  Args&&... extractor_args) {
  auto* options = static_cast<kclComponentOptions*>(utCalloc(1, sizeof(kclComponentOptions)));
  if (!options) return nullptr;
  options->use_cache = use_cache;
  options->no_extraction = no_extraction;
  options->extraction_directory = copy_string(directory);
  if (!no_extraction) {
    try {
      options->extractor = new Extractor(std::forward<Args>(extractor_args)...);
    } catch (const std::bad_alloc&) {
      kclDestroyComponentOptions(options);
      return nullptr;
    }
  }
  return options;
}

}  // namespace

kclComponentData* kclCreateComponentData(const char* name, const char* extraction_sub_path,
                                         const char** path_entries, uint32_t path_entry_count,
                                         const char** java_class_path, uint32_t java_class_path_count,
                                         const char** reserved_list_1, uint32_t reserved_list_1_count,
                                         const char** reserved_list_2, uint32_t reserved_list_2_count,
                                         const char** x11_arguments, uint32_t x11_argument_count,
                                         const char* component_key, const char* component_directory,
                                         const char** warning_states, uint32_t warning_state_count) {
  auto* data = static_cast<kclComponentData*>(utCalloc(1, sizeof(kclComponentData)));
  if (!data) return nullptr;
  data->name = copy_string(name);
  data->extraction_sub_path = copy_string(extraction_sub_path);
  data->path_entries = copy_list(path_entries, path_entry_count);
  data->path_entry_count = path_entry_count;
  data->java_class_path = copy_list(java_class_path, java_class_path_count);
  data->java_class_path_count = java_class_path_count;
  data->reserved_list_1 = copy_list(reserved_list_1, reserved_list_1_count);
  data->reserved_list_1_count = reserved_list_1_count;
  data->reserved_list_2 = copy_list(reserved_list_2, reserved_list_2_count);
  data->reserved_list_2_count = reserved_list_2_count;
  data->x11_arguments = copy_list(x11_arguments, x11_argument_count);
  data->x11_argument_count = x11_argument_count;
  data->component_key = copy_string(component_key);
  data->warning_states = copy_list(warning_states, warning_state_count);
  data->warning_state_count = warning_state_count;
  data->component_directory = copy_string(component_directory);
  return data;
}

void kclDestroyComponentData(kclComponentData* data) {
  if (!data) return;
  utFree(data->name);
  utFree(data->extraction_sub_path);
  free_list(data->path_entries, data->path_entry_count);
  free_list(data->java_class_path, data->java_class_path_count);
  free_list(data->reserved_list_1, data->reserved_list_1_count);
  free_list(data->reserved_list_2, data->reserved_list_2_count);
  free_list(data->x11_arguments, data->x11_argument_count);
  utFree(data->component_key);
  free_list(data->warning_states, data->warning_state_count);
  utFree(data->component_directory);
  utFree(data);
}

// The stream form insists on a directory string even with the cache; the file form
// (below) needs one only without it. Generated code relies on both.
kclComponentOptions* kclCreateComponentOptions(bool use_cache, bool no_extraction,
                                               const char* extraction_directory,
                                               kclInputStream* stream, int archive_size) {
  if (!extraction_directory) return nullptr;
  if (!no_extraction && (!stream || archive_size < 1)) return nullptr;
  return make_options<kclKarStreamExtractor>(use_cache, no_extraction, extraction_directory,
                                             stream, archive_size);
}

kclComponentOptions* kclCreateComponentOptionsWithKarFile(bool use_cache, bool no_extraction,
                                                          const char* extraction_directory,
                                                          const char* kar_file) {
  if (!use_cache && !extraction_directory) return nullptr;
  if (!no_extraction && !kar_file) return nullptr;
  return make_options<kclKarFileExtractor>(use_cache, no_extraction, extraction_directory,
                                           kar_file ? kar_file : "");
}

void kclDestroyComponentOptions(kclComponentOptions* options) {
  if (!options) return;
  utFree(options->extraction_directory);
  delete options->extractor;
  utFree(options);
}
