#include "ds/path.h"

#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

bool dsIsPathSep(int c) { return c == '/'; }

namespace {

// The current directory, or "" when it cannot be read (removed, or not reachable).
std::string currentDirectory() {
  std::unique_ptr<char, decltype(&std::free)> cwd(getcwd(nullptr, 0), &std::free);
  return cwd && cwd.get()[0] == '/' ? std::string(cwd.get()) : std::string();
}

// Splits `text` on separators and resolves "." and ".." against `elements`.
void appendElements(std::vector<std::string_view>& elements, std::string_view text) {
  std::size_t i = 0;
  while (i < text.size()) {
    while (i < text.size() && dsIsPathSep(text[i])) ++i;
    std::size_t start = i;
    while (i < text.size() && !dsIsPathSep(text[i])) ++i;
    std::string_view element = text.substr(start, i - start);
    if (element.empty() || element == ".") continue;
    if (element == "..") {
      if (!elements.empty()) elements.pop_back();
      continue;
    }
    elements.push_back(element);
  }
}

}  // namespace

const char* dsCanonicalizePath(char* out, std::size_t out_size, const char* path,
                               std::size_t length) {
  if (!out || !path) return nullptr;
  // The caller's length bounds the read; a terminator inside it ends the path early.
  std::string_view input(path, strnlen(path, length));

  std::string cwd;
  std::vector<std::string_view> elements;
  if (input.empty() || !dsIsPathSep(input[0])) {
    cwd = currentDirectory();
    if (cwd.empty()) return nullptr;
    appendElements(elements, cwd);
  }
  appendElements(elements, input);

  std::string result;
  for (std::string_view e : elements) (result += '/') += e;
  if (result.empty()) result += '/';
  // Built apart from `out` so that `out` may be the very buffer `path` points into.
  if (result.size() + 1 > out_size) return nullptr;
  std::memcpy(out, result.c_str(), result.size() + 1);
  return out;
}
