// eval, feval, nargin, nargout, narginchk, nargoutchk, isvarname, exist, which.
#include <cctype>
#include <cmath>

#include "krt/builtins/arguments.h"
#include "krt/builtins/handles.h"
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
  Value function = callable(in.front(), "feval");
  in.erase(in.begin());
  c.interpreter.call_handle(function.get(), c.caller, nargout, out, in);
}

void count_of(CallContext& c, ValueList& out, ValueList& in, bool inputs) {
  const char* name = inputs ? "nargin" : "nargout";
  check_inputs(in, 0, 1, name);
  if (!in.empty()) return out.push_back(make_double(declared_count(c, in[0], inputs, name)));
  if (!c.caller.function)
    kx::raise(std::string("Korel:") + name + ":notInFunction",
              std::string("'") + name + "' is only valid inside a function.");
  out.push_back(make_double(inputs ? c.caller.nargin : c.caller.nargout));
}

void nargin(CallContext& c, int, ValueList& out, ValueList& in) { count_of(c, out, in, true); }
void nargout(CallContext& c, int, ValueList& out, ValueList& in) { count_of(c, out, in, false); }

// A bound of narginchk or nargoutchk: a whole number, Inf allowed.
double bound(const ValueList& in, std::size_t k, const char* function) {
  double v = 0;
  const kxArray* a = in[k].get();
  if (!kxIsNumeric(a) || kxGetNumberOfElements(a) != 1 || kxIsComplex(a) ||
      std::isnan(v = kxGetScalar(a)) || (std::isfinite(v) && v != std::floor(v)))
    kx::raise(std::string("Korel:") + function + ":badBound",
              std::string("The bounds given to ") + function + " must be whole numbers.");
  return v;
}

// Raises the caller's own argument error when its count of inputs (outputs) is outside
// [min, max].
void count_check(CallContext& c, ValueList& in, bool inputs) {
  const char* name = inputs ? "narginchk" : "nargoutchk";
  check_inputs(in, 2, 2, name);
  const double low = bound(in, 0, name), high = bound(in, 1, name);
  if (!c.caller.function)
    kx::raise(std::string("Korel:") + name + ":notInFunction",
              std::string("'") + name + "' is only valid inside a function.");
  const int count = inputs ? c.caller.nargin : c.caller.nargout;
  const char* what = inputs ? "input" : "output";
  if (count < low)
    kx::raise(std::string("Korel:") + name + ":notEnough" + (inputs ? "Inputs" : "Outputs"),
              std::string("Not enough ") + what + " arguments.");
  if (count > high)
    kx::raise(std::string("Korel:") + name + ":tooMany" + (inputs ? "Inputs" : "Outputs"),
              std::string("Too many ") + what + " arguments.");
}

void narginchk(CallContext& c, int nargout, ValueList&, ValueList& in) {
  check_outputs(nargout, 0, "narginchk");
  count_check(c, in, true);
}

void nargoutchk(CallContext& c, int nargout, ValueList&, ValueList& in) {
  check_outputs(nargout, 0, "nargoutchk");
  count_check(c, in, false);
}

// Whether a text can name a variable: a letter, then letters, digits and underscores,
// at most 63, and not a keyword.
void isvarname(CallContext&, int, ValueList& out, ValueList& in) {
  check_inputs(in, 1, 1, "isvarname");
  static const char* const kKeywords[] = {
      "break", "case",   "catch",    "classdef",   "continue", "else",
      "elseif", "end",   "for",      "function",   "global",   "if",
      "otherwise", "parfor", "persistent", "return", "spmd",   "switch",
      "try",   "while"};
  bool valid = false;
  if (is_text(in[0].get()) && !kxIsEmpty(in[0].get())) {
    std::string name = text_argument(in, 0, "isvarname");
    valid = name.size() <= 63 && std::isalpha(static_cast<unsigned char>(name[0]));
    for (char ch : name) valid = valid && (std::isalnum(static_cast<unsigned char>(ch)) || ch == '_');
    for (const char* keyword : kKeywords) valid = valid && name != keyword;
  }
  out.push_back(make_logical(valid));
}

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
    {"eval", eval, "Runs text as Korel statements; eval(try, catch) runs catch when try fails."},
    {"feval", feval, "Calls a function given by handle or by name with the remaining arguments."},
    {"nargin", nargin,
     "Inputs the calling function received; nargin(f) the inputs f declares (-(n+1) with varargin)."},
    {"nargout", nargout,
     "Outputs the caller asked for; nargout(f) the outputs f declares (-(n+1) with varargout)."},
    {"narginchk", narginchk,
     "Raises the caller's 'Not enough/Too many input arguments.' outside [min, max]."},
    {"nargoutchk", nargoutchk,
     "Raises the caller's 'Not enough/Too many output arguments.' outside [min, max]."},
    {"isvarname", isvarname, "True for text that can name a variable (and is not a keyword)."},
    {"exist", exist,
     "What a name is: 1 variable, 2 file, 3 native function, 5 built-in, 7 directory, 0 nothing."},
    {"which", which, "Where a function comes from: its file, 'built-in', or a variable."},
    {nullptr, nullptr}};

}  // namespace krt::builtins
