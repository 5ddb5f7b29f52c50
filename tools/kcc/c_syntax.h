// Names and texts as they may appear in generated C code.
#pragma once

#include <string>
#include <string_view>

namespace kcc {

// [A-Za-z_][A-Za-z0-9_]*
bool is_c_identifier(std::string_view text);

// A Korel function name: a letter, then letters, digits and underscores.
bool is_korel_identifier(std::string_view text);

// `text` as a C string literal, quotes included; every byte survives the round trip.
std::string c_string_literal(std::string_view text);

}  // namespace kcc
