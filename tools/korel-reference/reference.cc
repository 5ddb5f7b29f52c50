#include "reference.h"

#include <algorithm>
#include <cctype>
#include <fstream>
#include <map>
#include <sstream>

#include "krt/function_registry.h"

namespace korel::reference {
namespace {

namespace fs = std::filesystem;

std::string_view trimmed(std::string_view s) {
  while (!s.empty() && std::isspace(static_cast<unsigned char>(s.front()))) s.remove_prefix(1);
  while (!s.empty() && std::isspace(static_cast<unsigned char>(s.back()))) s.remove_suffix(1);
  return s;
}

bool is_name_char(char c) { return std::isalnum(static_cast<unsigned char>(c)) || c == '_'; }

bool is_function_line(std::string_view line) {
  return line.starts_with("function") && (line.size() == 8 || !is_name_char(line[8]));
}

// The name a function line defines: `function name`, `function y = name(x)`,
// `function [a, b] = name(x)`.
std::string_view defined_name(std::string_view line) {
  line.remove_prefix(8);
  if (std::size_t assign = line.find('='); assign != std::string_view::npos)
    line.remove_prefix(assign + 1);
  line = trimmed(line);
  std::size_t end = 0;
  while (end < line.size() && is_name_char(line[end])) ++end;
  return line.substr(0, end);
}

// "mean(X): the average" is "the average": the call form repeats the entry's name.
std::string_view without_call_form(std::string_view text, std::string_view name) {
  if (name.empty() || !text.starts_with(name)) return text;
  std::size_t after = text.find(": ");
  if (after == std::string_view::npos) return text;
  char next = text.size() > name.size() ? text[name.size()] : ':';
  if (next != '(' && next != ':' && next != ' ') return text;
  return trimmed(text.substr(after + 2));
}

std::string read_file(const fs::path& file) {
  std::ifstream in(file, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

}  // namespace

std::vector<Area> builtin_areas() {
  std::vector<Area> areas;
  for (const krt::lang::IntrinsicGroup& group : krt::builtin_groups()) {
    Area area{group.area ? group.area : "", {}};
    for (const krt::lang::IntrinsicEntry* e = group.entries; e && e->name; ++e)
      area.entries.push_back({e->name, std::string(trimmed(e->summary ? e->summary : ""))});
    areas.push_back(std::move(area));
  }
  return areas;
}

std::vector<Area> library_areas(const fs::path& toolbox) {
  std::map<std::string, Area> by_directory;  // sorted by directory name
  for (const fs::directory_entry& dir : fs::directory_iterator(toolbox)) {
    if (!dir.is_directory()) continue;
    Area area{"Library: " + dir.path().filename().string(), {}};
    for (const fs::directory_entry& file : fs::directory_iterator(dir.path()))
      if (file.is_regular_file() && file.path().extension() == ".k")
        area.entries.push_back(
            {file.path().stem().string(), library_summary(read_file(file.path()))});
    std::sort(area.entries.begin(), area.entries.end(),
              [](const Entry& a, const Entry& b) { return a.name < b.name; });
    if (!area.entries.empty()) by_directory.emplace(dir.path().filename().string(), std::move(area));
  }
  std::vector<Area> areas;
  for (auto& [name, area] : by_directory) areas.push_back(std::move(area));
  return areas;
}

std::string library_summary(std::string_view source) {
  std::istringstream lines{std::string(source)};
  std::string line;
  std::string_view name;
  std::string function_line;
  while (std::getline(lines, line)) {
    std::string_view text = trimmed(line);
    if (is_function_line(text)) {
      function_line = std::string(text);
      name = defined_name(function_line);
      break;
    }
    if (!text.empty() && !text.starts_with('%')) return "";  // a script, not a function
  }
  std::string summary;
  while (std::getline(lines, line)) {
    std::string_view text = trimmed(line);
    if (!text.starts_with('%') || text.starts_with("%{")) break;
    while (text.starts_with('%')) text.remove_prefix(1);
    text = trimmed(text);
    if (text.empty()) break;
    if (!summary.empty()) summary += ' ';
    summary += text;
  }
  std::string result(without_call_form(summary, name));
  if (!result.empty()) result[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(result[0])));
  return result;
}

std::vector<std::string> problems(const std::vector<Area>& areas) {
  std::vector<std::string> found;
  std::map<std::string, std::string> area_of;
  for (const Area& area : areas)
    for (const Entry& e : area.entries) {
      if (trimmed(e.summary).empty())
        found.push_back("'" + e.name + "' (" + area.title + ") has no summary");
      auto [it, added] = area_of.emplace(e.name, area.title);
      if (!added)
        found.push_back("'" + e.name + "' is listed in both " + it->second + " and " + area.title);
    }
  return found;
}

std::string render(const std::vector<Area>& areas) {
  std::string text;
  for (const Area& area : areas) {
    if (area.entries.empty()) continue;
    text += "\n### " + area.title + "\n\n";
    for (const Entry& e : area.entries) text += "- `" + e.name + "`: " + e.summary + "\n";
  }
  return text + "\n";
}

std::optional<std::string_view> section_of(std::string_view document) {
  std::size_t begin = document.find(kBeginMarker);
  if (begin == std::string_view::npos) return std::nullopt;
  begin += kBeginMarker.size();
  if (begin < document.size() && document[begin] == '\n') ++begin;
  std::size_t end = document.find(kEndMarker, begin);
  if (end == std::string_view::npos) return std::nullopt;
  return document.substr(begin, end - begin);
}

std::optional<std::string> with_section(std::string_view document, std::string_view section) {
  std::optional<std::string_view> old = section_of(document);
  if (!old) return std::nullopt;
  std::size_t begin = static_cast<std::size_t>(old->data() - document.data());
  return std::string(document.substr(0, begin)) + std::string(section) +
         std::string(document.substr(begin + old->size()));
}

}  // namespace korel::reference
