// The runtime kcc belongs to and the C and C++ compilers it builds with.
#pragma once

#include <string>
#include <vector>

namespace kcc {

class Toolchain {
 public:
  // The runtime root kcc sits in (<root>/bin/<arch>/kcc), which must hold the headers in
  // <root>/include/korel. Compilers: $KCC_CC or cc, $KCC_CXX or c++ (split at spaces, so
  // "ccache cc" works). Throws Error when the root is incomplete.
  static Toolchain locate(bool verbose);

  const std::string& root() const { return root_; }
  const std::string& library_directory() const { return library_directory_; }

  // A native function source into a .klf shared object exporting klfFunction.
  void build_native_function(const std::string& source, bool cxx, const std::string& output) const;
  // Generated C source into a program, or a shared library exporting only what the
  // source marks visible. Both find the runtime's libraries through their RUNPATH.
  // `name` and `soname` name what is built in messages.
  void build_executable(const std::string& source, const std::string& output,
                        const std::string& name) const;
  void build_shared_library(const std::string& source, const std::string& output,
                            const std::string& soname) const;

 private:
  void run(std::vector<std::string> command, const std::string& what) const;
  std::vector<std::string> runtime_link_flags() const;

  std::string root_, library_directory_, include_directory_;
  std::vector<std::string> cc_, cxx_;
  bool verbose_ = false;
};

}  // namespace kcc
