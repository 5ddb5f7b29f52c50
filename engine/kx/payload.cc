#include "kx/payload.h"

#include "kx/array.h"
#include "kx/error.h"

namespace kx {

kxArray* create_handle_with_payload(const char* name, std::shared_ptr<const void> payload) {
  kxArray* a = kxCreateFunctionHandle(name);
  if (a) a->data->payload = std::move(payload);
  return a;
}

kxArray* create_object_with_payload(const char* class_name, std::shared_ptr<const void> payload) {
  const kxSize dims[] = {1, 1};
  kxArray* a = kxCreateObjectArray(class_name, 2, dims, 0, nullptr);
  if (a) a->data->payload = std::move(payload);
  return a;
}

const void* payload_of(const kxArray* a) { return a && a->data ? a->data->payload.get() : nullptr; }

std::shared_ptr<const void> shared_payload_of(const kxArray* a) {
  return a && a->data ? a->data->payload : nullptr;
}

}  // namespace kx
