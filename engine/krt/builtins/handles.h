// What engine built-ins share about functions as values.
#pragma once

#include <string>

#include "krt/lang/call.h"

namespace krt::builtins {

// How many inputs (or outputs) the function `function` declares: a handle, or the text
// of a name seen from the caller. With varargin (varargout) last it is -(fixed + 1);
// built-ins and native functions, which take any number, give -1.
int declared_count(lang::CallContext& c, const Value& function, bool inputs, const char* caller);

// A handle to call: `function` itself when it is one, else a handle to the function
// its text names. Raises "Korel:<caller>:badFunction" for anything else.
Value callable(const Value& function, const char* caller);

}  // namespace krt::builtins
