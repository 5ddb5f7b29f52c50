// The creators of every class except text and sparse arrays.
#include <cstring>
#include <set>

#include "kx/array.h"
#include "kx/objects.h"
#include "kx/error.h"

namespace kx {
namespace {

constexpr kxArray* kNone = nullptr;

std::vector<std::string> field_list(int nfields, const char** names) {
  if (nfields < 0 || (nfields > 0 && !names))
    raise("Korel:kx:BadArgument", "The field list is missing or has a negative length.");
  std::vector<std::string> fields;
  std::set<std::string> seen;
  for (int k = 0; k < nfields; ++k) {
    if (!names[k] || !*names[k]) raise("Korel:kx:BadFieldName", "A field name is empty.");
    if (!seen.insert(names[k]).second)
      raise("Korel:kx:DuplicateField", std::string("The field '") + names[k] + "' is given twice.");
    fields.emplace_back(names[k]);
  }
  return fields;
}

ArrayPtr make_container(kxClassID cls, kxSize ndim, const kxSize* dims,
                        std::vector<std::string> fields) {
  Dims shape = normalize_dims(ndim, dims);
  kxSize count = count_elements(shape);
  ArrayPtr a = make_bare(cls, std::move(shape));
  std::size_t per_element = cls == kxCELL_CLASS ? 1 : fields.size();
  std::size_t slots = checked_bytes(count, per_element);
  checked_bytes(slots, sizeof(kxArray*));
  a->data->capacity = count;
  a->data->elements.assign(slots, nullptr);
  a->data->fields = std::move(fields);
  return a;
}

// Zero-filled arrays of the classes that hold plain values.
kxArray* create_values(kxClassID cls, kxSize ndim, const kxSize* dims, kxComplexity cx) {
  return guarded([&] { return publish(make_dense(cls, normalize_dims(ndim, dims), cx, true)); },
                 kNone);
}

}  // namespace
}  // namespace kx

using namespace kx;

extern "C" {

kxArray* kxCreateNumericArray(kxSize ndim, const kxSize* dims, kxClassID cls, kxComplexity cx) {
  if (!is_numeric_class(cls)) {
    record_error("Korel:kx:BadClass", "The class does not fit a numeric array.");
    return nullptr;
  }
  return create_values(cls, ndim, dims, cx);
}

kxArray* kxCreateNumericMatrix(kxSize m, kxSize n, kxClassID cls, kxComplexity cx) {
  const kxSize dims[] = {m, n};
  return kxCreateNumericArray(2, dims, cls, cx);
}

kxArray* kxCreateDoubleMatrix(kxSize m, kxSize n, kxComplexity cx) {
  return kxCreateNumericMatrix(m, n, kxDOUBLE_CLASS, cx);
}

kxArray* kxCreateDoubleScalar(double value) {
  kxArray* a = kxCreateDoubleMatrix(1, 1, kxREAL);
  if (a) *kxGetPr(a) = value;
  return a;
}

kxArray* kxCreateLogicalArray(kxSize ndim, const kxSize* dims) {
  return create_values(kxLOGICAL_CLASS, ndim, dims, kxREAL);
}

kxArray* kxCreateLogicalMatrix(kxSize m, kxSize n) {
  const kxSize dims[] = {m, n};
  return kxCreateLogicalArray(2, dims);
}

kxArray* kxCreateLogicalScalar(kxLogical value) {
  kxArray* a = kxCreateLogicalMatrix(1, 1);
  if (a) *kxGetLogicals(a) = value ? 1 : 0;
  return a;
}

kxArray* kxCreateCharArray(kxSize ndim, const kxSize* dims) {
  return create_values(kxCHAR_CLASS, ndim, dims, kxREAL);
}

kxArray* kxCreateCharMatrix(kxSize m, kxSize n) {
  const kxSize dims[] = {m, n};
  return kxCreateCharArray(2, dims);
}

kxArray* kxCreateCellArray(kxSize ndim, const kxSize* dims) {
  return guarded([&] { return publish(make_container(kxCELL_CLASS, ndim, dims, {})); }, kNone);
}

kxArray* kxCreateCellMatrix(kxSize m, kxSize n) {
  const kxSize dims[] = {m, n};
  return kxCreateCellArray(2, dims);
}

kxArray* kxCreateStructArray(kxSize ndim, const kxSize* dims, int nfields, const char** names) {
  return guarded(
      [&] {
        return publish(make_container(kxSTRUCT_CLASS, ndim, dims, field_list(nfields, names)));
      },
      kNone);
}

kxArray* kxCreateStructMatrix(kxSize m, kxSize n, int nfields, const char** names) {
  const kxSize dims[] = {m, n};
  return kxCreateStructArray(2, dims, nfields, names);
}

kxArray* kxCreateObjectArray(const char* class_name, kxSize ndim, const kxSize* dims, int nfields,
                             const char** names) {
  return guarded(
      [&] {
        if (!class_name || !*class_name)
          raise("Korel:kx:BadArgument", "An object needs a class name.");
        ArrayPtr a = make_container(kxOBJECT_CLASS, ndim, dims, field_list(nfields, names));
        a->data->name = class_name;
        count_objects(*a->data);
        return publish(std::move(a));
      },
      kNone);
}

kxArray* kxCreateFunctionHandle(const char* name) {
  return kxCreateNativeFunctionHandle(name, nullptr);
}

kxArray* kxCreateNativeFunctionHandle(const char* name, kxNativeFunction fn) {
  return guarded(
      [&] {
        if (!name || !*name) raise("Korel:kx:BadArgument", "A function handle needs a name.");
        ArrayPtr a = make_bare(kxFUNCTION_CLASS, {1, 1});
        a->data->name = name;
        a->data->native = fn;
        return publish(std::move(a));
      },
      kNone);
}

kxArray* kxCreateOpaque(const char* type_name, const void* bytes, size_t size) {
  return guarded(
      [&] {
        if (!type_name || (size > 0 && !bytes))
          raise("Korel:kx:BadArgument", "An opaque value needs a type name and its bytes.");
        ArrayPtr a = make_bare(kxOPAQUE_CLASS, {1, 1});
        a->data->name = type_name;
        a->data->real = copy_block(bytes, size);
        return publish(std::move(a));
      },
      kNone);
}

kxArray* kxCreateEmptyArray(kxClassID cls) {
  return guarded(
      [&] {
        if (cls < kxUNKNOWN_CLASS || cls > kxOBJECT_CLASS)
          raise("Korel:kx:BadClass", "There is no class with that id.");
        ArrayPtr a = is_container_class(cls) ? make_container(cls, 0, nullptr, {})
                                             : make_dense(cls, {0, 0}, kxREAL, true);
        return publish(std::move(a));
      },
      kNone);
}

}  // extern "C"
