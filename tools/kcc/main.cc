// kcc: builds a Korel component, its archive and the native module that runs it.
//
//   kcc --name NAME --output DIR [--target exe|lib] [--embed] [--cache] [--key KEY]
//       [--warning "on|off ID"]... FILE...
//
// Exit codes: 0 built, 1 the component could not be built, 2 bad usage.
#include <algorithm>
#include <climits>
#include <cstdio>
#include <filesystem>
#include <optional>

#include "command_line.h"
#include "component_archive.h"
#include "component_key.h"
#include "error.h"
#include "function_sources.h"
#include "korel_syntax.h"
#include "native_module.h"
#include "staging_directory.h"
#include "stop_signals.h"
#include "toolchain.h"

namespace {

constexpr int kFailed = 1;
constexpr int kUsage = 2;

namespace fs = std::filesystem;

int build(const kcc::Options& options) {
  const std::vector<kcc::FunctionSource> sources = kcc::read_function_sources(options.files);
  for (const kcc::FunctionSource& source : sources) kcc::check_korel_syntax(source);
  kcc::ModuleDescription module;
  module.name = options.name;
  for (const kcc::FunctionSource& source : sources) module.functions.push_back(source.function);
  const auto& functions = module.functions;
  if (options.target == kcc::Target::Executable &&
      std::find(functions.begin(), functions.end(), options.name) == functions.end())
    throw kcc::Error("a program needs an entry function '" + options.name + "': no file " +
                     options.name + ".k (or a native source of that name) was given");
  module.key =
      options.key.empty() ? kcc::default_component_key(options.name, sources) : options.key;
  module.warning_states = options.warning_states;
  module.archive = options.embed   ? kcc::ModuleDescription::Archive::Embedded
                   : options.cache ? kcc::ModuleDescription::Archive::Cache
                                   : kcc::ModuleDescription::Archive::Local;

  const kcc::Toolchain toolchain = kcc::Toolchain::locate(options.verbose);
  std::error_code ec;
  fs::create_directories(options.output_directory, ec);
  if (ec)
    throw kcc::Error("cannot make the output directory " + options.output_directory + ": " +
                     ec.message());

  // The archive is written in the staging directory and moved beside the module only
  // once that is built, so a failed build leaves no archive that matches nothing.
  kcc::StagingDirectory staging;
  const std::string archive = staging.path() + "/" + options.name + ".kar";
  kcc::write_component_archive(sources, module.key, toolchain, staging.path() + "/tree", archive);
  if (options.embed) {
    module.embedded_archive_size = fs::file_size(archive);
    if (module.embedded_archive_size > INT_MAX)
      throw kcc::Error("the archive is too large to embed (" +
                       std::to_string(module.embedded_archive_size) + " bytes)");
  }
  kcc::build_native_module(options, module, toolchain, staging.path(), archive);
  // Stopped now or never: what follows puts the module and its archive in place together.
  kcc::stop_if_asked();
  const std::string beside = options.output_directory + "/" + options.name + ".kar";
  if (options.embed) {
    // A program carrying its archive must not find an older one beside it.
    fs::remove(beside, ec);
  } else {
    const std::string partial =
        options.output_directory + "/." + options.name + ".kar.kcc-partial";
    fs::copy_file(archive, partial, fs::copy_options::overwrite_existing, ec);
    if (!ec) fs::rename(partial, beside, ec);
    if (ec) throw kcc::Error("cannot write " + beside + ": " + ec.message());
  }
  if (options.verbose)
    std::fprintf(stderr, "kcc: built %s with key %s\n", options.name.c_str(), module.key.c_str());
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  kcc::StopSignals stop_signals;
  std::optional<kcc::Options> options;
  try {
    options = kcc::parse_command_line(argc, argv);
  } catch (const kcc::UsageError& error) {
    std::fprintf(stderr, "kcc: %s\nTry 'kcc --help'.\n", error.what());
    return kUsage;
  }
  if (!options) return 0;
  try {
    return build(*options);
  } catch (const kcc::Stopped& stopped) {
    kcc::StopSignals::die_by(stopped.signal());
  } catch (const kcc::Error& error) {
    std::fprintf(stderr, "kcc: %s\n", error.what());
  } catch (const std::exception& error) {
    std::fprintf(stderr, "kcc: %s\n", error.what());
  }
  return kFailed;
}
