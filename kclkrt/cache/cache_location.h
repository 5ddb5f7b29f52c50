// Where the component cache lives.
#pragma once

#include <string>

// KRT_CACHE_ROOT when set and not empty, else the user's default preference-directory
// prefix.
std::string kclGetComponentCacheRoot();

// The root joined with the versioned cache name, ".krtCache1.0" for runtime 1.0.
std::string kclGetComponentCacheDir();
