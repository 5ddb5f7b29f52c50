// Korel's printf-style formatting (sprintf, fprintf, error, warning).
#pragma once

#include <span>
#include <string>
#include <string_view>

#include "korel/kx.h"

namespace krt::library {

// Formats `args` with `format` (UTF-8). Escapes in the format (\n \t \\ \a \r \b \f \v
// \xHH \ooo, and %%) are processed. The format is applied again while elements of the
// arguments remain; every element of every argument is consumed in order, a char
// array as one text for %s. Without any element the format is printed once with its
// conversions empty. Returns UTF-8 bytes. Raises on a bad argument class.
std::string format(std::string_view format, std::span<const kxArray* const> args);

// The text of a char array (UTF-8), or raises `identifier` when `a` is not a char row
// (an empty char array of any shape is the empty text).
std::string text_of(const kxArray* a, const char* identifier);

}  // namespace krt::library
