// The extractors of KAR archives: from a stream the component holds, and from a file.
#pragma once

#include <iosfwd>

#include "kclkrt/component/component_extractor.h"

namespace kcl {

// The size of every regular file below `directory`, in bytes.
uint64_t extracted_size(const std::string& directory);

}  // namespace kcl

// Reads the archive from a borrowed stream positioned at its first byte; silent.
class kclKarStreamExtractor : public kclComponentExtractor {
 public:
  kclKarStreamExtractor(std::istream* stream, int size) : stream_(stream), size_(size) {}
  bool extract(uint64_t& total_bytes, const std::string& target) override;
  int size() const { return size_; }

 private:
  std::istream* stream_;
  int size_;
};

// Extracts the named archive file, announcing it with "KRT:Extract" progress messages.
class kclKarFileExtractor : public kclComponentExtractor {
 public:
  explicit kclKarFileExtractor(std::string path) : path_(std::move(path)) {}
  bool extract(uint64_t& total_bytes, const std::string& target) override;
  const std::string& path() const { return path_; }

 private:
  std::string path_;
};
