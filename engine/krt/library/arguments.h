// The calling convention of the built-in functions, seen from inside one of them:
// argument counts, error identifiers, reading arguments and handing over results.
#pragma once

#include <climits>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "korel/kx.h"
#include "krt/array/value.h"
#include "krt/lang/call.h"

namespace krt::library {

// How many inputs and outputs a function accepts.
struct Arity {
  int min_inputs;
  int max_inputs;
  int max_outputs;
};
inline constexpr int kUnlimited = INT_MAX;

// One call of a built-in function. Results are kept here until the body has made all
// of them, so that a failure halfway never leaves the caller holding part of them.
class Call {
 public:
  Call(const char* name, lang::CallContext& context, int nargout, lang::ValueList& inputs);

  // The engine, for the built-ins that call back into Korel.
  lang::CallContext& context() const { return context_; }
  // Input k as the evaluator holds it: an inline scalar is read without an array.
  const Value& value(int k) const { return values_[static_cast<std::size_t>(k)]; }

  const char* name() const { return name_; }
  int input_count() const { return static_cast<int>(values_.size()); }
  // How many outputs the caller asked for (0 when the value only becomes `ans`).
  int requested_outputs() const { return requested_; }
  // How many outputs to make: at least one.
  int output_count() const { return requested_ > 0 ? requested_ : 1; }

  // Input k as an array (an inline scalar becomes one on first use).
  const kxArray* input(int k) const { return values_[static_cast<std::size_t>(k)].get(); }
  std::span<const kxArray* const> inputs() const { return all_inputs(); }
  std::span<const kxArray* const> inputs_from(int k) const {
    return all_inputs().subspan(static_cast<std::size_t>(k));
  }

  void set_output(int k, Value v);
  // Gives the results made to the caller, in order up to the first one not made.
  void hand_over(lang::ValueList& outputs) noexcept;

  // "Korel:<name>:<reason>".
  std::string id(std::string_view reason) const;
  [[noreturn]] void fail(std::string_view reason, const std::string& message) const;

 private:
  const char* name_;
  lang::CallContext& context_;
  lang::ValueList& values_;
  int requested_;
  std::span<const kxArray* const> all_inputs() const;

  mutable std::vector<const kxArray*> inputs_;  // made when asked for all at once
  lang::ValueList outputs_;
};

// Runs `body` as the built-in `name`: checks the argument counts against `arity`, turns
// running out of memory into a Korel error and hands the results over at the end.
void run(const char* name, Arity arity, lang::CallContext& context, int nargout,
         lang::ValueList& outputs, lang::ValueList& inputs, void (*body)(Call&));

// ---- Reading arguments ---------------------------------------------------------------

// "1x3 cell", for messages.
std::string describe(const kxArray* a);
// "first", "second", ... for messages about input k (from 0).
std::string ordinal(int k);

// A char row vector or an empty char array of any shape.
bool is_text(const kxArray* a);
// The UTF-8 text of input k, or raises "<name>:badType" naming `role`.
std::string text_argument(const Call& call, int k, std::string_view role);
// A real numeric or logical scalar, or raises "<name>:badType" naming `role`.
double scalar_argument(const Call& call, int k, std::string_view role);
// A dimension number (positive integer scalar), or raises "<name>:badDimension".
// Numbers past every possible dimension come back as a large value.
kxSize dimension_argument(const Call& call, int k);
// A value class (logical, char, numeric) array, or raises "<name>:badType".
void require_values(const Call& call, int k);
// As require_values, and real.
void require_real_values(const Call& call, int k);

}  // namespace krt::library
