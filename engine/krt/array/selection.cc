#include "krt/array/selection.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <utility>

#include "krt/array/classes.h"
#include "krt/array/elements.h"
#include "kx/error.h"

namespace krt::ops {
namespace {

// Positions this large cannot be held by any array; keeping them here keeps the
// arithmetic on them from overflowing before the size checks see them.
constexpr kxSize kPositionLimit = kxSize{1} << 62;

[[noreturn]] void raise_bad_subscript() {
  kx::raise("Korel:badsubscript", "Array indices must be positive integers or logical values.");
}

bool is_colon(const kxArray* sub) {
  if (!sub) return true;
  // a(':') means the same as a(:)
  return kxIsChar(sub) && kxGetNumberOfElements(sub) == 1 && kxGetChars(sub)[0] == ':';
}

std::vector<kxSize> all_positions(kxSize extent) {
  std::vector<kxSize> positions(extent);
  for (kxSize i = 0; i < extent; ++i) positions[i] = i;
  return positions;
}

[[noreturn]] void raise_ambiguous_growth() {
  kx::raise("Korel:subsassign:ambiguousGrowth",
            "Attempt to grow array along ambiguous dimension.");
}

}  // namespace

Subscript resolve_subscript(const kxArray* sub, kxSize extent) {
  Subscript s;
  if (is_colon(sub)) {
    s.colon = true;
    s.positions = all_positions(extent);
    s.bound = extent;
    s.shape = {extent, 1};
    return s;
  }
  require_dense(sub);
  kxClassID cls = kxGetClassID(sub);
  if (!is_value_class(cls))
    kx::raise("Korel:badsubscript",
              "Unable to use a value of type " + type_name(sub) + " as an index.");
  if (kxIsComplex(sub)) raise_bad_subscript();
  kxSize count = kxGetNumberOfElements(sub);
  Shape shape = shape_of(sub);
  if (cls == kxLOGICAL_CLASS) {
    const kxLogical* mask = kxGetLogicals(sub);
    for (kxSize i = 0; i < count; ++i) {
      if (!mask[i]) continue;
      s.positions.push_back(i);
      s.bound = i + 1;
    }
    // As find() would give them: a row for a row mask, a column otherwise.
    kxSize found = s.positions.size();
    s.shape = shape.size() == 2 && shape[0] == 1 ? Shape{1, found} : Shape{found, 1};
    return s;
  }
  DoubleValues values(sub);
  s.positions.resize(count);
  for (kxSize i = 0; i < count; ++i) {
    double v = values.re()[i];
    if (!std::isfinite(v) || v < 1 || v != std::floor(v)) raise_bad_subscript();
    kxSize position = v >= static_cast<double>(kPositionLimit) ? kPositionLimit
                                                                 : static_cast<kxSize>(v) - 1;
    s.positions[i] = position;
    s.bound = std::max(s.bound, position + 1);
  }
  s.shape = std::move(shape);
  return s;
}

Selection::Selection(std::vector<std::vector<kxSize>> lists, const Shape& extents)
    : lists_(std::move(lists)), strides_(lists_.size()) {
  kxSize stride = 1;
  for (std::size_t d = 0; d < lists_.size(); ++d) {
    strides_[d] = stride;
    stride *= extents[d];
  }
}

kxSize Selection::count() const {
  if (lists_.empty()) return 0;
  return element_count(counts());
}

Shape Selection::counts() const {
  Shape counts;
  for (const auto& list : lists_) counts.push_back(list.size());
  return counts;
}

void raise_out_of_range(std::size_t position, std::size_t count, kxSize extent) {
  if (count == 1)
    kx::raise("Korel:badsubscript",
              "Index exceeds the number of array elements (" + std::to_string(extent) + ").");
  kx::raise("Korel:badsubscript", "Index in position " + std::to_string(position + 1) +
                                      " exceeds array bounds (must not exceed " +
                                      std::to_string(extent) + ").");
}

ReadSelection select_for_reading(const kxArray* a, Subscripts subs) {
  Shape shape = shape_of(a);
  std::size_t count = subs.size();
  Shape extents = subscript_extents(shape, count);
  std::vector<std::vector<kxSize>> lists;
  Shape index_shape;
  bool colon = false;
  for (std::size_t j = 0; j < count; ++j) {
    Subscript s = resolve_subscript(subs[j], extents[j]);
    if (s.bound > extents[j]) raise_out_of_range(j, count, extents[j]);
    lists.push_back(std::move(s.positions));
    index_shape = std::move(s.shape);
    colon = s.colon;
  }
  ReadSelection read{Selection(std::move(lists), extents), {}};
  if (count > 1) {
    read.shape = normalized(read.selection.counts());
  } else if (colon) {
    read.shape = {extents[0], 1};
  } else if (is_vector_shape(index_shape) && is_vector_shape(shape) && extents[0] != 1) {
    // A vector indexed by a vector keeps its own orientation.
    kxSize n = read.selection.count();
    read.shape = shape[0] == 1 ? Shape{1, n} : Shape{n, 1};
  } else {
    read.shape = normalized(std::move(index_shape));
  }
  return read;
}

WriteSelection select_for_writing(const Shape& target, Subscripts subs, const Shape& rhs) {
  std::size_t count = subs.size();
  Shape extents = subscript_extents(target, count);
  kxSize target_count = element_count(target);
  // Into an empty target, a ':' spans what the right side has along that subscript.
  Shape rhs_extents = subscript_extents(rhs, count);
  bool rhs_is_vector =
      std::count_if(rhs.begin(), rhs.end(), [](kxSize d) { return d != 1; }) <= 1;
  Shape needed = extents;
  std::vector<std::vector<kxSize>> lists;
  for (std::size_t j = 0; j < count; ++j) {
    kxSize extent = extents[j];
    if (count > 1 && target_count == 0 && extent == 0 && is_colon(subs[j]))
      extent = rhs_is_vector ? element_count(rhs) : rhs_extents[j];
    Subscript s = resolve_subscript(subs[j], extent);
    needed[j] = std::max(extent, s.bound);
    lists.push_back(std::move(s.positions));
  }

  Shape shape = target;
  if (count == 1) {
    if (needed[0] > target_count) {
      bool zero_by_zero = target.size() == 2 && target[0] == 0 && target[1] == 0;
      if (zero_by_zero || (target.size() == 2 && target[0] == 1))
        shape = {1, needed[0]};
      else if (target.size() == 2 && target[1] == 1)
        shape = {needed[0], 1};
      else
        raise_ambiguous_growth();
    }
  } else if (needed != extents) {
    if (count >= target.size()) {
      shape = needed;
    } else {
      // The last subscript spans several dimensions: which of them would grow is unclear.
      if (needed[count - 1] != extents[count - 1]) raise_ambiguous_growth();
      for (std::size_t j = 0; j + 1 < count; ++j) shape[j] = needed[j];
    }
  }
  shape = normalized(std::move(shape));
  element_count(shape);  // raises for a shape too large to hold
  return {Selection(std::move(lists), subscript_extents(shape, count)), shape};
}

Value gather(const kxArray* a, const Selection& selection, const Shape& shape) {
  Value out = make_blank_like(a, shape);
  ElementCopier copy(a, out.get());
  selection.for_each([&](kxSize k, kxSize position) { copy(k, position); });
  return out;
}

}  // namespace krt::ops
