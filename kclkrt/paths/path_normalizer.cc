#include "kclkrt/paths/path_normalizer.h"

#include <algorithm>

#include "ds/path.h"
#include "kclkrt/paths/path_string.h"

void dsStringNormalizer::normalize_and_assign(dsPathString_& path, const char* text,
                                              std::size_t length) const {
  std::string& target = path.text();
  target.assign(text ? text : "", text ? length : 0);
  normalize(target);
}

void dsStringNormalizer::normalize(dsPathString_& path) const { normalize(path.text()); }

namespace {

constexpr char kBlanks[] = " \t\v\b\n\r\f";

}  // namespace

void dsWellFormedPathNormalizer::normalize(std::string& text) const {
  auto both_separators = [](char a, char b) { return dsIsPathSep(a) && dsIsPathSep(b); };
  text.erase(std::unique(text.begin(), text.end(), both_separators), text.end());
  std::size_t first = text.find_first_not_of(kBlanks);
  if (first == std::string::npos) {
    text.clear();
    return;
  }
  text.erase(text.find_last_not_of(kBlanks) + 1);
  text.erase(0, first);
}

std::shared_ptr<const dsStringNormalizer> dsWellFormedPathNormalizer::shared() {
  static const auto instance = std::make_shared<const dsWellFormedPathNormalizer>();
  return instance;
}

void dsCanonicalPathNormalizer::normalize(std::string& text) const {
  if (text.empty()) return;
  char buffer[8706];
  const char* result = dsCanonicalizePath(buffer, sizeof buffer, text.data(), text.size());
  if (result != nullptr && result != text.data()) text = result;
}

std::shared_ptr<const dsStringNormalizer> dsCanonicalPathNormalizer::shared() {
  static const auto instance = std::make_shared<const dsCanonicalPathNormalizer>();
  return instance;
}
