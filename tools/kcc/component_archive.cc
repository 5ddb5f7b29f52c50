#include "component_archive.h"

#include <filesystem>

#include "error.h"
#include "file_output.h"
#include "kar/error.h"
#include "kar/writer.h"

namespace kcc {

namespace fs = std::filesystem;

void write_component_archive(const std::vector<FunctionSource>& sources, const std::string& key,
                             const Toolchain& toolchain, const std::string& tree,
                             const std::string& archive) {
  const std::string functions = tree + "/" + key;
  std::error_code ec;
  fs::create_directories(functions, ec);
  if (!ec) fs::create_directories(tree + "/.korel", ec);
  if (ec) throw Error("cannot make " + functions + ": " + ec.message());

  for (const FunctionSource& source : sources) {
    if (source.kind == FunctionSource::Kind::Korel) {
      // The contents read once, so the archive holds exactly what the key was made from.
      write_file(functions + "/" + source.file, source.contents);
    } else {
      toolchain.build_native_function(source.path, source.kind == FunctionSource::Kind::NativeCxx,
                                      functions + "/" + source.function + ".klf");
    }
  }
  // The preferences template: the runtime copies it into the user's preferences
  // directory for this component key.
  write_file(tree + "/.korel/korelrc", "");

  try {
    kar::write_archive(tree, archive);
  } catch (const kar::Error& error) {
    throw Error(kar::describe("cannot write the archive " + archive, error));
  }
}

}  // namespace kcc
