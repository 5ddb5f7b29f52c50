// The process-wide table of the runtime's roots, and the exported calls on it.
#include <cstdlib>
#include <mutex>

#include "kclkrt/paths/path_macros.h"
#include "korel/kclkrt.h"
#include "krt/mutex.h"

namespace {

// An unset or empty variable gives no directory.
const char* env_dir(const char* name) {
  const char* value = std::getenv(name);
  return value != nullptr && *value != '\0' ? value : nullptr;
}

}  // namespace

kclRuntimePathMacros::kclRuntimePathMacros() {
  const char* korel_dir = env_dir("TOOLBOXKORELDIR");
  const char* deploy_dir = env_dir("TOOLBOXDEPLOYDIR");
  if (deploy_dir) add_canonical("$TOOLBOXDEPLOYDIR", deploy_dir);
  if (korel_dir) {
    add_canonical("$TOOLBOXKORELDIR", korel_dir);
    if (!deploy_dir) add_canonical("$TOOLBOXDEPLOYDIR", (dsPathString_(korel_dir) / ".." / "compiler").c_str());
    return;
  }

  dsPathString_ prefix;
  const char* root = env_dir("KRTROOT");
  if (!root) root = env_dir("KOREL");
  if (root) {
    prefix = dsPathString_(root) / "toolbox";
  } else if ((root = env_dir("TBE_INSTALL"))) {
    // A development tree keeps the runtime's toolboxes deeper than an installed root.
    prefix = dsPathString_(root) / "toolbox" / "compiler" / "krt";
  } else {
    return;
  }
  add_canonical("$KRTROOT", root);
  add_canonical("$TOOLBOXPREFIX", prefix.c_str());
  add_canonical("$TOOLBOXKORELDIR", (prefix / "korel").c_str());
  if (!deploy_dir) add_canonical("$TOOLBOXDEPLOYDIR", (prefix / "compiler").c_str());
}

kclRuntimePathMacros& kclRuntimePathMacros::getInstance() {
  static kclRuntimePathMacros* instance = new kclRuntimePathMacros();
  return *instance;
}

namespace {

using Lock = std::lock_guard<std::recursive_mutex>;

}  // namespace

void kclAddPathMacro(const char* name, const char* value) {
  try {
    Lock lock(krt::global_mutex());
    kclRuntimePathMacros::getInstance().add(name, value);
  } catch (...) {
  }
}

void kclAddCanonicalPathMacro(const char* name, const char* value) {
  try {
    Lock lock(krt::global_mutex());
    kclRuntimePathMacros::getInstance().add_canonical(name, value);
  } catch (...) {
  }
}

const char* kclGetPathMacro(const char* name) {
  try {
    Lock lock(krt::global_mutex());
    return kclRuntimePathMacros::getInstance().get(name);
  } catch (...) {
    return nullptr;
  }
}

void kclRemovePathMacro(const char* name) {
  try {
    Lock lock(krt::global_mutex());
    kclRuntimePathMacros::getInstance().remove(name);
  } catch (...) {
  }
}
