#include "kclkrt/errors/instance_output.h"

#include <cstdarg>
#include <mutex>
#include <string>

#include "kclkrt/errors/error_output.h"
#include "kclkrt/errors/message_catalog.h"
#include "korel/kx.h"
#include "krt/instance.h"
#include "krt/mutex.h"

namespace kcl {
namespace {

int print_through(krtSimpleHandler handler, uint32_t code, va_list args) {
  // The shared message buffer is the runtime's, so printers take turns.
  std::lock_guard<std::recursive_mutex> lock(krt::global_mutex());
  int length = format_message(code, args);
  if (length < 1) return length;
  if (handler)
    handler(message_buffer());
  else
    internal_error_output(message_buffer());
  return length;
}

}  // namespace

int print_to_error_handler(krtInstance* instance, uint32_t code, ...) {
  va_list args;
  va_start(args, code);
  int result = print_through(instance ? instance->GetErrorHandler() : nullptr, code, args);
  va_end(args);
  return result;
}

int print_to_print_handler(krtInstance* instance, uint32_t code, ...) {
  va_list args;
  va_start(args, code);
  int result = print_through(instance ? instance->GetPrintHandler() : nullptr, code, args);
  va_end(args);
  return result;
}

void raise_catalogued_error(const char* identifier, uint32_t code, ...) {
  std::string text;
  {
    std::lock_guard<std::recursive_mutex> lock(krt::global_mutex());
    va_list args;
    va_start(args, code);
    int length = format_message(code, args);
    va_end(args);
    // The printer's newline belongs to printed messages, not to an error's message.
    if (length > 0) text.assign(message_buffer(), static_cast<std::size_t>(length) - 1);
  }
  kxErrMsgIdAndTxt(identifier, "%s", text.c_str());
}

}  // namespace kcl
