// Cells, struct and object fields, function handles and opaque values.
#include <cstring>

#include "kx/array.h"
#include "kx/error.h"

namespace kx {
namespace {

bool has_fields(const kxArray* a) {
  return a && (a->cls == kxSTRUCT_CLASS || a->cls == kxOBJECT_CLASS);
}

// The element slot of (index, field), or -1 when either is out of range.
std::ptrdiff_t field_slot(const kxArray* a, kxSize index, int field) {
  if (!has_fields(a)) return -1;
  const Storage& s = *a->data;
  std::size_t nfields = s.fields.size();
  if (field < 0 || static_cast<std::size_t>(field) >= nfields) return -1;
  if (index >= kxGetNumberOfElements(a)) return -1;
  std::size_t slot = index * nfields + static_cast<std::size_t>(field);
  return slot < s.elements.size() ? static_cast<std::ptrdiff_t>(slot) : -1;
}

// Whether `value` holds, at any depth, data shared with `target`: storing it there
// would make the container part of itself.
bool reaches(const kxArray* value, const Storage* target) {
  if (value->data.get() == target) return true;
  for (const kxArray* element : value->data->elements)
    if (element && reaches(element, target)) return true;
  return false;
}

int store_checked(kxArray* a, std::ptrdiff_t slot, kxArray* value) {
  if (slot < 0) return 0;
  if (value && value->contained && a->data->elements[slot] != value) {
    record_error("Korel:kx:AlreadyContained",
                 "The array already belongs to a cell or struct; store a copy instead.");
    return 0;
  }
  if (value && reaches(value, a->data.get())) {
    record_error("Korel:kx:SelfContained", "An array cannot be stored inside itself.");
    return 0;
  }
  store_element(*a->data, static_cast<std::size_t>(slot), value);
  return 1;
}

}  // namespace
}  // namespace kx

using namespace kx;

extern "C" {

kxArray* kxGetCell(const kxArray* a, kxSize index) {
  if (!kxIsCell(a) || index >= kxGetNumberOfElements(a) || index >= a->data->elements.size())
    return nullptr;
  return a->data->elements[index];
}

int kxSetCell(kxArray* a, kxSize index, kxArray* value) {
  if (!kxIsCell(a) || index >= kxGetNumberOfElements(a) || index >= a->data->elements.size())
    return 0;
  return store_checked(a, static_cast<std::ptrdiff_t>(index), value);
}

int kxGetNumberOfFields(const kxArray* a) {
  return has_fields(a) ? static_cast<int>(a->data->fields.size()) : 0;
}

int kxGetFieldNumber(const kxArray* a, const char* name) {
  if (!has_fields(a) || !name) return -1;
  const auto& fields = a->data->fields;
  for (std::size_t k = 0; k < fields.size(); ++k)
    if (fields[k] == name) return static_cast<int>(k);
  return -1;
}

const char* kxGetFieldNameByNumber(const kxArray* a, int field) {
  if (!has_fields(a) || field < 0 || static_cast<std::size_t>(field) >= a->data->fields.size())
    return nullptr;
  return a->data->fields[static_cast<std::size_t>(field)].c_str();
}

kxArray* kxGetFieldByNumber(const kxArray* a, kxSize index, int field) {
  std::ptrdiff_t slot = field_slot(a, index, field);
  return slot < 0 ? nullptr : a->data->elements[static_cast<std::size_t>(slot)];
}

kxArray* kxGetField(const kxArray* a, kxSize index, const char* name) {
  return kxGetFieldByNumber(a, index, kxGetFieldNumber(a, name));
}

int kxSetFieldByNumber(kxArray* a, kxSize index, int field, kxArray* value) {
  return store_checked(a, field_slot(a, index, field), value);
}

int kxSetField(kxArray* a, kxSize index, const char* name, kxArray* value) {
  return kxSetFieldByNumber(a, index, kxGetFieldNumber(a, name), value);
}

int kxAddField(kxArray* a, const char* name) {
  if (!has_fields(a) || !name || !*name) return -1;
  int existing = kxGetFieldNumber(a, name);
  if (existing >= 0) return existing;
  return guarded(
      [&] {
        Storage& s = *a->data;
        std::size_t count = s.capacity;
        std::size_t old_fields = s.fields.size();
        std::vector<kxArray*> grown(checked_bytes(count, old_fields + 1), nullptr);
        s.fields.emplace_back(name);
        for (std::size_t e = 0; e < count; ++e)
          for (std::size_t f = 0; f < old_fields; ++f)
            grown[e * (old_fields + 1) + f] = s.elements[e * old_fields + f];
        s.elements.swap(grown);
        return static_cast<int>(old_fields);
      },
      -1);
}

int kxRemoveField(kxArray* a, int field) {
  if (!has_fields(a) || field < 0 || static_cast<std::size_t>(field) >= a->data->fields.size())
    return 0;
  return guarded(
      [&] {
        Storage& s = *a->data;
        std::size_t nfields = s.fields.size();
        std::size_t target = static_cast<std::size_t>(field);
        std::vector<kxArray*> kept;
        kept.reserve(s.elements.size() - s.elements.size() / nfields);
        std::vector<kxArray*> removed;
        removed.reserve(s.elements.size() / nfields);
        for (std::size_t slot = 0; slot < s.elements.size(); ++slot)
          (slot % nfields == target ? removed : kept).push_back(s.elements[slot]);
        s.elements.swap(kept);
        s.fields.erase(s.fields.begin() + field);
        for (kxArray* value : removed) destroy_array(value);
        return 1;
      },
      0);
}

const char* kxGetFunctionName(const kxArray* a) {
  if (!kxIsFunctionHandle(a) || a->data->name.empty()) return nullptr;
  return a->data->name.c_str();
}

kxNativeFunction kxGetNativeFunction(const kxArray* a) {
  return kxIsFunctionHandle(a) ? a->data->native : nullptr;
}

const char* kxGetOpaqueTypeName(const kxArray* a) {
  return kxIsOpaque(a) ? a->data->name.c_str() : nullptr;
}

const void* kxGetOpaqueData(const kxArray* a, size_t* size) {
  if (size) *size = kxIsOpaque(a) ? a->data->real.size() : 0;
  return kxIsOpaque(a) ? a->data->real.data() : nullptr;
}

const char* kxGetObjectClassName(const kxArray* a) {
  return kxIsObject(a) ? a->data->name.c_str() : nullptr;
}

}  // extern "C"
