// korel-reference: the "Functions" section of docs/LANGUAGE.md, from the engine's tables
// of built-ins and the Korel library's sources.
//
//   korel-reference TOOLBOX                 prints the section
//   korel-reference TOOLBOX --update FILE   rewrites the section of FILE in place
//
// TOOLBOX is toolbox/korel. Exit codes: 0 done, 1 an entry without a summary, a name
// listed twice, or a FILE without the markers or not writable, 2 bad usage.
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>
#include <system_error>

#include "reference.h"

namespace {

namespace fs = std::filesystem;
namespace ref = korel::reference;

constexpr int kFailed = 1;
constexpr int kUsage = 2;

int usage() {
  std::fprintf(stderr, "usage: korel-reference TOOLBOX [--update FILE]\n");
  return kUsage;
}

// Through a file beside it, so an interrupted run leaves the old document whole.
bool replace_file(const fs::path& file, const std::string& text) {
  fs::path partial = file;
  partial += ".partial";
  {
    std::ofstream out(partial, std::ios::binary | std::ios::trunc);
    if (!(out << text) || !out.flush()) return false;
  }
  std::error_code error;
  fs::rename(partial, file, error);
  if (error) fs::remove(partial, error);
  return !error;
}

int update(const fs::path& file, const std::string& section) {
  std::ifstream in(file, std::ios::binary);
  if (!in) {
    std::fprintf(stderr, "korel-reference: cannot read %s\n", file.c_str());
    return kFailed;
  }
  std::ostringstream document;
  document << in.rdbuf();
  std::optional<std::string> updated = ref::with_section(document.str(), section);
  if (!updated) {
    std::fprintf(stderr, "korel-reference: %s lacks the lines\n  %s\n  %s\n", file.c_str(),
                 std::string(ref::kBeginMarker).c_str(), std::string(ref::kEndMarker).c_str());
    return kFailed;
  }
  if (*updated != document.str() && !replace_file(file, *updated)) {
    std::fprintf(stderr, "korel-reference: cannot write %s\n", file.c_str());
    return kFailed;
  }
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2 && !(argc == 4 && std::string(argv[2]) == "--update")) return usage();
  const fs::path toolbox = argv[1];
  std::error_code error;
  if (!fs::is_directory(toolbox, error)) {
    std::fprintf(stderr, "korel-reference: %s is not a directory\n", toolbox.c_str());
    return kUsage;
  }
  std::vector<ref::Area> areas = ref::builtin_areas();
  try {
    for (ref::Area& area : ref::library_areas(toolbox)) areas.push_back(std::move(area));
  } catch (const fs::filesystem_error& e) {
    std::fprintf(stderr, "korel-reference: cannot read the library: %s\n", e.what());
    return kFailed;
  }
  std::vector<std::string> problems = ref::problems(areas);
  for (const std::string& problem : problems)
    std::fprintf(stderr, "korel-reference: %s\n", problem.c_str());
  if (!problems.empty()) return kFailed;
  const std::string section = ref::render(areas);
  if (argc == 4) return update(argv[3], section);
  std::cout << section;
  return std::cout.flush() ? 0 : kFailed;
}
