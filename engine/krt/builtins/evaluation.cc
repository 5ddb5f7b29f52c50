// eval, feval, nargin, nargout, exist, which.
#include "krt/builtins/arguments.h"
#include "krt/builtins/intrinsics.h"
#include "krt/function_registry.h"
#include "krt/instance_impl.h"
#include "krt/lang/interpreter.h"
#include "krt/lang/symbols.h"
#include "kx/error.h"

namespace krt::builtins {
namespace {

using lang::CallContext;
using lang::Target;
using lang::ValueList;

void eval(CallContext& c, int nargout, ValueList& out, ValueList& in) {
  check_inputs(in, 1, 2, "eval");
  std::string text = text_argument(in, 0, "eval");
  if (in.size() == 1) return c.interpreter.evaluate_text(text, c.caller, nargout, out);
  // eval(try, catch): the second text runs when the first fails.
  std::string fallback = text_argument(in, 1, "eval");
  ValueList attempt;
  try {
    c.interpreter.evaluate_text(text, c.caller, nargout, attempt);
  } catch (const kx::KorelError&) {
    return c.interpreter.evaluate_text(fallback, c.caller, nargout, out);
  }
  for (Value& v : attempt) out.push_back(std::move(v));
}

void feval(CallContext& c, int nargout, ValueList& out, ValueList& in) {
  check_inputs(in, 1, SIZE_MAX, "feval");
  Value function = std::move(in.front());
  in.erase(in.begin());
  if (kxIsFunctionHandle(function.get()))
    return c.interpreter.call_handle(function.get(), c.caller, nargout, out, in);
  ValueList name_only;
  name_only.push_back(std::move(function));
  std::string name = text_argument(name_only, 0, "feval");
  c.interpreter.call_named(lang::intern(name), c.caller, nargout, out, in);
}

void count_of(CallContext& c, ValueList& out, ValueList& in, bool inputs) {
  const char* name = inputs ? "nargin" : "nargout";
  check_inputs(in, 0, 0, name);
  if (!c.caller.function)
    kx::raise(std::string("Korel:") + name + ":notInFunction",
              std::string("'") + name + "' is only valid inside a function.");
  out.push_back(make_double(inputs ? c.caller.nargin : c.caller.nargout));
}

void nargin(CallContext& c, int, ValueList& out, ValueList& in) { count_of(c, out, in, true); }
void nargout(CallContext& c, int, ValueList& out, ValueList& in) { count_of(c, out, in, false); }

// What a name is, by the codes exist() reports: 1 variable, 2 file, 3 native function,
// 5 built-in, 7 directory, 0 nothing.
int classify(CallContext& c, const std::string& name, const std::string& kind) {
  Instance& instance = instance_of(c);
  const bool any = kind.empty();
  if ((any || kind == "var") && c.interpreter.find_variable(c.caller, lang::intern(name)))
    return 1;
  if (kind == "var") return 0;
  if (any || kind == "file" || kind == "builtin") {
    Target t = instance.resolve_unbound(lang::intern(name));
    if (t.kind == Target::Kind::Intrinsic || (t.kind == Target::Kind::Gateway && t.path.empty()))
      return 5;
    if (kind == "builtin") return 0;
    if (t.kind == Target::Kind::Gateway) return 3;
    if (t.kind == Target::Kind::Program) return 2;
  }
  if (any || kind == "file" || kind == "dir") {
    if (!instance.dispatcher.locate(name, true).empty()) return 7;
    if (kind == "dir") return 0;
    if (!instance.dispatcher.locate(name, false).empty()) return 2;
  }
  return 0;
}

void exist(CallContext& c, int nargout, ValueList& out, ValueList& in) {
  check_inputs(in, 1, 2, "exist");
  std::string name = text_argument(in, 0, "exist");
  std::string kind = in.size() > 1 ? text_argument(in, 1, "exist") : "";
  if (!kind.empty() && kind != "var" && kind != "file" && kind != "dir" && kind != "builtin")
    kx::raise("Korel:exist:badKind", "The second argument of exist must be 'var', 'builtin', "
                                     "'file' or 'dir'.");
  out.push_back(make_double(classify(c, name, kind)));
}

void which(CallContext& c, int nargout, ValueList& out, ValueList& in) {
  check_inputs(in, 1, 1, "which");
  std::string name = text_argument(in, 0, "which");
  std::string found;
  if (c.interpreter.find_variable(c.caller, lang::intern(name))) {
    found = "variable";
  } else {
    const lang::LoadedProgram* file = c.caller.program;
    if (file && file->find(lang::intern(name))) {
      found = file->path;
    } else {
      Target t = instance_of(c).resolve(lang::intern(name));
      if (t.kind == Target::Kind::Intrinsic || (t.kind == Target::Kind::Gateway && t.path.empty()))
        found = "built-in (" + name + ")";
      else if (t)
        found = t.path;
    }
  }
  if (nargout > 0) return out.push_back(make_string(found));
  Instance& instance = instance_of(c);
  if (found.empty())
    instance.print("'" + name + "' not found.\n");
  else if (found == "variable")
    instance.print("'" + name + "' is a variable.\n");
  else
    instance.print(found + "\n");
}

}  // namespace

const lang::IntrinsicEntry kEvaluationFunctions[] = {
    {"eval", eval,
     "Runs text in the caller's workspace; eval(TRY, CATCH) runs CATCH when TRY fails. "
     "The text may not define functions."},
    {"feval", feval, "Calls a function handle, or the function a text names, with the other arguments."},
    {"nargin", nargin,
     "In a function, how many inputs it was called with (nargin(F) of another function is not supported)."},
    {"nargout", nargout,
     "In a function, how many outputs its caller asked for (nargout(F) is not supported)."},
    {"exist", exist,
     "What a name is: 1 variable, 2 file, 3 native function file, 5 built-in, 7 directory, 0 "
     "none; 'var', 'builtin', 'file' or 'dir' narrows the question."},
    {"which", which, "Where a name resolves: variable, built-in or file path; printed, or as text."},
    {nullptr, nullptr}};

}  // namespace krt::builtins
