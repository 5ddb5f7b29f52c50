// Native arrays owned by a scope.
#pragma once

#include <memory>

#include "korel/kx.h"

namespace kcl {

struct ArrayDestroyer {
  void operator()(kxArray* a) const { kxDestroyArray(a); }
};
using OwnedArray = std::unique_ptr<kxArray, ArrayDestroyer>;

}  // namespace kcl
