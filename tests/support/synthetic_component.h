// Components whose files follow from their key, so that any process can tell a complete
// extraction from a partial or foreign one without an archive.
#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <sstream>
#include <string>

#include "kclkrt/component/component_extractor.h"

namespace korel::test {

// Four files, two of them in a subdirectory, `bytes` in all.
inline std::map<std::string, std::string> synthetic_files(const std::string& key, size_t bytes) {
  std::map<std::string, std::string> files;
  const char* names[] = {"a.k", "b.klf", "sub/c.k", "sub/d.dat"};
  for (size_t i = 0; i < 4; ++i) {
    size_t size = bytes / 4 + (i < bytes % 4 ? 1 : 0);
    std::string pattern = key + ":" + names[i] + ";";
    std::string content;
    while (content.size() < size) content += pattern;
    content.resize(size);
    files[names[i]] = content;
  }
  return files;
}

// Writes the synthetic component, calling `midway` after the first two files.
class SyntheticExtractor : public kclComponentExtractor {
 public:
  SyntheticExtractor(std::string key, size_t bytes, std::function<void()> midway = {})
      : key_(std::move(key)), bytes_(bytes), midway_(std::move(midway)) {}
  bool extract(uint64_t& total, const std::string& target) override {
    ++calls;
    if (fail) return false;
    size_t written = 0;
    for (const auto& [name, content] : synthetic_files(key_, bytes_)) {
      if (written++ == 2 && midway_) midway_();
      std::filesystem::create_directories(std::filesystem::path(target + "/" + name).parent_path());
      std::ofstream(target + "/" + name, std::ios::binary) << content;
    }
    total = bytes_;
    return true;
  }
  int calls = 0;
  bool fail = false;

 private:
  std::string key_;
  size_t bytes_;
  std::function<void()> midway_;
};

// Empty when `directory` holds the complete component, else what is wrong with it.
inline std::string check_synthetic(const std::string& directory, const std::string& key,
                                   size_t bytes) {
  if (!std::filesystem::exists(directory + "/.created.ts")) return "no marker in " + directory;
  for (const auto& [name, content] : synthetic_files(key, bytes)) {
    std::ifstream in(directory + "/" + name, std::ios::binary);
    std::ostringstream read;
    read << in.rdbuf();
    if (!in || read.str() != content) return "wrong or missing " + directory + "/" + name;
  }
  return "";
}

}  // namespace korel::test
