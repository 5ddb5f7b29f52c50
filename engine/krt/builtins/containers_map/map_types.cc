#include "krt/builtins/containers_map/map_types.h"

#include <cmath>
#include <cstring>

#include "krt/builtins/arguments.h"
#include "krt/library/text.h"
#include "kx/error.h"

namespace krt::builtins::map {
namespace {

struct Named {
  const char* name;
  kxClassID cls;
};

constexpr Named kKeyTypes[] = {{"char", kxCHAR_CLASS},     {"double", kxDOUBLE_CLASS},
                               {"single", kxSINGLE_CLASS}, {"int32", kxINT32_CLASS},
                               {"uint32", kxUINT32_CLASS}, {"int64", kxINT64_CLASS},
                               {"uint64", kxUINT64_CLASS}};

constexpr Named kValueTypes[] = {
    {"any", kxUNKNOWN_CLASS},   {"char", kxCHAR_CLASS},   {"double", kxDOUBLE_CLASS},
    {"single", kxSINGLE_CLASS}, {"logical", kxLOGICAL_CLASS}, {"int8", kxINT8_CLASS},
    {"uint8", kxUINT8_CLASS},   {"int16", kxINT16_CLASS}, {"uint16", kxUINT16_CLASS},
    {"int32", kxINT32_CLASS},   {"uint32", kxUINT32_CLASS}, {"int64", kxINT64_CLASS},
    {"uint64", kxUINT64_CLASS}};

template <std::size_t N>
const Named* find(const Named (&table)[N], std::string_view name) {
  for (const Named& n : table)
    if (same_text(n.name, std::string(name))) return &n;
  return nullptr;
}

template <std::size_t N>
const char* name_in(const Named (&table)[N], kxClassID cls) {
  for (const Named& n : table)
    if (n.cls == cls) return n.name;
  return "unknown";
}

bool is_real_scalar(const kxArray* a) {
  return a && !kxIsSparse(a) && !kxIsComplex(a) && kxGetNumberOfElements(a) == 1;
}

bool is_char_row(const kxArray* a) {
  return kxIsChar(a) && kxGetNumberOfDimensions(a) == 2 &&
         (kxGetM(a) == 1 || kxGetNumberOfElements(a) == 0);
}

bool is_nan_scalar(const kxArray* a) {
  return (kxGetClassID(a) == kxDOUBLE_CLASS || kxGetClassID(a) == kxSINGLE_CLASS) &&
         std::isnan(kxGetScalar(a));
}

// One element of class `to` converted from the scalar `a`, in an 8-byte buffer.
union Scalar {
  double d;
  float f;
  int32_t i32;
  uint32_t u32;
  int64_t i64;
  uint64_t u64;
};

Scalar converted(const kxArray* a, kxClassID to) {
  Scalar s{.u64 = 0};
  if (!kxConvertBufferToType(&s, to, kxGetData(a), kxGetClassID(a), 1))
    kx::raise("Korel:Map:badKeyType",
              "Specified key type does not match the type expected for this container.");
  return s;
}

}  // namespace

std::optional<KeyType> key_type_named(std::string_view name) {
  if (const Named* n = find(kKeyTypes, name)) return KeyType{n->cls};
  return std::nullopt;
}

std::optional<ValueType> value_type_named(std::string_view name) {
  if (const Named* n = find(kValueTypes, name)) return ValueType{n->cls};
  return std::nullopt;
}

const char* name_of(KeyType t) { return name_in(kKeyTypes, t.cls); }
const char* name_of(ValueType t) { return name_in(kValueTypes, t.cls); }

bool fits(const kxArray* a, KeyType t) {
  if (t.cls == kxCHAR_CLASS) return is_char_row(a);
  return kxIsNumeric(a) && is_real_scalar(a) && !is_nan_scalar(a);
}

Key key_of(const kxArray* a, KeyType t) {
  if (t.cls == kxCHAR_CLASS) {
    if (!is_char_row(a))
      kx::raise("Korel:Map:badKeyType",
                "Specified key type does not match the type expected for this container.");
    return library::units_of(a);
  }
  if (!kxIsNumeric(a))
    kx::raise("Korel:Map:badKeyType",
              "Specified key type does not match the type expected for this container.");
  if (!is_real_scalar(a) || is_nan_scalar(a))
    kx::raise("Korel:Map:badKey", "A numeric key must be a real scalar other than NaN.");
  const Scalar s = converted(a, t.cls);
  switch (t.cls) {
    case kxINT64_CLASS: return s.i64;
    case kxUINT64_CLASS: return s.u64;
    case kxSINGLE_CLASS: return static_cast<double>(s.f);
    case kxINT32_CLASS: return static_cast<double>(s.i32);
    case kxUINT32_CLASS: return static_cast<double>(s.u32);
    default: return s.d == 0 ? 0.0 : s.d;  // -0 and 0 are one key
  }
}

Value key_value(const Key& key, KeyType t) {
  if (const auto* text = std::get_if<std::u16string>(&key)) return library::make_text(*text);
  Value v = checked(kxCreateNumericMatrix(1, 1, t.cls, kxREAL));
  if (const auto* i = std::get_if<int64_t>(&key)) {
    std::memcpy(kxGetData(v.get()), i, sizeof *i);
  } else if (const auto* u = std::get_if<uint64_t>(&key)) {
    std::memcpy(kxGetData(v.get()), u, sizeof *u);
  } else {
    const double d = std::get<double>(key);
    kxConvertBufferToType(kxGetData(v.get()), t.cls, &d, kxDOUBLE_CLASS, 1);
  }
  return v;
}

Value admitted_value(Value v, ValueType t) {
  if (t.any()) return v;
  const kxClassID cls = v.class_id();
  if (t.cls == kxCHAR_CLASS) {
    if (cls == kxCHAR_CLASS) return v;
  } else if (cls == t.cls && (v.is_inline() || is_real_scalar(v.get()))) {
    return v;
  } else if ((cls == kxLOGICAL_CLASS || kxIsNumeric(v.get())) && is_real_scalar(v.get()) &&
             !(t.cls == kxLOGICAL_CLASS && is_nan_scalar(v.get()))) {
    const kxArray* from = v.get();
    Value to = checked(t.cls == kxLOGICAL_CLASS ? kxCreateLogicalMatrix(1, 1)
                                                : kxCreateNumericMatrix(1, 1, t.cls, kxREAL));
    kxConvertBufferToType(kxGetData(to.get()), t.cls, kxGetData(from), kxGetClassID(from), 1);
    return to;
  }
  kx::raise("Korel:Map:badValueType",
            "Specified value type does not match the type expected for this container.");
}

bool is_exactly(const kxArray* a, ValueType t) {
  if (t.any()) return true;
  if (t.cls == kxCHAR_CLASS) return kxIsChar(a);
  return kxGetClassID(a) == t.cls && is_real_scalar(a);
}

}  // namespace krt::builtins::map
