// Normalizers keep a path string in one form through every assignment and change.
#pragma once

#include <cstddef>
#include <memory>
#include <string>

class dsPathString_;

class dsStringNormalizer {
 public:
  virtual ~dsStringNormalizer() = default;
  // Puts the normalized form of `length` characters at `text` into `path`.
  virtual void normalize_and_assign(dsPathString_& path, const char* text, std::size_t length) const;
  // Rewrites the text to its normalized form.
  virtual void normalize(dsPathString_& path) const;
  virtual void normalize(std::string& text) const = 0;
};

// Collapses runs of separators into one and trims white space (space, tab, vertical
// tab, backspace, newline, carriage return, form feed) from both ends.
class dsWellFormedPathNormalizer : public dsStringNormalizer {
 public:
  using dsStringNormalizer::normalize;
  void normalize(std::string& text) const override;
  // Normalizers carry no state, so one instance serves every path string.
  static std::shared_ptr<const dsStringNormalizer> shared();
};

// Makes the text an absolute canonical path (dsCanonicalizePath). Empty text stays
// empty, and text that cannot be canonicalized is left as it is.
class dsCanonicalPathNormalizer : public dsStringNormalizer {
 public:
  using dsStringNormalizer::normalize;
  void normalize(std::string& text) const override;
  static std::shared_ptr<const dsStringNormalizer> shared();
};
