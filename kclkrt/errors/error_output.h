// Where the library's own text goes: the internal error output (the host's internal
// error handler, or standard error) and standard output.
#pragma once

#include "korel/kclkrt.h"

namespace kcl {

// Calls the internal error handler with `text`, or writes it to standard error and
// flushes. A null text counts as empty. Returns what the handler or the C library did.
int internal_error_output(const char* text);

// Writes `text` (null: empty) to standard output.
int internal_std_output(const char* text);

}  // namespace kcl
