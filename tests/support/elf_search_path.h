// The library search paths an ELF file carries (DT_RUNPATH and DT_RPATH), as readelf
// reads its dynamic section, and the check that they hold only what they are meant to.
#pragma once

#include <optional>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "support/subprocess.h"

namespace korel::test {

// The RUNPATH and RPATH values of `path`; nullopt when it is no readable ELF file.
inline std::optional<std::vector<std::string>> search_paths(const std::string& path) {
  const ProcessResult dynamic = run_program({"/usr/bin/readelf", "--dynamic", "--wide", path});
  if (dynamic.exit_code != 0 || !dynamic.err.empty()) return std::nullopt;
  std::vector<std::string> values;
  std::istringstream lines(dynamic.out);
  for (std::string line; std::getline(lines, line);) {
    // "0x...1d (RUNPATH)  Library runpath: [a:b]"
    const auto label = line.find("Library r"), start = line.find('[', label);
    if (label != std::string::npos && start != std::string::npos && line.back() == ']')
      values.push_back(line.substr(start + 1, line.size() - start - 2));
  }
  return values;
}

// What is wrong with the search paths of `path`: an empty element (the working
// directory), or any element not in `allowed`. Empty when nothing is.
inline std::vector<std::string> search_path_problems(const std::string& path,
                                                     const std::set<std::string>& allowed) {
  const auto values = search_paths(path);
  if (!values) return {path + ": not a readable ELF file"};
  std::vector<std::string> problems;
  for (const std::string& value : *values) {
    std::istringstream elements(value + ":");
    for (std::string element; std::getline(elements, element, ':');) {
      if (element.empty())
        problems.push_back(path + ": '" + value + "' has an empty element");
      else if (!allowed.count(element))
        problems.push_back(path + ": '" + value + "' has the element '" + element + "'");
    }
  }
  return problems;
}

}  // namespace korel::test
