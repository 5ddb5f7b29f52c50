// containers.Map(...) and the functions a map answers to: isKey keys values remove.
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "krt/builtins/arguments.h"
#include "krt/builtins/containers_map/map_object.h"
#include "krt/builtins/intrinsics.h"
#include "krt/library/text.h"
#include "kx/error.h"

namespace krt::builtins {
namespace {

using lang::CallContext;
using lang::ValueList;
using map::KeyType;
using map::MapObject;
using map::ValueType;

constexpr const char* kOptionNames[] = {"KeyType", "ValueType", "UniformValues"};

std::optional<std::string> text_of(const kxArray* a) {
  if (!is_text(a)) return std::nullopt;
  return library::utf8_of(library::units_of(a));
}

bool is_option_name(const kxArray* a) {
  const std::optional<std::string> text = text_of(a);
  if (!text) return false;
  for (const char* name : kOptionNames)
    if (same_text(*text, name)) return true;
  return false;
}

struct Options {
  std::optional<KeyType> key_type;
  std::optional<ValueType> value_type;
  std::optional<bool> uniform;
};

Options read_options(const ValueList& in, std::size_t from) {
  if ((in.size() - from) % 2 != 0)
    kx::raise("Korel:Map:badOption", "Options of containers.Map come in name-value pairs.");
  Options options;
  for (std::size_t k = from; k < in.size(); k += 2) {
    const std::optional<std::string> name = text_of(in[k].get());
    const std::optional<std::string> text = text_of(in[k + 1].get());
    if (name && same_text(*name, "KeyType")) {
      options.key_type = text ? map::key_type_named(*text) : std::nullopt;
      if (!options.key_type)
        kx::raise("Korel:Map:unsupportedKeyType",
                  "KeyType must be 'char', 'double', 'single', 'int32', 'uint32', 'int64' or "
                  "'uint64'.");
    } else if (name && same_text(*name, "ValueType")) {
      options.value_type = text ? map::value_type_named(*text) : std::nullopt;
      if (!options.value_type)
        kx::raise("Korel:Map:unsupportedValueType",
                  "ValueType must be 'any', 'char', 'double', 'single', 'logical' or an "
                  "integer class.");
    } else if (name && same_text(*name, "UniformValues")) {
      double flag = 0;
      if (!in[k + 1].real_scalar(flag) || text)
        kx::raise("Korel:Map:badOption", "UniformValues must be true or false.");
      options.uniform = flag != 0;
    } else {
      kx::raise("Korel:Map:badOption",
                "containers.Map takes the options 'KeyType', 'ValueType' and 'UniformValues'.");
    }
  }
  return options;
}

// The keys given to the constructor: a cell of them, one text, or a numeric array of
// them.
std::vector<const kxArray*> given_keys(const kxArray* keys, std::vector<Value>& made) {
  std::vector<const kxArray*> out;
  if (kxIsCell(keys)) {
    for (kxSize k = 0; k < kxGetNumberOfElements(keys); ++k) out.push_back(kxGetCell(keys, k));
  } else if (kxIsChar(keys)) {
    out.push_back(keys);
  } else if (kxIsNumeric(keys) && !kxIsSparse(keys)) {
    if (kxIsComplex(keys))
      kx::raise("Korel:Map:badKey", "A numeric key must be a real scalar other than NaN.");
    const kxSize count = kxGetNumberOfElements(keys);
    const std::size_t size = kxGetElementSize(keys);
    const auto* bytes = static_cast<const char*>(kxGetData(keys));
    for (kxSize k = 0; k < count; ++k) {
      Value one = checked(kxCreateNumericMatrix(1, 1, kxGetClassID(keys), kxREAL));
      std::memcpy(kxGetData(one.get()), bytes + k * size, size);
      out.push_back(one.get());
      made.push_back(std::move(one));
    }
  } else {
    kx::raise("Korel:Map:badKeyType",
              "Keys must be text, numeric scalars, a cell array of them or a numeric array.");
  }
  return out;
}

// The values matching `key_count` keys: the elements of a cell of as many, or the one
// value given for a single key.
std::vector<const kxArray*> given_values(const kxArray* values, std::size_t key_count) {
  if (kxIsCell(values) && kxGetNumberOfElements(values) == key_count) {
    std::vector<const kxArray*> out;
    for (kxSize k = 0; k < key_count; ++k) out.push_back(kxGetCell(values, k));
    return out;
  }
  if (key_count == 1) return {values};
  kx::raise("Korel:Map:countMismatch", "The number of keys and values must be the same.");
}

KeyType guessed_key_type(const std::vector<const kxArray*>& keys) {
  const bool text = !keys.empty() && kxIsChar(keys[0]);
  for (const kxArray* k : keys)
    if (text ? !kxIsChar(k) : !kxIsNumeric(k))
      kx::raise("Korel:Map:badKeyType", "Keys must be all text or all numeric.");
  if (keys.empty() || text) return KeyType{kxCHAR_CLASS};
  // Numeric keys of one key class keep it; a mixture is kept as double.
  const kxClassID first = kxGetClassID(keys[0]);
  std::optional<KeyType> same = map::key_type_named(kxGetClassNameFromID(first));
  for (const kxArray* k : keys)
    if (kxGetClassID(k) != first) same.reset();
  return same ? *same : KeyType{kxDOUBLE_CLASS};
}

// Values all text, or all real scalars of one class, give that type; others 'any'.
std::optional<ValueType> uniform_type(const std::vector<const kxArray*>& values) {
  if (values.empty()) return std::nullopt;
  const kxClassID first = kxGetClassID(values[0]);
  std::optional<ValueType> type = map::value_type_named(kxGetClassNameFromID(first));
  if (!type || type->any()) return std::nullopt;
  for (const kxArray* v : values)
    if (!map::is_exactly(v, *type)) return std::nullopt;
  return type;
}

ValueType value_type_for(const Options& options, const std::vector<const kxArray*>& values) {
  if (options.value_type) return *options.value_type;
  if (options.uniform == false) return ValueType{};
  const std::optional<ValueType> uniform = uniform_type(values);
  if (!uniform && options.uniform == true && !values.empty())
    kx::raise("Korel:Map:notUniform",
              "With UniformValues true the values must be all text or all scalars of one class.");
  return uniform.value_or(ValueType{});
}

void construct(CallContext&, int nargout, ValueList& out, ValueList& in) {
  check_outputs(nargout, 1, "containers.Map");
  const bool options_only = in.empty() || is_option_name(in[0].get());
  if (!options_only && in.size() < 2)
    kx::raise("Korel:Map:noValues", "containers.Map(keys, values) needs a value for each key.");
  const Options options = read_options(in, options_only ? 0 : 2);

  std::vector<Value> made;
  std::vector<const kxArray*> keys, values;
  if (!options_only) {
    keys = given_keys(in[0].get(), made);
    values = given_values(in[1].get(), keys.size());
  }
  const KeyType key_type = options.key_type ? *options.key_type : guessed_key_type(keys);
  auto object = std::make_shared<MapObject>(key_type, value_type_for(options, values));
  for (std::size_t k = 0; k < keys.size(); ++k)
    object->put(keys[k], values[k] ? Value::share(values[k]) : make_empty_double());
  out.push_back(MapObject::make(std::move(object)));
}

const MapObject& map_argument(const ValueList& in, const char* function) {
  const MapObject* m = in.empty() ? nullptr : map::map_of(in[0].boxed());
  if (!m)
    kx::raise(std::string("Korel:") + function + ":badType",
              std::string("The first input of ") + function + " must be a containers.Map.");
  return *m;
}

void is_key(CallContext&, int nargout, ValueList& out, ValueList& in) {
  check_inputs(in, 2, 2, "isKey");
  check_outputs(nargout, 1, "isKey");
  out.push_back(map_argument(in, "isKey").has(in[1].get()));
}

void keys(CallContext&, int nargout, ValueList& out, ValueList& in) {
  check_inputs(in, 1, 1, "keys");
  check_outputs(nargout, 1, "keys");
  out.push_back(map_argument(in, "keys").key_list());
}

void values(CallContext&, int nargout, ValueList& out, ValueList& in) {
  check_inputs(in, 1, 2, "values");
  check_outputs(nargout, 1, "values");
  const MapObject& m = map_argument(in, "values");
  out.push_back(in.size() == 1 ? m.value_list() : m.value_list(in[1].get()));
}

void remove(CallContext&, int nargout, ValueList& out, ValueList& in) {
  check_inputs(in, 2, 2, "remove");
  check_outputs(nargout, 1, "remove");
  map_argument(in, "remove").remove(in[1].get());
  out.push_back(in[0].share());
}

}  // namespace

const lang::IntrinsicEntry kContainersMapFunctions[] = {
    {"containers.Map", construct,
     "An associative container, a handle: text or numeric keys kept sorted; values of one "
     "class or any."},
    {"isKey", is_key, "Whether a containers.Map holds a key, or each key of a cell (logical)."},
    {"keys", keys, "The keys of a containers.Map in sorted order, as a 1xN cell."},
    {"values", values,
     "The values of a containers.Map in key order, or those under a cell of keys."},
    {"remove", remove,
     "Removes a key, or each key of a cell, from a containers.Map; a missing key is an error."},
    {nullptr, nullptr}};

}  // namespace krt::builtins
