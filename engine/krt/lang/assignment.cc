#include "krt/lang/assignment.h"

#include <cmath>

#include "krt/array/operations.h"
#include "krt/lang/handle_object.h"
#include "krt/lang/interpreter.h"
#include "krt/lang/scalar_subscripts.h"
#include "kx/array.h"
#include "kx/error.h"
#include "kx/growth.h"

namespace krt::lang {
namespace {

// A step with its Korel code run: the subscripts or the field name.
struct ResolvedStep {
  Access::Kind kind;
  ValueList subs;
  std::string field;

  // The subscripts as arrays, for the array operations; made only when the fast paths,
  // which read inline scalars, do not apply.
  std::vector<const kxArray*> pointers() const {
    std::vector<const kxArray*> out;
    out.reserve(subs.size());
    for (const Value& v : subs) out.push_back(v.get());
    return out;
  }
};

bool is_empty_double(const kxArray* a) {
  return a && a->cls == kxDOUBLE_CLASS && !a->sparse && a->dims.size() == 2 && a->dims[0] == 0 &&
         a->dims[1] == 0;
}

// Whether a subscript names the place just past the end of vector `a`.
bool is_next_position(const Value& subscript, const kxArray* a) {
  double v;
  return index_number(subscript, v) && v == double(kxGetNumberOfElements(a)) + 1;
}

bool is_scalar_struct(const kxArray* a) {
  return a && a->cls == kxSTRUCT_CLASS && a->dims.size() == 2 && a->dims[0] == 1 && a->dims[1] == 1;
}

// What a resolved step selects from `current`, for the `end` of the steps after it: one
// element read in place, or a copy of a () selection kept in `holder`; null where the
// chain grows into a place that is not there yet.
const kxArray* select(const kxArray* current, const ResolvedStep& step, Value& holder) {
  if (!current) return nullptr;
  switch (step.kind) {
    case Access::Kind::Field:
    case Access::Kind::DynamicField:
      if (!kxIsStruct(current) && !kxIsObject(current)) return nullptr;
      if (kxGetNumberOfElements(current) != 1) return nullptr;
      return kxGetField(current, 0, step.field.c_str());
    case Access::Kind::Brace:
      if (!kxIsCell(current)) return nullptr;
      if (long long k = position_of(current, step.subs); k >= 0) return kxGetCell(current, k);
      return nullptr;
    case Access::Kind::Paren:
      // A copy, kept only while the chain's code runs: the write that follows finds the
      // data unshared again.
      try {
        holder = ops::index(current, step.pointers());
      } catch (const kx::KorelError& e) {
        if (e.identifier() != "Korel:badsubscript") throw;  // growing: nothing there yet
        return nullptr;
      }
      return holder.get();
  }
  return nullptr;
}

// Runs the chain's Korel code against the target as it is.
std::vector<ResolvedStep> resolve(Frame& f, const Value& target, const std::vector<Step>& steps) {
  std::vector<ResolvedStep> resolved(steps.size());
  const kxArray* current = target.get();
  std::vector<Value> holders;  // copies the later steps' `end` refers to
  Value empty;
  for (std::size_t k = 0; k < steps.size(); ++k) {
    const Step& step = steps[k];
    ResolvedStep& r = resolved[k];
    r.kind = step.kind;
    if (step.kind == Access::Kind::Field || step.kind == Access::Kind::DynamicField) {
      r.field = step_field_name(f, step);
    } else {
      // Past the variable itself, a place not there yet is empty as far as `end` goes.
      const kxArray* end_target = current;
      if (!end_target && k > 0) {
        if (!empty) empty = make_empty_double();
        end_target = empty.get();
      }
      eval_subscripts(f, step, end_target, r.subs);
    }
    if (k + 1 < steps.size()) {
      holders.emplace_back();
      current = select(current, r, holders.back());
    }
  }
  return resolved;
}

// An element of a container taken out for the life of the scope, so it can be written
// in place without the container sharing it, and put back however the scope ends.
class TakenElement {
 public:
  TakenElement(kxArray* container, std::size_t slot)
      : storage_(container->data), slot_(slot) {
    kxArray*& place = storage_->elements[slot_];
    if (place) {
      place->contained = false;
      value_ = Value(place);
      place = nullptr;
    }
    if (value_ && is_empty_double(value_.boxed())) value_.reset();
  }
  ~TakenElement() {
    kxArray* a = value_ ? value_.release() : kxCreateDoubleMatrix(0, 0, kxREAL);
    if (!a) return;  // out of memory: the place reads as empty
    a->contained = true;
    storage_->elements[slot_] = a;
  }
  TakenElement(const TakenElement&) = delete;
  TakenElement& operator=(const TakenElement&) = delete;

