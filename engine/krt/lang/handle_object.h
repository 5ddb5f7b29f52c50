// Handle objects: values whose copies all refer to one object (containers.Map). The
// evaluator sends indexing, indexed assignment and member access to the object itself.
#pragma once

#include <cstddef>
#include <string>

#include "krt/lang/call.h"
#include "kx/payload.h"

namespace krt::lang {

// What an object array carries when it is a handle object. Its operations are const
// because every copy of the array shares it: a write through one copy is a write to the
// object, which every copy sees.
class HandleObject : public kx::Payload {
 public:
  // obj(subs...).
  virtual void index(CallContext& c, ValueList& subs, int nargout, ValueList& out) const = 0;
  // obj(subs...) = value.
  virtual void assign(CallContext& c, ValueList& subs, Value value) const = 0;
  // obj.name, or obj.name(args...) when `args` is not null (a method call).
  virtual void member(CallContext& c, const std::string& name, ValueList* args, int nargout,
                      ValueList& out) const = 0;
  // What length() gives: 1, unless the object is a container of entries.
  virtual std::size_t length() const { return 1; }
};

// The handle object an array is, or null.
inline const HandleObject* handle_object_of(const kxArray* a) {
  if (!a || !kxIsObject(a)) return nullptr;
  return dynamic_cast<const HandleObject*>(kx::payload_of(a));
}

}  // namespace krt::lang
