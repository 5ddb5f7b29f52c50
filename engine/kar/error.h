// A failure of the archive library: which entry (empty when none is concerned) and why.
#pragma once

#include <stdexcept>
#include <string>

#include "korel/export.h"

namespace kar {

class KOREL_EXPORT Error : public std::runtime_error {
 public:
  Error(std::string entry, const std::string& reason)
      : std::runtime_error(reason), entry_(std::move(entry)) {}
  const std::string& entry() const { return entry_; }

 private:
  std::string entry_;
};

// "<what>: entry '<entry>': <reason>", or "<what>: <reason>" without an entry.
KOREL_EXPORT std::string describe(const std::string& what, const Error& error);

// "<text>: <strerror(errnum)>".
KOREL_EXPORT std::string with_errno(const std::string& text, int errnum);

}  // namespace kar
