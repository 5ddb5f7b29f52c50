// Extracting a component's archive into a directory beside it, once, however many
// processes start the component at the same moment.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "ut/time_unit.h"

namespace kcl {

struct LocalExtraction {
  std::string archive;    // <component directory>/<name>.kar
  std::string directory;  // where it is extracted: <component directory>/<name>_krt[/<sub>]
  std::string name;       // the component's name, for the stale-entry clean-up
  std::string key;        // the directory inside an up-to-date extraction
  // Whether an extraction up to date by its key is also intact (see extraction_check.h);
  // one that is not is extracted again. Null: the key alone tells.
  std::function<bool(const std::string& directory)> intact;
  // The second, longer wait for the exclusive lock before going on without it.
  uint64_t lock_wait = 300;
  Tenbrook::System::TimeUnit lock_wait_unit = Tenbrook::System::TimeUnit::sSeconds();
};

// True when the extraction directory rejects the component: a path element that
// begins with "@", or an archive in a directory named "private". Reported.
bool refuse_extraction_directory(const LocalExtraction& job);

// Makes sure `job.directory` holds an up-to-date, intact extraction of `job.archive`,
// extracting it (after clearing an out-of-date or damaged one) under the directory's
// exclusive lock unless KRT_INHIBIT_KAR_LOCK is set. Whatever stands where the
// extraction belongs and is not one (a link, a file, an empty directory) is replaced,
// never followed. Failures are reported; false on failure.
bool extract_under_lock(const LocalExtraction& job);

// Whether the last element of the directory that holds `archive` is exactly "private".
bool archive_in_private_directory(const std::string& archive);

}  // namespace kcl
