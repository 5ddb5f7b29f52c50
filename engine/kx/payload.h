// Engine data attached to arrays: what makes an anonymous function or a handle object
// more than its name. Arrays that share storage, and copies, share the payload.
#pragma once

#include <memory>
#include <string>

#include "korel/export.h"
#include "korel/kx.h"

namespace kx {

// What the engine attaches; the engine knows the concrete kinds.
class KOREL_EXPORT Payload {
 public:
  virtual ~Payload();
  // The text shown for the value where a display has nothing else to show ("" for none).
  virtual std::string describe() const { return ""; }
};

// A function handle named `name` (its display text) that carries `payload`.
KOREL_EXPORT kxArray* create_handle_with_payload(const char* name,
                                                 std::shared_ptr<const Payload> payload);
// An object of class `class_name` (1x1, no fields) that carries `payload`.
KOREL_EXPORT kxArray* create_object_with_payload(const char* class_name,
                                                 std::shared_ptr<const Payload> payload);
// The payload of an array; null when it has none.
KOREL_EXPORT const Payload* payload_of(const kxArray* a);

}  // namespace kx
