// target(subs) = []: removing elements, or whole slices along one dimension.
#include <optional>
#include <vector>

#include "krt/array/classes.h"
#include "krt/array/elements.h"
#include "krt/array/operations.h"
#include "krt/array/selection.h"
#include "kx/error.h"

namespace krt::ops {
namespace {

// Which positions of an extent a subscript names, and how many different ones.
struct Removal {
  std::vector<bool> removed;
  kxSize distinct = 0;

  Removal(const Subscript& s, kxSize extent) : removed(extent, false) {
    for (kxSize p : s.positions) {
      if (removed[p]) continue;
      removed[p] = true;
      ++distinct;
    }
  }

  std::vector<kxSize> kept() const {
    std::vector<kxSize> positions;
    for (kxSize i = 0; i < removed.size(); ++i)
      if (!removed[i]) positions.push_back(i);
    return positions;
  }
};

std::vector<kxSize> all_of(kxSize extent) {
  std::vector<kxSize> positions(extent);
  for (kxSize i = 0; i < extent; ++i) positions[i] = i;
  return positions;
}

Subscript resolve_in_range(Subscripts subs, std::size_t j, kxSize extent) {
  Subscript s = resolve_subscript(subs[j], extent);
  if (s.bound > extent) raise_out_of_range(j, subs.size(), extent);
  return s;
}

void delete_linear(Value& target, Subscripts subs) {
  const kxArray* a = target.get();
  Shape shape = shape_of(a);
  kxSize count = element_count(shape);
  Subscript s = resolve_in_range(subs, 0, count);
  if (s.colon) {
    target = make_blank_like(a, {0, 0});
    return;
  }
  Removal removal(s, count);
  if (removal.distinct == 0) return;
  std::vector<kxSize> kept = removal.kept();
  kxSize left = kept.size();
  bool column = shape.size() == 2 && shape[1] == 1 && shape[0] != 1;
  Shape result = column ? Shape{left, 1} : Shape{1, left};
  target = gather(a, Selection({std::move(kept)}, {count}), result);
}

}  // namespace

void delete_elements(Value& target, Subscripts subs) {
  if (!target) target = make_empty_double();
  const kxArray* a = target.get();
  require_dense(a);
  kxClassID cls = kxGetClassID(a);
  if (!is_value_class(cls) && cls != kxCELL_CLASS && cls != kxSTRUCT_CLASS &&
      cls != kxOBJECT_CLASS)
    kx::raise("Korel:nullAssignment",
              "Elements cannot be deleted from a value of type " + type_name(a) + ".");
  if (subs.empty())
    kx::raise("Korel:nullAssignment", "A null assignment needs at least one subscript.");
  if (subs.size() == 1) {
    delete_linear(target, subs);
    return;
  }

  std::size_t count = subs.size();
  Shape extents = subscript_extents(shape_of(a), count);
  std::vector<std::vector<kxSize>> lists(count);
  std::optional<std::size_t> along;  // the one subscript that does not cover its extent
  std::optional<Removal> removal;
  std::optional<std::size_t> last_explicit;
  for (std::size_t j = 0; j < count; ++j) {
    Subscript s = resolve_in_range(subs, j, extents[j]);
    if (!s.colon) last_explicit = j;
    Removal r(s, extents[j]);
    if (s.colon || r.distinct == extents[j]) {
      lists[j] = all_of(extents[j]);
      continue;
    }
    if (along)
      kx::raise("Korel:nullAssignment", "A null assignment can have only one non-colon index.");
    along = j;
    removal.emplace(std::move(r));
  }
  if (!along) {
    // Every subscript covers its whole extent: all slices along one of them go.
    std::size_t j = last_explicit.value_or(0);
    lists[j].clear();
    Shape result = extents;
    result[j] = 0;
    target = gather(a, Selection(std::move(lists), extents), normalized(result));
    return;
  }
  if (removal->distinct == 0) return;
  lists[*along] = removal->kept();
  Shape result = extents;
  result[*along] = lists[*along].size();
  target = gather(a, Selection(std::move(lists), extents), normalized(result));
}

}  // namespace krt::ops
