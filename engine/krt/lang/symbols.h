// Interned names: the evaluator compares and indexes names as small integers.
#pragma once

#include <string>
#include <string_view>

namespace krt::lang {

// The symbol of `name`, the same for equal names for the life of the process.
int intern(std::string_view name);
const std::string& symbol_name(int symbol);
// One past the largest symbol handed out so far.
int symbol_count();

}  // namespace krt::lang
