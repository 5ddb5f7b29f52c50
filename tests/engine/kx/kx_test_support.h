// What the array library's suites share: owning arrays, reading shapes and errors.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "korel/kx.h"

namespace kxtest {

struct Destroy {
  void operator()(kxArray* a) const { kxDestroyArray(a); }
};
using Owned = std::unique_ptr<kxArray, Destroy>;

inline std::vector<kxSize> dims_of(const kxArray* a) {
  return {kxGetDimensions(a), kxGetDimensions(a) + kxGetNumberOfDimensions(a)};
}

inline std::string last_error_id() {
  const char* id = nullptr;
  kxGetLastErrIdAndMsg(&id, nullptr);
  return id;
}

}  // namespace kxtest
