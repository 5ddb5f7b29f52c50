#include "native_module.h"

#include <cstdio>
#include <filesystem>
#include <fstream>

#include "error.h"
#include "file_output.h"

namespace kcc {

namespace {

namespace fs = std::filesystem;

void append_file(const std::string& path, const std::string& tail) {
  std::ifstream in(tail, std::ios::binary);
  std::ofstream out(path, std::ios::binary | std::ios::app);
  out << in.rdbuf();
  out.close();
  if (!in || !out) throw Error("cannot append the archive to " + path);
}

void install(const std::string& from, const std::string& to) {
  std::error_code ec;
  fs::rename(from, to, ec);
  if (ec) {
    fs::remove(from, ec);
    throw Error("cannot move the module into place as " + to);
  }
}

}  // namespace

void build_native_module(const Options& options, const ModuleDescription& module,
                         const Toolchain& toolchain, const std::string& staging,
                         const std::string& embedded_archive) {
  const std::string out = options.output_directory + "/";
  const bool library = options.target == Target::SharedLibrary;
  const std::string source_name = module.name + (library ? "_lib.c" : "_main.c");
  const std::string source = staging + "/" + source_name;
  const std::string installed = out + module.name + (library ? ".so" : "");
  const std::string partial = out + "." + module.name + ".kcc-partial";

  if (library) {
    // The source includes the header from its own directory.
    const std::string header = library_header(module);
    write_file(staging + "/" + module.name + ".h", header);
    write_file(source, library_source(module));
    toolchain.build_shared_library(source, partial, module.name + ".so");
    install(partial, installed);
    write_file(out + module.name + ".h", header);
  } else {
    write_file(source, executable_source(module));
    toolchain.build_executable(source, partial, module.name);
    if (module.archive == ModuleDescription::Archive::Embedded)
      append_file(partial, embedded_archive);
    install(partial, installed);
  }
  if (options.keep_source) {
    std::error_code ec;
    fs::copy_file(source, out + source_name, fs::copy_options::overwrite_existing, ec);
    if (ec) throw Error("cannot keep the generated source as " + out + source_name);
  }
}

}  // namespace kcc
