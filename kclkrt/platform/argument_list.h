// Short lists for calls that copy an argument list: ordinary calls have a handful of
// arguments, so up to five are kept in place and only longer lists reach the heap.
#pragma once

#include <array>
#include <cstddef>
#include <memory>

namespace kcl {

template <typename T, std::size_t InPlace = 5>
class ArgumentList {
 public:
  // `count` entries, each value-initialised (null for pointers).
  explicit ArgumentList(std::size_t count) : count_(count) {
    if (count > InPlace) heap_ = std::make_unique<T[]>(count);
  }
  ArgumentList(const ArgumentList&) = delete;
  ArgumentList& operator=(const ArgumentList&) = delete;

  T* data() { return heap_ ? heap_.get() : in_place_.data(); }
  std::size_t size() const { return count_; }
  T& operator[](std::size_t i) { return data()[i]; }
  bool on_heap() const { return heap_ != nullptr; }

 private:
  std::array<T, InPlace> in_place_{};
  std::unique_ptr<T[]> heap_;
  std::size_t count_;
};

}  // namespace kcl
