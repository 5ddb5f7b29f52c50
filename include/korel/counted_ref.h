// One counted reference to an object of the array interface (array, list, character
// buffer, error record): released when the holder dies, shared by copying. Header-only;
// it calls only the exported reference-count functions.
#pragma once

#include <utility>

#include "korel/kclkrt.h"
#include "korel/ref_count_obj.h"

namespace korel {

template <class T>
class CountedRef {
 public:
  CountedRef() noexcept = default;
  explicit CountedRef(T* owned) noexcept : p_(owned) {}
  CountedRef(const CountedRef& other) noexcept : p_(other.p_) {
    if (p_) ref_count_obj_addref(p_);
  }
  CountedRef(CountedRef&& other) noexcept : p_(std::exchange(other.p_, nullptr)) {}
  CountedRef& operator=(CountedRef other) noexcept {
    std::swap(p_, other.p_);
    return *this;
  }
  ~CountedRef() { reset(); }

  T* get() const noexcept { return p_; }
  T* release() noexcept { return std::exchange(p_, nullptr); }
  void reset(T* owned = nullptr) noexcept {
    if (p_) ref_count_obj_release(p_);
    p_ = owned;
  }
  // For the creators that store a new object through their first argument.
  T** out() noexcept {
    reset();
    return &p_;
  }
  // How many references exist besides this one.
  int others() const noexcept {
    int count = ref_count_obj_addref(p_);
    ref_count_obj_release(p_);
    return count - 2;
  }

 private:
  T* p_ = nullptr;
};


}  // namespace korel
