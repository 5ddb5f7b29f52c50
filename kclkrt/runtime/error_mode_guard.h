// The array library's error mode for the length of a call. Only the outermost call
// sets it: nested calls find it set and leave it alone.
#pragma once

#include "korel/kx.h"

namespace kcl {

class ErrorModeGuard {
 public:
  explicit ErrorModeGuard(int mode) {
    if (kxGetErrorMode() == 0) {
      previous_ = kxSetErrorMode(mode);
      changed_ = true;
    }
  }
  ~ErrorModeGuard() {
    if (changed_) kxSetErrorMode(previous_);
  }
  ErrorModeGuard(const ErrorModeGuard&) = delete;
  ErrorModeGuard& operator=(const ErrorModeGuard&) = delete;

 private:
  bool changed_ = false;
  int previous_ = 0;
};

}  // namespace kcl
