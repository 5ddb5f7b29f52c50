// Path syntax of the directory-services library.
#pragma once

#include <cstddef>

#include "korel/export.h"

KOREL_EXPORT bool dsIsPathSep(int c);

// Writes the canonical form of the `length` characters at `path` into `out`:
// absolute (relative paths are taken against the current directory), separators
// collapsed, "." and ".." elements resolved lexically ("/.." stays "/"), no trailing
// separator except for the root. Symbolic links are not resolved and the path need not
// exist. Returns `out`, or null when the result (terminator included) does not fit in
// `out_size`, the current directory cannot be read, or `path` is null.
KOREL_EXPORT const char* dsCanonicalizePath(char* out, std::size_t out_size, const char* path,
                                            std::size_t length);
