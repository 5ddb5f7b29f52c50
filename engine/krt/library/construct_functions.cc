// Making arrays: zeros ones true false Inf NaN cell struct fieldnames.
#include <algorithm>
#include <cctype>
#include <limits>
#include <cmath>
#include <cstring>
#include <set>
#include <string>
#include <vector>

#include "krt/library/arguments.h"
#include "krt/library/builtins.h"
#include "krt/library/elements.h"
#include "krt/library/shape.h"

namespace krt::library::builtin {
namespace {

// One size given as a number: an integer, negative counting as 0.
kxSize size_from(const Call& call, Wide v) {
  if (std::isnan(v) || (std::isfinite(v) && v != std::floor(v)))
    call.fail("nonInteger", "Size arguments of " + std::string(call.name()) +
                                " must be integers.");
  if (v <= 0) return 0;
  // Sizes past this cannot be held anyway; ensure_fits reports them.
  constexpr Wide kBeyondAny = 1e18L;
  return static_cast<kxSize>(v < kBeyondAny ? v : kBeyondAny);
}

// The dimensions given by the first `count` inputs: none gives `none`, one number n
// gives n-by-n, several numbers give those sizes, and one vector gives its elements
// ([] gives 0-by-0).
Shape size_arguments(const Call& call, int count, const Shape& none) {
  if (count == 0) return none;
  Shape dims;
  for (int k = 0; k < count; ++k) {
    const kxArray* a = call.input(k);
    kxClassID cls = kxGetClassID(a);
    if ((!is_numeric_class(cls) && cls != kxLOGICAL_CLASS) || kxIsComplex(a) ||
        (count > 1 && !kxIsScalar(a)))
      call.fail("badSize", "Size arguments of " + std::string(call.name()) +
                               " must be real numbers or one vector of them, not a " +
                               describe(a) + ".");
    Value dense = full(a);
    ElementReader r(dense.get());
    for (kxSize i = 0; i < r.size(); ++i) dims.push_back(size_from(call, r.real(i)));
  }
  if (dims.empty()) return {0, 0};  // an empty size vector
  if (dims.size() == 1) dims.push_back(dims[0]);
  return normalized(dims);
}

// The class named by a trailing text argument of zeros and ones.
kxClassID class_argument(const Call& call, int k) {
  std::string name = text_argument(call, k, "The class name");
  static constexpr kxClassID kClasses[] = {
      kxDOUBLE_CLASS, kxSINGLE_CLASS, kxINT8_CLASS,  kxUINT8_CLASS,  kxINT16_CLASS,
      kxUINT16_CLASS, kxINT32_CLASS,  kxUINT32_CLASS, kxINT64_CLASS, kxUINT64_CLASS,
      kxLOGICAL_CLASS};
  for (kxClassID cls : kClasses)
    if (name == kxGetClassNameFromID(cls)) return cls;
  call.fail("badClass", "'" + name + "' is not a class " + call.name() +
                            " can make (double, single, an integer class or logical).");
}

// zeros(...) and ones(...): sizes, then optionally a class name (`classes` those allowed).
Value filled_array(const Call& call, Wide value, bool any_class = true) {
  int count = call.input_count();
  kxClassID cls = kxDOUBLE_CLASS;
  if (count > 0 && kxIsChar(call.input(count - 1))) {
    cls = class_argument(call, --count);
    if (!any_class && !is_float_class(cls))
      call.fail("badClass", std::string(call.name()) + " makes double or single arrays, not " +
                                kxGetClassNameFromID(cls) + ".");
  }
  Shape dims = size_arguments(call, count, {1, 1});
  ensure_fits(call, dims, element_size(cls));
  Value out = make_numeric(cls, dims);
  if (value != 0) {
    void* data = kxGetData(out.get());
    const kxSize n = element_count(dims);
    if (cls == kxDOUBLE_CLASS)
      std::fill_n(static_cast<double*>(data), n, static_cast<double>(value));
    else
      for (kxSize i = 0; i < n; ++i) store_wide(data, cls, i, value);
  }
  return out;
}

bool is_field_name(const std::string& name) {
  if (name.empty() || name.size() > 63 || !std::isalpha(static_cast<unsigned char>(name[0])))
    return false;
  for (char c : name)
    if (!std::isalnum(static_cast<unsigned char>(c)) && c != '_') return false;
  return true;
}

// The value field `value` gives element i of the struct: cells give their elements (one
// element for all), other values themselves.
const kxArray* field_value(const kxArray* value, kxSize i) {
  if (!kxIsCell(value)) return value;
  return kxGetCell(value, kxIsScalar(value) ? 0 : i);
}

// struct(name, value, ...).
Value struct_from_pairs(const Call& call) {
  if (call.input_count() % 2 != 0)
    call.fail("badArguments", "struct takes field names and values in pairs.");
  std::vector<std::string> names;
  const kxArray* shaper = nullptr;
  for (int k = 0; k < call.input_count(); k += 2) {
    std::string name = text_argument(call, k, "A field name");
    if (!is_field_name(name))
      call.fail("badFieldName", "'" + name + "' is not a valid field name: it must start "
                                             "with a letter and have only letters, digits "
                                             "and underscores, at most 63.");
    for (const std::string& earlier : names)
      if (earlier == name) call.fail("duplicateField", "The field '" + name + "' is given twice.");
    names.push_back(name);
    const kxArray* value = call.input(k + 1);
    if (!kxIsCell(value) || kxIsScalar(value)) continue;
    if (shaper && shape_of(shaper) != shape_of(value))
      call.fail("sizeMismatch", "The cell values given to struct must be the same size (or "
                                "have one element); they are " +
                                    describe(shaper) + " and " + describe(value) + ".");
    shaper = value;
  }
  Shape dims = shaper ? shape_of(shaper) : Shape{1, 1};
  std::vector<const char*> pointers;
  for (const std::string& name : names) pointers.push_back(name.c_str());
  Value s = checked(kxCreateStructArray(dims.size(), dims.data(), static_cast<int>(names.size()),
                                        pointers.data()));
  for (kxSize i = 0; i < element_count(dims); ++i) {
    for (std::size_t f = 0; f < names.size(); ++f) {
      const kxArray* value = field_value(call.input(static_cast<int>(2 * f + 1)), i);
      if (value) put_field(s.get(), i, static_cast<int>(f), Value::share(value));
    }
  }
  return s;
}

// true(...) and false(...): logical arrays; a scalar without arguments.
void logical_array(Call& call, bool value) {
  if (call.input_count() == 0) return call.set_output(0, make_logical(value));
  Shape dims = size_arguments(call, call.input_count(), {1, 1});
  ensure_fits(call, dims, sizeof(kxLogical));
  Value out = make_numeric(kxLOGICAL_CLASS, dims);
  if (value) std::fill_n(kxGetLogicals(out.get()), element_count(dims), kxLogical{1});
  call.set_output(0, std::move(out));
}

}  // namespace

void zeros(lang::CallContext& context, int nargout, lang::ValueList& outputs, lang::ValueList& inputs) {
  run("zeros", {0, kUnlimited, 1}, context, nargout, outputs, inputs,
      [](Call& call) { call.set_output(0, filled_array(call, 0)); });
}

void ones(lang::CallContext& context, int nargout, lang::ValueList& outputs, lang::ValueList& inputs) {
  run("ones", {0, kUnlimited, 1}, context, nargout, outputs, inputs,
      [](Call& call) { call.set_output(0, filled_array(call, 1)); });
}

void true_(lang::CallContext& context, int nargout, lang::ValueList& outputs, lang::ValueList& inputs) {
  run("true", {0, kUnlimited, 1}, context, nargout, outputs, inputs,
      [](Call& call) { logical_array(call, true); });
}

void false_(lang::CallContext& context, int nargout, lang::ValueList& outputs, lang::ValueList& inputs) {
  run("false", {0, kUnlimited, 1}, context, nargout, outputs, inputs,
      [](Call& call) { logical_array(call, false); });
}

// Inf(...) and NaN(...), also spelt inf and nan; `kName` is the spelling called.
template <const char* kName, bool kNotANumber>
void non_finite(lang::CallContext& context, int nargout, lang::ValueList& outputs,
                lang::ValueList& inputs) {
  run(kName, {0, kUnlimited, 1}, context, nargout, outputs, inputs, [](Call& call) {
    const Wide value = kNotANumber ? std::numeric_limits<Wide>::quiet_NaN()
                                   : std::numeric_limits<Wide>::infinity();
    call.set_output(0, filled_array(call, value, false));
  });
}

constexpr char kInf[] = "Inf", kInfLower[] = "inf", kNaN[] = "NaN", kNaNLower[] = "nan";
void inf(lang::CallContext& c, int n, lang::ValueList& o, lang::ValueList& i) { non_finite<kInf, false>(c, n, o, i); }
void inf_lower(lang::CallContext& c, int n, lang::ValueList& o, lang::ValueList& i) { non_finite<kInfLower, false>(c, n, o, i); }
void nan(lang::CallContext& c, int n, lang::ValueList& o, lang::ValueList& i) { non_finite<kNaN, true>(c, n, o, i); }
void nan_lower(lang::CallContext& c, int n, lang::ValueList& o, lang::ValueList& i) { non_finite<kNaNLower, true>(c, n, o, i); }

// cell(...): a cell array of empty places; no arguments give a 0-by-0 cell.
void cell(lang::CallContext& context, int nargout, lang::ValueList& outputs, lang::ValueList& inputs) {
  run("cell", {0, kUnlimited, 1}, context, nargout, outputs, inputs, [](Call& call) {
    Shape dims = size_arguments(call, call.input_count(), {0, 0});
    ensure_fits(call, dims, sizeof(kxArray*));
    call.set_output(0, checked(kxCreateCellArray(dims.size(), dims.data())));
  });
}

// struct(): 1-by-1 without fields; struct(s): s itself; struct(name, value, ...): a
// struct of the size of the cell values (1-by-1 when there are none).
void struct_(lang::CallContext& context, int nargout, lang::ValueList& outputs, lang::ValueList& inputs) {
  run("struct", {0, kUnlimited, 1}, context, nargout, outputs, inputs, [](Call& call) {
    if (call.input_count() == 0)
      return call.set_output(0, checked(kxCreateStructMatrix(1, 1, 0, nullptr)));
    if (call.input_count() == 1 && kxIsStruct(call.input(0)))
      return call.set_output(0, Value::share(call.input(0)));
    call.set_output(0, struct_from_pairs(call));
  });
}

// fieldnames(s): the field names as a column cell.
void fieldnames(lang::CallContext& context, int nargout, lang::ValueList& outputs, lang::ValueList& inputs) {
  run("fieldnames", {1, 1, 1}, context, nargout, outputs, inputs, [](Call& call) {
    const kxArray* s = call.input(0);
    if (!kxIsStruct(s) && !kxIsObject(s))
      call.fail("badType", "fieldnames takes a struct or an object, not a " + describe(s) + ".");
    int count = kxGetNumberOfFields(s);
    Value names = checked(kxCreateCellMatrix(static_cast<kxSize>(count), 1));
    for (int f = 0; f < count; ++f)
      put_cell(names.get(), static_cast<kxSize>(f), make_string(kxGetFieldNameByNumber(s, f)));
    call.set_output(0, std::move(names));
  });
}

}  // namespace krt::library::builtin
