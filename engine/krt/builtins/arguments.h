// Checking and reading the arguments of engine built-ins.
#pragma once

#include <string>

#include "krt/instance_impl.h"
#include "krt/lang/call.h"
#include "krt/lang/interpreter.h"

namespace krt::builtins {

// The instance the calling code runs in: engine built-ins reach it, the evaluator never.
inline Instance& instance_of(lang::CallContext& c) {
  return static_cast<Instance&>(c.interpreter.host());
}

// Raises "Korel:<function>:notEnoughInputs" / "tooManyInputs" outside [min, max].
void check_inputs(const lang::ValueList& inputs, std::size_t min, std::size_t max,
                  const char* function);
// Raises "Korel:<function>:tooManyOutputs" above max.
void check_outputs(int nargout, int max, const char* function);

// Input i as text; raises "Korel:<function>:badType" when it is not text.
std::string text_argument(const lang::ValueList& inputs, std::size_t i, const char* function);
bool is_text(const kxArray* a);
// The texts of a char row or of a cell array of them.
std::vector<std::string> text_list(const kxArray* a, const char* function);

// Case-insensitive comparison of two texts.
bool same_text(const std::string& a, const std::string& b);

}  // namespace krt::builtins
