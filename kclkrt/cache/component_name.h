// Which names can name a component directory inside the cache directory.
#pragma once

#include <string>

namespace kcl {

// One path element that is not hidden (the cache's own files begin with a dot) and
// that fits on one line of the index: so a name can neither leave the cache directory
// nor be mistaken for the cache's files, nor break the index format.
bool is_cache_component_name(const std::string& name);

}  // namespace kcl
