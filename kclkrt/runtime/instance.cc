// Runtime instances as hosts hold them: creation for the compiler, identity,
// activation, globals and externally supplied functions.
#include <unistd.h>

#include <memory>

#include "kclkrt/errors/boundary.h"
#include "kclkrt/paths/path_limits.h"
#include "kclkrt/platform/owned_array.h"
#include "kclkrt/runtime/version.h"
#include "korel/kclkrt.h"
#include "krt/application.h"
#include "krt/instance.h"
#include "krt/process.h"
#include "sv/settings.h"

namespace {

constexpr std::size_t kWorkingDirectoryBufferSize = 4096;

}  // namespace

bool kclInitializeInstance(krtInstance** out) {
  if (!out) return false;
  *out = nullptr;
  return kcl::guarded_call(false, [&] {
    krt_set_kcc();
    char working_directory[kWorkingDirectoryBufferSize];
    const bool have_working_directory = getcwd(working_directory, sizeof working_directory) != nullptr;

    krtOptions options;
    options.current_directory = svGetBinArchDir();
    options.replace_path = false;
    options.delete_on_detach = true;
    options.deployed = true;
    try {
      *out = new krtInstance(options, std::make_unique<krtSourceReader>());
    } catch (...) {
      *out = nullptr;
    }
    if (!*out) {
      kclPrintErrorMsg(kcl::KCLKRT_ERROR_INITIALIZING_KRT);
      return false;
    }
    kclPushActivation(*out);
    if (!have_working_directory)
      kclPrintErrorMsg(kcl::KCLKRTKCC_ERROR_SETTING_COM_DIR_NULL);
    else if (!kclChangeDirectory(*out, working_directory))
      kclPrintErrorMsg(kcl::KCLKRTKCC_ERROR_SETTING_COM_DIR, working_directory);
    // No Java virtual machine runs in this engine, so there is no thread to attach.
    return true;
  });
}

unsigned kclGetID(krtInstance* instance) { return instance ? instance->GetID() : 0; }

unsigned kclGetActiveID(void) { return kclGetID(krtInstance::GetKRT()); }

krtInstance* kclGetActiveKRT(void) { return krtInstance::GetKRT(); }

bool kclGetKRTVersion(unsigned* version) {
  if (!version) return false;
  *version = kcl::kRuntimeVersion;
  return true;
}

bool kclPushActivation(krtInstance* instance) {
  if (!instance) return false;
  return kcl::guarded_call(false, [&] {
    instance->PushActivation();
    return true;
  });
}

bool kclPopActivation(krtInstance* instance) {
  if (!instance) return false;
  return kcl::guarded_call(false, [&] { return instance->PopActivation(); });
}

bool kclSetGlobal(krtInstance* instance, const char* name, kxArray* value) {
  if (!instance || !name || !value) return false;
  return kcl::guarded_call(false, [&] { return instance->SetGlobal(name, value); });
}

bool kclGetGlobal(krtInstance* instance, const char* name, kxArray** value) {
  if (!instance || !name || !value) return false;
  *value = nullptr;
  return kcl::guarded_call(false, [&] {
    *value = instance->GetGlobal(name);
    return *value != nullptr;
  });
}

bool kclRegisterExternalFunction(krtInstance* instance, const char* name, kxNativeFunction fn) {
  if (!instance || !name || !fn) return false;
  return kcl::guarded_call(false, [&] {
    kcl::OwnedArray handle(kclCreateSimpleFunctionHandle(name, fn));
    return handle && kclSetGlobal(instance, name, handle.get());
  });
}

void kclWaitForFiguresToDie(krtInstance* instance) {
  if (!instance) return;
  kcl::guarded_call(false, [&] {
    krt_wait_for_figures_to_die(instance);
    return true;
  });
}

int kclGetMaxPathLen(void) { return static_cast<int>(kcl::kMaxPathLength); }

int kclGetKCCTargetType(bool shared_library) { return shared_library ? 1 : 0; }
