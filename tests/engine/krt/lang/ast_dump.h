// Syntax trees as compact S-expression text, so tests can state a whole tree at once.
#pragma once

#include <string>
#include <string_view>

#include "krt/lang/ast.h"

namespace krt::lang::test {

// Numbers in shortest form, imaginary ones with an i; strings quoted with ''; a name with
// an access chain as (ref name (args) {args} .field .(expr)); an anonymous function as
// (@ (params) body); statements whose result is not shown end in ';'.
std::string dump(const Expr& expr);
std::string dump(const Stmt& stmt);
std::string dump(const Block& block);  // statements separated by blanks
std::string dump(const Program& program);

// The tree of a text holding one expression statement, e.g. "(+ 1 (* 2 3))".
std::string dump_expression(std::string_view text);
// The statements of a script, e.g. "(= x 1); (cmd hold 'on')".
std::string dump_script(std::string_view text);

}  // namespace krt::lang::test
