#include "command_line.h"

#include <boost/program_options.hpp>
#include <iostream>

#include "c_syntax.h"
#include "component_key.h"
#include "error.h"

namespace kcc {

namespace po = boost::program_options;

namespace {

const char* const kUsage =
    "Usage: kcc --name NAME --output DIR [--target exe|lib] [--embed] [--cache] [--key KEY]\n"
    "           [--warning \"on|off ID\"]... FILE...\n"
    "Builds the Korel component NAME from Korel sources (.k) and native function sources\n"
    "(.c, .cc, .cpp) into DIR: the archive NAME.kar and the program NAME, or with\n"
    "--target lib the library NAME.so and its header NAME.h.\n"
    "Modules find the runtime in this root's bin/linux-x86_64 (their RUNPATH); on another\n"
    "machine point LD_LIBRARY_PATH at the runtime root's bin/linux-x86_64.\n"
    "Exit codes: 0 built, 1 the build failed, 2 bad usage.\n";

// "off KRT:Extract" (or "off:KRT:Extract") to the runtime's "off:KRT:Extract".
std::string warning_state(const std::string& text) {
  const auto split = text.find_first_of(" \t:");
  const std::string state = text.substr(0, split);
  std::string id;
  if (split != std::string::npos) {
    const auto start = text.find_first_not_of(" \t", split + 1);
    if (start != std::string::npos) id = text.substr(start);
    if (text[split] == ':') id = text.substr(split + 1);
  }
  if ((state != "on" && state != "off") || id.empty() ||
      id.find_first_of(" \t\n") != std::string::npos)
    throw UsageError("--warning takes \"on ID\" or \"off ID\", not '" + text + "'");
  return state + ":" + id;
}

}  // namespace

std::optional<Options> parse_command_line(int argc, char** argv) {
  po::options_description visible("Options");
  visible.add_options()
      ("help,h", "show this text")
      ("name,n", po::value<std::string>(), "the component's name (a C identifier); a program's "
                                           "entry function has this name")
      ("output,o", po::value<std::string>(), "the directory the component is written to")
      ("target,t", po::value<std::string>()->default_value("exe"),
       "exe: a program NAME; lib: a shared library NAME.so with header NAME.h")
      ("embed", "append the archive to the program instead of writing NAME.kar (exe only; "
                "extracted through the component cache)")
      ("cache", "extract NAME.kar through the per-user component cache instead of into "
                "NAME_krt beside it")
      ("key", po::value<std::string>(), "the component key (default: NAME_ and a hash of "
                                        "the files)")
      ("warning,w", po::value<std::vector<std::string>>(),
       "\"on ID\" or \"off ID\": the warning's state when the component starts; repeatable")
      ("keep-source", "keep the generated C source in DIR")
      ("verbose,v", "show every command kcc runs");
  po::options_description hidden;
  hidden.add_options()("file", po::value<std::vector<std::string>>());
  po::options_description all;
  all.add(visible).add(hidden);
  po::positional_options_description positional;
  positional.add("file", -1);

  po::variables_map vm;
  try {
    po::store(po::command_line_parser(argc, argv).options(all).positional(positional).run(), vm);
    po::notify(vm);
  } catch (const po::error& error) {
    throw UsageError(error.what());
  }
  if (vm.count("help")) {
    std::cout << kUsage << visible;
    return std::nullopt;
  }

  Options options;
  if (!vm.count("name")) throw UsageError("--name is required");
  if (!vm.count("output")) throw UsageError("--output is required");
  if (!vm.count("file")) throw UsageError("no source files given");
  options.name = vm["name"].as<std::string>();
  options.output_directory = vm["output"].as<std::string>();
  options.files = vm["file"].as<std::vector<std::string>>();
  if (!is_c_identifier(options.name))
    throw UsageError("the name '" + options.name +
                     "' is not a C identifier (a letter or '_', then letters, digits or '_')");

  const std::string target = vm["target"].as<std::string>();
  if (target == "lib")
    options.target = Target::SharedLibrary;
  else if (target != "exe")
    throw UsageError("--target takes exe or lib, not '" + target + "'");

  options.embed = vm.count("embed") > 0;
  // An embedded archive is always extracted through the cache, so --cache adds nothing.
  options.cache = vm.count("cache") > 0 || options.embed;
  if (options.embed && options.target == Target::SharedLibrary)
    throw UsageError("--embed works with --target exe only; a library keeps NAME.kar beside it");

  if (vm.count("key")) {
    options.key = vm["key"].as<std::string>();
    if (std::string problem = component_key_problem(options.key); !problem.empty())
      throw UsageError("'" + options.key + "' cannot be a component key: " + problem);
  }
  if (vm.count("warning"))
    for (const std::string& text : vm["warning"].as<std::vector<std::string>>())
      options.warning_states.push_back(warning_state(text));
  options.keep_source = vm.count("keep-source") > 0;
  options.verbose = vm.count("verbose") > 0;
  return options;
}

}  // namespace kcc
