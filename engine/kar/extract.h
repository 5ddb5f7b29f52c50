// Extraction of an archive into a directory, treating the archive as hostile.
//
// Refused, failing the whole extraction: absolute entry names and names with a ".."
// element; symbolic links, hard links, devices, fifos and sockets; more entries or more
// bytes in total than the limits allow (a decompression bomb); a damaged or truncated
// archive; data whose CRC or size does not match its header. Nothing is written outside
// the target, files are replaced and never written through, and a failed extraction
// removes what it created.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <string>

#include "korel/export.h"

namespace kar {

class ArchiveInput;

struct ExtractOptions {
  uint64_t max_total_bytes = uint64_t{16} << 30;  // all files together
  uint64_t max_entries = 1'000'000;
  bool verbose = false;  // each entry's name goes to the output handler
};

// Extracts every entry of `input` below the existing directory `target`. Returns the
// number of bytes written. Throws Error naming the failing entry.
KOREL_EXPORT uint64_t extract(ArchiveInput& input, const std::string& target, const ExtractOptions& options);

// Where a local extraction of "<dir>/<name>.kar" goes: "<dir>/<name>_krt". A name
// without ".kar" is kept whole.
KOREL_EXPORT std::string local_extraction_directory(const std::string& archive);

// The reporting forms behind karrtExtractKar: create the target when missing, extract,
// and report a failure through the error handler. True on success.
KOREL_EXPORT bool extract_file(const std::string& archive, const std::string& target,
                  const ExtractOptions& options);
KOREL_EXPORT bool extract_stream(std::istream& in, const std::string& target, const ExtractOptions& options);

}  // namespace kar
