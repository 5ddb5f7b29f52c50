// Compiled accesses: a name followed by subscripts, fields and calls (`a(i).f{j}`,
// `f(x)(2)`), and the calls of functions by name with their call-site caches.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "krt/lang/ast.h"
#include "krt/lang/nodes.h"

namespace krt::lang {

// One compiled step of an access chain.
struct Step {
  Access::Kind kind = Access::Kind::Paren;
  std::vector<ExprNodePtr> args;  // Paren, Brace
  std::string field;              // Field
  ExprNodePtr dynamic_field;      // DynamicField
  int line = 0;
  bool args_use_end = false;
};

// The subscripts of a () or {} step on `target`, `end` in each referring to it.
void eval_subscripts(Frame& f, const Step& step, const kxArray* target, ValueList& subs);
// The field name a .name or .(expr) step selects.
std::string step_field_name(Frame& f, const Step& step);
// Arguments of a call: every value of every argument expression, no `end` context.
void eval_arguments(Frame& f, const std::vector<ExprNodePtr>& args, ValueList& out);

// What a call site remembers of the function its name resolved to.
class CallSite {
 public:
  explicit CallSite(int symbol) : symbol_(symbol) {}
  // Calls the function as seen from `caller`: a local function of the caller's file if
  // it has one, else what the host resolves (kept until the host's resolution changes).
  void call(Frame& caller, int nargout, ValueList& outputs, ValueList& inputs) const;
  // Whether the name names a function as seen from `caller`.
  bool resolves(Frame& caller) const;
  int symbol() const { return symbol_; }

 private:
  int symbol_;
  mutable const LoadedProgram* program_ = nullptr;  // the file the local lookup was for
  mutable const CompiledFunction* local_ = nullptr;
  mutable bool local_checked_ = false;
  mutable Target target_;
  mutable uint64_t generation_ = 0;
};

// name(args)... where name is a variable (by slot, or looked up by name when `slot` is
// -1) or a function. A variable indexes; an unset variable or a function calls, with
// the first () step as arguments; the remaining steps apply to the result.
class AccessNode final : public ExprNode {
 public:
  enum class Base { Slot, Named, Function };
  AccessNode(Base base, int slot, int symbol, std::vector<Step> steps);

  Value eval(Frame& f) const override;
  void eval_list(Frame& f, ValueList& out) const override;
  void eval_outputs(Frame& f, int nargout, ValueList& out) const override;

 private:
  // The values of the whole access, the last step asked for `nargout` of them (-1: all
  // a cs-list gives).
  void evaluate(Frame& f, int nargout, ValueList& out) const;
  // a(i) and a(i, j) on a real double array by scalar subscripts: one element, no
  // arrays made. False when the access is anything else (nothing evaluated then).
  bool fast_element(Frame& f, const Value& base, Value& out) const;
  // Applies steps[from...] to `current`.
  void apply(Frame& f, Value current, std::size_t from, int nargout, ValueList& out) const;

  // A call of the whole dotted name (`containers.Map(...)`) when the first step is a
  // field and the name is no variable.
  void call_dotted(Frame& f, int nargout, ValueList& out) const;

  Base base_;
  int slot_;
  CallSite site_;
  std::unique_ptr<CallSite> dotted_;  // name.field, when the chain starts with a field
  std::vector<Step> steps_;
  std::string name_;
};

}  // namespace krt::lang
