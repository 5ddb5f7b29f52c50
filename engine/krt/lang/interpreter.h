// The tree-walking evaluator: runs Korel statements on array values.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "krt/array/value.h"
#include "krt/error_state.h"
#include "krt/lang/call.h"
#include "krt/lang/workspace.h"

namespace krt {
class Instance;
}

namespace krt::lang {

// One active function, script or text: where its variables are and where it is.
struct Frame {
  Workspace* workspace = nullptr;
  const LoadedProgram* program = nullptr;  // the file running; null for text and base
  const Function* function = nullptr;      // null for scripts, text and base
  std::string name;                        // for error reports ("" for the base)
  int line = 0;
  int nargin = 0;
  int nargout = 0;
};

class Interpreter {
 public:
  explicit Interpreter(Instance& instance);
  Interpreter(const Interpreter&) = delete;
  Interpreter& operator=(const Interpreter&) = delete;

  Instance& instance() const { return instance_; }
  // The base workspace's frame: where host calls and eval from the host run.
  Frame& base_frame() { return base_; }

  // Calls the function `symbol` names as seen from `caller`: its file's functions
  // first, then the instance's resolution order.
  void call_named(int symbol, Frame& caller, int nargout, ValueList& outputs, ValueList& inputs);
  // Calls a resolved target.
  void call_target(const Target& target, int symbol, Frame& caller, int nargout,
                   ValueList& outputs, ValueList& inputs);
  // Calls a function handle array.
  void call_handle(const kxArray* handle, Frame& caller, int nargout, ValueList& outputs,
                   ValueList& inputs);

  // Runs Korel text in `frame`'s workspace. With nargout > 0 the text must be one
  // expression, whose values are returned.
  void evaluate_text(std::string_view text, Frame& frame, int nargout, ValueList& outputs);

  // Where the evaluator is now, innermost frame first (functions and scripts only).
  std::vector<StackFrame> stack() const;

  // A variable of `frame` (globals followed), or null.
  Value* find_variable(Frame& frame, int symbol);
  void set_variable(Frame& frame, int symbol, Value value);

  // Prints `value` as the result of a statement, through the instance's print handler.
  void display(const kxArray* value, const std::string& name);

 private:
  enum class Flow { Normal, Break, Continue, Return };

  Flow exec_block(const Block& block, Frame& frame);
  Flow exec(const Stmt& stmt, Frame& frame);
  void exec_assign(const Stmt& stmt, Frame& frame);
  void exec_expression(const Stmt& stmt, Frame& frame);
  void exec_command(const Stmt& stmt, Frame& frame);
  Flow exec_for(const Stmt& stmt, Frame& frame);
  Flow exec_switch(const Stmt& stmt, Frame& frame);
  Flow exec_try(const Stmt& stmt, Frame& frame);

  // Exactly one value.
  Value eval(const Expr& expr, Frame& frame);
  // Every value an expression yields (a cs-list from c{:} or s.f may give several).
  void eval_list(const Expr& expr, Frame& frame, ValueList& out);
  // A name with an access chain, or a bare name, wanting `nargout` values.
  void eval_postfix(const Expr& expr, Frame& frame, int nargout, ValueList& out);
  void apply_chain(Value base, const std::vector<Access>& chain, std::size_t from, Frame& frame,
                   int nargout, ValueList& out);
  // The subscripts of a () or {} access on `target`.
  void eval_subscripts(const Access& access, const kxArray* target, Frame& frame,
                       ValueList& subs, std::vector<const kxArray*>& pointers);
  Value eval_matrix(const Expr& expr, Frame& frame, bool cell);
  // Real double scalar arithmetic on numbers and variables, without making arrays; false
  // when the expression is anything else (nothing has been evaluated then).
  bool scalar_value(const Expr& expr, Frame& frame, double& result);
  // Stores a double scalar in a variable, in place when the variable alone holds one.
  void set_scalar(Frame& frame, int symbol, double value);
  Value eval_binary(const Expr& expr, Frame& frame);

  // The name a .field or .(expr) step selects.
  std::string field_name(const Access& step, Frame& frame);
  // lvalue(chain[from...]) = rhs, on `target` which may be empty.
  void assign_into(Value& target, const LValue& lv, std::size_t from, Value rhs, Frame& frame);

  void call_function(const LoadedProgram& program, const Function& function, int nargout,
                     ValueList& outputs, ValueList& inputs);
  void run_script(const LoadedProgram& program, Frame& caller);
  void call_gateway(kxNativeFunction fn, const std::string& name, int nargout,
                    ValueList& outputs, ValueList& inputs);

  // Adds the current stack to an error that has none yet.
  [[noreturn]] void rethrow_with_stack(const kx::KorelError& error);

  Instance& instance_;
  Workspace base_workspace_;
  Frame base_;
  std::vector<Frame*> frames_;  // active functions and scripts, outermost first
  struct EndContext {
    const kxArray* array;
    std::size_t position;
    std::size_t count;
  };
  std::vector<EndContext> ends_;
  int ans_symbol_;
};

}  // namespace krt::lang
