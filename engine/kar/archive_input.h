// An archive open for reading: libarchive's ZIP reader that works from the central
// directory, over a file or over a stream's bytes from its current position to its end.
#pragma once

#include <iosfwd>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "kar/utf8_names.h"
#include "korel/export.h"

struct archive;
struct archive_entry;

namespace kar {

struct InputSource;

class KOREL_EXPORT ArchiveInput {
 public:
  // Throw Error when the source cannot be opened or is not a ZIP archive (a truncated
  // archive has lost its central directory and is not one).
  static std::unique_ptr<ArchiveInput> open_file(const std::string& path);
  static std::unique_ptr<ArchiveInput> open_stream(std::istream& in);
  ~ArchiveInput();
  ArchiveInput(const ArchiveInput&) = delete;
  ArchiveInput& operator=(const ArchiveInput&) = delete;

  // The next entry's header, or null after the last; throws Error on a damaged header.
  archive_entry* next_entry();
  // The entry's name as the archive spells it; names flagged as UTF-8 come as UTF-8.
  std::string entry_name(archive_entry* entry) const;
  archive* handle() const { return archive_; }
  // The text of the reader's last error.
  std::string error_text() const;

  // Entries whose Unix type, as the central directory records it, is neither a regular
  // file nor a directory: the reader reports some of them as plain files.
  struct SpecialEntry {
    std::string name;
    uint32_t type;  // S_IFMT bits
  };
  const std::vector<SpecialEntry>& special_entries() const { return special_entries_; }

 private:
  explicit ArchiveInput(std::unique_ptr<InputSource> source);
  // Accepts what the reader refused when it is a ZIP archive with no entries at all.
  void accept_if_empty(int open_status);
  // Reads the central directory's Unix types; before the reader starts, as it moves the
  // stream.
  void find_special_entries();

  std::unique_ptr<InputSource> source_;
  Utf8Names utf8_names_;
  archive* archive_;
  bool empty_ = false;
  std::vector<SpecialEntry> special_entries_;
};

}  // namespace kar
