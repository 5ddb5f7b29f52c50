#include "kclkrt/platform/small_object_allocator.h"

#include <array>
#include <mutex>
#include <new>
#include <vector>

#include "krt/mutex.h"

namespace kcl {
namespace {

constexpr std::size_t kGranule = 8;
constexpr std::size_t kClasses = SmallObjectAllocator::kMaxObjectSize / kGranule;

// Under AddressSanitizer every object gets its own heap block, so that a use after
// release or a leaked object is reported instead of hidden in a pool.
#if defined(__SANITIZE_ADDRESS__)
constexpr bool kPooled = false;
#else
constexpr bool kPooled = true;
#endif

std::size_t size_class(std::size_t size) { return (size + kGranule - 1) / kGranule - 1; }

struct FreeBlock {
  FreeBlock* next;
};

}  // namespace

struct SmallObjectAllocator::Impl {
  std::mutex mutex;
  std::array<FreeBlock*, kClasses> free_lists{};
  std::vector<void*> chunks;  // kept: blocks of every class point into them

  void refill(std::size_t cls) {
    std::size_t block = (cls + 1) * kGranule;
    char* chunk = static_cast<char*>(::operator new(kChunkSize));
    chunks.push_back(chunk);
    for (std::size_t offset = 0; offset + block <= kChunkSize; offset += block) {
      auto* b = reinterpret_cast<FreeBlock*>(chunk + offset);
      b->next = free_lists[cls];
      free_lists[cls] = b;
    }
  }
};

SmallObjectAllocator& SmallObjectAllocator::instance() {
  // Made under the engine's mutex on first use and never destroyed.
  static SmallObjectAllocator* allocator = [] {
    std::lock_guard<std::recursive_mutex> lock(krt::global_mutex());
    auto* a = new SmallObjectAllocator();
    a->impl_ = new Impl();
    return a;
  }();
  return *allocator;
}

void* SmallObjectAllocator::allocate(std::size_t size) {
  if (size == 0) size = 1;
  if (!kPooled || size > kMaxObjectSize) return ::operator new(size);
  std::size_t cls = size_class(size);
  std::lock_guard<std::mutex> lock(impl_->mutex);
  if (impl_->free_lists[cls] == nullptr) impl_->refill(cls);
  FreeBlock* b = impl_->free_lists[cls];
  impl_->free_lists[cls] = b->next;
  return b;
}

void SmallObjectAllocator::deallocate(void* p, std::size_t size) noexcept {
  if (p == nullptr) return;
  if (size == 0) size = 1;
  if (!kPooled || size > kMaxObjectSize) {
    ::operator delete(p);
    return;
  }
  std::size_t cls = size_class(size);
  std::lock_guard<std::mutex> lock(impl_->mutex);
  auto* b = static_cast<FreeBlock*>(p);
  b->next = impl_->free_lists[cls];
  impl_->free_lists[cls] = b;
}

}  // namespace kcl
