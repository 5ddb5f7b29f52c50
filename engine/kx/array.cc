// Lifetime, copies, shape and the plain queries of the native array.
#include "kx/array.h"
#include "kx/objects.h"

#include <cstring>
#include <limits>

#include "kx/error.h"
#include "kx/scope.h"

namespace kx {

Storage::~Storage() {
  uncount_objects(*this);
  for (kxArray* element : elements) destroy_array(element);
}

std::size_t element_size(int cls) {
  switch (cls) {
    case kxLOGICAL_CLASS: case kxINT8_CLASS: case kxUINT8_CLASS: return 1;
    case kxCHAR_CLASS: case kxINT16_CLASS: case kxUINT16_CLASS: return 2;
    case kxSINGLE_CLASS: case kxINT32_CLASS: case kxUINT32_CLASS: return 4;
    case kxDOUBLE_CLASS: case kxINT64_CLASS: case kxUINT64_CLASS: return 8;
    case kxCELL_CLASS: case kxSTRUCT_CLASS: case kxOBJECT_CLASS: return sizeof(kxArray*);
    default: return 0;
  }
}

bool is_numeric_class(int cls) { return cls >= kxDOUBLE_CLASS && cls <= kxUINT64_CLASS; }

bool is_value_class(int cls) {
  return cls == kxLOGICAL_CLASS || cls == kxCHAR_CLASS || is_numeric_class(cls);
}

bool is_container_class(int cls) {
  return cls == kxCELL_CLASS || cls == kxSTRUCT_CLASS || cls == kxOBJECT_CLASS;
}

Dims normalize_dims(kxSize ndim, const kxSize* dims) {
  if (ndim > 0 && !dims) raise("Korel:kx:BadArgument", "A dimension list is missing.");
  Dims out(dims, dims + ndim);
  while (out.size() > 2 && out.back() == 1) out.pop_back();
  if (out.empty()) return {0, 0};
  if (out.size() == 1) out.push_back(1);
  return out;
}

kxSize count_elements(const Dims& dims) {
  kxSize count = 1;
  for (kxSize d : dims) {
    if (d != 0 && count > std::numeric_limits<kxSize>::max() / d)
      raise("Korel:kx:TooLarge", "The array has more elements than can be addressed.");
    count *= d;
  }
  return count;
}

std::size_t checked_bytes(kxSize count, std::size_t size) {
  // Half the address space: nothing larger can be allocated, and sizes stay signed-safe.
  constexpr std::size_t limit = std::numeric_limits<std::size_t>::max() / 2;
  if (size != 0 && count > limit / size)
    raise("Korel:kx:TooLarge", "The array is too large to be held in memory.");
  return count * size;
}

ArrayPtr make_bare(kxClassID cls, Dims dims) {
  auto a = std::make_unique<kxArray>();
  a->cls = cls;
  a->dims = std::move(dims);
  a->data = std::make_shared<Storage>();
  return a;
}

ArrayPtr make_dense(kxClassID cls, Dims dims, kxComplexity cx, bool zeroed) {
  kxSize count = count_elements(dims);
  ArrayPtr a = make_bare(cls, std::move(dims));
  Storage& s = *a->data;
  s.capacity = count;
  if (is_value_class(cls)) {
    std::size_t bytes = checked_bytes(count, element_size(cls));
    s.real = Block::allocate(bytes, zeroed);
    if (cx == kxCOMPLEX) {
      if (!is_numeric_class(cls)) raise("Korel:kx:BadComplexity", "Only numeric arrays can be complex.");
      s.imag = Block::allocate(bytes, zeroed);
      s.complex = true;
    }
  }
  return a;
}

kxArray* publish(ArrayPtr a) {
  adopt_into_scope(a.get());
  return a.release();
}

void destroy_array(kxArray* a) noexcept {
  if (!a) return;
  remove_from_scope(a);
  delete a;
}

bool stands_for_empty_place(const kxArray& a) {
  return a.cls == kxDOUBLE_CLASS && !a.sparse && !a.data->complex && a.dims == Dims{0, 0};
}

void store_element(Storage& storage, std::size_t slot, kxArray* value) {
  kxArray*& place = storage.elements[slot];
  if (place == value) return;
  if (value) {
    remove_from_scope(value);
    value->contained = true;
  }
  kxArray* old = place;
  place = value;
  destroy_array(old);
}

ArrayPtr duplicate(const kxArray& a) {
  ArrayPtr copy = make_bare(a.cls, a.dims);
  copy->sparse = a.sparse;
  const Storage& from = *a.data;
  Storage& to = *copy->data;
  to.capacity = from.capacity;
  to.complex = from.complex;
  to.real = copy_block(from.real.data(), from.real.size());
  to.imag = copy_block(from.imag.data(), from.imag.size());
  to.ir = copy_block(from.ir.data(), from.ir.size());
  to.jc = copy_block(from.jc.data(), from.jc.size());
  to.fields = from.fields;
  to.name = from.name;
  to.native = from.native;
  to.payload = from.payload;
  to.elements.assign(from.elements.size(), nullptr);
  for (std::size_t i = 0; i < from.elements.size(); ++i) {
    if (!from.elements[i]) continue;
    kxArray* element = duplicate(*from.elements[i]).release();
    element->contained = true;
    to.elements[i] = element;
  }
  if (from.counted_objects) count_objects(to);
  return copy;
}

}  // namespace kx

