// The reference count of the array interface's objects: atomic, starting at one.
#pragma once

#include <atomic>
#include <cstdint>

namespace kcl {

class RefCount {
 public:
  // Each returns the new count.
  int increment() noexcept { return static_cast<int>(++count_); }
  int decrement() noexcept { return static_cast<int>(--count_); }

 private:
  std::atomic<uint32_t> count_{1};
};

// The release of an object: the caller that takes the count to zero destroys it.
template <class Object>
int release_reference(Object* self, RefCount& count) noexcept {
  int left = count.decrement();
  if (left == 0) delete self;
  return left;
}

}  // namespace kcl
