// The types a containers.Map is made with, its keys in their sorted form, and the
// checks that admit a key or a value into a map.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "korel/kx.h"
#include "krt/array/value.h"

namespace krt::builtins::map {

// A key as the map orders it: char keys by their code units, numeric keys by value in
// their key type (64-bit integer types keep every bit).
using Key = std::variant<std::u16string, double, int64_t, uint64_t>;

// The class a map's keys have (char, double, single, int32, uint32, int64, uint64).
struct KeyType {
  kxClassID cls = kxCHAR_CLASS;
};
// The class a map's values have; unknown stands for 'any'.
struct ValueType {
  kxClassID cls = kxUNKNOWN_CLASS;
  bool any() const { return cls == kxUNKNOWN_CLASS; }
};

// The types named in the constructor's options, compared without case; nothing for a
// name that is not one of them.
std::optional<KeyType> key_type_named(std::string_view name);
std::optional<ValueType> value_type_named(std::string_view name);
const char* name_of(KeyType t);
const char* name_of(ValueType t);

// Whether `a` can be a key of a map of type `t`: a char row for char keys, a real
// numeric scalar that is not NaN for numeric keys.
bool fits(const kxArray* a, KeyType t);
// The key `a` stands for; raises "Korel:Map:badKeyType" when it does not fit.
Key key_of(const kxArray* a, KeyType t);
// The key as a value of the key type: a 1xN char array or a numeric scalar.
Value key_value(const Key& key, KeyType t);

// `v` as the map stores it: any value for 'any', a char array for 'char', a real numeric
// or logical scalar converted to the class otherwise. Raises "Korel:Map:badValueType".
Value admitted_value(Value v, ValueType t);
// Whether `a` has the type a map of value type `t` keeps without conversion (for
// guessing the value type from the constructor's values).
bool is_exactly(const kxArray* a, ValueType t);

}  // namespace krt::builtins::map
