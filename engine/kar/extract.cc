#include "kar/extract.h"

#include <archive.h>
#include <archive_entry.h>
#include <sys/stat.h>

#include <cerrno>
#include <string>

#include "kar/archive_input.h"
#include "kar/entry_path.h"
#include "kar/error.h"
#include "kar/extraction_target.h"
#include "kar/handlers.h"

namespace kar {

namespace {

// The entry's permissions without set-id or sticky bits, and always usable by the
// owner, so that the extraction can be removed again.
mode_t permissions(archive_entry* entry, bool directory) {
  mode_t mode = archive_entry_perm(entry) & 0777;
  if (mode == 0) mode = directory ? 0755 : 0644;
  return mode | (directory ? 0700 : 0600);
}

const char* refused_type(mode_t type) {
  switch (type) {
    case AE_IFLNK: return "a symbolic link entry is refused";
    case AE_IFCHR: return "a character device entry is refused";
    case AE_IFBLK: return "a block device entry is refused";
    case AE_IFIFO: return "a fifo entry is refused";
    case AE_IFSOCK: return "a socket entry is refused";
    default: return "an entry of unknown type is refused";
  }
}

void write_all(int fd, const char* data, std::size_t size, int64_t offset) {
  while (size > 0) {
    ssize_t written = ::pwrite(fd, data, size, offset);
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) throw Error("", with_errno("cannot write the file", written < 0 ? errno : ENOSPC));
    data += written;
    size -= static_cast<std::size_t>(written);
    offset += written;
  }
}

class Extraction {
 public:
  Extraction(ArchiveInput& input, const std::string& target, const ExtractOptions& options)
      : input_(input), target_(target), options_(options) {}

  uint64_t run() {
    // Refused before anything is written.
    if (!input_.special_entries().empty()) {
      const auto& special = input_.special_entries().front();
      throw Error(special.name, refused_type(special.type));
    }
    uint64_t entries = 0;
    while (archive_entry* entry = input_.next_entry()) {
      std::string name = input_.entry_name(entry);
      if (++entries > options_.max_entries)
        throw Error(name, "more than " + std::to_string(options_.max_entries) +
                              " entries; the archive is refused");
      try {
        extract_entry(entry, name);
      } catch (const Error& error) {
        if (!error.entry().empty()) throw;
        throw Error(name, error.what());
      }
    }
    target_.keep();
    return total_bytes_;
  }

 private:
  void extract_entry(archive_entry* entry, const std::string& name) {
    if (archive_entry_hardlink(entry)) throw Error("", "a hard link entry is refused");
    std::vector<std::string> elements = entry_path_elements(name);
    mode_t type = archive_entry_filetype(entry);
    if (type == AE_IFDIR) {
      target_.make_directory(elements, permissions(entry, true));
    } else if (type == AE_IFREG) {
      extract_file(entry, elements);
    } else {
      throw Error("", refused_type(type));
    }
    if (options_.verbose) report_output(name);
  }

  void extract_file(archive_entry* entry, const std::vector<std::string>& elements) {
    // Refuse before writing when the header already says the limit will be passed.
    if (archive_entry_size_is_set(entry)) {
      uint64_t declared = static_cast<uint64_t>(archive_entry_size(entry));
      if (declared > options_.max_total_bytes - total_bytes_) throw over_limit();
    }
    ut::UniqueFd file = target_.create_file(elements, permissions(entry, false));
    const void* block = nullptr;
    size_t size = 0;
    la_int64_t offset = 0;
    int status;
    while ((status = archive_read_data_block(input_.handle(), &block, &size, &offset)) == ARCHIVE_OK) {
      // The data itself is counted too: a header may understate it.
      if (size > options_.max_total_bytes - total_bytes_) throw over_limit();
      write_all(file.get(), static_cast<const char*>(block), size, offset);
      total_bytes_ += size;
    }
    // A warning here is a CRC or size mismatch: the data is not what was archived.
    if (status != ARCHIVE_EOF) throw Error("", "bad data (" + input_.error_text() + ")");
    // The file keeps the time it was written, not the archive's: an extraction in use
    // must not look old to a cleaner that removes files by age.
    if (file.close() != 0) throw Error("", with_errno("cannot write the file", errno));
  }

  Error over_limit() const {
    return Error("", "the extraction would pass its limit of " +
                         std::to_string(options_.max_total_bytes) + " bytes; the archive is refused");
  }

  ArchiveInput& input_;
  ExtractionTarget target_;
  const ExtractOptions& options_;
  uint64_t total_bytes_ = 0;
};

}  // namespace

uint64_t extract(ArchiveInput& input, const std::string& target, const ExtractOptions& options) {
  return Extraction(input, target, options).run();
}

}  // namespace kar
