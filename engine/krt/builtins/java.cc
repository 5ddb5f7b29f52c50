// javaaddpath and javaclasspath: the instance's dynamic Java class path. There is no
// Java virtual machine here; the path is kept so programs and the runtime can use it.
#include <algorithm>

#include "krt/builtins/arguments.h"
#include "krt/builtins/intrinsics.h"
#include "krt/instance_impl.h"
#include "ut/warning.h"

namespace krt::builtins {
namespace {

using lang::CallContext;
using lang::ValueList;

void javaaddpath(CallContext& c, int, ValueList&, ValueList& in) {
  check_inputs(in, 1, 2, "javaaddpath");
  bool at_end = false;
  if (in.size() == 2) {
    std::string option = text_argument(in, 1, "javaaddpath");
    if (option != "-end" && option != "-begin")
      kx::raise("Korel:javaaddpath:badOption", "The option must be '-end' or '-begin'.");
    at_end = option == "-end";
  }
  Instance& instance = instance_of(c);
  std::vector<std::string>& path = instance.java_class_path;
  std::vector<std::string> added;
  for (const std::string& entry : text_list(in[0].get(), "javaaddpath")) {
    if (entry.empty()) continue;
    if (std::find(path.begin(), path.end(), entry) != path.end()) {
      if (ut_is_warning_enabled("Korel:javaclasspath:jarAlreadySpecified"))
        instance.print_error("Warning: '" + entry + "' is already on the Java class path.\n");
      continue;
    }
    added.push_back(entry);
  }
  path.insert(at_end ? path.end() : path.begin(), added.begin(), added.end());
}

void javaclasspath(CallContext& c, int nargout, ValueList& out, ValueList& in) {
  check_inputs(in, 0, 1, "javaclasspath");
  Instance& instance = instance_of(c);
  if (in.size() == 1 && !(is_text(in[0].get()) &&
                          text_argument(in, 0, "javaclasspath").rfind("-", 0) == 0)) {
    instance.java_class_path = text_list(in[0].get(), "javaclasspath");
    return;
  }
  const std::vector<std::string>& path = instance.java_class_path;
  if (nargout == 0) {
    std::string listing;
    for (const std::string& entry : path) listing += entry + "\n";
    instance.print(listing);
    return;
  }
  Value cell = checked(kxCreateCellMatrix(path.size(), 1));
  for (std::size_t i = 0; i < path.size(); ++i)
    kxSetCell(cell.get(), i, make_string(path[i]).release());
  out.push_back(std::move(cell));
}

}  // namespace

const lang::IntrinsicEntry kJavaFunctions[] = {
    {"javaaddpath", javaaddpath,
     "Adds entries to the dynamic Java class path ('-end': at its end). The path is only kept: "
     "no Java code runs."},
    {"javaclasspath", javaclasspath,
     "The dynamic Java class path, printed or as a cell; javaclasspath(LIST) replaces it."},
    {nullptr, nullptr}};

}  // namespace krt::builtins
