// A path held in normal form: every assignment and change passes through the
// normalizer the path string carries.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

#include "kclkrt/paths/path_normalizer.h"

class dsPathString_ {
 public:
  using Normalizer = std::shared_ptr<const dsStringNormalizer>;

  // Well-formed: separators collapsed, white space trimmed.
  dsPathString_();
  dsPathString_(std::string_view text);  // NOLINT(google-explicit-constructor): paths are strings
  dsPathString_(const char* text) : dsPathString_(std::string_view(text ? text : "")) {}
  // Normalized by `normalizer` on assignment and on every change.
  dsPathString_(std::string_view text, Normalizer normalizer);

  // An absolute canonical path that stays canonical as elements are joined.
  static dsPathString_ canonical(std::string_view text);

  dsPathString_& operator=(std::string_view text);
  dsPathString_& operator=(const char* text) { return *this = std::string_view(text ? text : ""); }

  // Appends one element: separators around `element` are dropped (one character of it
  // is always kept) and exactly one separator joins it to a non-empty base.
  dsPathString_& join(std::string_view element);
  friend dsPathString_ operator/(dsPathString_ base, std::string_view element) {
    return std::move(base.join(element));
  }

  // Position of the last character of the element that starts at `pos`: a separator at
  // the start of the path is an element of its own; otherwise the element ends before
  // the next separator or at the end.
  std::size_t end_of_first_element(std::size_t pos) const;

  const std::string& str() const { return text_; }
  const char* c_str() const { return text_.c_str(); }
  bool empty() const { return text_.empty(); }
  operator const std::string&() const { return text_; }  // NOLINT(google-explicit-constructor)

  // For normalizers, which rewrite the text in place.
  std::string& text() { return text_; }

  const Normalizer& assign_normalizer() const { return assign_normalizer_; }
  const Normalizer& change_normalizer() const { return change_normalizer_; }

  friend bool operator==(const dsPathString_& a, const dsPathString_& b) { return a.text_ == b.text_; }

 private:
  void normalize_changed();

  std::string text_;
  Normalizer assign_normalizer_;  // may be empty: assignment then uses the change normalizer
  Normalizer change_normalizer_;
};

// Position of the last character of the element of `path` starting at `pos`.
std::size_t dsEndOfFirstElement(std::string_view path, std::size_t pos);
