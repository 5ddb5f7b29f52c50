// The process-wide table of the runtime's roots, and the exported calls on it.
#include <mutex>

#include "kclkrt/paths/path_macros.h"
#include "kclkrt/platform/environment.h"
#include "korel/kclkrt.h"
#include "krt/mutex.h"

kclRuntimePathMacros::kclRuntimePathMacros() {
  const char* korel_dir = kcl::env_value("TOOLBOXKORELDIR");
  const char* deploy_dir = kcl::env_value("TOOLBOXDEPLOYDIR");
  if (deploy_dir) add_canonical("$TOOLBOXDEPLOYDIR", deploy_dir);
  if (korel_dir) {
    add_canonical("$TOOLBOXKORELDIR", korel_dir);
    if (!deploy_dir) add_canonical("$TOOLBOXDEPLOYDIR", (dsPathString_(korel_dir) / ".." / "compiler").c_str());
    return;
  }

  dsPathString_ prefix;
  const char* root = kcl::env_value("KRTROOT");
  if (!root) root = kcl::env_value("KOREL");
  if (root) {
    prefix = dsPathString_(root) / "toolbox";
  } else if ((root = kcl::env_value("TBE_INSTALL"))) {
    // A development tree keeps the runtime's toolboxes deeper than an installed root.
    prefix = dsPathString_(root) / "toolbox" / "compiler" / "krt";
  } else {
    return;
  }
  add_canonical("$KRTROOT", root);
  define_toolbox_macros(prefix);
}

void kclRuntimePathMacros::define_toolbox_macros(const dsPathString_& prefix) {
  add_canonical("$TOOLBOXPREFIX", prefix.c_str());
  add_canonical("$TOOLBOXKORELDIR", (prefix / "korel").c_str());
  if (!get("$TOOLBOXDEPLOYDIR")) add_canonical("$TOOLBOXDEPLOYDIR", (prefix / "compiler").c_str());
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
