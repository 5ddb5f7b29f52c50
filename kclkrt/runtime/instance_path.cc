// Where an instance finds functions: its search path and current directory.
#include "kclkrt/errors/boundary.h"
#include "kclkrt/platform/owned_array.h"
#include "korel/kclkrt.h"
#include "krt/instance.h"

bool kclAddPath(krtInstance* instance, const char* dir) {
  if (!instance || !dir) return false;
  return kcl::guarded_call(false, [&] { return instance->AddPath(dir, /*at_end=*/true); });
}

bool kclRemovePath(krtInstance* instance, const char* dir) {
  if (!instance || !dir) return false;
  return kcl::guarded_call(false, [&] { return instance->RemovePath(dir); });
}

bool kclChangeDirectory(krtInstance* instance, const char* dir) {
  if (!instance || !dir) return false;
  return kcl::guarded_call(false, [&] { return instance->ChangeDirectory(dir); });
}

const char* kclGetInstancePath(krtInstance* instance) {
  if (!instance) {
    kclPrintErrorMsg(kcl::KCLKRT_INSTANCE_PATH);
    return nullptr;
  }
  return instance->GetPath().c_str();
}

const char* kclGetInstanceCWD(krtInstance* instance) {
  if (!instance) {
    kclPrintErrorMsg(kcl::KCLKRT_INSTANCE_CWD);
    return nullptr;
  }
  return instance->GetCurrentDirectory().c_str();
}

bool kclWhich(krtInstance* instance, const char* name, char* buf, int buflen) {
  if (!instance || !name || !buf || buflen < 0) return false;
  return kcl::guarded_call(false, [&] {
    kcl::OwnedArray query(kxCreateString(name));
    kxArray* input = query.get();
    kxArray* answer = nullptr;
    if (!kclFeval(instance, "which", 1, &answer, 1, &input)) return false;
    kcl::OwnedArray owned_answer(answer);
    if (buflen == 0) return true;  // no room: nothing to copy, and no failure
    buf[0] = '\0';
    kxGetString(answer, buf, static_cast<size_t>(buflen));
    return true;
  });
}
