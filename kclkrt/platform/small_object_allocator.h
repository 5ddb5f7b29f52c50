// Pooled allocation for the many small, short-lived objects of the array interface
// (error records, array references): fixed-size blocks carved from 4096-byte chunks.
#pragma once

#include <cstddef>

namespace kcl {

class SmallObjectAllocator {
 public:
  static constexpr std::size_t kChunkSize = 4096;
  static constexpr std::size_t kMaxObjectSize = 64;

  // The process-wide allocator, made on first use and kept for the life of the
  // process so that objects released during unload still have their pool.
  static SmallObjectAllocator& instance();

  // Sizes above kMaxObjectSize go to the global heap.
  void* allocate(std::size_t size);
  void deallocate(void* p, std::size_t size) noexcept;

 private:
  SmallObjectAllocator() = default;
  struct Impl;
  Impl* impl_ = nullptr;
};

// Base for classes whose instances come from the pool.
struct SmallObject {
  static void* operator new(std::size_t size) {
    return SmallObjectAllocator::instance().allocate(size);
  }
  static void operator delete(void* p, std::size_t size) noexcept {
    SmallObjectAllocator::instance().deallocate(p, size);
  }
};

}  // namespace kcl
