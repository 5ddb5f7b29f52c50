// error, rethrow and warning.
#include <cctype>

#include "krt/builtins/arguments.h"
#include "krt/builtins/intrinsics.h"
#include "krt/error_state.h"
#include "krt/instance_impl.h"
#include "krt/library/format.h"
#include "ut/warning.h"

namespace krt::builtins {
namespace {

using lang::CallContext;
using lang::ValueList;

// "component:reason" (two or more parts, no blanks): the form of a message identifier.
bool looks_like_identifier(const std::string& s) {
  std::size_t colon = s.find(':');
  if (colon == std::string::npos || colon == 0 || s.back() == ':') return false;
  for (char ch : s)
    if (std::isspace(static_cast<unsigned char>(ch)) || ch == '%') return false;
  return true;
}

// The identifier and formatted text of error(...) or warning(...) arguments.
std::pair<std::string, std::string> message_of(ValueList& in, const char* function) {
  std::string first = text_argument(in, 0, function);
  std::size_t next = 1;
  std::string identifier;
  if (in.size() > 1 && looks_like_identifier(first)) {
    identifier = first;
    first = text_argument(in, 1, function);
    next = 2;
  }
  // A lone message is taken as it stands; with arguments it is a format.
  if (in.size() == next && identifier.empty()) return {identifier, first};
  std::vector<const kxArray*> args;
  for (std::size_t i = next; i < in.size(); ++i) args.push_back(in[i].get());
  return {identifier, library::format(first, args)};
}

std::string field_text(const kxArray* s, const char* name) {
  const kxArray* f = kxGetField(s, 0, name);
  return f && is_text(f) ? library::text_of(f, "Korel:error:badType") : "";
}

std::vector<StackFrame> frames_of(const kxArray* s) {
  std::vector<StackFrame> frames;
  const kxArray* stack = kxGetField(s, 0, "stack");
  if (!stack || !kxIsStruct(stack)) return frames;
  for (kxSize i = 0, n = kxGetNumberOfElements(stack); i < n; ++i) {
    StackFrame f;
    if (const kxArray* v = kxGetField(stack, i, "file"); v && is_text(v))
      f.file = library::text_of(v, "Korel:rethrow:badType");
    if (const kxArray* v = kxGetField(stack, i, "name"); v && is_text(v))
      f.name = library::text_of(v, "Korel:rethrow:badType");
    if (const kxArray* v = kxGetField(stack, i, "line"); v && kxIsNumeric(v) && !kxIsEmpty(v))
      f.line = static_cast<int>(kxGetScalar(v));
    frames.push_back(std::move(f));
  }
  return frames;
}

void error(CallContext&, int, ValueList&, ValueList& in) {
  check_inputs(in, 1, SIZE_MAX, "error");
  if (kxIsStruct(in[0].get())) {
    // error(s): an empty message means no error.
    std::string message = field_text(in[0].get(), "message");
    if (message.empty()) return;
    throw Error(field_text(in[0].get(), "identifier"), message, frames_of(in[0].get()));
  }
  auto [identifier, message] = message_of(in, "error");
  if (message.empty()) return;
  throw Error(identifier, message);
}

void rethrow(CallContext&, int, ValueList&, ValueList& in) {
  check_inputs(in, 1, 1, "rethrow");
  if (!kxIsStruct(in[0].get()))
    kx::raise("Korel:rethrow:badType", "rethrow needs an error value from catch.");
  throw Error(field_text(in[0].get(), "identifier"), field_text(in[0].get(), "message"),
              frames_of(in[0].get()));
}

bool warning_enabled(const std::string& id) {
  utWarningManager* m = utGetWarningContext();
  if (!ut_get_warning_status_id(m, "all")) {
    // "off all" silences everything not switched on by name since.
    for (const auto& [name, on] : ut_get_warning_states(m))
      if (name == id) return on;
    return false;
  }
  return id.empty() || ut_get_warning_status_id(m, id.c_str());
}

Value warning_state(const std::string& id) {
  const char* fields[] = {"identifier", "state"};
  Value s = checked(kxCreateStructMatrix(1, 1, 2, fields));
  kxSetField(s.get(), 0, "identifier", make_string(id).release());
  kxSetField(s.get(), 0, "state", make_string(warning_enabled(id) ? "on" : "off").release());
  return s;
}

void warning(CallContext& c, int nargout, ValueList& out, ValueList& in) {
  check_inputs(in, 1, SIZE_MAX, "warning");
  utWarningManager* m = utGetWarningContext();
  if (kxIsStruct(in[0].get())) {
    // warning(states): restores what a query returned.
    const kxArray* s = in[0].get();
    for (kxSize i = 0, n = kxGetNumberOfElements(s); i < n; ++i) {
      const kxArray* id = kxGetField(s, i, "identifier");
      const kxArray* state = kxGetField(s, i, "state");
      if (!id || !state || !is_text(id) || !is_text(state))
        kx::raise("Korel:warning:badState", "A warning state needs identifier and state texts.");
      std::string name = library::text_of(id, "Korel:warning:badState");
      ut_set_warning_status_id(m, name.c_str(),
                               library::text_of(state, "Korel:warning:badState") == "on");
    }
    return;
  }
  std::string first = text_argument(in, 0, "warning");
  if (first == "on" || first == "off" || first == "query") {
    check_inputs(in, 1, 2, "warning");
    std::string id = in.size() > 1 ? text_argument(in, 1, "warning") : "all";
    if (nargout > 0 || first == "query") {
      Value state = warning_state(id);
      if (nargout == 0)
        instance_of(c).print("The state of warning '" + id + "' is '" +
                                       (warning_enabled(id) ? "on" : "off") + "'.\n");
      else
        out.push_back(std::move(state));
    }
    if (first != "query") ut_set_warning_status_id(m, id.c_str(), first == "on");
    return;
  }
  auto [identifier, message] = message_of(in, "warning");
  if (warning_enabled(identifier))
    instance_of(c).print_error("Warning: " + message + "\n");
}

}  // namespace

const lang::IntrinsicEntry kErrorFunctions[] = {
    {"error", error,
     "Raises an error: error(MSG), error(ID, FORMAT, ...), or error(S) with S.identifier and "
     "S.message; an empty message raises nothing."},
    {"rethrow", rethrow, "Raises again an error caught by catch (its struct of identifier, message, stack)."},
    {"warning", warning,
     "Prints 'Warning: ' and a formatted message on the error output unless its identifier is off; "
     "warning('on'|'off'|'query', ID) sets or reads a state (no lastwarn yet)."},
    {nullptr, nullptr}};

}  // namespace krt::builtins
