#include "kclkrt/array/array_buffer.h"

#include <exception>
#include <memory>
#include <utility>

#include "kclkrt/array/array_boundary.h"
#include "kclkrt/array/array_exceptions.h"
#include "kclkrt/array/array_factories.h"
#include "kclkrt/array/array_object.h"
#include "kclkrt/array/native_result.h"

namespace kcl {

ArrayBuffer::ArrayBuffer(int capacity) {
  if (capacity > 0) elements_.reserve(static_cast<std::size_t>(capacity));
}

ArrayBuffer::~ArrayBuffer() {
  capture_failure(0, [&] {
    release_all();
    return 0;
  });
}

int ArrayBuffer::release() {
  const int left = count_.decrement();
  if (left != 0) return left;
  std::unique_ptr<ArrayBuffer> dying(this);
  return locked_call(-1, [&] {
    dying->release_all();
    return 0;
  });
}

void ArrayBuffer::release_all() {
  std::vector<array_ref*> elements;
  elements.swap(elements_);
  std::exception_ptr first;
  for (array_ref* element : elements) {
    if (!element) continue;
    try {
      element->release();
    } catch (...) {
      if (!first) first = std::current_exception();
    }
  }
  if (first) std::rethrow_exception(first);
}

std::size_t ArrayBuffer::slot(int position) const {
  if (position < 1 || static_cast<std::size_t>(position) > elements_.size())
    throw index_past_size(position, elements_.size());
  return static_cast<std::size_t>(position - 1);
}

int ArrayBuffer::size() {
  return locked_call(-1, [&] { return static_cast<int>(elements_.size()); });
}

array_ref* ArrayBuffer::get(int position) {
  return locked_call<array_ref*>(nullptr, [&] {
    array_ref*& element = elements_[slot(position)];
    if (!element) element = new_empty_array();
    element->addref();
    return element;
  });
}

int ArrayBuffer::set(int position, array_ref* value) {
  return locked_call(-1, [&] {
    array_ref*& element = elements_[slot(position)];
    if (value) value->addref();
    array_ref* replaced = std::exchange(element, value);  // in place before a release that may throw
    if (replaced) replaced->release();
    return 0;
  });
}

int ArrayBuffer::add(array_ref* value) {
  return locked_call(-1, [&] {
    elements_.push_back(value);  // grows first, so a failure leaves no reference behind
    if (value) value->addref();
    return 0;
  });
}

int ArrayBuffer::remove(int position) {
  return locked_call(-1, [&] {
    std::size_t at = slot(position);
    array_ref* removed = elements_[at];
    elements_.erase(elements_.begin() + static_cast<std::ptrdiff_t>(at));  // before a release that may throw
    if (removed) removed->release();
    return 0;
  });
}

int ArrayBuffer::clear() {
  return locked_call(-1, [&] {
    release_all();
    return 0;
  });
}

array_ref* ArrayBuffer::to_cell(int offset, int length) {
  return locked_call<array_ref*>(nullptr, [&] {
    if (length == 0) return new_empty_array();
    std::size_t size = elements_.size();
    if (offset < 1 || length < 0 || static_cast<std::size_t>(offset) > size ||
        size - static_cast<std::size_t>(offset - 1) < static_cast<std::size_t>(length))
      throw IndexOutOfBoundsException("Index out of bounds");
    kxArray* cell = require_array(kxCreateCellMatrix(1, static_cast<kxSize>(length)));
    ArrayAccess guard(cell, true);
    for (int i = 0; i < length; ++i) {
      array_ref* element = elements_[static_cast<std::size_t>(offset - 1 + i)];
      if (!element) continue;  // an empty slot is an empty place
      kxArray* value = unshared_container(
          require_array(data_part(*element).native_access().take_or_share()));
      if (!kxSetCell(cell, static_cast<kxSize>(i), value)) {
        kxDestroyArray(value);
        throw MemoryException("Memory allocation error");
      }
    }
    return wrap_native(guard.take_or_share());
  });
}

}  // namespace kcl
