#include "kx/block.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>

namespace kx {
namespace {

// Blocks this large are kept for reuse when freed instead of going back to the system.
constexpr std::size_t kRecycledMinimum = std::size_t{1} << 20;
// What the cache may hold at once, so a process that stops using big arrays gives back
// all but a bounded amount.
constexpr std::size_t kCacheBudget = std::size_t{256} << 20;
constexpr std::size_t kCacheSlots = 4;

class BlockCache {
 public:
  // A cached block that holds `bytes` without wasting more than an eighth of it.
  void* take(std::size_t bytes, std::size_t& capacity) {
    std::lock_guard lock(mutex_);
    for (auto& slot : slots_) {
      if (slot.data && slot.capacity >= bytes && slot.capacity - bytes <= slot.capacity / 8) {
        held_ -= slot.capacity;
        capacity = slot.capacity;
        return std::exchange(slot.data, nullptr);
      }
    }
    return nullptr;
  }

  // Keeps the block if there is room; returns false when the caller must free it.
  bool put(void* data, std::size_t capacity) {
    std::lock_guard lock(mutex_);
    if (held_ + capacity > kCacheBudget) return false;
    for (auto& slot : slots_) {
      if (!slot.data) {
        slot = {data, capacity};
        held_ += capacity;
        return true;
      }
    }
    return false;
  }

 private:
  struct Slot {
    void* data = nullptr;
    std::size_t capacity = 0;
  };
  std::mutex mutex_;
  std::array<Slot, kCacheSlots> slots_{};
  std::size_t held_ = 0;
};

// Never destroyed: arrays may be freed by other static destructors at exit.
BlockCache& cache() {
  static BlockCache* instance = new BlockCache;
  return *instance;
}

}  // namespace

Block Block::allocate(std::size_t bytes, bool zeroed) {
  Block block;
  if (bytes == 0) return block;
  if (bytes <= kLocalSize) {
    if (zeroed) std::memset(block.local_, 0, bytes);
    block.data_ = block.local_;
    block.size_ = block.capacity_ = bytes;
    return block;
  }
  std::size_t capacity = bytes;
  void* data = nullptr;
  if (bytes >= kRecycledMinimum) {
    data = cache().take(bytes, capacity);
    if (data && zeroed) std::memset(data, 0, bytes);
  }
  if (!data) {
    capacity = bytes;
    data = zeroed ? std::calloc(1, bytes) : std::malloc(bytes);
    if (!data) throw std::bad_alloc();
  }
  block.data_ = data;
  block.size_ = bytes;
  block.capacity_ = capacity;
  return block;
}

void Block::release() noexcept {
  if (!data_) return;
  if (data_ == local_) {
    data_ = nullptr;
    size_ = capacity_ = 0;
    return;
  }
  if (capacity_ < kRecycledMinimum || !cache().put(data_, capacity_)) std::free(data_);
  data_ = nullptr;
  size_ = capacity_ = 0;
}

void Block::resize(std::size_t bytes) {
  if (bytes <= size_) {
    size_ = bytes;
    return;
  }
  if (data_ && bytes <= capacity_) {
    std::memset(static_cast<char*>(data_) + size_, 0, bytes - size_);
    size_ = bytes;
    return;
  }
  const std::size_t wanted = std::max(bytes, capacity_ * 2);
  void* fresh = std::malloc(wanted);
  if (!fresh) throw std::bad_alloc();
  if (size_) std::memcpy(fresh, data_, size_);
  std::memset(static_cast<char*>(fresh) + size_, 0, bytes - size_);
  release();
  data_ = fresh;
  size_ = bytes;
  capacity_ = wanted;
}

Block copy_block(const void* source, std::size_t size) {
  Block block = Block::allocate(size, false);
  if (size) std::memcpy(block.data(), source, size);
  return block;
}

}  // namespace kx
