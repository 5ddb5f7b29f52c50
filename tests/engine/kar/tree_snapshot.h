// A directory tree as a map from relative path to what is there, for comparing trees.
#pragma once

#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>

namespace korel::test {

// Files map to their contents, directories to "<dir>", anything else to "<other>".
// Links are not followed.
inline std::map<std::string, std::string> snapshot(const std::string& root) {
  namespace fs = std::filesystem;
  std::map<std::string, std::string> tree;
  for (const auto& entry : fs::recursive_directory_iterator(root)) {
    std::string name = fs::relative(entry.path(), root).generic_string();
    if (entry.is_symlink()) {
      tree[name] = "<other>";
    } else if (entry.is_directory()) {
      tree[name] = "<dir>";
    } else if (entry.is_regular_file()) {
      std::ostringstream contents;
      contents << std::ifstream(entry.path(), std::ios::binary).rdbuf();
      tree[name] = contents.str();
    } else {
      tree[name] = "<other>";
    }
  }
  return tree;
}

}  // namespace korel::test