using kx::guarded;

extern "C" {

void kxDestroyArray(kxArray* a) {
  if (a && a->contained) {
    kx::record_error("Korel:kxDestroyArray:Contained",
                     "An array that belongs to a cell or struct is destroyed with its container.");
    return;
  }
  kx::destroy_array(a);
}

kxArray* kxDuplicateArray(const kxArray* a) {
  if (!a) return nullptr;
  return guarded([&] { return kx::publish(kx::duplicate(*a)); }, static_cast<kxArray*>(nullptr));
}

bool kxIsDataShared(const kxArray* a) { return a && a->data.use_count() > 1; }

kxArray* kxCreateSharedDataCopy(const kxArray* a) {
  if (!a) return nullptr;
  return guarded(
      [&] {
        auto copy = std::make_unique<kxArray>();
        copy->cls = a->cls;
        copy->sparse = a->sparse;
        copy->dims = a->dims;
        copy->data = a->data;
        return kx::publish(std::move(copy));
      },
      static_cast<kxArray*>(nullptr));
}

kxClassID kxGetClassID(const kxArray* a) { return a ? a->cls : kxUNKNOWN_CLASS; }

const char* kxGetClassNameFromID(int cls) {
  static const char* const names[] = {
      "unknown", "cell",   "struct", "logical", "char",   "unknown", "double",
      "single",  "int8",   "uint8",  "int16",   "uint16", "int32",   "uint32",
      "int64",   "uint64", "function", "opaque", "object"};
  if (cls < 0 || cls >= static_cast<int>(std::size(names))) return "unknown";
  return names[cls];
}

const char* kxGetClassName(const kxArray* a) { return kxGetClassNameFromID(kxGetClassID(a)); }

kxSize kxGetNumberOfDimensions(const kxArray* a) { return a ? a->dims.size() : 0; }

const kxSize* kxGetDimensions(const kxArray* a) { return a ? a->dims.data() : nullptr; }

int kxSetDimensions(kxArray* a, kxSize ndim, const kxSize* dims) {
  if (!a) return 0;
  return guarded(
      [&] {
        kx::Dims shape = kx::normalize_dims(ndim, dims);
        if (kx::count_elements(shape) != kx::count_elements(a->dims)) return 0;
        if (a->sparse && (shape.size() != 2 || shape[1] != a->dims[1])) return 0;
        a->dims = std::move(shape);
        return 1;
      },
      0);
}

kxSize kxGetM(const kxArray* a) { return a ? a->dims[0] : 0; }

kxSize kxGetN(const kxArray* a) {
  if (!a) return 0;
  kxSize n = 1;
  for (std::size_t k = 1; k < a->dims.size(); ++k) n *= a->dims[k];
  return n;
}

kxSize kxGetNumberOfElements(const kxArray* a) {
  if (!a) return 0;
  kxSize count = 1;
  for (kxSize d : a->dims) count *= d;
  return count;
}

size_t kxGetElementSize(const kxArray* a) { return a ? kx::element_size(a->cls) : 0; }

bool kxIsEmpty(const kxArray* a) { return kxGetNumberOfElements(a) == 0; }
bool kxIsScalar(const kxArray* a) { return a && kxGetNumberOfElements(a) == 1; }
bool kxIsSparse(const kxArray* a) { return a && a->sparse; }
bool kxIsNumeric(const kxArray* a) { return a && kx::is_numeric_class(a->cls); }
bool kxIsComplex(const kxArray* a) { return a && a->data->complex; }
bool kxIsDouble(const kxArray* a) { return kxGetClassID(a) == kxDOUBLE_CLASS; }
bool kxIsChar(const kxArray* a) { return kxGetClassID(a) == kxCHAR_CLASS; }
bool kxIsLogical(const kxArray* a) { return kxGetClassID(a) == kxLOGICAL_CLASS; }
bool kxIsCell(const kxArray* a) { return kxGetClassID(a) == kxCELL_CLASS; }
bool kxIsStruct(const kxArray* a) { return kxGetClassID(a) == kxSTRUCT_CLASS; }
bool kxIsFunctionHandle(const kxArray* a) { return kxGetClassID(a) == kxFUNCTION_CLASS; }
bool kxIsOpaque(const kxArray* a) { return kxGetClassID(a) == kxOPAQUE_CLASS; }
bool kxIsObject(const kxArray* a) { return kxGetClassID(a) == kxOBJECT_CLASS; }

int kxMakeComplex(kxArray* a) {
  if (!a || !kx::is_numeric_class(a->cls)) return 0;
  kx::Storage& s = *a->data;
  if (s.complex) return 1;
  return guarded(
      [&] {
        s.imag = kx::Block::allocate(s.real.size(), true);
        s.complex = true;
        return 1;
      },
      0);
}

void* kxGetData(const kxArray* a) {
  return a && kx::is_value_class(a->cls) ? a->data->real.data() : nullptr;
}

void* kxGetImagData(const kxArray* a) {
  return a && kx::is_value_class(a->cls) ? a->data->imag.data() : nullptr;
}

double* kxGetPr(const kxArray* a) {
  return kxIsDouble(a) ? a->data->real.as<double>() : nullptr;
}

double* kxGetPi(const kxArray* a) {
  return kxIsDouble(a) ? a->data->imag.as<double>() : nullptr;
}

kxChar* kxGetChars(const kxArray* a) { return kxIsChar(a) ? a->data->real.as<kxChar>() : nullptr; }

kxLogical* kxGetLogicals(const kxArray* a) {
  return kxIsLogical(a) ? a->data->real.as<kxLogical>() : nullptr;
}

double kxGetScalar(const kxArray* a) {
  if (!a || !kx::is_value_class(a->cls) || !a->data->real) return 0;
  if (a->sparse) {
    // The first element is stored only when the first column's first value is in row 0.
    const kxIndex* jc = a->data->jc.as<kxIndex>();
    if (a->dims[1] == 0 || jc[1] == 0 || a->data->ir.as<kxIndex>()[0] != 0) return 0;
  }
  double value = 0;
  kxConvertBufferToType(&value, kxDOUBLE_CLASS, a->data->real.data(), a->cls, 1);
  return value;
}

}  // extern "C"
