// Native arrays owned by a test, and the makers and readers every suite uses.
#pragma once

#include <memory>
#include <string>

#include "korel/kx.h"

namespace korel::test {

struct Destroy {
  void operator()(kxArray* a) const { kxDestroyArray(a); }
};
using Owned = std::unique_ptr<kxArray, Destroy>;

inline Owned number(double v) { return Owned(kxCreateDoubleScalar(v)); }
inline Owned text(const std::string& s) { return Owned(kxCreateString(s.c_str())); }

// The text of a char array, or "<not text>".
inline std::string text_of(const kxArray* a) {
  char* s = kxArrayToString(a);
  std::string out = s ? s : "<not text>";
  kxFree(s);
  return out;
}

}  // namespace korel::test
