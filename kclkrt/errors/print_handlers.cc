// Process-wide default print and error handlers, and raw writes for hosts.
#include <unistd.h>

#include "korel/kclkrt.h"
#include "krt/options.h"

namespace {

// The engine's handlers carry a context pointer; the host's handler rides in it.
int call_host_handler(const char* text, void* context) {
  auto handler = reinterpret_cast<kclOutputHandlerFcn>(context);
  return handler ? handler(text) : 0;
}

}  // namespace

void kclSetDefaultPrintHandlers(kclOutputHandlerFcn print_handler, kclOutputHandlerFcn error_handler) {
  try {
    krt::set_default_print_handlers(&call_host_handler, reinterpret_cast<void*>(print_handler),
                                    &call_host_handler, reinterpret_cast<void*>(error_handler));
  } catch (...) {
  }
}

ssize_t kclWrite(int fd, const void* buf, size_t len) { return ::write(fd, buf, len); }
