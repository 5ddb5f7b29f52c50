// addpath, rmpath, path, cd, pwd, isdeployed.
#include <algorithm>

#include "krt/builtins/arguments.h"
#include "krt/builtins/intrinsics.h"
#include "krt/instance_impl.h"
#include "ut/warning.h"

namespace krt::builtins {
namespace {

using lang::CallContext;
using lang::ValueList;

void warn(Instance& instance, const std::string& id, const std::string& message) {
  if (ut_is_warning_enabled(id.c_str())) instance.print_error("Warning: " + message + "\n");
}

// Directories given as several arguments, each possibly a ':'-separated list.
std::vector<std::string> directories(ValueList& in, std::size_t count, const char* function) {
  std::vector<std::string> dirs;
  for (std::size_t i = 0; i < count; ++i) {
    std::string list = text_argument(in, i, function);
    std::size_t start = 0;
    while (start <= list.size()) {
      std::size_t end = list.find(':', start);
      if (end == std::string::npos) end = list.size();
      if (end > start) dirs.push_back(list.substr(start, end - start));
      start = end + 1;
    }
  }
  return dirs;
}

void addpath(CallContext& c, int, ValueList&, ValueList& in) {
  check_inputs(in, 1, SIZE_MAX, "addpath");
  bool at_end = false;
  std::size_t count = in.size();
  if (count > 1 && is_text(in.back().get())) {
    std::string option = text_argument(in, count - 1, "addpath");
    if (option == "-end" || option == "-begin") {
      at_end = option == "-end";
      --count;
    }
  }
  Instance& instance = instance_of(c);
  std::vector<std::string> dirs = directories(in, count, "addpath");
  // Added at the front in reverse, so the first given ends up first.
  if (!at_end) std::reverse(dirs.begin(), dirs.end());
  for (const std::string& dir : dirs)
    if (!instance.dispatcher.add_path(dir, at_end))
      warn(instance, "Korel:addpath:dirNotFound",
           "Name is nonexistent or not a directory: " + dir);
}

void rmpath(CallContext& c, int, ValueList&, ValueList& in) {
  check_inputs(in, 1, SIZE_MAX, "rmpath");
  Instance& instance = instance_of(c);
  for (const std::string& dir : directories(in, in.size(), "rmpath"))
    if (!instance.dispatcher.remove_path(dir))
      warn(instance, "Korel:rmpath:DirNotFound", "\"" + dir + "\" not found in path.");
}

void path(CallContext& c, int nargout, ValueList& out, ValueList& in) {
  check_inputs(in, 0, 0, "path");
  std::string joined;
  for (const std::string& dir : instance_of(c).dispatcher.path())
    joined += (joined.empty() ? "" : ":") + dir;
  if (nargout > 0) return out.push_back(make_string(joined));
  std::string listing;
  for (const std::string& dir : instance_of(c).dispatcher.path()) listing += dir + "\n";
  instance_of(c).print(listing);
}

void cd(CallContext& c, int nargout, ValueList& out, ValueList& in) {
  check_inputs(in, 0, 1, "cd");
  Dispatcher& dispatcher = instance_of(c).dispatcher;
  std::string previous = dispatcher.current_directory();
  if (in.size() == 1) {
    std::string dir = text_argument(in, 0, "cd");
    if (!dispatcher.change_directory(dir))
      kx::raise("Korel:cd:NonExistentFolder", "Cannot change the current folder to '" + dir +
                                                  "' (name is nonexistent or not a folder).");
  }
  if (nargout > 0 || in.empty()) {
    if (nargout > 0) return out.push_back(make_string(previous));
    instance_of(c).print(previous + "\n");
  }
}

void pwd(CallContext& c, int, ValueList& out, ValueList& in) {
  check_inputs(in, 0, 0, "pwd");
  out.push_back(make_string(instance_of(c).dispatcher.current_directory()));
}

void isdeployed(CallContext& c, int, ValueList& out, ValueList& in) {
  check_inputs(in, 0, 0, "isdeployed");
  out.push_back(make_logical(instance_of(c).options.deployed));
}

}  // namespace

const lang::IntrinsicEntry kPathFunctions[] = {
    {"addpath", addpath,
     "Puts directories at the front of the search path ('-end': at its end); warns for one that "
     "does not exist."},
    {"rmpath", rmpath, "Takes directories off the search path; warns for one not on it."},
    {"path", path, "The search path, printed a directory a line or given joined by ':' (it cannot set it)."},
    {"cd", cd,
     "cd(DIR) changes the current directory; cd alone prints it; an output gets the directory "
     "before the change."},
    {"pwd", pwd, "The current directory."},
    {"isdeployed", isdeployed, "True when running in a compiled component."},
    {nullptr, nullptr}};

}  // namespace krt::builtins
