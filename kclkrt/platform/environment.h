// Reading the environment the way the runtime treats it.
#pragma once

#include <cstdlib>

namespace kcl {

// The variable's value, or null when it is unset or empty: an empty directory or
// setting means "not given".
inline const char* env_value(const char* name) {
  const char* value = std::getenv(name);
  return value != nullptr && *value != '\0' ? value : nullptr;
}

}  // namespace kcl
