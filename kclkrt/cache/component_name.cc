#include "kclkrt/cache/component_name.h"

namespace kcl {

bool is_cache_component_name(const std::string& name) {
  return !name.empty() && name.front() != '.' &&
         name.find_first_of(std::string("/\n\r\0", 4)) == std::string::npos;
}

}  // namespace kcl
