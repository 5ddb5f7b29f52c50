#include "krt/builtins/containers_map/map_object.h"

#include <cstring>
#include <vector>

#include "krt/array/elements.h"
#include "krt/builtins/intrinsics.h"
#include "kx/error.h"
#include "kx/payload.h"

namespace krt::builtins::map {
namespace {

[[noreturn]] void missing_key() {
  kx::raise("Korel:Map:unknownKey", "The specified key is not present in this container.");
}

// The keys a call names: the elements of a cell, or the one key given.
std::vector<const kxArray*> named_keys(const kxArray* keys) {
  if (!kxIsCell(keys)) return {keys};
  std::vector<const kxArray*> out(kxGetNumberOfElements(keys));
  for (std::size_t k = 0; k < out.size(); ++k) out[k] = kxGetCell(keys, k);
  return out;
}

Value cell_like(const kxArray* model) {
  return checked(kxCreateCellArray(kxGetNumberOfDimensions(model), kxGetDimensions(model)));
}

// Properties and methods: both answer through the map's built-ins, the map first.
const lang::IntrinsicEntry* method_named(const std::string& name) {
  for (const lang::IntrinsicEntry* e = kContainersMapFunctions; e->name; ++e)
    if (name == e->name && name != kClassName) return e;
  return nullptr;
}

}  // namespace

const MapObject* map_of(const kxArray* a) {
  return dynamic_cast<const MapObject*>(lang::handle_object_of(a));
}

Value MapObject::make(std::shared_ptr<const MapObject> object) {
  return checked(kx::create_object_with_payload(kClassName, std::move(object)));
}

MapObject::Entries::const_iterator MapObject::find(const kxArray* key) const {
  return entries_.find(key_of(key, key_type_));
}

Value MapObject::at(const kxArray* key) const {
  auto it = find(key);
  if (it == entries_.end()) missing_key();
  return it->second.share();
}

void MapObject::put(const kxArray* key, Value value) const {
  if (!value) kx::raise("Korel:Map:noValue", "A containers.Map entry needs a value.");
  Key k = key_of(key, key_type_);
  Value admitted = admitted_value(std::move(value), value_type_);
  entries_.insert_or_assign(std::move(k), std::move(admitted));
}

Value MapObject::has(const kxArray* keys) const {
  if (!kxIsCell(keys)) return make_logical(find(keys) != entries_.end());
  Value out = checked(kxCreateLogicalArray(kxGetNumberOfDimensions(keys), kxGetDimensions(keys)));
  kxLogical* flags = kxGetLogicals(out.get());
  const std::vector<const kxArray*> named = named_keys(keys);
  for (std::size_t k = 0; k < named.size(); ++k) flags[k] = find(named[k]) != entries_.end();
  return out;
}

void MapObject::remove(const kxArray* keys) const {
  std::vector<Key> doomed;
  for (const kxArray* key : named_keys(keys)) {
    auto it = find(key);
    if (it == entries_.end()) missing_key();
    doomed.push_back(it->first);
  }
  for (const Key& k : doomed) entries_.erase(k);
}

Value MapObject::key_list() const {
  Value out = checked(kxCreateCellMatrix(1, entries_.size()));
  kxSize k = 0;
  for (const auto& entry : entries_)
    ops::put_cell(out.get(), k++, key_value(entry.first, key_type_).get());
  return out;
}

Value MapObject::value_list() const {
  Value out = checked(kxCreateCellMatrix(1, entries_.size()));
  kxSize k = 0;
  for (const auto& entry : entries_) ops::put_cell(out.get(), k++, entry.second.get());
  return out;
}

Value MapObject::value_list(const kxArray* keys) const {
  if (!kxIsCell(keys))
    kx::raise("Korel:values:badType", "The keys to look up must be given in a cell array.");
  Value out = cell_like(keys);
  const std::vector<const kxArray*> named = named_keys(keys);
  for (std::size_t k = 0; k < named.size(); ++k) ops::put_cell(out.get(), k, at(named[k]).get());
  return out;
}

std::string MapObject::describe() const {
  return std::string("  ") + kClassName + " with properties:\n\n" +
         "        Count: " + std::to_string(count()) + "\n" +
         "      KeyType: " + name_of(key_type_) + "\n" +
         "    ValueType: " + name_of(value_type_) + "\n";
}

void MapObject::index(lang::CallContext&, lang::ValueList& subs, int, lang::ValueList& out) const {
  if (subs.size() != 1)
    kx::raise("Korel:Map:badIndex", "A containers.Map is indexed by exactly one key.");
  out.push_back(at(subs[0].get()));
}

void MapObject::assign(lang::CallContext&, lang::ValueList& subs, Value value) const {
  if (subs.size() != 1)
    kx::raise("Korel:Map:badIndex", "A containers.Map is indexed by exactly one key.");
  put(subs[0].get(), std::move(value));
}

void MapObject::member(lang::CallContext& c, const std::string& name, lang::ValueList* args,
                       int nargout, lang::ValueList& out) const {
  const bool plain = !args || args->empty();
  if (name == "Count" && plain) return out.push_back(make_double(static_cast<double>(count())));
  if (name == "KeyType" && plain) return out.push_back(make_string(name_of(key_type_)));
  if (name == "ValueType" && plain) return out.push_back(make_string(name_of(value_type_)));
  if (name == "length" && plain) return out.push_back(make_double(static_cast<double>(count())));
  const lang::IntrinsicEntry* method = method_named(name);
  if (!method)
    kx::raise("Korel:Map:noMember", "Unrecognized method, property, or field '" + name +
                                        "' for class '" + kClassName + "'.");
  lang::ValueList in;
  in.push_back(self());
  if (args)
    for (Value& a : *args) in.push_back(std::move(a));
  method->function(c, nargout, out, in);
}

}  // namespace krt::builtins::map
