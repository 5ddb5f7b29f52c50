// func2str, str2func, functions; the declared counts nargin(f) and nargout(f) report.
#include "krt/builtins/handles.h"

#include <cctype>

#include "krt/builtins/arguments.h"
#include "krt/builtins/intrinsics.h"
#include "krt/lang/access_nodes.h"
#include "krt/lang/anonymous.h"
#include "krt/lang/compiler.h"
#include "krt/lang/parser.h"
#include "krt/lang/symbols.h"
#include "kx/error.h"

namespace krt::builtins {
namespace {

using lang::CallContext;
using lang::Target;
using lang::ValueList;

bool is_name(const std::string& text) {
  if (text.empty() || !std::isalpha(static_cast<unsigned char>(text[0]))) return false;
  for (char ch : text)
    if (!std::isalnum(static_cast<unsigned char>(ch)) && ch != '_') return false;
  return true;
}

const kxArray* handle_argument(const ValueList& in, const char* function) {
  const kxArray* f = in[0].get();
  if (!kxIsFunctionHandle(f) || kxGetNumberOfElements(f) != 1 || !kxGetFunctionName(f))
    kx::raise(std::string("Korel:") + function + ":badType",
              std::string("The argument of ") + function + " must be a function handle.");
  return f;
}

// The text a handle shows: an anonymous function as written, else the function's name.
std::string handle_text(const kxArray* f) {
  if (const lang::Closure* closure = lang::closure_of(f)) return closure->code->text;
  return kxGetFunctionName(f);
}

int count_of(const std::vector<std::string>& names, const char* rest) {
  const int n = static_cast<int>(names.size());
  return n > 0 && names.back() == rest ? -n : n;
}

// The declared count of the function `name` as `c`'s caller would call it.
int named_count(CallContext& c, const std::string& name, bool inputs, const char* caller) {
  const int symbol = lang::intern(name);
  const lang::Function* function = c.caller.program ? c.caller.program->find(symbol) : nullptr;
  Target target;
  if (!function) {
    target = instance_of(c).resolve(symbol);
    if (!target)
      kx::raise(std::string("Korel:") + caller + ":undefinedFunction",
                "Undefined function '" + name + "'.");
    if (target.kind != Target::Kind::Program) return -1;
    if (target.program->program->script)
      kx::raise(std::string("Korel:") + caller + ":script",
                "'" + name + "' is a script, which takes no arguments.");
    function = target.program->primary();
  }
  return inputs ? count_of(function->inputs, "varargin") : count_of(function->outputs, "varargout");
}

void func2str(CallContext&, int, ValueList& out, ValueList& in) {
  check_inputs(in, 1, 1, "func2str");
  out.push_back(make_string(handle_text(handle_argument(in, "func2str"))));
}

// An anonymous function made from text: it captures nothing, whatever the caller holds.
Value anonymous_from_text(CallContext& c, const std::string& text) {
  std::unique_ptr<lang::Program> program;
  try {
    program = lang::parse_program(text, "");
  } catch (const lang::SyntaxError& e) {
    kx::raise("Korel:str2func:badText",
              "'" + text + "' is not a valid anonymous function: " + e.what() + ".");
  }
  const lang::Block& statements = program->statements;
  if (!program->functions.empty() || statements.size() != 1 ||
      statements[0]->kind != lang::Stmt::Kind::Expression ||
      statements[0]->expr->kind != lang::Expr::Kind::AnonymousFunction)
    kx::raise("Korel:str2func:badText", "'" + text + "' is not one anonymous function.");
  lang::ExprNodePtr maker = lang::compile_dynamic_expression(*statements[0]->expr);
  lang::Workspace empty;
  lang::Frame frame{c.interpreter, empty, nullptr, nullptr, "str2func", 0, 0, 1};
  return maker->eval(frame);
}

void str2func(CallContext& c, int, ValueList& out, ValueList& in) {
  check_inputs(in, 1, 1, "str2func");
  std::string text = text_argument(in, 0, "str2func");
  std::size_t start = text.find_first_not_of(" \t");
  if (start != std::string::npos && text[start] == '@')
    return out.push_back(anonymous_from_text(c, text.substr(start)));
  if (!is_name(text))
    kx::raise("Korel:str2func:badName",
              "'" + text + "' is neither a function name nor an anonymous function.");
  out.push_back(checked(kxCreateFunctionHandle(text.c_str())));
}

// What a handle is: its text, its kind ('simple' or 'anonymous') and the file it runs.
void functions(CallContext& c, int, ValueList& out, ValueList& in) {
  check_inputs(in, 1, 1, "functions");
  const kxArray* f = handle_argument(in, "functions");
  const lang::Closure* closure = lang::closure_of(f);
  std::string file;
  if (closure) {
    if (closure->program) file = closure->program->path;
  } else if (!kxGetNativeFunction(f)) {
    const int symbol = lang::intern(kxGetFunctionName(f));
    if (c.caller.program && c.caller.program->find(symbol))
      file = c.caller.program->path;
    else if (Target t = instance_of(c).resolve(symbol); t.kind != Target::Kind::Intrinsic)
      file = t.path;
  }
  const char* fields[] = {"function", "type", "file"};
  Value s = checked(kxCreateStructMatrix(1, 1, 3, fields));
  kxSetField(s.get(), 0, "function", make_string(handle_text(f)).release());
  kxSetField(s.get(), 0, "type", make_string(closure ? "anonymous" : "simple").release());
  kxSetField(s.get(), 0, "file", make_string(file).release());
  out.push_back(std::move(s));
}

}  // namespace

int declared_count(CallContext& c, const Value& function, bool inputs, const char* caller) {
  const kxArray* f = function.get();
  if (kxIsFunctionHandle(f)) {
    ValueList one;
    one.push_back(function.share());
    f = handle_argument(one, caller);
    if (const lang::Closure* closure = lang::closure_of(f)) {
      // A body that is a call gives as many outputs as that call does.
      if (!inputs) return dynamic_cast<const lang::AccessNode*>(closure->code->body.get()) ? -1 : 1;
      const auto fixed = static_cast<int>(closure->code->params.size());
      return closure->code->varargin >= 0 ? -(fixed + 1) : fixed;
    }
    if (kxGetNativeFunction(f)) return -1;
    return named_count(c, kxGetFunctionName(f), inputs, caller);
  }
  ValueList one;
  one.push_back(function.share());
  return named_count(c, text_argument(one, 0, caller), inputs, caller);
}

Value callable(const Value& function, const char* caller) {
  const kxArray* f = function.get();
  if (kxIsFunctionHandle(f) && kxGetNumberOfElements(f) == 1) return function.share();
  if (is_text(f) && !kxIsEmpty(f)) {
    ValueList one;
    one.push_back(function.share());
    std::string name = text_argument(one, 0, caller);
    if (is_name(name)) return checked(kxCreateFunctionHandle(name.c_str()));
  }
  kx::raise(std::string("Korel:") + caller + ":badFunction",
            std::string("The function given to ") + caller +
                " must be a function handle or a function name.");
}

const lang::IntrinsicEntry kHandleFunctions[] = {
    {"func2str", func2str,
     "The text of a function handle: an anonymous function as written, else the name."},
    {"str2func", str2func,
     "A handle from a name, or an anonymous function from '@(x) ...' text (capturing nothing)."},
    {"functions", functions,
     "A struct describing a handle: function (its text), type ('simple' or 'anonymous'), file."},
    {nullptr, nullptr}};

}  // namespace krt::builtins
