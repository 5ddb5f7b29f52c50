// Classes and kinds of values: class isa ischar isnumeric islogical iscell isstruct isobject
// isreal isfield.
#include "krt/library/arguments.h"
#include "krt/library/builtins.h"
#include "krt/library/elements.h"
#include "krt/library/text.h"

namespace krt::library::builtin {
namespace {

constexpr Arity kOneInput{1, 1, 1};

// The name class() gives: an object's own class, "function_handle" for handles.
std::string class_name(const kxArray* a) {
  if (kxIsObject(a)) return kxGetObjectClassName(a);
  if (kxIsFunctionHandle(a)) return "function_handle";
  return kxGetClassName(a);
}

// Whether `a` is of the class or kind `name`: a class name, or "numeric", "float" or
// "integer".
bool is_a(const kxArray* a, const std::string& name) {
  kxClassID cls = kxGetClassID(a);
  if (name == "numeric") return is_numeric_class(cls);
  if (name == "float") return is_float_class(cls);
  if (name == "integer") return is_integer_class(cls);
  return name == class_name(a);
}

// Whether the struct `s` has a field called by the text `name`.
bool has_field(const kxArray* s, const kxArray* name) {
  if (!is_text(name) || kxIsEmpty(name)) return false;
  return kxGetFieldNumber(s, utf8_of(units_of(name)).c_str()) >= 0;
}

}  // namespace

void class_(lang::CallContext& context, int nargout, lang::ValueList& outputs, lang::ValueList& inputs) {
  run("class", kOneInput, context, nargout, outputs, inputs, [](Call& call) {
    call.set_output(0, make_string(class_name(call.input(0))));
  });
}

void isa(lang::CallContext& context, int nargout, lang::ValueList& outputs, lang::ValueList& inputs) {
  run("isa", {2, 2, 1}, context, nargout, outputs, inputs, [](Call& call) {
    std::string name = text_argument(call, 1, "The class name");
    call.set_output(0, make_logical(is_a(call.input(0), name)));
  });
}

void ischar(lang::CallContext& context, int nargout, lang::ValueList& outputs, lang::ValueList& inputs) {
  run("ischar", kOneInput, context, nargout, outputs, inputs, [](Call& call) {
    call.set_output(0, make_logical(kxIsChar(call.input(0))));
  });
}

void isnumeric(lang::CallContext& context, int nargout, lang::ValueList& outputs, lang::ValueList& inputs) {
  run("isnumeric", kOneInput, context, nargout, outputs, inputs, [](Call& call) {
    call.set_output(0, make_logical(kxIsNumeric(call.input(0))));
  });
}

void islogical(lang::CallContext& context, int nargout, lang::ValueList& outputs, lang::ValueList& inputs) {
  run("islogical", kOneInput, context, nargout, outputs, inputs, [](Call& call) {
    call.set_output(0, make_logical(kxIsLogical(call.input(0))));
  });
}

void iscell(lang::CallContext& context, int nargout, lang::ValueList& outputs, lang::ValueList& inputs) {
  run("iscell", kOneInput, context, nargout, outputs, inputs, [](Call& call) {
    call.set_output(0, make_logical(kxIsCell(call.input(0))));
  });
}

void isobject(lang::CallContext& context, int nargout, lang::ValueList& outputs, lang::ValueList& inputs) {
  run("isobject", kOneInput, context, nargout, outputs, inputs, [](Call& call) {
    call.set_output(0, make_logical(kxIsObject(call.input(0))));
  });
}

void isstruct(lang::CallContext& context, int nargout, lang::ValueList& outputs, lang::ValueList& inputs) {
  run("isstruct", kOneInput, context, nargout, outputs, inputs, [](Call& call) {
    call.set_output(0, make_logical(kxIsStruct(call.input(0))));
  });
}

// Real: a logical, char or numeric array without an imaginary part.
void isreal(lang::CallContext& context, int nargout, lang::ValueList& outputs, lang::ValueList& inputs) {
  run("isreal", kOneInput, context, nargout, outputs, inputs, [](Call& call) {
    const kxArray* a = call.input(0);
    call.set_output(0, make_logical(is_value_class(kxGetClassID(a)) && !kxIsComplex(a)));
  });
}

// isfield(s, name): whether the struct s has the field; isfield(s, names) with a cell of
// names: a logical array of the cell's size. Anything but a struct has no fields.
void isfield(lang::CallContext& context, int nargout, lang::ValueList& outputs, lang::ValueList& inputs) {
  run("isfield", {2, 2, 1}, context, nargout, outputs, inputs, [](Call& call) {
    const kxArray* s = call.input(0);
    const kxArray* names = call.input(1);
    bool is_struct = kxIsStruct(s);
    if (!kxIsCell(names)) return call.set_output(0, make_logical(is_struct && has_field(s, names)));
    Value found = checked(
        kxCreateLogicalArray(kxGetNumberOfDimensions(names), kxGetDimensions(names)));
    kxLogical* out = kxGetLogicals(found.get());
    for (kxSize i = 0; i < kxGetNumberOfElements(names); ++i)
      out[i] = is_struct && has_field(s, kxGetCell(names, i));
    call.set_output(0, std::move(found));
  });
}

}  // namespace krt::library::builtin
