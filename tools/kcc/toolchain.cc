#include "toolchain.h"

#include <cstdlib>
#include <filesystem>
#include <sstream>

#include "error.h"
#include "tool_process.h"

namespace kcc {

namespace {

namespace fs = std::filesystem;

constexpr const char* kArchitecture = "linux-x86_64";

std::vector<std::string> compiler(const char* variable, const char* fallback) {
  const char* value = std::getenv(variable);
  std::istringstream words(value && *value ? value : fallback);
  std::vector<std::string> command;
  for (std::string word; words >> word;) command.push_back(word);
  if (command.empty()) command.push_back(fallback);
  return command;
}

}  // namespace

Toolchain Toolchain::locate(bool verbose) {
  std::error_code ec;
  const fs::path self = fs::read_symlink("/proc/self/exe", ec);
  if (ec) throw Error("cannot find kcc's own location: " + ec.message());
  Toolchain toolchain;
  toolchain.library_directory_ = self.parent_path().string();
  if (self.parent_path().filename() != kArchitecture)
    throw Error("kcc must sit in <root>/bin/" + std::string(kArchitecture) +
                "/ of a runtime root, not in " + toolchain.library_directory_);
  toolchain.root_ = self.parent_path().parent_path().parent_path().string();
  toolchain.include_directory_ = toolchain.root_ + "/include";
  if (!fs::is_regular_file(toolchain.include_directory_ + "/korel/kclkrt.h", ec))
    throw Error("the runtime root " + toolchain.root_ + " has no include/korel/kclkrt.h");
  toolchain.cc_ = compiler("KCC_CC", "cc");
  toolchain.cxx_ = compiler("KCC_CXX", "c++");
  toolchain.verbose_ = verbose;
  return toolchain;
}

void Toolchain::run(std::vector<std::string> command, const std::string& what) const {
  if (!run_tool(command, verbose_))
    throw Error("cannot build " + what + "; the command was:\n  " + command_text(command));
}

std::vector<std::string> Toolchain::runtime_link_flags() const {
  // RUNPATH, not RPATH: LD_LIBRARY_PATH can still point a deployed module at another root.
  return {"-L" + library_directory_, "-lkclkrt", "-lkorel_kx",
          "-Wl,--enable-new-dtags,-rpath," + library_directory_};
}

void Toolchain::build_native_function(const std::string& source, bool cxx,
                                      const std::string& output) const {
  std::vector<std::string> command = cxx ? cxx_ : cc_;
  // No RUNPATH: the function is loaded into a process that has the array library already.
  // Errors raised with kxErrMsgIdAndTxt unwind through the function, C or not.
  for (const char* flag : {"-shared", "-fPIC", "-fexceptions", "-O2"}) command.push_back(flag);
  command.insert(command.end(), {"-I" + include_directory_, "-o", output, source,
                                 "-L" + library_directory_, "-lkorel_kx"});
  run(std::move(command), "the native function '" + source + "'");
}

void Toolchain::build_executable(const std::string& source, const std::string& output,
                                 const std::string& name) const {
  std::vector<std::string> command = cc_;
  command.insert(command.end(), {"-O2", "-I" + include_directory_, "-o", output, source});
  for (std::string& flag : runtime_link_flags()) command.push_back(std::move(flag));
  run(std::move(command), "the program " + name);
}

void Toolchain::build_shared_library(const std::string& source, const std::string& output,
                                     const std::string& soname) const {
  std::vector<std::string> command = cc_;
  command.insert(command.end(), {"-shared", "-fPIC", "-fvisibility=hidden", "-O2",
                                 "-I" + include_directory_, "-o", output, source});
  for (std::string& flag : runtime_link_flags()) command.push_back(std::move(flag));
  // A host linked against the library then needs it by name, not by the path it was built at.
  command.push_back("-Wl,-soname," + soname);
  command.push_back("-ldl");
  run(std::move(command), "the library " + soname);
}

}  // namespace kcc
