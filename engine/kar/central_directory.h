// The Unix file types a ZIP archive's central directory records. The reader reports some
// of them (a fifo) as plain files, so the types are read here, from the source itself,
// before anything is extracted.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

namespace kar {

// Reads `size` bytes at `offset` of the archive (counted from its first byte); false
// when they are not all there.
using ReadAt = std::function<bool(uint64_t offset, char* into, std::size_t size)>;

// Calls `visit` with the name and Unix type bits (S_IFMT; 0 when the entry was not made
// on Unix) of each central directory record, in order. Records past damage are not
// visited: the reader reports the damage itself.
void visit_unix_types(const ReadAt& read_at, uint64_t archive_size,
                      const std::function<void(const std::string& name, uint32_t type)>& visit);

}  // namespace kar
