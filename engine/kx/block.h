// Owned byte blocks that hold array data.
#pragma once

#include <cstddef>
#include <cstring>
#include <utility>

namespace kx {

// One block of array data, moved never copied. Blocks of up to 16 bytes (a scalar,
// real or complex) live inside the object, so small arrays need no allocation of their
// own; moving such a block moves its bytes, so take pointers only once it is in place.
// Large blocks are recycled: a freshly mapped block costs a page fault per page, which
// would make copying a big array several times slower than the copy itself.
class Block {
 public:
  Block() = default;
  // Throws std::bad_alloc. A block of 0 bytes holds no memory.
  static Block allocate(std::size_t bytes, bool zeroed);
  ~Block() { release(); }

  Block(Block&& other) noexcept { take(other); }
  Block& operator=(Block&& other) noexcept {
    if (this != &other) {
      release();
      take(other);
    }
    return *this;
  }
  Block(const Block&) = delete;
  Block& operator=(const Block&) = delete;

  // Makes the block hold `bytes`, keeping what it holds (new bytes are zero). Growing
  // past the allocation at least doubles it, so growing one element at a time costs
  // amortised constant time per element. Throws std::bad_alloc.
  void resize(std::size_t bytes);

  void* data() const { return data_; }
  std::size_t size() const { return size_; }
  template <class T>
  T* as() const {
    return static_cast<T*>(data_);
  }
  explicit operator bool() const { return data_ != nullptr; }

 private:
  void release() noexcept;
  void take(Block& other) noexcept {
    if (other.data_ == other.local_) {
      std::memcpy(local_, other.local_, sizeof local_);
      data_ = local_;
      other.data_ = nullptr;
    } else {
      data_ = std::exchange(other.data_, nullptr);
    }
    size_ = std::exchange(other.size_, 0);
    capacity_ = std::exchange(other.capacity_, 0);
  }

  static constexpr std::size_t kLocalSize = 16;
  alignas(16) unsigned char local_[kLocalSize];
  void* data_ = nullptr;
  std::size_t size_ = 0;
  std::size_t capacity_ = 0;  // what the allocation really holds
};

// A copy of `size` bytes (none when size is 0).
Block copy_block(const void* source, std::size_t size);

}  // namespace kx
