// Adding up the size of a directory tree.
#pragma once

#include <cstdint>
#include <string>

#include "korel/export.h"

// Adds the sizes of the regular files in the tree of the directory open at `directory`
// (the descriptor is borrowed) to `total`. The walk goes by descriptors, so depth does
// not limit it, and never follows a link; links and special files count nothing. False,
// with `total` holding what was counted so far, when any part of the tree could not be
// read: a size that leaves out what it could not see would be no size at all.
KOREL_EXPORT bool dsTreeSizeAt(int directory, uint64_t& total);

// As above for the directory at `path`, which must not be a link.
KOREL_EXPORT bool dsTreeSize(const std::string& path, uint64_t& total);
