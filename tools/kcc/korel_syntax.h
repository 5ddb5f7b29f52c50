// Korel sources are parsed as the runtime parses them before anything is built, so a
// syntax error stops the build, not the component's first call.
#pragma once

#include "function_sources.h"

namespace kcc {

// Throws Error with the text the runtime gives for the same error, naming the file as
// given, the line and the column. Native sources are not looked at.
void check_korel_syntax(const FunctionSource& source);

}  // namespace kcc
