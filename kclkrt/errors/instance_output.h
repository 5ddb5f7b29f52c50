// Catalogued messages sent to a runtime instance's own handlers, and raised as Korel
// errors.
#pragma once

#include <cstdint>

class krtInstance;

namespace kcl {

// Formats catalogued message `code` with its values, adds a newline and hands it to
// the instance's error (or print) handler; with a null instance or no such handler it
// goes to the internal error output, never to standard output, so unattended runtime
// text stays on one stream. Returns the length with the newline, or the formatter's
// result below 1 (nothing printed).
int print_to_error_handler(krtInstance* instance, uint32_t code, ...);
int print_to_print_handler(krtInstance* instance, uint32_t code, ...);

// Raises a Korel error with `identifier` and the formatted message; control goes to
// the engine's call boundary.
[[noreturn]] void raise_catalogued_error(const char* identifier, uint32_t code, ...);

}  // namespace kcl
