#include "kclkrt/errors/error_output.h"

#include <atomic>
#include <cstdio>

namespace kcl {
namespace {

// Hosts set it before starting work; atomic so that a late change is still clean.
std::atomic<kclOutputHandlerFcn> error_handler{nullptr};

}  // namespace

int internal_error_output(const char* text) {
  if (text == nullptr) text = "";
  if (kclOutputHandlerFcn handler = error_handler.load()) return handler(text);
  int result = std::fputs(text, stderr);
  std::fflush(stderr);
  return result;
}

int internal_std_output(const char* text) { return std::fputs(text == nullptr ? "" : text, stdout); }

}  // namespace kcl

kclOutputHandlerFcn kclSetInternalErrorHandler(kclOutputHandlerFcn handler) {
  kcl::error_handler.store(handler);
  return handler;
}
