// containers.Map: a handle object holding values under sorted, unique keys. Every copy
// of a map value refers to the same entries.
#pragma once

#include <map>
#include <memory>
#include <string>

#include "krt/builtins/containers_map/map_types.h"
#include "krt/lang/handle_object.h"

namespace krt::builtins::map {

inline constexpr const char* kClassName = "containers.Map";

class MapObject final : public lang::HandleObject,
                        public std::enable_shared_from_this<MapObject> {
 public:
  MapObject(KeyType key_type, ValueType value_type)
      : key_type_(key_type), value_type_(value_type) {}

  KeyType key_type() const { return key_type_; }
  ValueType value_type() const { return value_type_; }
  std::size_t count() const { return entries_.size(); }

  // The value under `key`; raises "Korel:Map:unknownKey" when there is none.
  Value at(const kxArray* key) const;
  // Adds or replaces the value under `key`, after checking both against the map's types.
  void put(const kxArray* key, Value value) const;
  // Whether `key` (or each key of a cell of them) is present: a logical of the same size.
  Value has(const kxArray* keys) const;
  // Removes `key`, or every key of a cell of them; none is removed when one is missing.
  void remove(const kxArray* keys) const;
  // The keys in order, as a 1xN cell.
  Value key_list() const;
  // The values in key order, as a 1xN cell; or those under the keys of the cell `keys`,
  // in its shape.
  Value value_list() const;
  Value value_list(const kxArray* keys) const;

  // A new map value (a 1x1 object of class containers.Map) over `object`.
  static Value make(std::shared_ptr<const MapObject> object);
  // Another value of this map (the object must be owned by a shared pointer).
  Value self() const { return make(shared_from_this()); }

  std::string describe() const override;
  std::size_t length() const override { return count(); }
  void index(lang::CallContext& c, lang::ValueList& subs, int nargout,
             lang::ValueList& out) const override;
  void assign(lang::CallContext& c, lang::ValueList& subs, Value value) const override;
  void member(lang::CallContext& c, const std::string& name, lang::ValueList* args, int nargout,
              lang::ValueList& out) const override;

 private:
  using Entries = std::map<Key, Value>;
  Entries::const_iterator find(const kxArray* key) const;

  const KeyType key_type_;
  const ValueType value_type_;
  // Written through const operations: every copy of the map value shares this object.
  mutable Entries entries_;
};

// The map a value is, or null.
const MapObject* map_of(const kxArray* a);

}  // namespace krt::builtins::map
