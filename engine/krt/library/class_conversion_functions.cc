// Class conversions: double single int8 ... uint64 logical char.
#include <cmath>
#include <string>
#include <vector>

#include "krt/library/arguments.h"
#include "krt/library/builtins.h"
#include "krt/library/elements.h"
#include "krt/library/shape.h"
#include "krt/library/text.h"

namespace krt::library::builtin {
namespace {

// The elements of `a` in class `target`, shape and complexity kept; integer and char
// targets round and saturate. Sparse arrays give full ones.
Value converted(const Call& call, const kxArray* a, kxClassID target) {
  kxClassID source = kxGetClassID(a);
  if (!is_value_class(source))
    call.fail("badType", "A " + describe(a) + " cannot be converted to " +
                             kxGetClassNameFromID(target) + ".");
  bool complex = kxIsComplex(a);
  if (complex && !is_numeric_class(target))
    call.fail("complex", "Complex values cannot be converted to " +
                             std::string(kxGetClassNameFromID(target)) + ".");
  if (source == target && !kxIsSparse(a)) return Value::share(a);
  Value dense = full(a);
  Shape dims = shape_of(a);
  Value out = make_numeric(target, dims, complex);
  kxSize count = element_count(dims);
  if (!kxConvertBufferToType(kxGetData(out.get()), target, kxGetData(dense.get()), source, count) ||
      (complex && !kxConvertBufferToType(kxGetImagData(out.get()), target,
                                         kxGetImagData(dense.get()), source, count)))
    call.fail("badType", "A " + describe(a) + " cannot be converted to " +
                             kxGetClassNameFromID(target) + ".");
  return out;
}

template <kxClassID Target>
void convert_input(Call& call) {
  call.set_output(0, converted(call, call.input(0), Target));
}

template <kxClassID Target>
void convert_to(lang::CallContext& context, int nargout, lang::ValueList& outputs, lang::ValueList& inputs) {
  run(kxGetClassNameFromID(Target), {1, 1, 1}, context, nargout, outputs, inputs, convert_input<Target>);
}

// Logical values from numbers: NaN has no truth value; text is not converted.
Value to_logical(const Call& call) {
  const kxArray* a = call.input(0);
  if (kxIsChar(a))
    call.fail("badType", "Text cannot be converted to logical.");
  if (is_value_class(kxGetClassID(a)) && !kxIsComplex(a)) {
    Value dense = full(a);
    ElementReader r(dense.get());
    for (kxSize i = 0; i < r.size(); ++i)
      if (std::isnan(r.real(i))) call.fail("NaN", "NaN cannot be converted to logical.");
  }
  return converted(call, a, kxLOGICAL_CLASS);
}

// Appends the rows `a` gives to a char matrix: its own rows for text (one empty row
// for empty text), the characters of its codes for numbers, the rows of each element
// for a cell.
void append_rows(const Call& call, int k, const kxArray* a, std::vector<std::u16string>& rows) {
  if (!a || (kxIsEmpty(a) && !kxIsCell(a))) {
    rows.emplace_back();
    return;
  }
  if (kxIsCell(a)) {
    for (kxSize i = 0; i < kxGetNumberOfElements(a); ++i) {
      const kxArray* element = kxGetCell(a, i);
      if (element && !kxIsChar(element))
        call.fail("badType", "char takes cells of texts only; the " + ordinal(k) +
                                 " input holds a " + describe(element) + ".");
      append_rows(call, k, element, rows);
    }
    return;
  }
  Value text = converted(call, a, kxCHAR_CLASS);
  for (auto& row : rows_of(text.get())) rows.push_back(std::move(row));
}

}  // namespace

void double_(lang::CallContext& context, int nargout, lang::ValueList& outputs, lang::ValueList& inputs) {
  convert_to<kxDOUBLE_CLASS>(context, nargout, outputs, inputs);
}
void single(lang::CallContext& context, int nargout, lang::ValueList& outputs, lang::ValueList& inputs) {
  convert_to<kxSINGLE_CLASS>(context, nargout, outputs, inputs);
}
void int8(lang::CallContext& context, int nargout, lang::ValueList& outputs, lang::ValueList& inputs) {
  convert_to<kxINT8_CLASS>(context, nargout, outputs, inputs);
}
void int16(lang::CallContext& context, int nargout, lang::ValueList& outputs, lang::ValueList& inputs) {
  convert_to<kxINT16_CLASS>(context, nargout, outputs, inputs);
}
void int32(lang::CallContext& context, int nargout, lang::ValueList& outputs, lang::ValueList& inputs) {
  convert_to<kxINT32_CLASS>(context, nargout, outputs, inputs);
}
void int64(lang::CallContext& context, int nargout, lang::ValueList& outputs, lang::ValueList& inputs) {
  convert_to<kxINT64_CLASS>(context, nargout, outputs, inputs);
}
void uint8(lang::CallContext& context, int nargout, lang::ValueList& outputs, lang::ValueList& inputs) {
  convert_to<kxUINT8_CLASS>(context, nargout, outputs, inputs);
}
void uint16(lang::CallContext& context, int nargout, lang::ValueList& outputs, lang::ValueList& inputs) {
  convert_to<kxUINT16_CLASS>(context, nargout, outputs, inputs);
}
void uint32(lang::CallContext& context, int nargout, lang::ValueList& outputs, lang::ValueList& inputs) {
  convert_to<kxUINT32_CLASS>(context, nargout, outputs, inputs);
}
void uint64(lang::CallContext& context, int nargout, lang::ValueList& outputs, lang::ValueList& inputs) {
  convert_to<kxUINT64_CLASS>(context, nargout, outputs, inputs);
}

// logical(x): non-zero is true; NaN raises.
void logical(lang::CallContext& context, int nargout, lang::ValueList& outputs, lang::ValueList& inputs) {
  run("logical", {1, 1, 1}, context, nargout, outputs, inputs,
      [](Call& call) { call.set_output(0, to_logical(call)); });
}

// char(x): the characters of codes, shape kept; char(cell) and char(a, b, ...): one row
// per text, padded with blanks.
void char_(lang::CallContext& context, int nargout, lang::ValueList& outputs, lang::ValueList& inputs) {
  run("char", {1, kUnlimited, 1}, context, nargout, outputs, inputs, [](Call& call) {
    const kxArray* first = call.input(0);
    if (call.input_count() == 1 && !kxIsCell(first))
      return call.set_output(0, converted(call, first, kxCHAR_CLASS));
    std::vector<std::u16string> rows;
    for (int k = 0; k < call.input_count(); ++k) append_rows(call, k, call.input(k), rows);
    call.set_output(0, make_char_rows(rows));
  });
}

}  // namespace krt::library::builtin
