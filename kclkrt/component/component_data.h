// The records generated component code fills to describe a component and how its
// archive is to be obtained. Made and freed only by the exported calls; initialization
// reads them and never changes them.
#pragma once

#include <cstdint>

class kclComponentExtractor;

// Every string and list is a private copy allocated with the utility library. A list
// given as null or with a count of 0 is stored as null, with the count as given.
struct kclComponentData {
  char* name;                 // names the module, "<name>.kar" and "<name>_krt"
  char* extraction_sub_path;  // one more element below "<name>_krt" when not empty
  char** path_entries;        // the component's path, relative to the extraction
  uint32_t path_entry_count;
  char** java_class_path;  // relative to the extraction
  uint32_t java_class_path_count;
  // Two lists generated code may fill; kept and freed, read by nothing.
  char** reserved_list_1;
  uint32_t reserved_list_1_count;
  char** reserved_list_2;
  uint32_t reserved_list_2_count;
  char** x11_arguments;  // for the window system layer, after the component name
  uint32_t x11_argument_count;
  char* component_key;    // names this build: cache key, up-to-date marker, preferences
  char** warning_states;  // "on:<id>" or "off:<id>"
  uint32_t warning_state_count;
  char* component_directory;  // of the module and its archive; empty: searched for
};

struct kclComponentOptions {
  bool use_cache;
  bool no_extraction;
  char* extraction_directory;
  kclComponentExtractor* extractor;  // owned; present exactly when extraction is allowed
};
