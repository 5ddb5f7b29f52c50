// warning and lastwarn: issuing warnings, switching them on and off, the last one issued.
#include "krt/builtins/arguments.h"
#include "krt/builtins/intrinsics.h"
#include "krt/builtins/messages.h"
#include "krt/error_state.h"
#include "krt/instance_impl.h"
#include "krt/library/format.h"
#include "ut/warning.h"

namespace krt::builtins {
namespace {

using lang::CallContext;
using lang::ValueList;

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

// Switching "all" overrides every identifier switched by name before.
void set_state(const std::string& id, bool on) {
  utWarningManager* m = utGetWarningContext();
  if (id == "all")
    for (const auto& [name, ignored] : ut_get_warning_states(m))
      ut_set_warning_status_id(m, name.c_str(), on);
  ut_set_warning_status_id(m, id.c_str(), on);
}

// The states `id` names as a struct array (identifier, state): for "all", the state of
// all warnings first, then every identifier switched by name, so restoring them in order
// gives back the same states.
Value states_of(const std::string& id) {
  std::vector<std::pair<std::string, bool>> states{{id, warning_enabled(id)}};
  if (id == "all")
    for (const auto& [name, on] : ut_get_warning_states(utGetWarningContext()))
      if (name != "all") states.emplace_back(name, on);
  const char* fields[] = {"identifier", "state"};
  Value s = checked(kxCreateStructMatrix(states.size(), 1, 2, fields));
  for (std::size_t i = 0; i < states.size(); ++i) {
    kxSetFieldByNumber(s.get(), i, 0, make_string(states[i].first).release());
    kxSetFieldByNumber(s.get(), i, 1, make_string(states[i].second ? "on" : "off").release());
  }
  return s;
}

void print_states(Instance& instance, const std::string& id) {
  const bool on = warning_enabled(id);
  std::string text = "The state of warning '" + id + "' is '" + (on ? "on" : "off") + "'.\n";
  if (id == "all")
    for (const auto& [name, state] : ut_get_warning_states(utGetWarningContext()))
      if (name != "all" && state != on)
        text += "The state of warning '" + name + "' is '" + (state ? "on" : "off") + "'.\n";
  instance.print(text);
}

// warning(states): restores what a query returned, in order.
void restore_states(const kxArray* s) {
  for (kxSize i = 0, n = kxGetNumberOfElements(s); i < n; ++i) {
    const kxArray* id = kxGetField(s, i, "identifier");
    const kxArray* state = kxGetField(s, i, "state");
    if (!id || !state || !is_text(id) || !is_text(state))
      kx::raise("Korel:warning:badState", "A warning state needs identifier and state texts.");
    std::string value = library::text_of(state, "Korel:warning:badState");
    if (value != "on" && value != "off")
      kx::raise("Korel:warning:badState", "A warning state is 'on' or 'off', not '" + value + "'.");
    set_state(library::text_of(id, "Korel:warning:badState"), value == "on");
  }
}

void warning(CallContext& c, int nargout, ValueList& out, ValueList& in) {
  check_outputs(nargout, 1, "warning");
  if (in.empty()) {
    if (nargout > 0)
      out.push_back(states_of("all"));
    else
      print_states(instance_of(c), "all");
    return;
  }
  if (kxIsStruct(in[0].get())) {
    check_inputs(in, 1, 1, "warning");
    restore_states(in[0].get());
    return;
  }
  std::string first = text_argument(in, 0, "warning");
  if (first == "on" || first == "off" || first == "query") {
    check_inputs(in, 1, 2, "warning");
    std::string id = in.size() > 1 ? text_argument(in, 1, "warning") : "all";
    if (nargout > 0)
      out.push_back(states_of(id));  // before the change, so it can be restored
    else if (first == "query")
      print_states(instance_of(c), id);
    if (first != "query") set_state(id, first == "on");
    return;
  }
  auto [identifier, message] = message_of(in, 0, "warning");
  if (message.empty()) return;
  // A warning switched off is still the last warning: code that silences one can ask
  // whether it happened.
  instance_of(c).last_warning = {identifier, message};
  if (warning_enabled(identifier)) instance_of(c).print_error("Warning: " + message + "\n");
}

// msg = lastwarn, [msg, id] = lastwarn, lastwarn(msg), lastwarn(msg, id).
void lastwarn(CallContext& c, int nargout, ValueList& out, ValueList& in) {
  check_inputs(in, 0, 2, "lastwarn");
  check_outputs(nargout, 2, "lastwarn");
  LastWarning& last = instance_of(c).last_warning;
  if (nargout > 0 || in.empty()) {
    out.push_back(make_string(last.message));
    if (nargout > 1) out.push_back(make_string(last.identifier));
  }
  if (in.empty()) return;
  last.message = text_argument(in, 0, "lastwarn");
  last.identifier = in.size() > 1 ? text_argument(in, 1, "lastwarn") : "";
}

}  // namespace

const lang::IntrinsicEntry kWarningFunctions[] = {
    {"warning", warning,
     "warning(msg) or warning(id, fmt, args...) prints 'Warning: ' and the message unless "
     "switched off; warning('on'|'off'|'query', id) switches or asks ('all' when no id), "
     "s = warning(...) gives the states before, warning(s) restores them. States are shared "
     "by every instance of the process."},
    {"lastwarn", lastwarn,
     "[msg, id] = lastwarn: the last warning, even one switched off; lastwarn(msg, id) sets "
     "it and lastwarn('') clears it."},
    {nullptr, nullptr}};

}  // namespace krt::builtins
