#include "kclkrt/cache/cache_location.h"

#include <sstream>

#include "kclkrt/platform/environment.h"
#include "kclkrt/runtime/version.h"
#include "sv/settings.h"

std::string kclGetComponentCacheRoot() {
  if (const char* root = kcl::env_value("KRT_CACHE_ROOT")) return root;
  return svGetDefaultPrefDirPrefix();
}

std::string kclGetComponentCacheDir() {
  std::ostringstream name;
  name << "." << "krtCache" << kcl::kRuntimeVersionMajor << "." << kcl::kRuntimeVersionMinor;
  std::string root = kclGetComponentCacheRoot();
  if (!root.empty() && root.back() != '/') root += '/';
  return root + name.str();
}
