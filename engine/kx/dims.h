// The dimensions of an array: a short list kept inside the array header.
#pragma once

#include <algorithm>
#include <cstddef>
#include <initializer_list>
#include <memory>

#include "korel/kx.h"

namespace kx {

// Most arrays have two to four dimensions; those fit without a separate allocation,
// which would otherwise be a third of what making a scalar costs.
class Dims {
 public:
  Dims() = default;
  Dims(std::initializer_list<kxSize> list) { assign(list.begin(), list.size()); }
  Dims(const kxSize* first, const kxSize* last) { assign(first, static_cast<std::size_t>(last - first)); }
  // `count` dimensions of 0.
  explicit Dims(std::size_t count) {
    reserve(count);
    std::fill_n(data(), count, kxSize{0});
    size_ = count;
  }
  Dims(const Dims& other) { assign(other.data(), other.size_); }
  Dims& operator=(const Dims& other) {
    if (this != &other) {
      size_ = 0;
      assign(other.data(), other.size_);
    }
    return *this;
  }
  ~Dims() = default;

  std::size_t size() const { return size_; }
  bool empty() const { return size_ == 0; }
  kxSize* data() { return heap_ ? heap_.get() : local_; }
  const kxSize* data() const { return heap_ ? heap_.get() : local_; }
  kxSize& operator[](std::size_t k) { return data()[k]; }
  kxSize operator[](std::size_t k) const { return data()[k]; }
  kxSize back() const { return data()[size_ - 1]; }
  const kxSize* begin() const { return data(); }
  const kxSize* end() const { return data() + size_; }
  kxSize* begin() { return data(); }
  kxSize* end() { return data() + size_; }

  void push_back(kxSize d) {
    if (size_ == capacity()) reserve(size_ * 2);
    data()[size_++] = d;
  }
  void pop_back() { --size_; }

  friend bool operator==(const Dims& a, const Dims& b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end());
  }

 private:
  static constexpr std::size_t kLocal = 4;

  std::size_t capacity() const { return heap_ ? heap_capacity_ : kLocal; }
  void reserve(std::size_t count) {
    if (count <= capacity()) return;
    auto grown = std::make_unique<kxSize[]>(count);
    std::copy_n(data(), size_, grown.get());
    heap_ = std::move(grown);
    heap_capacity_ = count;
  }
  void assign(const kxSize* values, std::size_t count) {
    reserve(count);
    std::copy_n(values, count, data());
    size_ = count;
  }

  std::size_t size_ = 0;
  kxSize local_[kLocal] = {};
  std::unique_ptr<kxSize[]> heap_;
  std::size_t heap_capacity_ = 0;
};

}  // namespace kx
