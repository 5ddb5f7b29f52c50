// A list of arrays that crosses the array interface: the arguments and results of a
// function call. Each slot holds one reference, or none.
#pragma once

#include <vector>

#include "kclkrt/array/ref_count.h"
#include "kclkrt/platform/small_object_allocator.h"
#include "korel/array_ref.h"

namespace kcl {

class ArrayBuffer final : public array_buffer, public SmallObject {
 public:
  // `capacity` is room kept in advance; negative counts as none.
  explicit ArrayBuffer(int capacity);
  ~ArrayBuffer() override;
  ArrayBuffer(const ArrayBuffer&) = delete;
  ArrayBuffer& operator=(const ArrayBuffer&) = delete;

  int addref() override { return count_.increment(); }
  // The last release lets go of every element first; an element whose release throws
  // becomes the last error, and the result is -1.
  int release() override;

  int size() override;
  array_ref* get(int position) override;
  int set(int position, array_ref* value) override;
  int add(array_ref* value) override;
  int remove(int position) override;
  int clear() override;
  array_ref* to_cell(int offset, int length) override;

 private:
  // The zero-based slot of a one-based position; throws past either end.
  std::size_t slot(int position) const;
  // Empties the list and releases every element, even past one whose release throws;
  // then throws the first such exception.
  void release_all();

  std::vector<array_ref*> elements_;
  RefCount count_;
};

}  // namespace kcl
