// Text as the code units of char arrays: conversions, rows, case and blanks.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "korel/kx.h"
#include "krt/array/value.h"

namespace krt::library {

// The code units of a char array, in storage (column-major) order.
std::u16string units_of(const kxArray* a);
// The rows of a char array, reading the dimensions after the first as columns.
std::vector<std::u16string> rows_of(const kxArray* a);

// UTF-8 of code units, by the array library's rule: surrogate pairs join, and the lone
// units 0xDC80 to 0xDCFF stand for the bytes 0x80 to 0xFF.
std::string utf8_of(std::u16string_view units);
void append_code_point(std::string& out, char32_t cp);

// A 1-by-N char array.
Value make_text(std::u16string_view units);
// A char matrix with one row per text, shorter rows padded with blanks; no rows give a
// 0-by-0 array.
Value make_char_rows(const std::vector<std::u16string>& rows);

// Blank, tab, newline, vertical tab, form feed, carriage return.
bool is_whitespace(char16_t c);
// Case mappings of the Latin, Greek and Cyrillic letters; other units are unchanged.
char16_t upper_case(char16_t c);
char16_t lower_case(char16_t c);

}  // namespace krt::library
