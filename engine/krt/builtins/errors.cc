// Errors as values: error, throw, rethrow, KException, addCause, getReport, lasterr and
// assert.
#include "krt/builtins/arguments.h"
#include "krt/builtins/intrinsics.h"
#include "krt/builtins/messages.h"
#include "krt/error_state.h"
#include "krt/instance_impl.h"
#include "krt/kexception.h"
#include "krt/library/format.h"

namespace krt::builtins {
namespace {

using lang::CallContext;
using lang::ValueList;

// Raises `error` where the caller stands now unless it already says where it was raised.
[[noreturn]] void raise_from(CallContext& c, ErrorDetails error) {
  if (error.stack.empty()) error.stack = c.interpreter.stack();
  throw Error(std::move(error));
}

const kxArray* kexception_argument(const ValueList& in, std::size_t i, const char* function) {
  const kxArray* a = in[i].get();
  if (!is_kexception(a))
    kx::raise(std::string("Korel:") + function + ":badType",
              std::string("The argument of ") + function + " must be a KException.");
  return a;
}

// The message of an error struct; an absent field reads as empty.
std::string struct_text(const kxArray* s, const char* field) {
  const kxArray* f = kxGetField(s, 0, field);
  if (!f || kxIsEmpty(f)) return "";
  if (!is_text(f))
    kx::raise("Korel:error:badType", std::string("The ") + field + " of an error must be text.");
  return library::text_of(f, "Korel:error:badType");
}

void error(CallContext& c, int, ValueList&, ValueList& in) {
  check_inputs(in, 1, SIZE_MAX, "error");
  const kxArray* first = in[0].get();
  if (is_kexception(first)) {
    check_inputs(in, 1, 1, "error");
    ErrorDetails e = kexception_details(first, "error");
    e.stack.clear();  // raised again here, like throw
    raise_from(c, std::move(e));
  }
  if (kxIsStruct(first)) {
    // error(s): an empty message, or no message field, means no error.
    check_inputs(in, 1, 1, "error");
    std::string message = struct_text(first, "message");
    if (message.empty()) return;
    raise_from(c, {struct_text(first, "identifier"), message, stack_field(first), {}});
  }
  auto [identifier, message] = message_of(in, 0, "error");
  if (message.empty()) return;
  raise_from(c, {identifier, message, {}, {}});
}

void throw_(CallContext& c, int, ValueList&, ValueList& in) {
  check_inputs(in, 1, 1, "throw");
  ErrorDetails e = kexception_details(kexception_argument(in, 0, "throw"), "throw");
  e.stack.clear();  // a thrown error starts where it is thrown
  raise_from(c, std::move(e));
}

void rethrow(CallContext& c, int, ValueList&, ValueList& in) {
  check_inputs(in, 1, 1, "rethrow");
  const kxArray* a = in[0].get();
  if (is_kexception(a)) raise_from(c, kexception_details(a, "rethrow"));
  // An error struct with message, identifier and stack, as older code keeps them.
  if (!kxIsStruct(a) || kxGetNumberOfElements(a) != 1 || kxGetFieldNumber(a, "message") < 0)
    kx::raise("Korel:rethrow:badType",
              "rethrow needs a KException or an error struct with a message field.");
  raise_from(c, {struct_text(a, "identifier"), struct_text(a, "message"), stack_field(a), {}});
}

void kexception(CallContext&, int, ValueList& out, ValueList& in) {
  check_inputs(in, 2, SIZE_MAX, "KException");
  std::string identifier = text_argument(in, 0, "KException");
  if (!identifier.empty() && !looks_like_identifier(identifier))
    kx::raise("Korel:KException:badIdentifier",
              "The identifier '" + identifier + "' is not of the form 'component:reason'.");
  std::string format = text_argument(in, 1, "KException");
  std::vector<const kxArray*> args;
  for (std::size_t i = 2; i < in.size(); ++i) args.push_back(in[i].get());
  out.push_back(make_kexception({identifier, library::format(format, args), {}, {}}));
}

void add_cause(CallContext&, int, ValueList& out, ValueList& in) {
  check_inputs(in, 2, 2, "addCause");
  ErrorDetails e = kexception_details(kexception_argument(in, 0, "addCause"), "addCause");
  e.causes.push_back(kexception_details(kexception_argument(in, 1, "addCause"), "addCause"));
  out.push_back(make_kexception(e));
}

void get_report(CallContext&, int, ValueList& out, ValueList& in) {
  check_inputs(in, 1, 1, "getReport");
  out.push_back(
      make_string(report_of(kexception_details(kexception_argument(in, 0, "getReport"), "getReport"))));
}

// msg = lasterr, [msg, id] = lasterr, lasterr(msg), lasterr(msg, id): the last error,
// caught or not, and setting it (an empty message clears it).
void lasterr(CallContext& c, int nargout, ValueList& out, ValueList& in) {
  check_inputs(in, 0, 2, "lasterr");
  check_outputs(nargout, 2, "lasterr");
  ErrorState& last = instance_of(c).error;
  if (nargout > 0 || in.empty()) {
    out.push_back(make_string(last.set ? last.message : ""));
    if (nargout > 1) out.push_back(make_string(last.set ? last.identifier : ""));
  }
  if (in.empty()) return;
  std::string message = text_argument(in, 0, "lasterr");
  std::string identifier = in.size() > 1 ? text_argument(in, 1, "lasterr") : "";
  if (message.empty() && identifier.empty())
    last.clear();
  else
    last.record(identifier, message, {});
}

// The truth of an assert condition: a real logical or numeric scalar, not NaN.
bool condition_holds(const Value& condition) {
  double v = 0;
  if (condition.class_id() == kxCHAR_CLASS || !condition.real_scalar(v))
    kx::raise("Korel:assert:notLogicalScalar",
              "The condition of assert must be a real logical or numeric scalar.");
  if (v != v) kx::raise("Korel:assert:nanCondition", "The condition of assert is NaN.");
  return v != 0;
}

void assert_(CallContext& c, int, ValueList&, ValueList& in) {
  check_inputs(in, 1, SIZE_MAX, "assert");
  if (condition_holds(in[0])) return;
  if (in.size() == 1) raise_from(c, {"Korel:assert:failed", "Assertion failed.", {}, {}});
  auto [identifier, message] = message_of(in, 1, "assert");
  raise_from(c, {identifier, message.empty() ? "Assertion failed." : message, {}, {}});
}

}  // namespace

const lang::IntrinsicEntry kErrorFunctions[] = {
    {"error", error,
     "Raises an error: error(msg) takes msg as it stands; error(id, fmt, args...) and "
     "error(fmt, args...) format like sprintf; error(s) and error(err) raise an error struct "
     "or KException. An empty message raises nothing."},
    {"throw", throw_, "Raises a KException from where it is called, keeping its causes."},
    {"rethrow", rethrow,
     "Raises a KException (or an error struct) again with the stack it already has."},
    {"KException", kexception,
     "KException(id, fmt, args...): a new error value (identifier, message, stack, cause) "
     "without raising it; id is empty or of the form 'component:reason'."},
    {"addCause", add_cause, "addCause(err, cause): err with another KException appended to its cause."},
    {"getReport", get_report,
     "The report of a KException as an uncaught error shows it: the message, the function and "
     "line where it was raised, and its causes."},
    {"lasterr", lasterr,
     "[msg, id] = lasterr: the last error, caught or not; lasterr(msg, id) sets it and "
     "lasterr('') clears it."},
    {"assert", assert_,
     "assert(cond), assert(cond, msg), assert(cond, id, fmt, args...): raises an error unless "
     "cond, a real logical or numeric scalar, is true."},
    {nullptr, nullptr}};

}  // namespace krt::builtins
