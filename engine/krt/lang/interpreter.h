// The evaluator: runs compiled Korel functions, scripts and text on array values.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "krt/array/value.h"
#include "krt/error_state.h"
#include "krt/lang/call.h"
#include "krt/lang/host.h"
#include "krt/lang/nodes.h"
#include "krt/lang/workspace.h"

namespace krt::lang {

struct Closure;

// What `end` refers to while a subscript is evaluated.
struct EndContext {
  const kxArray* array;
  std::size_t position;  // which subscript, from 0
  std::size_t count;     // of how many
};

class Interpreter {
 public:
  explicit Interpreter(Host& host);
  Interpreter(const Interpreter&) = delete;
  Interpreter& operator=(const Interpreter&) = delete;

  Host& host() const { return host_; }
  // The base workspace's frame: where host calls and eval from the host run.
  Frame& base_frame() { return base_; }

  // Calls the function `symbol` names as seen from `caller`: its file's functions
  // first, then the host's resolution order.
  void call_named(int symbol, Frame& caller, int nargout, ValueList& outputs, ValueList& inputs);
  // Calls a resolved target.
  void call_target(const Target& target, int symbol, Frame& caller, int nargout,
                   ValueList& outputs, ValueList& inputs);
  // Calls a function handle array.
  void call_handle(const kxArray* handle, Frame& caller, int nargout, ValueList& outputs,
                   ValueList& inputs);
  // Calls a function of a loaded file.
  void call_function(const LoadedProgram& program, const Function& function, int nargout,
                     ValueList& outputs, ValueList& inputs);
  // The same with the function already compiled (what call sites keep).
  void invoke(const LoadedProgram& program, const CompiledFunction& function, int nargout,
              ValueList& outputs, ValueList& inputs);
  // A function of a loaded file, compiled on first use.
  const CompiledFunction& compiled(const LoadedProgram& program, const Function& function);

  // Runs Korel text in `frame`'s workspace. With nargout > 0 the text must be one
  // expression, whose values are returned.
  void evaluate_text(std::string_view text, Frame& frame, int nargout, ValueList& outputs);

  // Where the evaluator is now, innermost frame first (functions and scripts only).
  std::vector<StackFrame> stack() const;

  // A variable of `frame` (globals followed), or null.
  Value* find_variable(Frame& frame, int symbol) { return frame.workspace.value_of(symbol); }
  void set_variable(Frame& frame, int symbol, Value value) {
    frame.workspace.at(frame.workspace.add(symbol)) = std::move(value);
  }

  // Prints `value` as the result of a statement, through the host's print handler.
  void display(const Value& value, const std::string& name);

  // The array `end` refers to now, or null outside any subscript.
  const EndContext* end_context() const { return ends_.empty() ? nullptr : &ends_.back(); }
  void push_end(EndContext c) { ends_.push_back(c); }
  void pop_end() { ends_.pop_back(); }

  // The symbol of `ans`.
  int ans_symbol() const { return ans_symbol_; }

  // Adds the current stack to an error that has none yet.
  [[noreturn]] void rethrow_with_stack(const kx::KorelError& error);

 private:
  void run_script(const LoadedProgram& program, Frame& caller);
  void call_closure(const Closure& closure, int nargout, ValueList& outputs, ValueList& inputs);
  void call_gateway(kxNativeFunction fn, const std::string& name, int nargout,
                    ValueList& outputs, ValueList& inputs);

  Host& host_;
  Workspace base_workspace_;
  Frame base_;
  std::vector<Frame*> frames_;  // active functions and scripts, outermost first
  std::vector<EndContext> ends_;
  int ans_symbol_;
};

}  // namespace krt::lang
