#include "kclkrt/paths/path_string.h"

#include "ds/path.h"

std::size_t dsEndOfFirstElement(std::string_view path, std::size_t pos) {
  if (pos >= path.size()) return path.size();
  if (pos == 0 && dsIsPathSep(path[0])) return 0;
  std::size_t end = pos;
  while (end + 1 < path.size() && !dsIsPathSep(path[end + 1])) ++end;
  return end;
}

dsPathString_::dsPathString_() : change_normalizer_(dsWellFormedPathNormalizer::shared()) {}

dsPathString_::dsPathString_(std::string_view text) : dsPathString_() {
  text_.assign(text);
  normalize_changed();
}

dsPathString_::dsPathString_(std::string_view text, Normalizer normalizer)
    : assign_normalizer_(normalizer), change_normalizer_(std::move(normalizer)) {
  *this = text;
}

dsPathString_ dsPathString_::canonical(std::string_view text) {
  return dsPathString_(text, dsCanonicalPathNormalizer::shared());
}

dsPathString_& dsPathString_::operator=(std::string_view text) {
  const Normalizer& normalizer = assign_normalizer_ ? assign_normalizer_ : change_normalizer_;
  if (normalizer) {
    // Copied first: `text` may view this path's own characters.
    std::string copy(text);
    normalizer->normalize_and_assign(*this, copy.data(), copy.size());
  } else {
    text_.assign(text);
  }
  return *this;
}

dsPathString_& dsPathString_::join(std::string_view element) {
  std::size_t first = 0;
  while (first + 1 < element.size() && dsIsPathSep(element[first])) ++first;
  element.remove_prefix(first);
  std::size_t last = element.size();
  while (last > 1 && dsIsPathSep(element[last - 1])) --last;
  element = element.substr(0, last);
  // Copied first: `element` may view this path's own characters.
  std::string piece(element);
  if (!text_.empty() && !dsIsPathSep(text_.back())) text_ += '/';
  text_ += piece;
  normalize_changed();
  return *this;
}

std::size_t dsPathString_::end_of_first_element(std::size_t pos) const {
  return dsEndOfFirstElement(text_, pos);
}

void dsPathString_::normalize_changed() {
  if (change_normalizer_) change_normalizer_->normalize(text_);
}
