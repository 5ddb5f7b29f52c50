// Making a directory tree durable.
#pragma once

#include <string>

#include "korel/export.h"

// Flushes every regular file and directory of the tree at `path`, `path` included, to
// the disk (links are not followed). Returns false when any of them could not be
// flushed; the rest are flushed all the same.
KOREL_EXPORT bool dsSyncTree(const std::string& path);

// As above for the directory open at `directory` (the descriptor is borrowed).
KOREL_EXPORT bool dsSyncTreeAt(int directory);
