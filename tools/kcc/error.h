// What kcc reports: a build that cannot be done, or a command line it cannot use.
#pragma once

#include <stdexcept>
#include <string>

namespace kcc {

// The component could not be built; the message says why (exit code 1).
class Error : public std::runtime_error {
 public:
  explicit Error(const std::string& what) : std::runtime_error(what) {}
};

// The command line is wrong (exit code 2).
class UsageError : public std::runtime_error {
 public:
  explicit UsageError(const std::string& what) : std::runtime_error(what) {}
};

}  // namespace kcc
