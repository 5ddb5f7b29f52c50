#include "krt/library/arguments.h"

#include <cmath>
#include <new>
#include <stdexcept>

#include "krt/library/elements.h"
#include "krt/library/format.h"
#include "krt/library/shape.h"
#include "kx/error.h"

namespace krt::library {

Call::Call(const char* name, lang::CallContext& context, int nargout, lang::ValueList& inputs)
    : name_(name), context_(context), values_(inputs), requested_(nargout > 0 ? nargout : 0) {
  for (std::size_t k = 0; k < inputs.size(); ++k)
    if (!inputs[k]) fail("missingInput", "Input " + std::to_string(k + 1) + " has no value.");
  outputs_.resize(static_cast<std::size_t>(output_count()));
}

std::span<const kxArray* const> Call::all_inputs() const {
  if (inputs_.size() != values_.size()) {
    inputs_.clear();
    for (const Value& v : values_) inputs_.push_back(v.get());
  }
  return inputs_;
}

void Call::set_output(int k, Value v) { outputs_[static_cast<std::size_t>(k)] = std::move(v); }

void Call::hand_over(lang::ValueList& outputs) noexcept {
  for (Value& v : outputs_) {
    if (!v) break;
    outputs.push_back(std::move(v));
  }
}

std::string Call::id(std::string_view reason) const {
  std::string text = "Korel:";
  text += name_;
  text += ':';
  text += reason;
  return text;
}

void Call::fail(std::string_view reason, const std::string& message) const {
  kx::raise(id(reason), message);
}

void run(const char* name, Arity arity, lang::CallContext& context, int nlhs,
         lang::ValueList& outputs, lang::ValueList& inputs, void (*body)(Call&)) {
  const int nrhs = static_cast<int>(inputs.size());
  try {
    Call call(name, context, nlhs, inputs);
    if (nlhs > arity.max_outputs)
      call.fail("tooManyOutputs", std::string("Too many output arguments: ") + name +
                                      " gives at most " + std::to_string(arity.max_outputs) +
                                      ".");
    if (nrhs < arity.min_inputs)
      call.fail("notEnoughInputs", std::string("Not enough input arguments: ") + name +
                                       " needs at least " + std::to_string(arity.min_inputs) +
                                       ".");
    if (nrhs > arity.max_inputs)
      call.fail("tooManyInputs", std::string("Too many input arguments: ") + name +
                                     " takes at most " + std::to_string(arity.max_inputs) + ".");
    body(call);
    call.hand_over(outputs);
  } catch (const std::bad_alloc&) {
    kx::raise(std::string("Korel:") + name + ":outOfMemory",
              std::string("Out of memory while running ") + name + ".");
  } catch (const std::length_error&) {
    kx::raise(std::string("Korel:") + name + ":outOfMemory",
              std::string("Out of memory while running ") + name + ".");
  }
}

std::string describe(const kxArray* a) {
  std::string kind = kxGetClassName(a);
  if (kxIsObject(a)) kind = kxGetObjectClassName(a);
  if (kxIsFunctionHandle(a)) kind = "function_handle";
  if (kxIsSparse(a)) kind = "sparse " + kind;
  if (kxIsComplex(a)) kind = "complex " + kind;
  return dims_text(shape_of(a)) + " " + kind;
}

std::string ordinal(int k) {
  static const char* const names[] = {"first", "second", "third", "fourth", "fifth",
                                      "sixth", "seventh", "eighth", "ninth", "tenth"};
  if (k >= 0 && k < 10) return names[k];
  return "input " + std::to_string(k + 1);
}

bool is_text(const kxArray* a) {
  if (!kxIsChar(a)) return false;
  return kxIsEmpty(a) || (kxGetNumberOfDimensions(a) == 2 && kxGetM(a) == 1);
}

std::string text_argument(const Call& call, int k, std::string_view role) {
  const kxArray* a = call.input(k);
  if (!is_text(a))
    call.fail("badType", std::string(role) + " must be text (a char row vector), not a " +
                             describe(a) + ".");
  return text_of(a, call.id("badType").c_str());
}

double scalar_argument(const Call& call, int k, std::string_view role) {
  const kxArray* a = call.input(k);
  kxClassID cls = kxGetClassID(a);
  if ((!is_numeric_class(cls) && cls != kxLOGICAL_CLASS) || !kxIsScalar(a) || kxIsComplex(a))
    call.fail("badType", std::string(role) + " must be a real number, not a " + describe(a) +
                             ".");
  Value dense = full(a);
  return ElementReader(dense.get()).real_double(0);
}

kxSize dimension_argument(const Call& call, int k) {
  const kxArray* a = call.input(k);
  kxClassID cls = kxGetClassID(a);
  double d = 0;
  bool ok = (is_numeric_class(cls) || cls == kxLOGICAL_CLASS) && kxIsScalar(a) &&
            !kxIsComplex(a);
  if (ok) {
    Value dense = full(a);
    d = ElementReader(dense.get()).real_double(0);
    ok = d >= 1 && d == std::floor(d);
  }
  if (!ok)
    call.fail("badDimension", "The dimension argument must be a positive integer scalar.");
  // Any number past the dimensions an array can have means the same thing.
  constexpr double kBeyondAny = 1e15;
  return static_cast<kxSize>(d < kBeyondAny ? d : kBeyondAny);
}

void require_values(const Call& call, int k) {
  const kxArray* a = call.input(k);
  if (!is_value_class(kxGetClassID(a)))
    call.fail("badType", "The " + ordinal(k) + " input of " + call.name() +
                             " must be numeric, logical or char, not a " + describe(a) + ".");
}

void require_real_values(const Call& call, int k) {
  require_values(call, k);
  if (kxIsComplex(call.input(k)))
    call.fail("complex", "The " + ordinal(k) + " input of " + call.name() +
                             " must be real; complex values are not supported.");
}

}  // namespace krt::library
