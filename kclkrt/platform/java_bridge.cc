// What a host's Java side reaches: its class loader, the targets of System.out and
// System.err, and array conversion, which has nothing to convert to without a Java
// virtual machine in the process.
#include <cstdio>
#include <cstring>

#include "kclkrt/errors/boundary.h"
#include "korel/kclkrt.h"
#include "krt/instance.h"
#include "krt/java_bridge.h"
#include "krt/options.h"
#include "ut/print.h"

namespace {

constexpr char kNoJavaVirtualMachine[] = "No Java virtual machine is available in this process.";

// Java output goes where the current instance's own output goes: its handler, the
// process default, then the standard stream (standard output as the engine prints it,
// so a stand-alone program's redirect to standard error covers Java's text too).
int java_print(bool error_stream, const char* text) {
  const char* t = text ? text : "";
  return kcl::guarded_call(-1, [&] {
    if (krtInstance* instance = krtInstance::GetKRT()) {
      krtSimpleHandler handler = error_stream ? instance->GetErrorHandler() : instance->GetPrintHandler();
      if (handler) return handler(t);
    }
    int result = 0;
    if (krt::print_with_default(error_stream, t, &result)) return result;
    if (!error_stream) return utPrintf("%s", t);
    std::size_t written = std::fwrite(t, 1, std::strlen(t), stderr);
    std::fflush(stderr);
    return static_cast<int>(written);
  });
}

}  // namespace

bool kclSetStandaloneClassLoader(void* class_loader) {
  krt::set_standalone_class_loader(class_loader);
  return true;
}

int kclJavaSystemOutPrint(const char* text) { return java_print(false, text); }

int kclJavaSystemErrPrint(const char* text) { return java_print(true, text); }

kclOutputHandlerFcn kclGetJavaSystemPrintHandler(bool error_stream) {
  return error_stream ? &kclJavaSystemErrPrint : &kclJavaSystemOutPrint;
}

void* kclArrayToJavaObject(const kxArray* array) {
  kclcppSetLastError(array ? kNoJavaVirtualMachine : "No array to convert to a Java object.");
  return nullptr;
}

kxArray* kclJavaObjectToArray(void* object) {
  kclcppSetLastError(object ? kNoJavaVirtualMachine : "No Java object to convert to an array.");
  return nullptr;
}
