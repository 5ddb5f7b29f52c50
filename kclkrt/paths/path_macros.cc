#include "kclkrt/paths/path_macros.h"

#include <strings.h>

#include <algorithm>
#include <cctype>
#include <cstring>

#include "ds/path.h"

bool kclPathMacros::CaseInsensitiveLess::operator()(std::string_view a, std::string_view b) const {
  return std::lexicographical_compare(a.begin(), a.end(), b.begin(), b.end(), [](char x, char y) {
    return std::tolower(static_cast<unsigned char>(x)) < std::tolower(static_cast<unsigned char>(y));
  });
}

void kclPathMacros::add(const char* name, const char* value) {
  if (name == nullptr || value == nullptr) return;
  auto it = macros_.find(std::string_view(name));
  if (it != macros_.end())
    it->second = value;
  else
    macros_.emplace(name, value);
}

void kclPathMacros::add_canonical(const char* name, const char* value) {
  if (value == nullptr) return;
  add(name, dsPathString_::canonical(value).c_str());
}

void kclPathMacros::remove(const char* name) {
  if (name == nullptr) return;
  auto it = macros_.find(std::string_view(name));
  if (it != macros_.end()) macros_.erase(it);
}

const char* kclPathMacros::expand_macro(const char* name, std::size_t length) const {
  if (name == nullptr || length == 0) return nullptr;
  auto it = macros_.find(std::string_view(name, length));
  return it == macros_.end() ? nullptr : it->second.c_str();
}

const char* kclPathMacros::expand_macro(const char* name) const {
  return name ? expand_macro(name, std::strlen(name)) : nullptr;
}

const char* kclPathMacros::expand_macro(const std::string& name) const {
  return expand_macro(name.data(), name.size());
}

bool kclPathMacros::needs_expanding(const char* text) const {
  if (text == nullptr) return false;
  return std::any_of(macros_.begin(), macros_.end(),
                     [&](const auto& macro) { return std::strstr(text, macro.first.c_str()) != nullptr; });
}

std::string kclPathMacros::expand(std::string_view path) const {
  std::string out;
  std::size_t pos = 0;
  while (pos < path.size()) {
    if (dsIsPathSep(path[pos]) && pos != 0) {
      out += path[pos++];
      continue;
    }
    std::size_t end = dsEndOfFirstElement(path, pos) + 1;
    std::string_view element = path.substr(pos, end - pos);
    const char* value = expand_macro(element.data(), element.size());
    if (value)
      out += value;
    else
      out += element;
    pos = end;
  }
  return out;
}

void kclPathMacros::expand_path_macros(char* buffer, std::size_t capacity) const {
  if (buffer == nullptr || capacity == 0) return;
  std::string expanded = expand(std::string_view(buffer, strnlen(buffer, capacity)));
  if (expanded.size() + 1 > capacity) return;
  std::memcpy(buffer, expanded.c_str(), expanded.size() + 1);
}

dsPathString_& kclPathMacros::expand_path_macros(dsPathString_& path) const {
  path = expand(path.str());
  return path;
}

std::ostream& kclPathMacros::write(std::ostream& out) const {
  out << "\nDefined Macros:\n";
  for (const auto& [name, value] : macros_) out << "{" << name << ", " << value << "}\n";
  return out;
}
