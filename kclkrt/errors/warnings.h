// Switching identified warnings on and off.
#pragma once

#include <cstdint>

namespace kcl {

using TextHandler = int (*)(const char* text);

// Applies warning status items written "<on|off>:<warning id>", in order. A malformed
// item or an unknown state is reported with its catalogued message and skipped.
void apply_warning_states(const char** items, int count);

// The print handler of the calling thread's current runtime instance, or null (the
// default error printer) when there is none or it has none.
TextHandler current_print_handler();

// Prints catalogued message `code` as a warning identified by `id`: nothing when `id` is
// switched off; otherwise through `handler`, or through the default error printer when
// `handler` is null. Returns the printed length, or 0 when nothing was printed.
int print_warning_message(TextHandler handler, const char* id, uint32_t code, ...);

}  // namespace kcl
