// Sizes and shape predicates: isempty numel length size ndims isscalar isvector.
#include <algorithm>
#include <cmath>

#include "krt/lang/handle_object.h"
#include "krt/library/arguments.h"
#include "krt/library/builtins.h"
#include "krt/library/elements.h"
#include "krt/library/shape.h"

namespace krt::library::builtin {
namespace {

constexpr Arity kOneInput{1, 1, 1};

Value make_row(const std::vector<double>& values) {
  Value row = checked(kxCreateDoubleMatrix(1, values.size(), kxREAL));
  std::copy(values.begin(), values.end(), kxGetPr(row.get()));
  return row;
}

// The dimension numbers of size(a, d) and size(a, d1, d2, ...): each input a positive
// integer or a vector of them.
std::vector<kxSize> requested_dimensions(const Call& call) {
  std::vector<kxSize> dims;
  for (int k = 1; k < call.input_count(); ++k) {
    const kxArray* a = call.input(k);
    kxClassID cls = kxGetClassID(a);
    bool ok = (is_numeric_class(cls) || cls == kxLOGICAL_CLASS) && !kxIsComplex(a) &&
              !kxIsEmpty(a);
    Value dense = ok ? full(a) : Value();
    if (ok) {
      ElementReader r(dense.get());
      for (kxSize i = 0; ok && i < r.size(); ++i) {
        Wide d = r.real(i);
        ok = d >= 1 && d == std::floor(d);
        dims.push_back(static_cast<kxSize>(std::min<Wide>(d, 1e15L)));
      }
    }
    if (!ok)
      call.fail("badDimension",
                "Dimension arguments of size must be positive integers or vectors of them.");
  }
  return dims;
}

}  // namespace

void isempty(lang::CallContext& context, int nargout, lang::ValueList& outputs, lang::ValueList& inputs) {
  run("isempty", kOneInput, context, nargout, outputs, inputs, [](Call& call) {
    call.set_output(0, make_logical(kxIsEmpty(call.input(0))));
  });
}

void numel(lang::CallContext& context, int nargout, lang::ValueList& outputs, lang::ValueList& inputs) {
  run("numel", kOneInput, context, nargout, outputs, inputs, [](Call& call) {
    call.set_output(0, make_double(static_cast<double>(kxGetNumberOfElements(call.input(0)))));
  });
}

void length(lang::CallContext& context, int nargout, lang::ValueList& outputs, lang::ValueList& inputs) {
  run("length", kOneInput, context, nargout, outputs, inputs, [](Call& call) {
    if (const lang::HandleObject* object = lang::handle_object_of(call.input(0)))
      return call.set_output(0, make_double(static_cast<double>(object->length())));
    Shape dims = shape_of(call.input(0));
    kxSize n = kxIsEmpty(call.input(0)) ? 0 : *std::max_element(dims.begin(), dims.end());
    call.set_output(0, make_double(static_cast<double>(n)));
  });
}

void ndims(lang::CallContext& context, int nargout, lang::ValueList& outputs, lang::ValueList& inputs) {
  run("ndims", kOneInput, context, nargout, outputs, inputs, [](Call& call) {
    call.set_output(0,
                    make_double(static_cast<double>(kxGetNumberOfDimensions(call.input(0)))));
  });
}

void isscalar(lang::CallContext& context, int nargout, lang::ValueList& outputs, lang::ValueList& inputs) {
  run("isscalar", kOneInput, context, nargout, outputs, inputs, [](Call& call) {
    call.set_output(0, make_logical(kxGetNumberOfElements(call.input(0)) == 1));
  });
}

// 1-by-N or N-by-1, N >= 0.
void isvector(lang::CallContext& context, int nargout, lang::ValueList& outputs, lang::ValueList& inputs) {
  run("isvector", kOneInput, context, nargout, outputs, inputs, [](Call& call) {
    Shape dims = shape_of(call.input(0));
    call.set_output(0, make_logical(dims.size() == 2 && (dims[0] == 1 || dims[1] == 1)));
  });
}

// size(a): the dimensions as a row; [m, n, ...] = size(a): one per output, the last
// taking the product of the rest; size(a, d) and size(a, d1, d2, ...): the sizes of the
// dimensions asked for (1 past the last), as a row or one per output.
void size(lang::CallContext& context, int nargout, lang::ValueList& outputs, lang::ValueList& inputs) {
  run("size", {1, kUnlimited, kUnlimited}, context, nargout, outputs, inputs, [](Call& call) {
    Shape dims = shape_of(call.input(0));
    auto size_of = [&](kxSize d) { return d < dims.size() ? static_cast<double>(dims[d]) : 1.0; };
    int outputs = call.output_count();
    if (call.input_count() > 1) {
      std::vector<kxSize> asked = requested_dimensions(call);
      std::vector<double> sizes;
      for (kxSize d : asked) sizes.push_back(size_of(d - 1));
      if (outputs == 1) return call.set_output(0, make_row(sizes));
      if (static_cast<std::size_t>(outputs) != sizes.size())
        call.fail("tooManyOutputs", "size gives one output per dimension asked for (" +
                                        std::to_string(sizes.size()) + ").");
      for (int k = 0; k < outputs; ++k) call.set_output(k, make_double(sizes[k]));
      return;
    }
    if (outputs == 1)
      return call.set_output(0, make_row(std::vector<double>(dims.begin(), dims.end())));
    for (int k = 0; k < outputs - 1; ++k) call.set_output(k, make_double(size_of(k)));
    double rest = 1;
    for (std::size_t d = static_cast<std::size_t>(outputs - 1); d < dims.size(); ++d)
      rest *= static_cast<double>(dims[d]);
    call.set_output(outputs - 1, make_double(rest));
  });
}

}  // namespace krt::library::builtin
