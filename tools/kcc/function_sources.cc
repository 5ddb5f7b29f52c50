#include "function_sources.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>

#include "c_syntax.h"
#include "error.h"

namespace kcc {

namespace {

namespace fs = std::filesystem;

const std::map<std::string, FunctionSource::Kind> kKinds = {
    {".k", FunctionSource::Kind::Korel},
    {".c", FunctionSource::Kind::NativeC},
    {".cc", FunctionSource::Kind::NativeCxx},
    {".cpp", FunctionSource::Kind::NativeCxx},
};

std::string read_whole(const std::string& path) {
  std::error_code ec;
  if (!fs::exists(path, ec)) throw Error("'" + path + "' does not exist");
  if (fs::is_directory(path, ec)) throw Error("'" + path + "' is a directory, not a source file");
  // A fifo or a device would block the read, with the stop signals held back.
  if (!fs::is_regular_file(path, ec)) throw Error("'" + path + "' is not a regular file");
  std::ifstream in(path, std::ios::binary);
  std::ostringstream contents;
  contents << in.rdbuf();
  if (!in) throw Error("cannot read '" + path + "': " + std::strerror(errno));
  return contents.str();
}

}  // namespace

std::vector<FunctionSource> read_function_sources(const std::vector<std::string>& paths) {
  std::vector<FunctionSource> sources;
  std::map<std::string, std::string> defined_by;
  for (const std::string& path : paths) {
    fs::path p(path);
    auto kind = kKinds.find(p.extension().string());
    if (kind == kKinds.end())
      throw Error("'" + path + "' is neither Korel source (.k) nor a native function source "
                  "(.c, .cc, .cpp)");
    std::string function = p.stem().string();
    if (!is_korel_identifier(function))
      throw Error("'" + path + "' cannot define a function: '" + function +
                  "' is not a function name (a letter, then letters, digits or '_')");
    auto [previous, fresh] = defined_by.emplace(function, path);
    if (!fresh)
      throw Error("'" + previous->second + "' and '" + path + "' both define '" + function + "'");
    sources.push_back({kind->second, path, p.filename().string(), function, read_whole(path)});
  }
  std::sort(sources.begin(), sources.end(), [](const FunctionSource& a, const FunctionSource& b) {
    return a.function < b.function;
  });
  return sources;
}

}  // namespace kcc
