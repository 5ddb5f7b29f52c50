// Subscripts turned into positions: what indexing, assignment and deletion select.
#pragma once

#include <vector>

#include "korel/kx.h"
#include "krt/array/operations.h"
#include "krt/array/shape.h"
#include "krt/array/value.h"

namespace krt::ops {

// One subscript resolved over the extent it runs along.
struct Subscript {
  std::vector<kxSize> positions;  // zero-based, in the order given
  bool colon = false;             // ':' (the positions then cover the whole extent)
  kxSize bound = 0;               // one past the largest position (0 when none)
  Shape shape;                    // the index's own shape, which linear indexing keeps
};

// Resolves `sub` (null for ':') over `extent`. Positions may lie beyond the extent; bad
// values (not positive integers, not numeric or logical) raise Korel:badsubscript.
Subscript resolve_subscript(const kxArray* sub, kxSize extent);

// The elements chosen by one list of positions per subscripted dimension.
class Selection {
 public:
  Selection() = default;
  // `extents`: the extents the lists index into (as subscript_extents gives them).
  Selection(std::vector<std::vector<kxSize>> lists, const Shape& extents);

  kxSize count() const;
  // How many positions each subscript selects.
  Shape counts() const;

  // Calls f(k, position) for the k-th selected element (the selection in column-major
  // order) and its linear position in the array.
  template <class F>
  void for_each(F&& f) const {
    if (count() == 0) return;
    std::size_t dims = lists_.size();
    std::vector<std::size_t> counter(dims, 0);
    kxSize base = 0;
    for (std::size_t d = 1; d < dims; ++d) base += lists_[d][0] * strides_[d];
    kxSize k = 0;
    for (;;) {
      for (kxSize p : lists_[0]) f(k++, base + p);
      std::size_t d = 1;
      for (; d < dims; ++d) {
        base -= lists_[d][counter[d]] * strides_[d];
        if (++counter[d] == lists_[d].size()) counter[d] = 0;
        base += lists_[d][counter[d]] * strides_[d];
        if (counter[d] != 0) break;
      }
      if (d == dims) return;
    }
  }

 private:
  std::vector<std::vector<kxSize>> lists_;
  std::vector<kxSize> strides_;
};

// a(subs) for reading, with the shape of the result. Positions out of range raise
// Korel:badsubscript.
struct ReadSelection {
  Selection selection;
  Shape shape;
};
ReadSelection select_for_reading(const kxArray* a, Subscripts subs);

// target(subs) = rhs: the selection in the shape the target takes to hold it (grown
// where the subscripts reach past its end).
struct WriteSelection {
  Selection selection;
  Shape shape;
};
WriteSelection select_for_writing(const Shape& target, Subscripts subs, const Shape& rhs);

// The selected elements of `a` (any class with elements) as a new array of `shape`.
Value gather(const kxArray* a, const Selection& selection, const Shape& shape);

// Raises the out-of-range error of subscript `position` (from 0) of `count`.
[[noreturn]] void raise_out_of_range(std::size_t position, std::size_t count, kxSize extent);

}  // namespace krt::ops
