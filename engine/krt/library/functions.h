// Built-in functions that need nothing but arrays (no instance, no files, no output).
#pragma once

#include <span>

#include "krt/lang/call.h"

namespace krt::library {

// The tables of these functions by area, each ended by a null name.
std::span<const lang::IntrinsicGroup> function_groups();

}  // namespace krt::library
