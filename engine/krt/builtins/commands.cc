// The commands of an interactive session as a deployed component meets them: clear
// works on variables and persistent variables; format short and more off ask for what
// a component already does; the rest have nothing to act on and say so.
#include <fnmatch.h>

#include "krt/builtins/arguments.h"
#include "krt/builtins/intrinsics.h"
#include "krt/lang/nodes.h"
#include "krt/lang/symbols.h"
#include "kx/error.h"

namespace krt::builtins {
namespace {

using lang::CallContext;
using lang::ValueList;

[[noreturn]] void not_deployable(const char* function, const std::string& what,
                                 const std::string& why) {
  kx::raise(std::string("Korel:") + function + ":notDeployable",
            what + " is not supported in deployed components: " + why + ".");
}

// The words of a command, lower-cased options and names alike as given.
std::vector<std::string> words(const ValueList& in, const char* function) {
  std::vector<std::string> out;
  for (std::size_t k = 0; k < in.size(); ++k) out.push_back(text_argument(in, k, function));
  return out;
}

void clear_variables(lang::Workspace& workspace, const std::string& pattern) {
  for (int slot = 0; slot < workspace.slot_count(); ++slot)
    if (pattern.empty() ||
        fnmatch(pattern.c_str(), lang::symbol_name(workspace.symbol_at(slot)).c_str(), 0) == 0)
      workspace.clear(slot);
}

// Persistent variables start again empty, as when their files are first loaded.
void clear_persistents(Instance& instance) {
  instance.dispatcher.for_each_program([](const lang::LoadedProgram& program) {
    for (const auto& function : program.compiled)
      if (function)
        for (const auto& value : function->persistents)
          if (value) *value = make_empty_double();
  });
}

void clear(CallContext& c, int nargout, ValueList&, ValueList& in) {
  check_outputs(nargout, 0, "clear");
  lang::Workspace& workspace = c.caller.workspace;
  std::vector<std::string> names = words(in, "clear");
  if (names.empty()) return clear_variables(workspace, "");
  for (const std::string& name : names) {
    if (name == "all" || name == "-all") {
      clear_variables(workspace, "");
      clear_persistents(instance_of(c));
    } else if (name == "variables" || name == "-variables") {
      clear_variables(workspace, "");
    } else if (name == "functions" || name == "-functions") {
      clear_persistents(instance_of(c));
    } else if (name == "global" || name == "-global" || name == "classes" || name == "java" ||
               name == "mex" || name == "import") {
      not_deployable("clear", "clear " + name,
                     "only variables, functions and all can be cleared");
    } else if (name.find_first_not_of(
                   "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_*?") !=
               std::string::npos) {
      kx::raise("Korel:clear:badName", "'" + name + "' is not a variable name or pattern.");
    } else {
      clear_variables(workspace, name);
    }
  }
}

// The display has one format, short: asking for it is fine, for any other is not.
void format(CallContext&, int nargout, ValueList&, ValueList& in) {
  check_outputs(nargout, 0, "format");
  check_inputs(in, 0, 1, "format");
  std::vector<std::string> style = words(in, "format");
  if (style.empty() || same_text(style[0], "short")) return;
  not_deployable("format", "format " + style[0], "values display in the short format only");
}

// A component's output goes to its host and never pages.
void more(CallContext&, int nargout, ValueList&, ValueList& in) {
  check_outputs(nargout, 0, "more");
  check_inputs(in, 1, 1, "more");
  std::string state = words(in, "more")[0];
  if (same_text(state, "off")) return;
  not_deployable("more", "more " + state, "output is handed to the host and never pages");
}

void clc(CallContext&, int nargout, ValueList&, ValueList& in) {
  check_outputs(nargout, 0, "clc");
  check_inputs(in, 0, 0, "clc");
  not_deployable("clc", "clc", "output goes to the host, which has no command window to clear");
}

void hold(CallContext&, int nargout, ValueList&, ValueList& in) {
  check_outputs(nargout, 0, "hold");
  check_inputs(in, 0, 2, "hold");
  not_deployable("hold", "hold", "figures are headless and have no axes to hold plots");
}

}  // namespace

const lang::IntrinsicEntry kCommandFunctions[] = {
    {"clear", clear,
     "Removes variables (names, patterns with * and ?, or all); 'functions' and 'all' also "
     "empty persistent variables."},
    {"format", format,
     "Only 'format' and 'format short' (the one display format); others raise notDeployable."},
    {"more", more, "'more off' is accepted (output never pages); 'more on' raises notDeployable."},
    {"clc", clc, "Raises notDeployable: a component has no command window."},
    {"hold", hold, "Raises notDeployable: figures are headless."},
    {nullptr, nullptr}};

}  // namespace krt::builtins
