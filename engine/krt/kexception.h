// KException: the class of every Korel error value, an object with the properties
// identifier, message, stack (file, name, line per frame, innermost first) and cause
// (an N-by-1 cell array of KException).
#pragma once

#include "krt/array/value.h"
#include "krt/error_state.h"

namespace krt {

inline constexpr const char kKExceptionClass[] = "KException";

bool is_kexception(const kxArray* a);

// A 1-by-1 KException holding `error`, causes included.
Value make_kexception(const ErrorDetails& error);

// What a KException holds. Raises "Korel:<function>:badCause" when its cause is not a
// cell array of KException, "Korel:<function>:causesTooDeep" when causes nest too deep.
ErrorDetails kexception_details(const kxArray* exception, const char* function);

// The stack field of an error struct or KException element 0: frames with text file and
// name and a numeric line; anything else in a frame reads as empty.
std::vector<StackFrame> stack_field(const kxArray* error);

}  // namespace krt
