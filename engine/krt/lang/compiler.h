// Turns syntax trees into compiled nodes.
#pragma once

#include <memory>

#include "krt/lang/ast.h"
#include "krt/lang/nodes.h"

namespace krt::lang {

// A function of a file, its variables given slots: every name the function assigns, its
// inputs and outputs, and its global and persistent names. Other names are calls.
std::unique_ptr<CompiledFunction> compile_function(const Function& function);

// Statements that run in a workspace known only when they run (a script's caller, eval
// text, the base workspace): names are looked up as they are used.
std::unique_ptr<BlockNode> compile_dynamic(const Block& statements);

// One expression compiled the same way, for text evaluated for its value.
ExprNodePtr compile_dynamic_expression(const Expr& expr);

}  // namespace krt::lang
