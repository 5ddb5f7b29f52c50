// Shapes as the operations see them: dimension lists, and how the operands of an
// element-wise operation line up.
#pragma once

#include <cstddef>
#include <vector>

#include "korel/kx.h"

namespace krt::ops {

using Shape = std::vector<kxSize>;

Shape shape_of(const kxArray* a);
// The product of the dimensions; raises Korel:kx:TooLarge when it cannot be counted.
kxSize element_count(const Shape& shape);
// Two dimensions, one of them 1 (scalars and 1-by-0 included).
bool is_vector_shape(const Shape& shape);
// `shape` with ones appended up to `count` dimensions.
Shape padded(Shape shape, std::size_t count);
// Trailing ones past the second dimension dropped, as arrays keep their shapes.
Shape normalized(Shape shape);
// The extents `count` subscripts run over: the first count-1 dimensions, then the product
// of the remaining ones (one subscript: the number of elements).
Shape subscript_extents(const Shape& shape, std::size_t count);

// Where each element of an element-wise result comes from: both operands have the same
// size, or one is a scalar, or each dimension agrees or is 1 in one of them.
class Expansion {
 public:
  // Raises Korel:sizeMismatch when the shapes cannot expand to one another.
  Expansion(const Shape& a, const Shape& b);

  const Shape& shape() const { return shape_; }
  kxSize count() const { return count_; }

  // Calls f(result, from_a, from_b) with linear positions, for every result element in
  // storage order.
  template <class F>
  void for_each(F&& f) const {
    switch (kind_) {
      case Kind::Same:
        for (kxSize i = 0; i < count_; ++i) f(i, i, i);
        return;
      case Kind::ScalarLeft:
        for (kxSize i = 0; i < count_; ++i) f(i, kxSize{0}, i);
        return;
      case Kind::ScalarRight:
        for (kxSize i = 0; i < count_; ++i) f(i, i, kxSize{0});
        return;
      case Kind::General:
        for_each_expanded(f);
        return;
    }
  }

 private:
  enum class Kind { Same, ScalarLeft, ScalarRight, General };

  template <class F>
  void for_each_expanded(F& f) const {
    if (count_ == 0) return;
    std::size_t dims = shape_.size();
    std::vector<kxSize> counter(dims, 0);
    kxSize a = 0, b = 0, out = 0;
    for (;;) {
      kxSize ia = a, ib = b;
      for (kxSize i = 0; i < shape_[0]; ++i, ia += step_a_[0], ib += step_b_[0]) f(out++, ia, ib);
      std::size_t d = 1;
      for (; d < dims; ++d) {
        a += step_a_[d];
        b += step_b_[d];
        if (++counter[d] < shape_[d]) break;
        a -= step_a_[d] * shape_[d];
        b -= step_b_[d] * shape_[d];
        counter[d] = 0;
      }
      if (d == dims) return;
    }
  }

  Kind kind_ = Kind::Same;
  Shape shape_;
  kxSize count_ = 0;
  // Per dimension: how far a step along it moves in each operand (0 where it is 1).
  std::vector<kxSize> step_a_, step_b_;
};

}  // namespace krt::ops
