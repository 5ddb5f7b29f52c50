// The small files the cache keeps (.max_size, the index, a component's .bytes_used),
// read and written without ever going through a symbolic link or waiting on a FIFO.
#pragma once

#include <optional>
#include <string>

namespace kcl {

// The contents of the regular file `name` in the directory open at `directory`
// (AT_FDCWD: `name` is a path, its last element not followed); nullopt when it is
// missing, not a regular file or cannot be read.
std::optional<std::string> read_cache_file(int directory, const std::string& name);

// Makes `name` in the directory open at `directory` (or at a path, as above) a new file
// holding `text`, readable and writable by its owner only. Whatever had the name goes
// first, a link itself and never what it points to. False when it could not be written
// whole; what was written then is removed.
bool write_cache_file(int directory, const std::string& name, const std::string& text);

}  // namespace kcl
