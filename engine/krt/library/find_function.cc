// find: the positions of non-zero elements.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "krt/library/arguments.h"
#include "krt/library/builtins.h"
#include "krt/library/elements.h"
#include "krt/library/shape.h"

namespace krt::library::builtin {
namespace {

// How many positions find(x, n) asks for: a positive integer, or Inf for all.
kxSize position_limit(const Call& call) {
  if (call.input_count() < 2) return std::numeric_limits<kxSize>::max();
  double n = scalar_argument(call, 1, "The number of positions");
  if (!(n >= 1) || (std::isfinite(n) && n != std::floor(n)))
    call.fail("badCount", "The number of positions find gives must be a positive integer.");
  return n < 1e18 ? static_cast<kxSize>(n) : std::numeric_limits<kxSize>::max();
}

// Whether find(x, n, direction) asks for the last positions.
bool from_the_end(const Call& call) {
  if (call.input_count() < 3) return false;
  std::string direction = text_argument(call, 2, "The direction");
  if (direction != "first" && direction != "last")
    call.fail("badDirection", "The direction of find must be 'first' or 'last', not '" +
                                  direction + "'.");
  return direction == "last";
}

// A vector of `count` elements shaped as find gives them.
Value make_positions(const Shape& input, kxClassID cls, kxSize count, bool complex) {
  Shape dims = is_row_shape(input) ? Shape{1, count} : Shape{count, 1};
  if (count == 0 && input == Shape{0, 0}) dims = {0, 0};
  return make_numeric(cls, dims, complex);
}

}  // namespace

// find(x), find(x, n), find(x, n, 'first'|'last'): linear positions (from 1) of the
// non-zero elements, as a row for a row vector and a column otherwise; [r, c] = find(x)
// gives rows and columns, [r, c, v] = find(x) the values too.
void find(lang::CallContext& context, int nargout, lang::ValueList& outputs, lang::ValueList& inputs) {
  run("find", {1, 3, 3}, context, nargout, outputs, inputs, [](Call& call) {
    require_values(call, 0);
    const kxArray* a = call.input(0);
    kxSize limit = position_limit(call);
    bool last = from_the_end(call);
    Value dense = full(a);
    ElementReader r(dense.get());
    std::vector<kxSize> found;
    for (kxSize k = 0; k < r.size() && found.size() < limit; ++k) {
      kxSize i = last ? r.size() - 1 - k : k;
      if (r.nonzero(i)) found.push_back(i);
    }
    if (last) std::reverse(found.begin(), found.end());
    Shape shape = shape_of(a);
    kxSize m = shape[0];
    Value first = make_positions(shape, kxDOUBLE_CLASS, found.size(), false);
    double* first_data = kxGetPr(first.get());
    if (call.output_count() == 1) {
      for (std::size_t k = 0; k < found.size(); ++k)
        first_data[k] = static_cast<double>(found[k] + 1);
      return call.set_output(0, std::move(first));
    }
    Value columns = make_positions(shape, kxDOUBLE_CLASS, found.size(), false);
    double* column_data = kxGetPr(columns.get());
    for (std::size_t k = 0; k < found.size(); ++k) {
      first_data[k] = static_cast<double>(found[k] % m + 1);
      column_data[k] = static_cast<double>(found[k] / m + 1);
    }
    call.set_output(0, std::move(first));
    call.set_output(1, std::move(columns));
    if (call.output_count() < 3) return;
    kxClassID cls = kxGetClassID(a);
    Value values = make_positions(shape, cls, found.size(), r.complex());
    std::size_t size = element_size(cls);
    auto copy = [&](const void* from, void* to) {
      for (std::size_t k = 0; k < found.size(); ++k)
        std::memcpy(static_cast<char*>(to) + k * size,
                    static_cast<const char*>(from) + found[k] * size, size);
    };
    copy(kxGetData(dense.get()), kxGetData(values.get()));
    if (r.complex()) copy(kxGetImagData(dense.get()), kxGetImagData(values.get()));
    call.set_output(2, std::move(values));
  });
}

}  // namespace krt::library::builtin
