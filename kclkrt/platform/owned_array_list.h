// A list of native arrays for one call, destroyed with the list unless taken out.
#pragma once

#include <cstddef>

#include "kclkrt/platform/argument_list.h"
#include "korel/kx.h"

namespace kcl {

class OwnedArrayList {
 public:
  // `count` slots, all null.
  explicit OwnedArrayList(std::size_t count) : slots_(count) {}
  ~OwnedArrayList() {
    for (std::size_t i = 0; i < slots_.size(); ++i) kxDestroyArray(slots_[i]);
  }
  OwnedArrayList(const OwnedArrayList&) = delete;
  OwnedArrayList& operator=(const OwnedArrayList&) = delete;

  kxArray** data() { return slots_.data(); }
  std::size_t size() const { return slots_.size(); }
  kxArray*& operator[](std::size_t i) { return slots_[i]; }
  // Hands slot i's array to the caller and empties the slot.
  kxArray* take(std::size_t i) {
    kxArray* a = slots_[i];
    slots_[i] = nullptr;
    return a;
  }

 private:
  ArgumentList<kxArray*> slots_;
};

}  // namespace kcl
