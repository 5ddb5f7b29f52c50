#include "krt/lang/interpreter.h"

#include <algorithm>

#include "krt/gateway.h"
#include "krt/lang/anonymous.h"
#include "krt/lang/compiler.h"
#include "krt/lang/parser.h"
#include "krt/lang/statement_nodes.h"
#include "krt/lang/symbols.h"
#include "kx/error.h"

namespace krt::lang {
namespace {

// Deeper Korel recursion than this is an error rather than a crash of the host's stack.
constexpr std::size_t kMaxCallDepth = 256;

[[noreturn]] void undefined(const std::string& name) {
  kx::raise("Korel:UndefinedFunction", "Undefined function or variable '" + name + "'.");
}

// Pushes for the life of a scope, whatever way it ends.
class ActiveFrame {
 public:
  ActiveFrame(std::vector<Frame*>& frames, Frame& frame) : frames_(frames) {
    if (frames_.size() >= kMaxCallDepth)
      kx::raise("Korel:recursionLimit",
                "Maximum recursion limit of " + std::to_string(kMaxCallDepth) + " reached.");
    frames_.push_back(&frame);
  }
  ~ActiveFrame() { frames_.pop_back(); }
  ActiveFrame(const ActiveFrame&) = delete;
  ActiveFrame& operator=(const ActiveFrame&) = delete;

