// Engine data attached to arrays: what makes an anonymous function or a handle object
// more than its name. Arrays that share storage, and copies, share the payload.
#pragma once

#include <memory>

#include "korel/export.h"
#include "korel/kx.h"

namespace kx {

// A function handle named `name` (its display text) that carries `payload`.
KOREL_EXPORT kxArray* create_handle_with_payload(const char* name, std::shared_ptr<const void> payload);
// An object of class `class_name` (1x1, no fields) that carries `payload`.
KOREL_EXPORT kxArray* create_object_with_payload(const char* class_name,
                                                 std::shared_ptr<const void> payload);
// The payload of an array; null when it has none.
KOREL_EXPORT const void* payload_of(const kxArray* a);
KOREL_EXPORT std::shared_ptr<const void> shared_payload_of(const kxArray* a);

}  // namespace kx
