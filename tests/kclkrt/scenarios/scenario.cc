#include "scenario.h"

#include <charconv>
#include <filesystem>
#include <fstream>
#include <set>

namespace korel::scenario {

namespace fs = std::filesystem;
using test::binary_dir;
using test::ProcessResult;
using test::read_file;
using test::run_program;

namespace {

bool is_marker(const fs::path& relative) {
  return relative == ".created.ts" || relative == ".bytes_used";
}

std::map<std::string, std::string> tree(const std::string& root) {
  std::map<std::string, std::string> files;
  for (const auto& entry : fs::recursive_directory_iterator(root)) {
    const fs::path relative = fs::relative(entry.path(), root);
    if (is_marker(relative)) continue;
    files[relative.string()] = entry.is_directory() ? "(directory)" : read_file(entry.path());
  }
  return files;
}

}  // namespace

Scenario::Scenario() {
  for (const char* name : {"scen_loop", "scen_vector", "scen_native", "scen_helpers"}) {
    const std::string home = dir() + "/" + name;
    fs::create_directories(home);
    fs::copy_file(std::string(KCLKRT_SCENARIO_COMPONENTS) + "/" + name + ".kar",
                  home + "/" + name + ".kar");
    components.push_back({name, std::string(name) + "_key", home + "/" + name + ".kar"});
  }
  fs::create_directories(dir() + "/home");
  fs::create_directories(cache_root());
}

Environment Scenario::environment(std::optional<uint64_t> cache_size) const {
  return {{"KRT_CACHE_ROOT", cache_root()},
          {"HOME", dir() + "/home"},
          {"KRT_CACHE_SIZE",
           cache_size ? std::optional<std::string>(std::to_string(*cache_size)) : std::nullopt},
          {"KRT_CACHE_VERBOSE", std::nullopt},
          {"KRT_CACHE_QUIET", std::nullopt},
          {"KRT_INHIBIT_KAR_LOCK", std::nullopt},
          {"KRTROOT", std::nullopt},
          {"KOREL", std::nullopt},
          {"TBE_INSTALL", std::nullopt}};
}

std::vector<std::string> Scenario::client(const std::vector<std::string>& options,
                                          const std::vector<Component>& started) const {
  std::vector<std::string> argv{binary_dir() + "/tests/scenario_client"};
  argv.insert(argv.end(), options.begin(), options.end());
  for (const Component& component : started) argv.push_back(component.argument());
  return argv;
}

Scenario::References Scenario::references() const {
  References references;
  const std::string root = dir() + "/reference";
  Environment env = environment(uint64_t{1} << 30);
  env["KRT_CACHE_ROOT"] = root;
  ProcessResult run = run_program(client({"--rounds", "4"}, components), env);
  const auto records = read_index(root + "/.krtCache1.0");
  if (run.exit_code != 0 || !records || records->size() != components.size()) {
    references.problem = "the reference run failed: " + run.out + run.err;
    return references;
  }
  for (const IndexRecord& record : *records) {
    references.trees[record.name] = root + "/.krtCache1.0/" + record.directory;
    references.bytes[record.name] = record.bytes;
  }
  return references;
}

std::optional<std::vector<IndexRecord>> read_index(const std::string& cache_dir) {
  std::ifstream in(cache_dir + "/.krt_cache_index");
  if (!in) return std::nullopt;
  std::vector<IndexRecord> records;
  std::string name, directory, size, time;
  while (std::getline(in, name)) {
    if (!std::getline(in, directory) || !std::getline(in, size) || !std::getline(in, time))
      return std::nullopt;
    IndexRecord record{name, directory, 0};
    auto [end, error] = std::from_chars(size.data(), size.data() + size.size(), record.bytes);
    if (size.empty() || error != std::errc() || end != size.data() + size.size() || time.empty())
      return std::nullopt;
    records.push_back(record);
  }
  return records;
}

uint64_t files_size(const std::string& directory) {
  uint64_t total = 0;
  for (const auto& entry : fs::recursive_directory_iterator(directory)) {
    if (entry.is_regular_file() && !entry.is_symlink() &&
        fs::relative(entry.path(), directory) != ".bytes_used")
      total += entry.file_size();
  }
  return total;
}

std::string tree_difference(const std::string& a, const std::string& b) {
  const auto left = tree(a), right = tree(b);
  for (const auto& [name, content] : left) {
    auto other = right.find(name);
    if (other == right.end()) return name + " is only in " + a;
    if (other->second != content) return name + " differs between " + a + " and " + b;
  }
  for (const auto& [name, content] : right)
    if (!left.count(name)) return name + " is only in " + b;
  return "";
}

std::vector<std::string> cache_problems(const std::string& cache_dir,
                                        const std::map<std::string, std::string>& references) {
  std::vector<std::string> problems;
  const auto records = read_index(cache_dir);
  if (!records) return {"no readable index in " + cache_dir};
  std::set<std::string> indexed;
  for (const IndexRecord& record : *records) {
    const std::string path = cache_dir + "/" + record.directory;
    if (!indexed.insert(record.directory).second) problems.push_back(record.name + " indexed twice");
    if (record.name != record.directory)
      problems.push_back(record.name + " indexed in directory " + record.directory);
    if (!fs::is_directory(fs::symlink_status(path))) {
      problems.push_back(record.name + " indexed without a directory");
      continue;
    }
    if (!fs::exists(path + "/.created.ts")) problems.push_back(record.name + " indexed incomplete");
    if (read_file(path + "/.bytes_used") != std::to_string(record.bytes))
      problems.push_back(record.name + ": .bytes_used '" + read_file(path + "/.bytes_used") +
                         "', index " + std::to_string(record.bytes));
    if (files_size(path) != record.bytes)
      problems.push_back(record.name + ": " + std::to_string(files_size(path)) +
                         " bytes of files, index " + std::to_string(record.bytes));
    auto reference = references.find(record.name);
    if (reference == references.end()) {
      problems.push_back(record.name + " is no known component");
    } else if (std::string difference = tree_difference(reference->second, path);
               !difference.empty()) {
      problems.push_back(difference);
    }
  }
  for (const auto& entry : fs::directory_iterator(cache_dir)) {
    const std::string name = entry.path().filename().string();
    if (name[0] == '.') continue;  // the cache's own files and the components' lock files
    if (!entry.is_directory() || entry.is_symlink())
      problems.push_back("stray entry " + name);
    else if (!indexed.count(name))
      problems.push_back("directory " + name + " is not indexed");
  }
  return problems;
}

uint64_t indexed_bytes(const std::string& cache_dir) {
  uint64_t total = 0;
  if (auto records = read_index(cache_dir))
    for (const IndexRecord& record : *records) total += record.bytes;
  return total;
}

}  // namespace korel::scenario