 private:
  std::vector<Frame*>& frames_;
};

Value cell_of(ValueList& values, std::size_t from) {
  std::size_t n = values.size() > from ? values.size() - from : 0;
  Value cell = checked(kxCreateCellMatrix(1, n));
  for (std::size_t i = 0; i < n; ++i)
    if (values[from + i]) kxSetCell(cell.get(), i, values[from + i].release());
  return cell;
}

}  // namespace

Interpreter::Interpreter(Host& host)
    : host_(host), base_{*this, base_workspace_}, ans_symbol_(intern("ans")) {}

// ---- Output and errors --------------------------------------------------------------

void Interpreter::display(const Value& value, const std::string& name) {
  char* text = kxArrayToDisplayText(value.get(), name.c_str());
  if (!text) return;
  std::string copy = text;
  kxFree(text);
  host_.print_text(copy);
}

std::vector<StackFrame> Interpreter::stack() const {
  std::vector<StackFrame> out;
  for (auto it = frames_.rbegin(); it != frames_.rend(); ++it)
    out.push_back(StackFrame{(*it)->program ? (*it)->program->path : "", std::string((*it)->name),
                             (*it)->line});
  return out;
}

void Interpreter::rethrow_with_stack(const kx::KorelError& error) {
  auto* e = dynamic_cast<const Error*>(&error);
  if (e && !e->stack().empty()) throw *e;
  throw Error(error.identifier(), error.what(), stack(),
              e ? e->causes() : std::vector<ErrorDetails>{});
}

// ---- Calls ------------------------------------------------------------------------

void Interpreter::call_named(int symbol, Frame& caller, int nargout, ValueList& outputs,
                             ValueList& inputs) {
  if (caller.program)
    if (const Function* f = caller.program->find(symbol))
      return call_function(*caller.program, *f, nargout, outputs, inputs);
  Target target = host_.resolve(symbol);
  if (!target) undefined(symbol_name(symbol));
  call_target(target, symbol, caller, nargout, outputs, inputs);
}

void Interpreter::call_target(const Target& target, int symbol, Frame& caller, int nargout,
                              ValueList& outputs, ValueList& inputs) {
  switch (target.kind) {
    case Target::Kind::None: undefined(symbol_name(symbol));
    case Target::Kind::Intrinsic: {
      CallContext context{*this, caller};
      return target.intrinsic(context, nargout, outputs, inputs);
    }
    case Target::Kind::Gateway:
      return call_gateway(target.gateway, symbol_name(symbol), nargout, outputs, inputs);
    case Target::Kind::Program: {
      const LoadedProgram& program = *target.program;
      if (program.program->script) {
        if (!inputs.empty() || nargout > 0)
          kx::raise("Korel:scriptAsFunction",
                    "Attempt to execute the script '" + program.name + "' as a function.");
        return run_script(program, caller);
      }
      return call_function(program, *program.primary(), nargout, outputs, inputs);
    }
  }
}

void Interpreter::call_handle(const kxArray* handle, Frame& caller, int nargout,
                              ValueList& outputs, ValueList& inputs) {
  if (const Closure* closure = closure_of(handle))
    return call_closure(*closure, nargout, outputs, inputs);
  const char* name = kxGetFunctionName(handle);
  if (kxNativeFunction fn = kxGetNativeFunction(handle))
    return call_gateway(fn, name ? name : "", nargout, outputs, inputs);
  if (!name || !*name) kx::raise("Korel:badHandle", "The function handle names no function.");
  call_named(intern(name), caller, nargout, outputs, inputs);
}

void Interpreter::call_gateway(kxNativeFunction fn, const std::string& name, int nargout,
                               ValueList& outputs, ValueList& inputs) {
  std::vector<kxArray*> in(inputs.size());
  for (std::size_t i = 0; i < inputs.size(); ++i) in[i] = inputs[i].get();
  const int slots = std::max(nargout, 1);
  std::vector<kxArray*> out(static_cast<std::size_t>(slots), nullptr);
  call_native(fn, name, nargout, out.data(), static_cast<int>(in.size()), in.data());
  ValueList owned;
  owned.reserve(out.size());
  for (kxArray* a : out) owned.emplace_back(a);  // owns them all before anything can throw
  for (Value& v : owned)
    if (v) outputs.push_back(std::move(v));
}

const CompiledFunction& Interpreter::compiled(const LoadedProgram& program, const Function& function) {
  auto& cache = program.compiled;
  if (cache.size() != program.functions.size()) cache.resize(program.functions.size());
  for (std::size_t k = 0; k < program.functions.size(); ++k) {
    if (program.functions[k].second != &function) continue;
    if (!cache[k]) {
      auto compiled = compile_function(function);
      compiled->frame_name =
          &function == program.primary() ? program.name : program.name + ">" + function.name;
      cache[k] = std::move(compiled);
    }
    return *cache[k];
  }
  kx::raise("Korel:internal", "The function '" + function.name + "' is not in its file.");
}

void Interpreter::call_function(const LoadedProgram& program, const Function& function,
                                int nargout, ValueList& outputs, ValueList& inputs) {
  invoke(program, compiled(program, function), nargout, outputs, inputs);
}

void Interpreter::invoke(const LoadedProgram& program, const CompiledFunction& fn, int nargout,
                         ValueList& outputs, ValueList& inputs) {
  const std::size_t fixed_in = fn.inputs.size();
  if (fn.varargin < 0 && inputs.size() > fixed_in)
    kx::raise("Korel:TooManyInputs", "Too many input arguments.");
  const std::size_t fixed_out = fn.outputs.size();
  if (fn.varargout < 0 && static_cast<std::size_t>(nargout) > fixed_out)
    kx::raise("Korel:TooManyOutputs", "Too many output arguments.");

  Workspace workspace(&fn.scope);
  Frame frame{*this, workspace, &program, &fn, fn.frame_name, fn.line,
              static_cast<int>(inputs.size()), nargout};
  for (std::size_t i = 0; i < inputs.size() && i < fixed_in; ++i)
    workspace.raw(fn.inputs[i]) = std::move(inputs[i]);
  if (fn.varargin >= 0) workspace.raw(fn.varargin) = cell_of(inputs, fixed_in);

  {
    ActiveFrame active(frames_, frame);
    try {
      fn.body.exec(frame);
    } catch (const kx::KorelError& e) {
      rethrow_with_stack(e);
    } catch (const std::bad_alloc&) {
      throw Error("Korel:nomem", "Out of memory.", stack());
    }
  }

  // The frame ends here: its outputs move out unless they live on (global, persistent).
  auto take = [&](int slot) {
    Value& v = workspace.at(slot);
    return workspace.is_linked(slot) ? v.share() : std::move(v);
  };
  const std::size_t wanted = std::max(nargout, 1);
  for (std::size_t i = 0; i < wanted; ++i) {
    if (i < fixed_out) {
      const int slot = fn.outputs[i];
      if (!workspace.at(slot)) {
        if (nargout == 0) return;
        kx::raise("Korel:unassignedOutputs",
                  "Output argument '" + fn.output_names[i] +
                      "' (and possibly others) not assigned a value in the execution with '" +
                      std::string(frame.name) + "' function.");
      }
      outputs.push_back(take(slot));
      continue;
    }
    if (fn.varargout < 0) return;
    Value& rest = workspace.at(fn.varargout);
    std::size_t k = i - fixed_out;
    if (!rest || !kxIsCell(rest.get()) || k >= kxGetNumberOfElements(rest.get())) {
      if (nargout == 0) return;
      kx::raise("Korel:unassignedOutputs",
                "Output argument 'varargout' has too few values in the execution with '" +
                    std::string(frame.name) + "' function.");
    }
    const kxArray* element = kxGetCell(rest.get(), k);
    outputs.push_back(element ? Value::share(element) : make_empty_double());
  }
}

void Interpreter::call_closure(const Closure& closure, int nargout, ValueList& outputs,
                               ValueList& inputs) {
  const AnonymousCode& code = *closure.code;
  if (code.varargin < 0 && inputs.size() > code.params.size())
    kx::raise("Korel:TooManyInputs", "Too many input arguments.");
  Workspace workspace(&code.scope);
  for (std::size_t k = 0; k < code.free_slots.size(); ++k)
    if (closure.captured[k]) workspace.raw(code.free_slots[k]) = closure.captured[k].share();
  const std::size_t fixed = code.params.size();
  for (std::size_t i = 0; i < inputs.size() && i < fixed; ++i)
    workspace.raw(code.params[i]) = std::move(inputs[i]);
  if (code.varargin >= 0) workspace.raw(code.varargin) = cell_of(inputs, fixed);
  Frame frame{*this, workspace, closure.program.get(), nullptr, code.text, code.line,
              static_cast<int>(inputs.size()), nargout};
  ActiveFrame active(frames_, frame);
  try {
    code.body->eval_outputs(frame, nargout, outputs);
  } catch (const kx::KorelError& e) {
    rethrow_with_stack(e);
  } catch (const std::bad_alloc&) {
    throw Error("Korel:nomem", "Out of memory.", stack());
  }
}

void Interpreter::run_script(const LoadedProgram& program, Frame& caller) {
  if (!program.compiled_script) program.compiled_script = compile_dynamic(program.program->statements);
  std::shared_ptr<const BlockNode> body = program.compiled_script;
  Frame frame{*this, caller.workspace, &program, nullptr, program.name, 0, caller.nargin,
              caller.nargout};
  ActiveFrame active(frames_, frame);
  try {
    body->exec(frame);
  } catch (const kx::KorelError& e) {
    rethrow_with_stack(e);
  } catch (const std::bad_alloc&) {
    throw Error("Korel:nomem", "Out of memory.", stack());
  }
}

void Interpreter::evaluate_text(std::string_view text, Frame& frame, int nargout,
                                ValueList& outputs) {
  std::unique_ptr<Program> program;
  try {
    program = parse_program(text, "");
  } catch (const SyntaxError& e) {
    kx::raise("Korel:syntaxError", "Invalid Korel text at line " + std::to_string(e.line()) +
                                       ", column " + std::to_string(e.column()) + ": " +
                                       e.what() + ".");
  }
  if (!program->script || !program->functions.empty())
    kx::raise("Korel:eval:functionDefinition",
              "Function definitions are not allowed in eval text.");
  const int line = frame.line;
  if (nargout > 0) {
    const Block& statements = program->statements;
    if (statements.size() != 1 || statements[0]->kind != Stmt::Kind::Expression)
      kx::raise("Korel:eval:notExpression",
                "Text evaluated for a value must be a single expression.");
    compile_dynamic_expression(*statements[0]->expr)->eval_outputs(frame, nargout, outputs);
  } else {
    compile_dynamic(program->statements)->exec(frame);
  }
  frame.line = line;
}

}  // namespace krt::lang
