// Which names can name a component directory inside the cache directory, and the hidden
// names the cache gives a component's directories on their way in and out.
#pragma once

#include <optional>
#include <string>

namespace kcl {

// One path element that is not hidden (the cache's own files begin with a dot) and
// that fits on one line of the index: so a name can neither leave the cache directory
// nor be mistaken for the cache's files, nor break the index format.
bool is_cache_component_name(const std::string& name);

// A component's extraction is staged in ".<name>.extract-XXXXXX" and renamed into place
// when complete; a damaged extraction replaced by a fresh one waits as
// ".<name>.damaged-XXXXXX" until nobody holds the component. X: six letters or digits.
std::string staging_prefix(const std::string& name);
std::string aside_prefix(const std::string& name);
constexpr std::size_t kUniqueSuffixLength = 6;

// What such a name was made for, and for which component.
struct CacheLeftover {
  enum class Kind { staging, aside };
  Kind kind;
  std::string component;
};
std::optional<CacheLeftover> parse_cache_leftover(const std::string& entry);

}  // namespace kcl
