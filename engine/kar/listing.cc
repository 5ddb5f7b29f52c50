#include "kar/listing.h"

#include <archive.h>
#include <archive_entry.h>

#include "kar/archive_input.h"

namespace kar {

std::vector<EntryInfo> list_entries(ArchiveInput& input) {
  std::vector<EntryInfo> entries;
  while (archive_entry* entry = input.next_entry()) {
    EntryInfo info;
    info.name = input.entry_name(entry);
    info.directory = archive_entry_filetype(entry) == AE_IFDIR;
    if (!info.directory && archive_entry_size_is_set(entry))
      info.size = static_cast<uint64_t>(archive_entry_size(entry));
    entries.push_back(std::move(info));
  }
  return entries;
}

}  // namespace kar
