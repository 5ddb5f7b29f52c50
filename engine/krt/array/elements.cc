#include "krt/array/elements.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

#include "krt/array/classes.h"
#include "kx/error.h"

namespace krt::ops {
namespace {

template <class T>
void widen(const void* data, kxSize count, long double* out) {
  const T* values = static_cast<const T*>(data);
  for (kxSize i = 0; i < count; ++i) out[i] = static_cast<long double>(values[i]);
}

// Half away from zero, saturating, NaN as 0. The limits are compared as powers of two,
// which long double holds exactly.
template <class I>
I to_integer(long double x) {
  constexpr long double kTop = static_cast<long double>(std::numeric_limits<I>::max() / 2 + 1) * 2;
  constexpr long double kBottom = static_cast<long double>(std::numeric_limits<I>::min());
  if (x != x) return 0;
  long double r = std::round(x);
  if (r >= kTop) return std::numeric_limits<I>::max();
  if (r <= kBottom) return std::numeric_limits<I>::min();
  return static_cast<I>(r);
}

template <class I>
void narrow(const long double* values, kxSize count, void* data) {
  I* out = static_cast<I*>(data);
  for (kxSize i = 0; i < count; ++i) out[i] = to_integer<I>(values[i]);
}

void convert_block(void* to, kxClassID to_cls, const void* from, kxClassID from_cls,
                   kxSize count) {
  if (count == 0) return;
  if (!kxConvertBufferToType(to, to_cls, from, from_cls, count))
    kx::raise("Korel:ops:Internal", "Values of this class cannot be converted.");
}

std::vector<const char*> name_pointers(const std::vector<std::string>& names) {
  std::vector<const char*> pointers;
  pointers.reserve(names.size());
  for (const std::string& name : names) pointers.push_back(name.c_str());
  return pointers;
}

template <std::size_t N>
void move_element(unsigned char* to, const unsigned char* from) {
  std::memcpy(to, from, N);
}

// Stores `value` with `store` (kxSetCell or kxSetFieldByNumber), which takes it over.
template <class Store>
void store_shared(const kxArray* value, Store store) {
  Value shared = Value::share(value);
  if (store(shared.get())) {
    shared.release();
    return;
  }
  if (!value) kx::raise("Korel:ops:Internal", "A container place could not be emptied.");
  // Refused: the value holds the container's own storage. A deep copy does not.
  Value copy = checked(kxDuplicateArray(value));
  if (store(copy.get())) {
    copy.release();
    return;
  }
  checked(nullptr);  // raises the recorded reason
}

}  // namespace

DoubleValues::DoubleValues(const kxArray* a) {
  if (kxIsDouble(a)) {
    re_ = kxGetPr(a);
    im_ = kxGetPi(a);
    return;
  }
  kxSize count = kxGetNumberOfElements(a);
  kxClassID cls = kxGetClassID(a);
  re_copy_.resize(count);
  convert_block(re_copy_.data(), kxDOUBLE_CLASS, kxGetData(a), cls, count);
  re_ = re_copy_.data();
  if (kxIsComplex(a)) {
    im_copy_.resize(count);
    convert_block(im_copy_.data(), kxDOUBLE_CLASS, kxGetImagData(a), cls, count);
    im_ = im_copy_.data();
  }
}

std::vector<long double> read_long_doubles(const kxArray* a) {
  kxSize count = kxGetNumberOfElements(a);
  std::vector<long double> out(count);
  const void* data = kxGetData(a);
  if (count == 0) return out;
  switch (kxGetClassID(a)) {
    case kxLOGICAL_CLASS: widen<kxLogical>(data, count, out.data()); break;
    case kxCHAR_CLASS: widen<kxChar>(data, count, out.data()); break;
    case kxDOUBLE_CLASS: widen<kxDouble>(data, count, out.data()); break;
    case kxSINGLE_CLASS: widen<kxSingle>(data, count, out.data()); break;
    case kxINT8_CLASS: widen<kxInt8>(data, count, out.data()); break;
    case kxUINT8_CLASS: widen<kxUint8>(data, count, out.data()); break;
    case kxINT16_CLASS: widen<kxInt16>(data, count, out.data()); break;
    case kxUINT16_CLASS: widen<kxUint16>(data, count, out.data()); break;
    case kxINT32_CLASS: widen<kxInt32>(data, count, out.data()); break;
    case kxUINT32_CLASS: widen<kxUint32>(data, count, out.data()); break;
    case kxINT64_CLASS: widen<kxInt64>(data, count, out.data()); break;
    case kxUINT64_CLASS: widen<kxUint64>(data, count, out.data()); break;
    default: kx::raise("Korel:ops:Internal", "Values of this class cannot be read as numbers.");
  }
  return out;
}

Value make_values(kxClassID cls, const Shape& shape, bool complex) {
  switch (cls) {
    case kxLOGICAL_CLASS: return checked(kxCreateLogicalArray(shape.size(), shape.data()));
    case kxCHAR_CLASS: return checked(kxCreateCharArray(shape.size(), shape.data()));
    default:
      return checked(kxCreateNumericArray(shape.size(), shape.data(), cls,
                                          complex ? kxCOMPLEX : kxREAL));
  }
}

Value values_from_doubles(kxClassID cls, const Shape& shape, const double* re,
                          const double* im) {
  kxSize count = element_count(shape);
  bool complex = im && std::any_of(im, im + count, [](double v) { return v != 0; });
  Value out = make_values(cls, shape, complex);
  convert_block(kxGetData(out.get()), cls, re, kxDOUBLE_CLASS, count);
  if (complex) convert_block(kxGetImagData(out.get()), cls, im, kxDOUBLE_CLASS, count);
  return out;
}

Value values_from_long_doubles(kxClassID cls, const Shape& shape, const long double* re) {
  Value out = make_values(cls, shape, false);
  kxSize count = element_count(shape);
  void* data = kxGetData(out.get());
  if (count == 0) return out;
  switch (cls) {
    case kxINT64_CLASS: narrow<kxInt64>(re, count, data); break;
    case kxUINT64_CLASS: narrow<kxUint64>(re, count, data); break;
    default: kx::raise("Korel:ops:Internal", "Only 64-bit integers are made from long doubles.");
  }
  return out;
}

Value convert_values(const kxArray* a, kxClassID cls, bool complex) {
  Shape shape = shape_of(a);
  Value out = make_values(cls, shape, complex);
  kxSize count = element_count(shape);
  kxClassID from = kxGetClassID(a);
  convert_block(kxGetData(out.get()), cls, kxGetData(a), from, count);
  if (complex && kxIsComplex(a))
    convert_block(kxGetImagData(out.get()), cls, kxGetImagData(a), from, count);
  return out;
}

std::vector<std::string> field_names(const kxArray* a) {
  std::vector<std::string> names;
  int count = kxGetNumberOfFields(a);
  for (int f = 0; f < count; ++f) names.emplace_back(kxGetFieldNameByNumber(a, f));
  return names;
}

Value make_container(kxClassID cls, const Shape& shape, const std::vector<std::string>& fields,
                     const std::string& class_name) {
  std::vector<const char*> names = name_pointers(fields);
  int nfields = static_cast<int>(names.size());
  switch (cls) {
    case kxCELL_CLASS: return checked(kxCreateCellArray(shape.size(), shape.data()));
    case kxSTRUCT_CLASS:
      return checked(kxCreateStructArray(shape.size(), shape.data(), nfields, names.data()));
    case kxOBJECT_CLASS:
      return checked(kxCreateObjectArray(class_name.c_str(), shape.size(), shape.data(),
                                         nfields, names.data()));
    default: kx::raise("Korel:ops:Internal", "Only cells, structs and objects hold arrays.");
  }
}

Value make_blank_like(const kxArray* model, const Shape& shape) {
  kxClassID cls = kxGetClassID(model);
  if (is_value_class(cls)) return make_values(cls, shape, kxIsComplex(model));
  const char* class_name = kxGetObjectClassName(model);
  return make_container(cls, shape, field_names(model), class_name ? class_name : "");
}

void put_cell(kxArray* cell, kxSize index, const kxArray* value) {
  store_shared(value, [&](kxArray* v) { return kxSetCell(cell, index, v); });
}

void put_field(kxArray* target, kxSize index, int field, const kxArray* value) {
  store_shared(value, [&](kxArray* v) { return kxSetFieldByNumber(target, index, field, v); });
}

ElementCopier::ElementCopier(const kxArray* from, kxArray* to) : from_(from), to_(to) {
  kxClassID cls = kxGetClassID(to);
  if (kxGetClassID(from) != cls)
    kx::raise("Korel:ops:Internal", "Elements are copied only between arrays of one class.");
  if (is_value_class(cls)) {
    kind_ = Kind::Values;
    size_ = kxGetElementSize(to);
    from_re_ = static_cast<const unsigned char*>(kxGetData(from));
    from_im_ = static_cast<const unsigned char*>(kxGetImagData(from));
    to_re_ = static_cast<unsigned char*>(kxGetData(to));
    to_im_ = static_cast<unsigned char*>(kxGetImagData(to));
  } else if (cls == kxCELL_CLASS) {
    kind_ = Kind::Cells;
  } else if (cls == kxSTRUCT_CLASS || cls == kxOBJECT_CLASS) {
    kind_ = Kind::Fields;
    int count = kxGetNumberOfFields(to);
    for (int f = 0; f < count; ++f)
      source_field_.push_back(kxGetFieldNumber(from, kxGetFieldNameByNumber(to, f)));
  } else {
    kx::raise("Korel:ops:Internal", "Arrays of this class have no elements to copy.");
  }
}

void ElementCopier::copy_value(kxSize to, kxSize from) const {
  unsigned char* target = to_re_ + to * size_;
  const unsigned char* source = from_re_ + from * size_;
  switch (size_) {
    case 1: move_element<1>(target, source); break;
    case 2: move_element<2>(target, source); break;
    case 4: move_element<4>(target, source); break;
    default: move_element<8>(target, source); break;
  }
  if (!to_im_) return;
  if (from_im_)
    std::memcpy(to_im_ + to * size_, from_im_ + from * size_, size_);
  else
    std::memset(to_im_ + to * size_, 0, size_);
}

void ElementCopier::copy_container_element(kxSize to, kxSize from) const {
  if (kind_ == Kind::Cells) {
    put_cell(to_, to, kxGetCell(from_, from));
    return;
  }
  for (std::size_t f = 0; f < source_field_.size(); ++f) {
    int source = source_field_[f];
    const kxArray* value = source < 0 ? nullptr : kxGetFieldByNumber(from_, from, source);
    put_field(to_, to, static_cast<int>(f), value);
  }
}

void ElementCopier::operator()(kxSize to, kxSize from) const {
  if (kind_ == Kind::Values)
    copy_value(to, from);
  else
    copy_container_element(to, from);
}

void ElementCopier::copy_run(kxSize to, kxSize from, kxSize count) const {
  if (count == 0) return;
  if (kind_ != Kind::Values) {
    for (kxSize i = 0; i < count; ++i) copy_container_element(to + i, from + i);
    return;
  }
  std::memcpy(to_re_ + to * size_, from_re_ + from * size_, count * size_);
  if (!to_im_) return;
  if (from_im_)
    std::memcpy(to_im_ + to * size_, from_im_ + from * size_, count * size_);
  else
    std::memset(to_im_ + to * size_, 0, count * size_);
}

}  // namespace krt::ops
