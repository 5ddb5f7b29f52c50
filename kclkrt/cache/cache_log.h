// The component cache's diagnostic log: lines on standard error, written only when
// KRT_CACHE_VERBOSE asked for them when the library was loaded.
#pragma once

#include <iostream>

namespace kcl {

// Set once, at load: KRT_CACHE_VERBOSE set, not empty and not exactly "off".
bool cache_verbose();

// Writes the pieces one after another as one line, then flushes; nothing when the log
// is off.
template <class... Pieces>
void cache_log(const Pieces&... pieces) {
  if (!cache_verbose()) return;
  (std::cerr << ... << pieces) << std::endl;
}

}  // namespace kcl
