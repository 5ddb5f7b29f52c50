// Scope guard for the native array behind an array object: a native array made for
// one use (an element copied out of its parent) is destroyed on every exit path; one
// that is merely lent is left alone.
#pragma once

#include <utility>

#include "korel/kx.h"

namespace kcl {

class ArrayAccess {
 public:
  ArrayAccess(kxArray* array, bool owned) noexcept : array_(array), owned_(owned) {}
  ArrayAccess(ArrayAccess&& other) noexcept
      : array_(std::exchange(other.array_, nullptr)), owned_(other.owned_) {}
  ArrayAccess& operator=(ArrayAccess&&) = delete;
  ~ArrayAccess() {
    if (owned_) kxDestroyArray(array_);
  }

  kxArray* get() const noexcept { return array_; }
  bool owned() const noexcept { return owned_; }

  // An array the caller owns: the made one itself, or a shared data copy of a lent one.
  // Null when there is no array or the copy cannot be made.
  kxArray* take_or_share() noexcept {
    if (!owned_) return array_ ? kxCreateSharedDataCopy(array_) : nullptr;
    return std::exchange(array_, nullptr);
  }

 private:
  kxArray* array_;
  bool owned_;
};

}  // namespace kcl
