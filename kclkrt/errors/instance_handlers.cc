// A runtime instance's handlers and last error, as hosts set and read them.
#include "kclkrt/errors/boundary.h"
#include "korel/kclkrt.h"
#include "korel/kx.h"
#include "krt/instance.h"

void kclSetPrintHandler(krtInstance* instance, kclOutputHandlerFcn handler) {
  if (instance) instance->SetPrintHandler(handler);
}

void kclSetErrorHandler(krtInstance* instance, kclOutputHandlerFcn handler) {
  if (instance) instance->SetErrorHandler(handler);
}

void kclSetLastErrIdAndMsg(krtInstance* instance, const char* id, const char* msg) {
  if (!instance) return;
  kcl::guarded_call(false, [&] {
    instance->SetLastErrIdAndMsg(id, msg);
    return true;
  });
}

const char* kclGetLastErrorMessage(krtInstance* instance) {
  return instance ? instance->GetLastError() : nullptr;
}

// Despite the name, hosts and kclMain take the result as the last error's text.
const char* kclGetLastErrorCode(krtInstance* instance) { return kclGetLastErrorMessage(instance); }

int kclGetLastErrIdAndMsg(const char** id, const char** msg) { return kxGetLastErrIdAndMsg(id, msg); }