  Value& value() { return value_; }

 private:
  std::shared_ptr<kx::Storage> storage_;  // stays alive whatever happens to the container
  std::size_t slot_;
  Value value_;
};

void write(Frame& f, Value& target, std::vector<ResolvedStep>& steps, std::size_t k, Value rhs);

void write_field(Frame& f, Value& target, std::vector<ResolvedStep>& steps, std::size_t k, Value rhs) {
  const std::string& name = steps[k].field;
  if (k + 1 == steps.size()) return ops::assign_field(target, name, rhs.get());
  if (!target || is_empty_double(target.boxed())) {
    const char* names[] = {name.c_str()};
    target = checked(kxCreateStructMatrix(1, 1, 1, names));
  }
  if (is_scalar_struct(target.boxed())) {
    target.make_writable();
    kxArray* s = target.get();
    int field = kxGetFieldNumber(s, name.c_str());
    if (field < 0) field = kxAddField(s, name.c_str());
    if (field < 0) kx::raise("Korel:nomem", "Out of memory.");
    TakenElement inner(s, static_cast<std::size_t>(field));
    return write(f, inner.value(), steps, k + 1, std::move(rhs));
  }
  // Struct arrays and objects: through a copy of the field.
  Value inner;
  if ((kxIsStruct(target.get()) || kxIsObject(target.get())) &&
      kxGetFieldNumber(target.get(), name.c_str()) >= 0) {
    std::vector<Value> current = ops::field(target.get(), name);
    if (current.size() == 1) inner = std::move(current[0]);
  }
  write(f, inner, steps, k + 1, std::move(rhs));
  ops::assign_field(target, name, inner.get());
}

void write_paren(Frame& f, Value& target, std::vector<ResolvedStep>& steps, std::size_t k, Value rhs) {
  ResolvedStep& step = steps[k];
  if (k + 1 == steps.size()) return assign_elements(f, target, step.subs, std::move(rhs));
  // s(i).name... = v on a struct array: straight into the element's field.
  const ResolvedStep& next = steps[k + 1];
  if (kxArray* a = target.boxed(); a && a->cls == kxSTRUCT_CLASS &&
                                  (next.kind == Access::Kind::Field ||
                                   next.kind == Access::Kind::DynamicField)) {
    if (long long p = position_of(a, step.subs); p >= 0) {
      target.make_writable();
      a = target.get();
      int field = kxGetFieldNumber(a, next.field.c_str());
      if (field < 0) field = kxAddField(a, next.field.c_str());
      if (field < 0) kx::raise("Korel:nomem", "Out of memory.");
      const auto fields = static_cast<std::size_t>(kxGetNumberOfFields(a));
      TakenElement inner(a, static_cast<std::size_t>(p) * fields + static_cast<std::size_t>(field));
      if (k + 2 == steps.size()) {
        inner.value() = std::move(rhs);
        return;
      }
      return write(f, inner.value(), steps, k + 2, std::move(rhs));
    }
  }
  // Anything else through a copy of the selection.
  Value inner;
  if (target) {
    try {
      inner = ops::index(target.get(), step.pointers());
    } catch (const kx::KorelError& e) {
      if (e.identifier() != "Korel:badsubscript") throw;  // growing: starts empty
    }
  }
  write(f, inner, steps, k + 1, std::move(rhs));
  ops::assign_index(target, step.pointers(), inner.get());
}

void write_brace(Frame& f, Value& target, std::vector<ResolvedStep>& steps, std::size_t k, Value rhs) {
  ResolvedStep& step = steps[k];
  if (k + 1 == steps.size()) {
    // c{end+1} = v on a cell vector held alone: the cell grows in place.
    if (kxArray* a = target.boxed(); a && a->cls == kxCELL_CLASS && step.subs.size() == 1 &&
                                    is_next_position(step.subs[0], a) &&
                                    kx::grow_vector(a, kxGetNumberOfElements(a) + 1)) {
      kxSetCell(a, kxGetNumberOfElements(a) - 1, rhs.release());
      return;
    }
    return ops::assign_brace(target, step.pointers(), rhs.get());
  }
  // c{i}... = v on a cell: in the element itself.
  if (kxArray* a = target.boxed(); a && a->cls == kxCELL_CLASS) {
    if (long long p = position_of(a, step.subs); p >= 0) {
      target.make_writable();
      TakenElement inner(target.get(), static_cast<std::size_t>(p));
      return write(f, inner.value(), steps, k + 1, std::move(rhs));
    }
  }
  Value inner;
  if (target && kxIsCell(target.get())) {
    try {
      std::vector<Value> current = ops::brace_index(target.get(), step.pointers());
      if (current.size() == 1) inner = std::move(current[0]);
    } catch (const kx::KorelError& e) {
      if (e.identifier() != "Korel:badsubscript") throw;
    }
  }
  if (inner && is_empty_double(inner.get())) inner.reset();
  write(f, inner, steps, k + 1, std::move(rhs));
  ops::assign_brace(target, step.pointers(), inner.get());
}

void write(Frame& f, Value& target, std::vector<ResolvedStep>& steps, std::size_t k, Value rhs) {
  switch (steps[k].kind) {
    case Access::Kind::Field:
    case Access::Kind::DynamicField: return write_field(f, target, steps, k, std::move(rhs));
    case Access::Kind::Paren: return write_paren(f, target, steps, k, std::move(rhs));
    case Access::Kind::Brace: return write_brace(f, target, steps, k, std::move(rhs));
  }
}

}  // namespace

void store_scalar(void* data, kxSize k, const Value& v) {
  switch (v.inline_class()) {
    case kxDOUBLE_CLASS: static_cast<double*>(data)[k] = v.number_value(); break;
    case kxSINGLE_CLASS: static_cast<float*>(data)[k] = v.single_value(); break;
    case kxLOGICAL_CLASS: static_cast<bool*>(data)[k] = v.boolean_value(); break;
    case kxCHAR_CLASS: static_cast<kxChar*>(data)[k] = static_cast<kxChar>(v.unsigned_value()); break;
    case kxINT8_CLASS: static_cast<int8_t*>(data)[k] = static_cast<int8_t>(v.signed_value()); break;
    case kxUINT8_CLASS: static_cast<uint8_t*>(data)[k] = static_cast<uint8_t>(v.unsigned_value()); break;
    case kxINT16_CLASS: static_cast<int16_t*>(data)[k] = static_cast<int16_t>(v.signed_value()); break;
    case kxUINT16_CLASS: static_cast<uint16_t*>(data)[k] = static_cast<uint16_t>(v.unsigned_value()); break;
    case kxINT32_CLASS: static_cast<int32_t*>(data)[k] = static_cast<int32_t>(v.signed_value()); break;
    case kxUINT32_CLASS: static_cast<uint32_t*>(data)[k] = static_cast<uint32_t>(v.unsigned_value()); break;
    case kxINT64_CLASS: static_cast<int64_t*>(data)[k] = v.signed_value(); break;
    case kxUINT64_CLASS: static_cast<uint64_t*>(data)[k] = v.unsigned_value(); break;
    default: break;
  }
}

void assign_elements(Frame& f, Value& target, ValueList& subs, Value rhs) {
  if (const HandleObject* object = handle_object_of(target.boxed())) {
    CallContext context{f.interpreter, f};
    return object->assign(context, subs, std::move(rhs));
  }
  // A scalar into an array of its class held alone: in place, growing a vector by one
  // element at its end in amortised constant time.
  if (kxArray* a = target.boxed(); a && rhs.is_inline() && a->cls == rhs.inline_class() &&
                                  !a->sparse && !a->data->complex && !storage_is_shared(a)) {
    long long p = position_of(a, subs);
    if (p < 0 && subs.size() == 1 && is_next_position(subs[0], a)) {
      const kxSize n = kxGetNumberOfElements(a);
      if (kx::grow_vector(a, n + 1)) p = static_cast<long long>(n);
    }
    if (p >= 0) return store_scalar(kxGetData(a), static_cast<kxSize>(p), rhs);
  }
  std::vector<const kxArray*> pointers;
  pointers.reserve(subs.size());
  for (const Value& v : subs) pointers.push_back(v.get());
  if (target && is_empty_double(rhs.boxed())) return ops::delete_elements(target, pointers);
  ops::assign_index(target, pointers, rhs.get());
}

namespace {

// The array that static field steps reach from `a` through scalar structs nobody else
// holds, or null: the place `s.a.b(i) = v` can write into directly.
kxArray* unshared_field_target(kxArray* a, const std::vector<Step>& steps, std::size_t count) {
  for (std::size_t k = 0; k < count; ++k) {
    if (!is_scalar_struct(a) || a->data.use_count() != 1) return nullptr;
    const Step& step = steps[k];
    if (step.kind != Access::Kind::Field) return nullptr;
    int field = kxGetFieldNumber(a, step.field.c_str());
    if (field < 0) return nullptr;
    a = a->data->elements[static_cast<std::size_t>(field)];
    if (!a) return nullptr;
  }
  return a;
}

// s.f...(subs) = scalar into a plain array of the scalar's class held by nobody else,
// without taking anything apart. False, having run no Korel code, when that does not
// apply; true when done.
bool write_through_fields(Frame& f, Value& target, const std::vector<Step>& steps, const Value& rhs) {
  const std::size_t fields = steps.size() - 1;
  if (fields == 0 || steps.back().kind != Access::Kind::Paren || !rhs.is_inline()) return false;
  kxArray* a = unshared_field_target(target.boxed(), steps, fields);
  if (!a || a->cls != rhs.inline_class() || a->sparse || a->data->complex || storage_is_shared(a))
    return false;
  ValueList subs;
  eval_subscripts(f, steps.back(), a, subs);
  // The subscripts may have run code that changed the variable: find the place again.
  a = unshared_field_target(target.boxed(), steps, fields);
  long long p = a && a->cls == rhs.inline_class() && !storage_is_shared(a) ? position_of(a, subs) : -1;
  if (p < 0) {
    // Not a plain write after all: the general path, with these subscripts.
    std::vector<ResolvedStep> resolved(steps.size());
    for (std::size_t k = 0; k < fields; ++k) {
      resolved[k].kind = steps[k].kind;
      resolved[k].field = steps[k].field;
    }
    ResolvedStep& last = resolved.back();
    last.kind = Access::Kind::Paren;
    last.subs = std::move(subs);
    write(f, target, resolved, 0, rhs.share());
    return true;
  }
  store_scalar(kxGetData(a), static_cast<kxSize>(p), rhs);
  return true;
}

}  // namespace

void assign_path(Frame& f, Value& target, const std::vector<Step>& steps, Value rhs) {
  if (write_through_fields(f, target, steps, rhs)) return;
  std::vector<ResolvedStep> resolved = resolve(f, target, steps);
  write(f, target, resolved, 0, std::move(rhs));
}

}  // namespace krt::lang
