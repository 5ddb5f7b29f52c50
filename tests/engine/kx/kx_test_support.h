// What the array library's suites share: owning arrays, reading shapes and errors.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "korel/kx.h"
#include "support/owned_array.h"

namespace kxtest {

using korel::test::Destroy;
using korel::test::Owned;

inline std::vector<kxSize> dims_of(const kxArray* a) {
  return {kxGetDimensions(a), kxGetDimensions(a) + kxGetNumberOfDimensions(a)};
}

inline std::string last_error_id() {
  const char* id = nullptr;
  kxGetLastErrIdAndMsg(&id, nullptr);
  return id;
}

}  // namespace kxtest
