// Built-in functions that need nothing but arrays (no instance, no files, no output).
#pragma once

#include "krt/library/table.h"

namespace krt::library {

// The table of these functions, ended by a null name.
extern const krtFunctionTableEntry kFunctions[];

}  // namespace krt::library
