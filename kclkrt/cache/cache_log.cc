#include "kclkrt/cache/cache_log.h"

#include <cstdlib>
#include <cstring>

namespace kcl {
namespace {

bool verbose_requested() {
  const char* value = std::getenv("KRT_CACHE_VERBOSE");
  return value != nullptr && *value != '\0' && std::strcmp(value, "off") != 0;
}

const bool kVerbose = verbose_requested();

}  // namespace

bool cache_verbose() { return kVerbose; }

}  // namespace kcl
