// Archive extractors: what a component's options use to unpack its archive into a
// directory, reporting how many bytes the extraction occupies.
#pragma once

#include <cstdint>
#include <string>

class kclComponentExtractor {
 public:
  virtual ~kclComponentExtractor() = default;
  // Extracts into `target`; on success `total_bytes` is the size of every file below it.
  // A failure returns false and never throws; the caller reports it.
  virtual bool extract(uint64_t& total_bytes, const std::string& target) = 0;
};

// For a caller that accepts an existing extraction only.
class kclAlwaysFailExtractor : public kclComponentExtractor {
 public:
  bool extract(uint64_t&, const std::string&) override { return false; }
};
