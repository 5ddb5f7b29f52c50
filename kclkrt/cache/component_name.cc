#include "kclkrt/cache/component_name.h"

#include <cctype>
#include <string_view>

namespace kcl {
namespace {

constexpr std::string_view kStaging = ".extract-";
constexpr std::string_view kAside = ".damaged-";

bool is_unique_suffix(std::string_view text) {
  if (text.size() != kUniqueSuffixLength) return false;
  for (char c : text)
    if (!std::isalnum(static_cast<unsigned char>(c))) return false;
  return true;
}

}  // namespace

bool is_cache_component_name(const std::string& name) {
  return !name.empty() && name.front() != '.' &&
         name.find_first_of(std::string("/\n\r\0", 4)) == std::string::npos;
}

std::string staging_prefix(const std::string& name) { return "." + name + std::string(kStaging); }

std::string aside_prefix(const std::string& name) { return "." + name + std::string(kAside); }

std::optional<CacheLeftover> parse_cache_leftover(const std::string& entry) {
  const std::size_t tail = kStaging.size() + kUniqueSuffixLength;
  if (entry.size() < 2 + tail || entry.front() != '.') return std::nullopt;
  const std::string_view text(entry);
  const std::string_view kind = text.substr(text.size() - tail, kStaging.size());
  if (!is_unique_suffix(text.substr(text.size() - kUniqueSuffixLength))) return std::nullopt;
  std::string component(text.substr(1, text.size() - 1 - tail));
  if (!is_cache_component_name(component)) return std::nullopt;
  if (kind == kStaging) return CacheLeftover{CacheLeftover::Kind::staging, std::move(component)};
  if (kind == kAside) return CacheLeftover{CacheLeftover::Kind::aside, std::move(component)};
  return std::nullopt;
}

}  // namespace kcl
