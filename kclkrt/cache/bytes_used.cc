#include "kclkrt/cache/bytes_used.h"

#include <fcntl.h>

#include <charconv>

#include "ds/tree_size.h"
#include "kclkrt/cache/cache_file.h"
#include "kclkrt/cache/cache_log.h"
#include "ut/unique_fd.h"

namespace kcl {
namespace {

constexpr const char* kBytesUsed = ".bytes_used";

// A file that holds no number is as good as missing: the size is worked out again.
std::optional<uint64_t> parse_size(const std::string& text) {
  uint64_t value = 0;
  auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end == text.data()) return std::nullopt;
  return value;
}

}  // namespace

std::optional<uint64_t> measure_component(int component, const std::string& display_path) {
  cache_log("Calculating bytes used by component: ", display_path);
  uint64_t total = 0;
  if (!dsTreeSizeAt(component, total)) {
    cache_log("Could not read all of ", display_path, "; its size is unknown.");
    return std::nullopt;
  }
  cache_log("total is ", total);
  return total;
}

bool write_bytes_used(int component, uint64_t total) {
  return write_cache_file(component, kBytesUsed, std::to_string(total));
}

std::optional<uint64_t> component_bytes_used(int component, const std::string& display_path) {
  cache_log("Opening file ", display_path, "/", kBytesUsed);
  if (std::optional<std::string> text = read_cache_file(component, kBytesUsed)) {
    if (std::optional<uint64_t> total = parse_size(*text)) {
      cache_log(".bytes_used file read: ", *total);
      return total;
    }
  }
  cache_log("Could not read file.");
  std::optional<uint64_t> total = measure_component(component, display_path);
  if (!total) return std::nullopt;
  cache_log("Writing file ", display_path, "/.bytes_used (total is ", *total, ")");
  if (!write_bytes_used(component, *total))
    cache_log("Could not write ", display_path, "/.bytes_used");
  return total;
}

std::optional<uint64_t> component_bytes_used(const std::string& directory) {
  ut::UniqueFd component(
      ::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  if (!component) return std::nullopt;
  return component_bytes_used(component.get(), directory);
}

}  // namespace kcl
